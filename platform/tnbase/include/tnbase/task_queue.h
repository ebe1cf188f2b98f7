#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "tnbase/export.h"

namespace tnbase {

// A named queue of tasks. A test pumps it by hand (RunUntilIdle) for deterministic runs, or
// StartThread() backs it with a thread of its own.
class TNBASE_API TaskQueue {
 public:
  explicit TaskQueue(std::string name);
  ~TaskQueue();
  TaskQueue(const TaskQueue&) = delete;
  TaskQueue& operator=(const TaskQueue&) = delete;

  const std::string& name() const { return name_; }
  void PostTask(std::function<void()> task);
  // Runs queued tasks on the calling thread until none is left, including tasks that the
  // running ones post. Returns how many ran.
  std::size_t RunUntilIdle();
  // True on the runner's thread, on a thread bound to it, and inside RunUntilIdle.
  bool RunsTasksOnCurrentThread() const;
  // Makes the calling thread count as the runner's thread (a test's main thread, say).
  void BindCurrentThread();

  void StartThread();
  // The queue's own thread runs at display priority (see RaiseToDisplayPriority). Before
  // StartThread.
  void SetDisplayPriority() { displayPriority_ = true; }
  // Waits until every task posted before the call has run. Threaded mode only, and never
  // from the runner's own thread.
  void Flush();
  void Stop();

 private:
  void ThreadMain();

  const std::string name_;
  mutable std::mutex mutex_;
  std::condition_variable cv_;
  std::deque<std::function<void()>> queue_;
  std::thread thread_;
  std::atomic<std::thread::id> bound_{};
  bool stopping_ = false;
  bool running_ = false;  // the thread is in a task (threaded mode)
  bool displayPriority_ = false;
};

// Raises the calling thread to the priority that a browser gives the threads its windows wait
// on, its UI and IO threads (nice -8): busy pages, whose renderers run below normal priority,
// then never starve them of the processor. False when the system does not let this process
// raise a priority (the thread stays as it was).
TNBASE_API bool RaiseToDisplayPriority();

// The process-wide queue for work that must run later and elsewhere, such as the deletion of
// an object from inside its own callback. It runs on a thread of its own, started on first use.
TNBASE_API TaskQueue* globalTaskQueue(int index = 0);
TNBASE_API bool postTask(TaskQueue* queue, std::function<void()> task);

}  // namespace tnbase
