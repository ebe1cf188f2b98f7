#include "light/tavrin_browser_event/browser_event_pool.h"

#include <algorithm>
#include <cstring>

#include "base/tn_log.h"
#include "cef/cef_process_message.h"
#include "presentation.pb.h"
#include "tn_webui_module.h"
#include "tnbase/files.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\light\\tavrin_browser_event\\browser_event_pool";

EventBus* FindEventBus() {
  ModuleHost* host = GetModuleHost();
  return host ? static_cast<EventBus*>(host->QueryService(SID_EventBus)) : nullptr;
}

}  // namespace

void BrowserUIEventReceiver::OnEvent(int32_t type, const char* name, const char* format,
                                     const char* data, int32_t size) {
  if (!pool_ || !data) return;
  // A host's negative count reads as no bytes.
  pool_->Dispatch(type, name, format, data, size > 0 ? static_cast<uint32_t>(size) : 0);
}

BrowserFunctionNotify::BrowserFunctionNotify(xhav::Browser* owner)
    : receiver_(std::make_unique<BrowserUIEventReceiver>(this)), owner_(owner) {
  if (EventBus* bus = FindEventBus()) {
    bus->AddEventReceiver(receiver_.get());
    registered_ = true;
  }
}

BrowserFunctionNotify::~BrowserFunctionNotify() { Detach(); }

void BrowserFunctionNotify::Detach() {
  owner_ = nullptr;
  receiver_->Forget();
  if (!registered_) return;
  registered_ = false;
  if (EventBus* bus = FindEventBus()) bus->RemoveEventReceiver(receiver_.get());
}

void BrowserFunctionNotify::Subscribe(const std::string& eventName, const std::string& key,
                                      const std::string& tag) {
  auto it = subscribers_.find(eventName);
  if (it == subscribers_.end()) {
    subscribers_[eventName].push_back({key, tag, CefString(key)});
    return;
  }
  auto& list = it->second;
  // Under a tag already taken, the old key stays; empty tags pile up.
  if (!tag.empty() &&
      std::any_of(list.begin(), list.end(), [&](const Subscription& s) { return s.tag == tag; })) {
    return;
  }
  list.push_back({key, tag, CefString(key)});
}

void BrowserFunctionNotify::Unsubscribe(const std::string& eventName, const std::string& tag) {
  auto it = subscribers_.find(eventName);
  if (it == subscribers_.end()) return;
  auto& list = it->second;
  list.erase(
      std::remove_if(list.begin(), list.end(), [&](const Subscription& s) { return s.tag == tag; }),
      list.end());
  if (list.empty()) subscribers_.erase(it);
}

void BrowserFunctionNotify::Dispatch(int32_t type, const char* name, const char* format,
                                     const char* data, uint32_t size) {
  if (!name || !format) return;
  auto it = subscribers_.find(name);
  if (it == subscribers_.end()) return;  // no subscriber: nothing copied or encoded
  // A copy: a transport that delivers at once may run page script inside a push, and a page
  // that subscribes or unsubscribes there changes the list being walked.
  const std::vector<Subscription> subscriptions = it->second;
  const CefString eventName(name);
  if (std::strcmp(format, "pbtext") == 0) {
    const CefString text = PbText(type, name, data, size);
    for (const Subscription& s : subscriptions) executePbTextJsCallback(s, type, eventName, text);
  } else if (std::strcmp(format, "json") == 0) {
    const CefString text = JsonText(data);
    for (const Subscription& s : subscriptions) executeJsonJsCallback(s, type, eventName, text);
  } else if (std::strcmp(format, "binary") == 0 || std::strcmp(format, "pb") == 0) {
    const CefString formatName(format);
    for (const Subscription& s : subscriptions) {
      executeBinaryJsCallback(s, type, eventName, formatName, data, size);
    }
  } else if (std::strcmp(format, "base64") == 0) {
    const CefString text = Base64Text(data, size);
    for (const Subscription& s : subscriptions) executeBase64JsCallback(s, type, eventName, text);
  }
}

CefString BrowserFunctionNotify::JsonText(const char* data) { return CefString(std::string(data)); }

CefString BrowserFunctionNotify::PbText(int32_t type, const char* name, const char* data,
                                        uint32_t size) {
  interdata::UnifyEvent event;
  event.set_oid(type);
  event.set_event_type(name);
  event.set_data_buf(data, size);
  std::string wire;
  event.SerializeToString(&wire);
  // A NUL byte of the wire form ends the text.
  return CefString(std::string(wire.c_str()));
}

CefString BrowserFunctionNotify::Base64Text(const char* data, uint32_t size) {
  return CefString(tnbase::base64Encode(data, size));
}

template <typename Fill>
void BrowserFunctionNotify::Push(const char* executor, const Subscription& s, int32_t type,
                                 const CefString& name, const CefString& format, Fill fill) {
  void* engineBrowser = nullptr;
  if (!owner_ || !owner_->GetProperty(18, &engineBrowser) || !engineBrowser) return;
  static const CefString kPushNotify(u"push_notify");
  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create(kPushNotify);
  CefRefPtr<CefListValue> args = message->GetArgumentList();
  args->SetString(0, s.keyText);
  args->SetInt(1, type);
  args->SetString(2, name);
  args->SetString(3, format);
  if (!fill(args)) return;
  if (!static_cast<CefBrowser*>(engineBrowser)->SendProcessMessage(PID_RENDERER, message)) {
    TN_LOG(4, executor, "send render process message error;");
  }
}

void BrowserFunctionNotify::executeJsonJsCallback(const Subscription& s, int32_t type,
                                                  const CefString& name, const CefString& text) {
  static const CefString kFormat(u"json");
  Push("BrowserFunctionNotify::executeJsonJsCallback", s, type, name, kFormat,
       [&text](const CefRefPtr<CefListValue>& args) {
         args->SetString(4, text);
         return true;
       });
}

void BrowserFunctionNotify::executePbTextJsCallback(const Subscription& s, int32_t type,
                                                    const CefString& name, const CefString& text) {
  static const CefString kFormat(u"pbtext");
  Push("BrowserFunctionNotify::executePbTextJsCallback", s, type, name, kFormat,
       [&text](const CefRefPtr<CefListValue>& args) {
         args->SetString(4, text);
         return true;
       });
}

void BrowserFunctionNotify::executeBinaryJsCallback(const Subscription& s, int32_t type,
                                                    const CefString& name, const CefString& format,
                                                    const char* data, uint32_t size) {
  Push("BrowserFunctionNotify::executeBinaryJsCallback", s, type, name, format,
       [data, size](const CefRefPtr<CefListValue>& args) {
         args->SetBinary(4, CefBinaryValue::Create(data, size));
         return true;
       });
}

void BrowserFunctionNotify::executeBase64JsCallback(const Subscription& s, int32_t type,
                                                    const CefString& name, const CefString& text) {
  static const CefString kFormat(u"base64");
  Push("BrowserFunctionNotify::executeBase64JsCallback", s, type, name, kFormat,
       [&text](const CefRefPtr<CefListValue>& args) {
         if (text.empty()) return false;
         args->SetString(4, text);
         return true;
       });
}

}  // namespace tnwebui
