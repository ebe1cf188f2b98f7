#pragma once

#include <functional>

#include "cef/cef_base.h"
#include "tnbase/task_queue.h"
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

// The engine's named task runners are TnBase task queues.
using TaskRunner = tnbase::TaskQueue;

// Makes `runner` the one behind `thread_id` (nullptr clears it).
CEF_API void SetTaskRunner(CefThreadId thread_id, TaskRunner* runner);
CEF_API TaskRunner* GetTaskRunner(CefThreadId thread_id);

}  // namespace cef_inproc
