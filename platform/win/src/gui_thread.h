#pragma once

// The one thread on which the window model calls Qt.

#include <stdlib.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QGuiApplication>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>

namespace win {

// Fonts need a GUI application: one without a display is made on first use. Qt wants a runtime
// folder while it starts; a private one is made for that and removed as soon as the
// application stands, so that nothing stays behind in the system's temporary folder, not even
// from a process that ends without running its static destructors.
class RuntimeFolder {
 public:
  RuntimeFolder() {
    if (getenv("XDG_RUNTIME_DIR")) return;
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/tnwin-XXXXXX";
    if (mkdtemp(pattern.data())) {
      path_ = pattern;
      setenv("XDG_RUNTIME_DIR", path_.c_str(), 0);
    }
  }
  ~RuntimeFolder() {
    if (!path_.empty()) rmdir(path_.c_str());
  }

 private:
  std::string path_;
};

// Every Qt call of the window model runs on one thread that makes the application and lives as
// long as the process. Qt keeps data per thread and frees it when a thread ends; threads that
// come and go (a tip's, a test's) and end while the process's statics are torn down would
// free it after Qt's own statics are gone. The GUI thread never ends, so it never frees.
class GuiThread {
 public:
  static GuiThread& Get() {
    static GuiThread* thread = [] {
      RuntimeFolder folder;  // for the application's start only
      return new GuiThread;  // never ends; see above
    }();
    return *thread;
  }

  template <typename F>
  auto Run(F&& work) -> decltype(work()) {
    if (std::this_thread::get_id() == id_) return work();
    std::packaged_task<decltype(work())()> task(std::forward<F>(work));
    auto result = task.get_future();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      tasks_.emplace_back([&task] { task(); });
    }
    wake_.notify_one();
    return result.get();
  }

 private:
  GuiThread() {
    std::promise<std::thread::id> started;
    auto id = started.get_future();
    std::thread([this, started = std::move(started)]() mutable { Loop(started); }).detach();
    id_ = id.get();
  }

  void Loop(std::promise<std::thread::id>& started) {
    if (!QCoreApplication::instance()) {
      static int argc = 3;
      static char name[] = "tnwin", option[] = "-platform", platform[] = "offscreen";
      static char* argv[] = {name, option, platform, nullptr};
      new QGuiApplication(argc, argv);  // lives as long as the process
    }
    started.set_value(std::this_thread::get_id());
    for (;;) {
      std::function<void()> task;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        wake_.wait(lock, [this] { return !tasks_.empty(); });
        task = std::move(tasks_.front());
        tasks_.pop_front();
      }
      task();
    }
  }

  std::thread::id id_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> tasks_;
};

}  // namespace win
