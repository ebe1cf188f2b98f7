#pragma once

// The event pool of a view: the page's subscriptions by event name, and the receiver through
// which the client's EventBus hands it every event. An event goes to the page once for each
// subscription of its name, as "push_notify" with the subscription's key.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cef/cef_string.h"
#include "hav/hav.h"
#include "tnwebui/services.h"

namespace tnwebui {

class BrowserFunctionNotify;

class BrowserUIEventReceiver final : public TavrinEventReceiver {
 public:
  explicit BrowserUIEventReceiver(BrowserFunctionNotify* pool) : pool_(pool) {}
  void OnEvent(int32_t type, const char* name, const char* format, const char* data,
               int32_t size) override;
  void Forget() { pool_ = nullptr; }

 private:
  BrowserFunctionNotify* pool_;
};

class BrowserFunctionNotify {
 public:
  struct Subscription {
    std::string key;    // the page function's key in the render process
    std::string tag;    // the name under which the page finds it again; may be empty
    CefString keyText;  // the key as each push carries it, converted once
  };

  // Registers the receiver with the client's EventBus.
  explicit BrowserFunctionNotify(xhav::Browser* owner);
  ~BrowserFunctionNotify();

  void Subscribe(const std::string& eventName, const std::string& key, const std::string& tag);
  void Unsubscribe(const std::string& eventName, const std::string& tag);
  // No more events: the owner is forgotten and the receiver leaves the EventBus.
  void Detach();

  // One event to every subscription of its name.
  void Dispatch(int32_t type, const char* name, const char* format, const char* data,
                uint32_t size);

  // The executors, one push each. A text payload is made once per event (JsonText, PbText,
  // Base64Text) and each subscription's message gets its own copy.
  // The event's name and format come converted once per event too.
  void executeJsonJsCallback(const Subscription& s, int32_t type, const CefString& name,
                             const CefString& text);
  void executePbTextJsCallback(const Subscription& s, int32_t type, const CefString& name,
                               const CefString& text);
  void executeBinaryJsCallback(const Subscription& s, int32_t type, const CefString& name,
                               const CefString& format, const char* data, uint32_t size);
  void executeBase64JsCallback(const Subscription& s, int32_t type, const CefString& name,
                               const CefString& text);

  // "json": the data as a NUL-terminated text, whatever the size says.
  static CefString JsonText(const char* data);
  // "pbtext": the UnifyEvent's wire form, passed on as a NUL-terminated text.
  static CefString PbText(int32_t type, const char* name, const char* data, uint32_t size);
  // "base64": empty when the encoding gives nothing, and then nothing is sent.
  static CefString Base64Text(const char* data, uint32_t size);

  const std::map<std::string, std::vector<Subscription>>& subscribers() const {
    return subscribers_;
  }

 private:
  // Sends "push_notify" for `s`, element 4 set by `fill`; logs under `executor` if it fails.
  template <typename Fill>
  void Push(const char* executor, const Subscription& s, int32_t type, const CefString& name,
            const CefString& format, Fill fill);

  std::map<std::string, std::vector<Subscription>> subscribers_;
  std::unique_ptr<BrowserUIEventReceiver> receiver_;
  xhav::Browser* owner_;
  bool registered_ = false;
};

}  // namespace tnwebui
