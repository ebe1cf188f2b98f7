#pragma once

// The web title bar: a 36-pixel child window of class "TN_WEB_TITLE" at the top of a web
// window with the title text, up to nine buttons and the caption's drag and double click. It
// is made on the system's window and GDI calls; it deletes itself with its native window.

#include <string>

#include "hav/hav.h"
#include "tnbase/tn_string.h"
#include "win/paint.h"
#include "win/user.h"

namespace tnwebui {

class TnBrowserAdaptUI;

// The message by which a button tells the bar that it was clicked (its window in lParam).
constexpr uint32_t WM_TITLE_BUTTON_CLICK = 0x2400;

// One button of the bar: a child window that shows one of its bitmaps.
class WebTitleButton {
 public:
  // Makes the button's window in `parent` at x, y with the given size, its bitmaps and its
  // tool tip.
  WebTitleButton(HWND parent, int x, int y, int size, int normal, int hover, int disabled,
                 const char* tipKey);
  ~WebTitleButton();
  WebTitleButton(const WebTitleButton&) = delete;
  WebTitleButton& operator=(const WebTitleButton&) = delete;

  HWND window() const { return window_; }
  HWND tip_window() const { return tipWindow_; }
  bool enabled() const { return enabled_ != 0; }
  win::HBITMAP current() const { return bitmapCurrent_; }

  // Four numbers stored as normal, hover, disabled and disabled again; -1 leaves a state.
  void SetBitmaps(int normal, int hover, int pressed, int disabled);
  void SetEnabled(bool enabled);
  // Replaces the tool tip's text with the localised text of `key`.
  void SetTipText(const char* key);
  void Move(int x, int y, int size);
  // The button's window procedure.
  win::LRESULT OnMessage(uint32_t message, win::WPARAM wParam, win::LPARAM lParam);

 private:
  // Shows `bitmap` unless it is shown already or empty.
  void Show(win::HBITMAP bitmap);
  win::HBITMAP StateBitmap() const { return enabled_ ? bitmapNormal_ : bitmapDisabled_; }
  void Paint(win::HDC dc);

  HWND window_ = nullptr;
  HWND parent_ = nullptr;
  win::HBITMAP bitmapNormal_ = nullptr;
  win::HBITMAP bitmapDisabled_ = nullptr;
  win::HBITMAP bitmapHover_ = nullptr;
  win::HBITMAP bitmapPressed_ = nullptr;
  win::HBITMAP bitmapCurrent_ = nullptr;
  std::u16string tipText_;
  int kind_ = 2;
  uint8_t enabled_ = 1;
  HWND tipWindow_ = nullptr;
};

class CWebTitleChildWindowWin final : public xhav::BrowserTitleWindow {
 public:
  CWebTitleChildWindowWin() = default;

  int32_t Create(HWND parent, int32_t width, int32_t height, int32_t useModuleHandle) override;
  HWND GetWindowHandle() override { return window_; }
  HWND GetParentWindow() override { return parent_; }
  void SetShowLinkButtons(bool show) override { showLinkButtons_ = show; }
  void SetHideShareButtons(bool hide) override { hideShareButtons_ = hide; }
  void SetShowNavigation(bool show) override { showNavigation_ = show; }
  void SetTitle(const tnbase::TnStringPtr& title) override { title_ = title; }
  void SetBackEnabled(bool enabled) override;
  void AttachBrowser(void* view, xhav::Browser* browser) override;

  // The buttons in the order of the bar (null where not made): back, refresh, copy link, open
  // in browser, close, maximise, minimise, favourite, share.
  enum Button {
    kBack,
    kRefresh,
    kCopyLink,
    kOpenInBrowser,
    kClose,
    kMaximize,
    kMinimize,
    kFavorite,
    kShare,
    kButtonCount
  };
  WebTitleButton* button(Button which) const { return buttons_[which]; }
  bool back_enabled() const { return buttons_[kBack] && buttons_[kBack]->enabled(); }
  bool hide_share_buttons() const { return hideShareButtons_; }
  bool show_link_buttons() const { return showLinkButtons_; }
  bool show_navigation() const { return showNavigation_; }
  xhav::Browser* browser() const { return browser_; }
  // The bar's window procedure.
  win::LRESULT OnMessage(uint32_t message, win::WPARAM wParam, win::LPARAM lParam);

 private:
  ~CWebTitleChildWindowWin() override;
  void MakeButton(Button which, int x, int y, int size, int normal, int hover, int disabled,
                  const char* tipKey);
  void OnSize(int width);
  void OnPaint();
  void OnClick(HWND button);
  void ToggleMaximize();
  bool Is(Button which, HWND window) const {
    return buttons_[which] && buttons_[which]->window() == window;
  }

  HWND parent_ = nullptr;
  int height_ = 0;
  bool hideShareButtons_ = false;
  bool showLinkButtons_ = false;
  bool showNavigation_ = true;
  win::HINSTANCE moduleHandle_ = nullptr;
  HWND window_ = nullptr;
  WebTitleButton* buttons_[kButtonCount] = {};
  TnBrowserAdaptUI* view_ = nullptr;
  xhav::Browser* browser_ = nullptr;
  tnbase::TnStringPtr title_;
};

// Makes the title bar of a view's window (not yet created: call Create).
CWebTitleChildWindowWin* CreateWebTitleWindow();

// Copies `text` to the clipboard as CF_TEXT and tells the user how it went by the copy tip
// over `parent`.
void CopyTextToClipboard(HWND parent, const std::string& text);

}  // namespace tnwebui
