#include "tnmainui/inproc_host.h"

namespace tnmainui {

void* InProcessHost::QueryService(const GUID& id) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = services_.find(id);
  return it == services_.end() ? nullptr : it->second;
}

void InProcessHost::SetService(const GUID& id, void* service) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (service) {
    services_[id] = service;
  } else {
    services_.erase(id);
  }
}

}  // namespace tnmainui
