#include "live_window.h"

#include <QByteArray>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include "../demo/demo.h"
#include "win/user.h"
#include "win/window.h"

namespace run {

bool Display::Start(const std::string& viewer, const std::string& title, std::string* error) {
  if (!link_.Start(viewer, error)) return false;
  link_.SetTitle(title);
  return true;
}

bool Display::Tick(double now) {
  // The page's picture is asked for without waiting: a page within a call waits for this
  // thread, and a picture waits for the page.
  if (now >= nextFrame_ && !*asking_) {
    nextFrame_ = now + 0.25;
    *asking_ = true;
    std::weak_ptr<bool> asking = asking_;
    page_->CaptureScreenshotLater([this, asking](std::string png) {
      if (asking.expired()) return;  // the run has ended
      *asking.lock() = false;
      if (png.empty() || !page_->alive() || !demo::SaveWindowWithPage(page_, png, picture_)) return;
      std::ifstream in(picture_, std::ios::binary);
      link_.Show(std::string(std::istreambuf_iterator<char>(in), {}));
    });
  }
  for (const std::string& event : link_.Events()) {
    if (event == "closed") return false;
    if (!page_->alive()) continue;
    int x = 0, y = 0;
    if (std::sscanf(event.c_str(), "click %d %d", &x, &y) == 2) {
      Click(x, y);
    } else if (event.rfind("text ", 0) == 0) {
      page_->Type(QByteArray::fromHex(QByteArray::fromStdString(event.substr(5))).toStdString());
    } else if (event.rfind("key ", 0) == 0) {
      page_->PressKey(event.substr(4));
    }
    nextFrame_ = 0;  // the person sees what it did at once
  }
  return true;
}

void Display::Click(int x, int y) {
  const int top = win::GetWindowState(page_->host_window()).y;
  if (y >= top) {
    page_->Click(x, y - top);
    return;
  }
  HWND bar = demo::ChildOfClass(page_->GetWindowHandle(), "TN_WEB_TITLE");
  for (HWND button : bar ? win::GetChildren(bar) : std::vector<HWND>()) {
    const win::WindowState b = win::GetWindowState(button);
    if (!b.visible || x < b.x || y < b.y || x >= b.x + b.width || y >= b.y + b.height) continue;
    const auto at = win::MAKELPARAM(x - b.x, y - b.y);
    win::SendMessageW(button, win::WM_LBUTTONDOWN, 0, at);
    win::SendMessageW(button, win::WM_LBUTTONUP, 0, at);
    return;
  }
}

}  // namespace run
