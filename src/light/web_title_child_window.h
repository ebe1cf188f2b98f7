#pragma once

// The web title bar of a framed window: a 36-pixel child window of class "TN_WEB_TITLE" at the
// top. It keeps the button choices the view makes; it destroys itself with its native window.

#include "hav/hav.h"

namespace tnwebui {

class CWebTitleChildWindowWin final : public xhav::BrowserTitleWindow {
 public:
  CWebTitleChildWindowWin() = default;

  bool Create(HWND parent, int32_t width, int32_t height, int32_t flags) override;
  HWND GetWindowHandle() override { return hwnd_; }
  void SetHideShareButtons(bool hide) override { hideShareButtons_ = hide; }
  void SetShowLinkButtons(bool show) override { showLinkButtons_ = show; }
  void SetBackEnabled(bool enabled) override { backEnabled_ = enabled; }
  void AttachBrowser(void* view, xhav::Browser* browser) override;

  bool hide_share_buttons() const { return hideShareButtons_; }
  bool show_link_buttons() const { return showLinkButtons_; }
  bool back_enabled() const { return backEnabled_; }
  xhav::Browser* browser() const { return browser_; }

 private:
  ~CWebTitleChildWindowWin() override = default;

  HWND hwnd_ = nullptr;
  bool hideShareButtons_ = true;
  bool showLinkButtons_ = false;
  bool backEnabled_ = false;
  void* view_ = nullptr;
  xhav::Browser* browser_ = nullptr;
};

// Makes the title bar of a view's window (not yet created: call Create).
xhav::BrowserTitleWindow* CreateWebTitleWindow();

}  // namespace tnwebui
