#include "tnbase/task_queue.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tnbase {

namespace {

thread_local const tnbase::TaskQueue* t_running = nullptr;

// Marks the calling thread as running `runner` for the lifetime of the scope.
class RunningScope {
 public:
  explicit RunningScope(const tnbase::TaskQueue* runner) : previous_(t_running) {
    t_running = runner;
  }
  ~RunningScope() { t_running = previous_; }

 private:
  const tnbase::TaskQueue* previous_;
};

}  // namespace

TaskQueue::TaskQueue(std::string name) : name_(std::move(name)) {}

TaskQueue::~TaskQueue() { Stop(); }

void TaskQueue::PostTask(std::function<void()> task) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    queue_.push_back(std::move(task));
  }
  cv_.notify_all();
}

std::size_t TaskQueue::RunUntilIdle() {
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

bool TaskQueue::RunsTasksOnCurrentThread() const {
  return t_running == this || bound_.load() == std::this_thread::get_id();
}

void TaskQueue::BindCurrentThread() { bound_.store(std::this_thread::get_id()); }

void TaskQueue::StartThread() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (thread_.joinable()) return;
  stopping_ = false;
  thread_ = std::thread(&TaskQueue::ThreadMain, this);
}

void TaskQueue::ThreadMain() {
  // The queue's name names its thread too (cut to the system's 15 characters), for traces.
  pthread_setname_np(pthread_self(), name_.substr(0, 15).c_str());
  if (displayPriority_) RaiseToDisplayPriority();
  RunningScope scope(this);
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    cv_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
    if (queue_.empty()) return;  // stopping, and nothing left to run
    std::function<void()> task = std::move(queue_.front());
    queue_.pop_front();
    running_ = true;
    lock.unlock();
    task();
    task = nullptr;  // what the task held goes before it counts as done
    lock.lock();
    running_ = false;
  }
}

void TaskQueue::Flush() {
  {
    // Nothing queued and nothing running: every task posted before this call has run.
    std::lock_guard<std::mutex> lock(mutex_);
    if (queue_.empty() && !running_) return;
  }
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

void TaskQueue::Stop() {
  std::thread thread;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
    thread = std::move(thread_);
  }
  cv_.notify_all();
  if (thread.joinable()) thread.join();
}

bool RaiseToDisplayPriority() {
  // On Linux a priority is a thread's own: the calling thread's id names it.
  constexpr int kDisplayNice = -8;
  const auto thread = static_cast<id_t>(syscall(SYS_gettid));
  return setpriority(PRIO_PROCESS, thread, kDisplayNice) == 0;
}

TaskQueue* globalTaskQueue(int) {
  static TaskQueue* queue = [] {
    auto* q = new TaskQueue("globalTaskQueue");
    q->StartThread();
    return q;
  }();
  return queue;
}

bool postTask(TaskQueue* queue, std::function<void()> task) {
  if (!queue || !task) return false;
  queue->PostTask(std::move(task));
  return true;
}

}  // namespace tnbase
