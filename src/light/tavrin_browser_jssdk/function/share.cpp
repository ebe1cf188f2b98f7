#include <chrono>
#include <cstring>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/page_commands.h"

namespace tnwebui {
namespace {

constexpr int kEnvelope = 2;

Json::Int64 NowMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

JSShare::JSShare() : eventName(createUuid()) {}

JSShare::~JSShare() {
  if (EventBus* bus = Bus()) bus->RemoveEventReceiver(this);
}

EventBus* JSShare::Bus() { return QueryService<EventBus>(SID_EventBus); }

void JSShare::Execute(const std::string&, const Json::Value& params) {
  xhav::BusinessChannel* channel = HostChannel();
  const Json::Value* payload = channel ? PayloadOf(params) : nullptr;
  std::string json;
  if (payload) {
    if (!HasJsonString(*payload, "title") || !HasJsonString(*payload, "content") ||
        !HasJsonString(*payload, "url")) {
      SendCode(kEnvelope, sdk::kMissingKey);
      return Keep();
    }
    const std::string content = (*payload)["content"].asString();
    Json::Value card;
    card["articleId"] = "";
    card["articleType"] = "text_image";
    card["description"] = content;
    card["iconLink"] = JsonString(*payload, "image");
    card["ptime"] = NowMilliseconds();
    card["summary"] = content;
    card["title"] = (*payload)["title"];
    card["url"] = (*payload)["url"];
    Json::Value message;
    message["chatId"] = "";
    message["linkCard"] = std::move(card);
    message["msgContent"] = content;
    message["msgType"] = "linkCard";
    Json::Value forward;
    forward["chatId"] = "";
    forward["code"] = "TnForwardMsg";
    forward["fromCode"] = "TnForwardMsg";
    forward["eventName"] = eventName;
    forward["isMerge"] = false;
    forward["message"] = WriteJson(message);
    json = WriteJson(forward);
  }
  EventBus* bus = Bus();
  if (!bus) {
    // No outcome can come: only the host's answer, if it was asked.
    if (payload) return ExecuteBusiness(channel, u"Notice", u"JSSdkShare", json, this);
    return Keep();
  }
  Hold();  // until the first event
  if (payload) ExecuteBusiness(channel, u"Notice", u"JSSdkShare", json, this);
  bus->AddEventReceiver(this);
}

void JSShare::OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t,
                               const char16_t* result) {
  Json::Value root;
  SendCode(kEnvelope, ParseHostResult(result, root) ? sdk::kOk : sdk::kResultNotJson);
}

void JSShare::OnEvent(int32_t, const char* name, const char*, const char* data, int32_t size) {
  if (ended.exchange(true)) return;
  if (name && eventName == name) {
    Json::Value outcome;
    const bool shared =
        data && size > 0 && ParseJson(std::string(data, static_cast<std::size_t>(size)), outcome) &&
        outcome.isObject() && outcome["code"].isInt() && outcome["code"].asInt() == 0;
    SendCode(kEnvelope, shared ? sdk::kOk : sdk::kResultNotJson);
  }
  if (EventBus* bus = Bus()) bus->RemoveEventReceiver(this);  // no event after this one
  DeleteLater();
}

}  // namespace tnwebui
