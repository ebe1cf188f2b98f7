#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"
#include "tnbase/files.h"

namespace tnwebui {
namespace {

constexpr int kEnvelope = 2;  // saveFile answers with a code only

}  // namespace

void JSSaveFile::Execute(const std::string&, const Json::Value& params) {
  xhav::BusinessChannel* channel = HostChannel();
  const Json::Value* payload = channel ? PayloadOf(params) : nullptr;
  bool local = false;
  if (payload && (*payload)["url"].isString()) {
    const Json::Value& target = (*payload)["target"];
    if (target.isArray()) {
      for (const Json::Value& element : target) {
        if (element.isString() && element.asString() == "local") local = true;
      }
    }
    sourcePath = FromLocalId((*payload)["url"].asString());
  } else if (payload) {
    SendCode(kEnvelope, sdk::kMissingKey);
  }
  if (!local) {
    KeepForProcess(std::shared_ptr<JsSdkFunction>(this));  // nothing asked: it stays
    return;
  }
  const std::string fileName = tnbase::pathFindFileName(sourcePath);
  std::string json;
  FormatText(json, R"({ "fileName":"%s","filterType":"file"})", fileName.c_str());
  ExecuteBusiness(channel, u"Notice", u"OpenSaveAsWnd", json, this);
}

void JSSaveFile::OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t,
                                  const char16_t* result) {
  Json::Value root;
  if (!ParseHostResult(result, root)) return SendCode(kEnvelope, sdk::kResultNotJson);
  if (!HasJsonString(root, "fileName") || !HasJsonString(root, "filePath")) {
    return SendCode(kEnvelope, sdk::kSaveResultIncomplete);
  }
  const std::string destination = root["filePath"].asString() + root["fileName"].asString();
  SendCode(kEnvelope,
           tnbase::copyFile(sourcePath, destination, false) ? sdk::kOk : sdk::kCopyFailed);
}

}  // namespace tnwebui
