#pragma once

// A light window as a top-level window: the view of TavrinBrowserUI with the web title bar on
// top and the drop shadow from TnMainUI around it.

#include "light/tavrin_browser_ui.h"
#include "light/web_title_child_window.h"
#include "tnwebui/view.h"

namespace tnwebui {

class WindowTavrinBrowserUI final : public TavrinBrowserUI {
 public:
  explicit WindowTavrinBrowserUI(int32_t oid) : TavrinBrowserUI(oid) {}

  // A change of size (3): the shadow follows, the bar and the browser are laid out again.
  void OnStateChanged(int32_t state) override;
  // Shadow, title bar and show first; then the base's set-up.
  void OnBrowserCreated() override;
  // The shadow lets go of the window; then the base's end.
  void OnBrowserDestroyed() override;

  WindowShadow* shadow() const { return shadow_; }
  CWebTitleChildWindowWin* title_window() const { return title_; }

 private:
  ~WindowTavrinBrowserUI() override;
  void createShadow();
  void createTitle(xhav::BrowserParam* settings);
  xhav::BrowserParam* Settings();

  WindowShadow* shadow_ = nullptr;            // one reference
  CWebTitleChildWindowWin* title_ = nullptr;  // ends with its native window
};

}  // namespace tnwebui
