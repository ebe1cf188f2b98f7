#include "tnmainui/inproc_host.h"

#include <cstring>

namespace tnmainui {

namespace {

struct Row {
  const char* key;
  const char* text;
};

constexpr Row kStrings[] = {
#include "string_table.inc"
};

}  // namespace

bool StringTable::LoadString(const char* key, char* buffer, uint32_t size) {
  if (!buffer || size == 0) return false;
  buffer[0] = '\0';
  if (!key) return false;
  for (const Row& row : kStrings) {
    if (std::strcmp(row.key, key) == 0) {
      std::strncpy(buffer, row.text, size - 1);
      buffer[size - 1] = '\0';
      return true;
    }
  }
  return false;
}

InProcessHost::InProcessHost(xhav::Core* core, xhav::RenderHost* renderHost)
    : core_(core), renderHost_(renderHost) {
  SetService(SID_StringTableService, static_cast<StringTableService*>(&strings));
  SetService(SID_ClientInfoService, static_cast<ClientInfoService*>(&clientInfo));
  SetService(SID_AccessOverrideService, static_cast<AccessOverrideService*>(&accessOverride));
}

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
