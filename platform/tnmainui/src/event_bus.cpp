#include "tnmainui/event_bus.h"

#include <algorithm>

#include "coretnmedia.pb.h"

namespace tnmainui {

void InProcessEventBus::PostFileListEvent(int32_t viewId, const char* name,
                                          const interdata::CoreMediaInfoList& files) {
  std::lock_guard<std::mutex> lock(mutex_);
  posted_.push_back({"files", viewId, name ? name : "", files.SerializeAsString()});
}

void InProcessEventBus::PostPbTextEvent(int32_t type, const char* name, const char* data,
                                        uint32_t size) {
  const std::string bytes = data ? std::string(data, size) : "";
  {
    std::lock_guard<std::mutex> lock(mutex_);
    posted_.push_back({"pbtext", type, name ? name : "", bytes});
  }
  Raise(type, name ? name : "", "pbtext", bytes);
}

void InProcessEventBus::PostJsonEvent(int32_t type, const char* name, const char* data) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    posted_.push_back({"json", type, name ? name : "", data ? data : ""});
  }
  Raise(type, name ? name : "", "json", data ? data : "");
}

void InProcessEventBus::AddEventReceiver(TavrinEventReceiver* receiver) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (receiver) receivers_.push_back(receiver);
}

void InProcessEventBus::RemoveEventReceiver(TavrinEventReceiver* receiver) {
  std::lock_guard<std::mutex> lock(mutex_);
  receivers_.erase(std::remove(receivers_.begin(), receivers_.end(), receiver), receivers_.end());
}

void InProcessEventBus::Raise(int32_t type, const std::string& name, const std::string& format,
                              const std::string& bytes) {
  post_([this, type, name, format, bytes] {
    Deliver(type, name.c_str(), format.c_str(), bytes.data(), static_cast<int32_t>(bytes.size()));
  });
}

void InProcessEventBus::RaiseWithoutData(int32_t type, const std::string& name,
                                         const std::string& format) {
  post_([this, type, name, format] { Deliver(type, name.c_str(), format.c_str(), nullptr, 0); });
}

void InProcessEventBus::Deliver(int32_t type, const char* name, const char* format,
                                const char* data, int32_t size) {
  std::vector<TavrinEventReceiver*> receivers;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    receivers = receivers_;
  }
  for (TavrinEventReceiver* r : receivers) r->OnEvent(type, name, format, data, size);
}

std::vector<PostedEvent> InProcessEventBus::posted() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return posted_;
}

std::size_t InProcessEventBus::receivers() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return receivers_.size();
}

}  // namespace tnmainui
