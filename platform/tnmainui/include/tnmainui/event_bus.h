#pragma once

// The client's event bus, in process: it records what views post and hands raised events to
// the registered receivers on the thread of process messages.

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "tnwebui/services.h"

namespace tnmainui {

struct PostedEvent {
  std::string kind;  // "files", "pbtext" or "json"
  int32_t type = 0;
  std::string name;
  std::string data;  // the file list serialised, or the payload
};

class __attribute__((visibility("default"))) InProcessEventBus final : public EventBus {
 public:
  // `post` runs a task on the thread of process messages (the browser's UI thread).
  explicit InProcessEventBus(std::function<void(std::function<void()>)> post)
      : post_(std::move(post)) {}

  // Posted events are recorded; text events (JSON, pbtext) also go to every receiver, as the
  // client's bus hands them out.
  void PostFileListEvent(int32_t viewId, const char* name,
                         const interdata::CoreMediaInfoList& files) override;
  void PostPbTextEvent(int32_t type, const char* name, const char* data, uint32_t size) override;
  void PostJsonEvent(int32_t type, const char* name, const char* data) override;
  void Reserved1() override {}
  void Reserved2() override {}
  void AddEventReceiver(TavrinEventReceiver* receiver) override;
  void RemoveEventReceiver(TavrinEventReceiver* receiver) override;

  // Raises an event to every receiver, on the thread of process messages.
  void Raise(int32_t type, const std::string& name, const std::string& format,
             const std::string& bytes);
  // The same with no data at all (a null pointer).
  void RaiseWithoutData(int32_t type, const std::string& name, const std::string& format);
  // Hands the event to the receivers at once, on the calling thread.
  void Deliver(int32_t type, const char* name, const char* format, const char* data, int32_t size);
  std::vector<PostedEvent> posted() const;
  std::size_t receivers() const;

 private:
  std::function<void(std::function<void()>)> post_;
  mutable std::mutex mutex_;
  std::vector<PostedEvent> posted_;
  std::vector<TavrinEventReceiver*> receivers_;
};

}  // namespace tnmainui
