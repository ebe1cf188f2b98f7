#include "light/web_title_child_window.h"

namespace tnwebui {

bool CWebTitleChildWindowWin::Create(HWND parent, int32_t width, int32_t height, int32_t) {
  if (hwnd_) return true;
  hwnd_ = win::CreateWindowModel("TN_WEB_TITLE", parent, [this](HWND, const win::PostedMessage& m) {
    if (m.message == win::WM_DESTROY) delete this;
  });
  win::SetWindowPos(hwnd_, nullptr, 0, 0, width, height, win::SWP_NOZORDER);
  win::ShowWindow(hwnd_, win::SW_SHOWWINDOW);
  return hwnd_ != nullptr;
}

void CWebTitleChildWindowWin::AttachBrowser(void* view, xhav::Browser* browser) {
  view_ = view;
  browser_ = browser;
}

xhav::BrowserTitleWindow* CreateWebTitleWindow() { return new CWebTitleChildWindowWin(); }

}  // namespace tnwebui
