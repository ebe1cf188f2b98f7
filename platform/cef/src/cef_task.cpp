#include "cef/cef_task.h"

#include <array>

namespace {

std::array<std::atomic<cef_inproc::TaskRunner*>, TID_COUNT>& Runners() {
  static std::array<std::atomic<cef_inproc::TaskRunner*>, TID_COUNT> runners{};
  return runners;
}

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

void SetTaskRunner(CefThreadId thread_id, TaskRunner* runner) {
  if (thread_id >= 0 && thread_id < TID_COUNT) Runners()[thread_id].store(runner);
}

TaskRunner* GetTaskRunner(CefThreadId thread_id) {
  if (thread_id < 0 || thread_id >= TID_COUNT) return nullptr;
  return Runners()[thread_id].load();
}

}  // namespace cef_inproc
