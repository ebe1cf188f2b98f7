#include "win/timed_tip.h"

#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "win/window.h"

namespace win {
namespace {

class TimedTips {
 public:
  // The window model is made first, so it outlives the tips at the process's end.
  TimedTips() { IsWindow(nullptr); }
  ~TimedTips() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
    }
    cv_.notify_all();
    for (Tip& tip : tips_) tip.thread.join();
  }

  void Show(const std::u16string& text, int milliseconds) {
    std::lock_guard<std::mutex> lock(mutex_);
    shown_.push_back(text);
    Reap();
    tips_.emplace_back();
    Tip& tip = tips_.back();
    tip.thread = std::thread([this, &tip, milliseconds] { Run(&tip, milliseconds); });
  }

  std::vector<std::u16string> shown() {
    std::lock_guard<std::mutex> lock(mutex_);
    return shown_;
  }
  int visible() {
    std::lock_guard<std::mutex> lock(mutex_);
    return visible_;
  }

 private:
  struct Tip {
    std::thread thread;
    bool done = false;
  };

  void Run(Tip* tip, int milliseconds) {
    HWND window = CreateWindowModel("TimedTipClass", nullptr, nullptr);
    ShowWindow(window, SW_SHOWWINDOW);
    std::unique_lock<std::mutex> lock(mutex_);
    ++visible_;
    cv_.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return stopping_; });
    --visible_;
    lock.unlock();
    DestroyWindow(window);
    lock.lock();
    tip->done = true;
  }

  // Joins the threads of tips that are gone (mutex held).
  void Reap() {
    for (auto it = tips_.begin(); it != tips_.end();) {
      if (!it->done) {
        ++it;
        continue;
      }
      it->thread.join();
      it = tips_.erase(it);
    }
  }

  std::mutex mutex_;
  std::condition_variable cv_;
  bool stopping_ = false;
  int visible_ = 0;
  std::list<Tip> tips_;
  std::vector<std::u16string> shown_;
};

TimedTips& Tips() {
  static TimedTips tips;
  return tips;
}

}  // namespace

void ShowTimedTip(const std::u16string& text, int milliseconds) { Tips().Show(text, milliseconds); }

std::vector<std::u16string> TimedTipsShown() { return Tips().shown(); }

int TimedTipsVisible() { return Tips().visible(); }

}  // namespace win
