#include "light/tavrin_browser_event/browser_event_api.h"

#include "base/tn_log.h"
#include "tn_webui_module.h"
#include "tnwebui/services.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\light\\tavrin_browser_event\\browser_event_api";
constexpr char kFn[] = "BrowserEventApi::OnBrowserCall";
constexpr char kParamError[] = "registerEvent, function param error";

// The strings of a list; elements of another type read as empty names.
std::vector<std::string> Names(const CefRefPtr<CefListValue>& list) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < list->GetSize(); ++i) names.push_back(list->GetString(i).ToString());
  return names;
}

}  // namespace

void BrowserEventApi::Init(xhav::Browser* owner) {
  if (!owner || pool_) return;
  owner_ = owner;
  pool_ = std::make_unique<BrowserFunctionNotify>(owner);
}

void BrowserEventApi::Detach() {
  if (pool_) pool_->Detach();
}

bool BrowserEventApi::OnBrowserCall(TnString* name, CefRefPtr<CefProcessMessage> message) {
  if (!name || !message) return false;
  CefRefPtr<CefListValue> args = message->GetArgumentList();
  const std::size_t count = args->GetSize();

  if (name->EqualsIgnoreCase("registerEvent")) {
    if (count < 2 || args->GetType(0) != VTYPE_LIST || args->GetType(1) != VTYPE_STRING) {
      TN_LOG(4, kFn, kParamError);
      return true;
    }
    const std::string key = args->GetString(1).ToString();
    const std::string tag = count == 3 ? args->GetString(2).ToString() : std::string();
    for (const std::string& event : Names(args->GetList(0))) {
      if (pool_) pool_->Subscribe(event, key, tag);
    }
    return true;
  }

  if (name->EqualsIgnoreCase("unregisterEvent")) {
    if (count != 2 || args->GetType(0) != VTYPE_LIST || args->GetType(1) != VTYPE_STRING) {
      TN_LOG(4, kFn, kParamError);
      return true;
    }
    const std::string tag = args->GetString(1).ToString();
    for (const std::string& event : Names(args->GetList(0))) {
      if (pool_) pool_->Unsubscribe(event, tag);
    }
    return true;
  }

  if (name->EqualsIgnoreCase("send_event")) {
    ModuleHost* host = GetModuleHost();
    auto* bus = host ? static_cast<EventBus*>(host->QueryService(SID_EventBus)) : nullptr;
    if (!bus || count < 2) return true;
    const int32_t type = args->GetInt(0);
    const std::string event = args->GetString(1).ToString();
    if (count != 4) return true;
    const std::string format = args->GetString(2).ToString();
    const std::string payload = args->GetString(3).ToString();
    if (format == "json") {
      bus->PostJsonEvent(type, event.c_str(), payload.c_str());
    } else if (format == "pbtext") {
      bus->PostPbTextEvent(type, event.c_str(), payload.c_str(),
                           static_cast<uint32_t>(payload.size()));
    }
    return true;
  }
  return false;
}

}  // namespace tnwebui
