#include "light/tavrin_browser_jssdk/function/voice.h"

#include <string_view>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"

namespace tnwebui {
namespace {

constexpr int kEnvelope = 2;  // every voice answer carries a code only
constexpr char kPlayEnd[] = R"({"payload" : {"localId":"%s"}})";
constexpr char kPlaying[] = R"({"payload" : {"localId":"%s", "currentTime":%d}})";
// Run as a script as it stands; it is no statement, so the page only sees a script error.
constexpr char kPlayEndScript[] =
    R"({"api":"media.onVoicePlayEnd","meta": {},"payload":{"localId":"%s"}})";

}  // namespace

void JsSdkVoiceCommand::Execute(const std::string&, const Json::Value& params) {
  xhav::BusinessChannel* channel = HostChannel();
  const Json::Value* payload = channel ? PayloadOf(params) : nullptr;
  if (!payload) return Keep();  // no player to ask: no answer
  const Json::Value& localId = (*payload)["localId"];
  if (!localId.isString()) {
    SendCode(kEnvelope, sdk::kMissingKey);
    return Keep();
  }
  Remember(localId.asString());
  std::string json;
  FormatText(json, R"({ "filePath":"%s"})", FromLocalId(localId.asString()).c_str());
  ExecuteBusiness(channel, u"Notice", action, json, this);
}

bool JsSdkVoiceCommand::AnswerCommand(int32_t code, const char16_t* result) {
  Json::Value root;
  if (!ParseHostResult(result, root)) {
    SendCode(kEnvelope, sdk::kVoiceFailed);
    return false;
  }
  SendCode(kEnvelope, code);
  return true;
}

void JsSdkVoiceListener::OnBusinessResult(const char16_t* business, const char16_t* action,
                                          const char16_t*, int32_t code, const char16_t* result) {
  if (!browser) return SendCode(kEnvelope, sdk::kVoiceFailed);
  const bool timer = business && action && SameIgnoringCase(business, u"Notice") &&
                     SameIgnoringCase(action, u"JSSdkPlayVoiceTimer");
  if (!timer) {
    // The start answer's `voiceLenth` (the player's length of the voice) isn't passed on.
    AnswerCommand(code, result);
    return;
  }
  Json::Value root;
  if (ParseJson(WideToUtf8(result ? result : u""), root) && root.isObject() &&
      root["remainLength"].isUInt()) {
    OnTimer(root["remainLength"].asUInt());
  }
}

void JSPlayVoice::OnTimer(uint32_t remaining) {
  std::string json;
  if (remaining == 0) {
    FormatText(json, kPlayEnd, localId.c_str());
    SendEvent(json, kVoicePlayEndEvent);
  } else {
    // The player's time remaining goes out as the current time.
    FormatText(json, kPlaying, localId.c_str(), static_cast<int>(remaining));
    SendEvent(json, kVoicePlayEvent);
  }
}

void JSOnVoicePlay::OnTimer(uint32_t) {
  std::string script;
  FormatText(script, kPlayEndScript, localId.c_str());
  RunScript(script);
}

}  // namespace tnwebui
