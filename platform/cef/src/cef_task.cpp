#include "cef/cef_task.h"

#include <array>

namespace {

thread_local const cef_inproc::TaskRunner* t_running = nullptr;

std::array<std::atomic<cef_inproc::TaskRunner*>, TID_COUNT>& Runners() {
  static std::array<std::atomic<cef_inproc::TaskRunner*>, TID_COUNT> runners{};
  return runners;
}

// Marks the calling thread as running `runner` for the lifetime of the scope.
class RunningScope {
 public:
  explicit RunningScope(const cef_inproc::TaskRunner* runner) : previous_(t_running) {
    t_running = runner;
  }
  ~RunningScope() { t_running = previous_; }

 private:
  const cef_inproc::TaskRunner* previous_;
};

}  // namespace

bool CefCurrentlyOn(CefThreadId thread_id) {
  cef_inproc::TaskRunner* runner = cef_inproc::GetTaskRunner(thread_id);
  return runner && runner->RunsTasksOnCurrentThread();
}

bool CefPostTask(CefThreadId thread_id, CefRefPtr<CefTask> task) {
  if (!task) return false;
  return CefPostTask(thread_id, std::function<void()>([task] { task->Execute(); }));
}

bool CefPostTask(CefThreadId thread_id, std::function<void()> task) {
  cef_inproc::TaskRunner* runner = cef_inproc::GetTaskRunner(thread_id);
  if (!runner || !task) return false;
  runner->PostTask(std::move(task));
  return true;
}

namespace cef_inproc {

TaskRunner::TaskRunner(std::string name) : name_(std::move(name)) {}

TaskRunner::~TaskRunner() { Stop(); }

void TaskRunner::PostTask(std::function<void()> task) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    queue_.push_back(std::move(task));
  }
  cv_.notify_all();
}

std::size_t TaskRunner::RunUntilIdle() {
  RunningScope scope(this);
  std::size_t ran = 0;
  for (;;) {
    std::function<void()> task;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (queue_.empty()) return ran;
      task = std::move(queue_.front());
      queue_.pop_front();
    }
    task();
    ++ran;
  }
}

bool TaskRunner::RunsTasksOnCurrentThread() const {
  return t_running == this || bound_.load() == std::this_thread::get_id();
}

void TaskRunner::BindCurrentThread() { bound_.store(std::this_thread::get_id()); }

void TaskRunner::StartThread() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (thread_.joinable()) return;
  stopping_ = false;
  thread_ = std::thread(&TaskRunner::ThreadMain, this);
}

void TaskRunner::ThreadMain() {
  RunningScope scope(this);
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    cv_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
    if (queue_.empty()) return;  // stopping, and nothing left to run
    std::function<void()> task = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    task();
    lock.lock();
  }
}

void TaskRunner::Flush() {
  std::mutex done_mutex;
  std::condition_variable done_cv;
  bool done = false;
  PostTask([&] {
    std::lock_guard<std::mutex> lock(done_mutex);
    done = true;
    done_cv.notify_all();
  });
  std::unique_lock<std::mutex> lock(done_mutex);
  done_cv.wait(lock, [&] { return done; });
}

void TaskRunner::Stop() {
  std::thread thread;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
    thread = std::move(thread_);
  }
  cv_.notify_all();
  if (thread.joinable()) thread.join();
}

void SetTaskRunner(CefThreadId thread_id, TaskRunner* runner) {
  if (thread_id >= 0 && thread_id < TID_COUNT) Runners()[thread_id].store(runner);
}

TaskRunner* GetTaskRunner(CefThreadId thread_id) {
  if (thread_id < 0 || thread_id >= TID_COUNT) return nullptr;
  return Runners()[thread_id].load();
}

}  // namespace cef_inproc
