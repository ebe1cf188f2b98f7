#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "cef/cef_base.h"

enum CefThreadId {
  TID_UI = 0,        // the browser process's user-interface thread
  TID_RENDERER = 1,  // the render process's main thread
  TID_COUNT
};

class CEF_API CefTask : public virtual CefBaseRefCounted {
 public:
  virtual void Execute() = 0;
};

CEF_API bool CefCurrentlyOn(CefThreadId thread_id);
CEF_API bool CefPostTask(CefThreadId thread_id, CefRefPtr<CefTask> task);
// Convenience form for a closure.
CEF_API bool CefPostTask(CefThreadId thread_id, std::function<void()> task);

namespace cef_inproc {

// A named queue of tasks. A test pumps it by hand (RunUntilIdle) for deterministic runs, or
// StartThread() backs it with a thread of its own.
class CEF_API TaskRunner {
 public:
  explicit TaskRunner(std::string name);
  ~TaskRunner();
  TaskRunner(const TaskRunner&) = delete;
  TaskRunner& operator=(const TaskRunner&) = delete;

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
};

// Makes `runner` the one behind `thread_id` (nullptr clears it).
CEF_API void SetTaskRunner(CefThreadId thread_id, TaskRunner* runner);
CEF_API TaskRunner* GetTaskRunner(CefThreadId thread_id);

}  // namespace cef_inproc
