#include "light/tool_tip.h"

#include <atomic>
#include <chrono>
#include <list>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "base/CommonFunc.h"
#include "win/paint.h"
#include "win/window.h"

namespace tnwebui {
namespace {

constexpr uint32_t kStyle = 0x86000000;
constexpr uint32_t kExStyleCleared = 0x00C40101;
constexpr uint32_t kExStyleAdded = 0x00080080;  // WS_EX_LAYERED | WS_EX_TOOLWINDOW
constexpr uint32_t kTextFormatFits = 0x25;      // centred, vertically centred, one line
constexpr uint32_t kTextFormatElided = 0x8024;  // left, vertically centred, one line, ellipsis
constexpr int kShowNoActivate = 10;
constexpr uint32_t kGrayBrush = win::Rgb(128, 128, 128);  // the class's background (stock 2)

// One tip: its window, text and time; it lives on its thread until its timer ends it.
// The tip's font: 14 points at the screen's vertical pixels per inch.
win::Font TipFont() {
  win::Font font;
  font.face = "Microsoft YaHei";
  font.height = -win::MulDiv(14, win::GetDeviceCaps(win::LOGPIXELSY), 72);
  font.weight = 400;
  font.charset = 0x86;
  return font;
}

class ToolTip {
 public:
  ToolTip(std::u16string text, int32_t time) : text_(std::move(text)), time_(time) {}

  void Run() {
    win::MessageLoop loop;
    const int width = scaleForDpi(kToolTipWidth);
    const int height = scaleForDpi(kToolTipHeight);
    const win::Rect desktop = win::GetDesktopRect();
    window_ = win::CreateWindowModel(
        kToolTipClass, nullptr,
        [this](HWND hwnd, const win::PostedMessage& m) { OnMessage(hwnd, m); });
    win::SetWindowTextW(window_, u"");
    win::SetWindowStyles(window_, kStyle, (0u & ~kExStyleCleared) | kExStyleAdded);
    win::SetWindowPos(window_, nullptr, desktop.left + (desktop.right - desktop.left - width) / 2,
                      desktop.top + (desktop.bottom - desktop.top - height) / 2, width, height,
                      win::SWP_NOZORDER);
    win::SetLayeredWindowAttributes(window_, win::Rgb(32, 32, 32), 242, win::LWA_ALPHA);
    win::SetWindowPos(window_, reinterpret_cast<HWND>(win::HWND_TOPMOST_VALUE), 0, 0, 0, 0,
                      win::SWP_NOMOVE | win::SWP_NOSIZE);
    loop.Run();
  }

 private:
  void OnMessage(HWND hwnd, const win::PostedMessage& message) {
    if (message.message == win::WM_PAINT) {
      const win::Font font = TipFont();
      const bool fits = win::GetTextWidth(font, text_) < scaleForDpi(kToolTipWidth);
      win::PaintText(hwnd, font, text_, fits ? kTextFormatFits : kTextFormatElided,
                     win::Rgb(255, 255, 255), kGrayBrush);
      win::ShowWindow(hwnd, kShowNoActivate);
      win::SetTimer(hwnd, kToolTipTimer, static_cast<uint32_t>(time_ > 0 ? time_ : 0));
    } else if (message.message == win::WM_TIMER && message.wParam == kToolTipTimer) {
      // The end: the loop stops and the thread frees the object on its way out.
      win::KillTimer(hwnd, kToolTipTimer);
      win::PostQuitMessage(0);
      win::DestroyWindow(window_);
    } else if (message.message == win::WM_DESTROY) {
      win::PostQuitMessage(0);
    }
  }

  HWND window_ = nullptr;
  const std::u16string text_;
  const int32_t time_;
};

// The threads of the tips. A finished one is joined when the next tip starts; at the
// process's end the tips on the screen are closed and their threads joined, so none outlives
// the window model.
class TipThreads {
 public:
  // The window model and its painter are made first, so they are still there when this object
  // goes (a tip that painted first during the process's end would start the painter then).
  TipThreads() {
    win::IsWindow(nullptr);
    win::StartPainting();
    win::GetTextWidth(TipFont(), u"tip");  // the painter's fonts, made before this object too
  }
  ~TipThreads() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (Tip& tip : tips_) {
      while (!*tip.done) {
        if (HWND open = win::FindWindowW(kToolTipClass, nullptr)) {
          win::PostMessageW(open, win::WM_TIMER, kToolTipTimer, 0);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      tip.thread.join();
    }
  }
  bool Start(std::unique_ptr<ToolTip> tip, int* lastError) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = tips_.begin(); it != tips_.end();) {
      if (!*it->done) {
        ++it;
        continue;
      }
      it->thread.join();
      it = tips_.erase(it);
    }
    auto done = std::make_shared<std::atomic<bool>>(false);
    try {
      tips_.push_back({std::thread([owned = std::move(tip), done]() mutable {
                         owned->Run();
                         owned.reset();
                         *done = true;
                       }),
                       done});
    } catch (const std::system_error& e) {
      if (lastError) *lastError = e.code().value();
      return false;
    }
    return true;
  }

 private:
  struct Tip {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> done;
  };
  std::mutex mutex_;
  std::list<Tip> tips_;
};

}  // namespace

void CloseToolTip() {
  if (HWND open = win::FindWindowW(kToolTipClass, u"")) {
    win::PostMessageW(open, win::WM_TIMER, kToolTipTimer, 0);
  }
}

bool ShowToolTip(const std::u16string& text, int32_t time, int* lastError) {
  static TipThreads threads;
  return threads.Start(std::make_unique<ToolTip>(text, time), lastError);
}

}  // namespace tnwebui
