#include "base/CommonFunc.h"
#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"

namespace tnwebui {
namespace {

void AnswerLocalId(std::string& text, int32_t code, const std::string& id) {
  JsSdkFunction::FormatText(text, sdk::kEnvelopes[8].head, code, id.c_str());
}

}  // namespace

void JSUploadFile::Execute(const std::string&, const Json::Value& params) {
  xhav::BusinessChannel* channel = HostChannel();
  const Json::Value* payload = channel ? PayloadOf(params) : nullptr;
  if (!payload || !(*payload)["url"].isString()) {
    if (payload) {
      std::string text;
      AnswerLocalId(text, sdk::kMissingKey, "");
      SendResponse(text);
    }
    KeepForProcess(std::shared_ptr<JsSdkFunction>(this));  // nobody holds it; it stays
    return;
  }
  std::string json;
  FormatText(json, R"({ "strUrl":"%s"})", (*payload)["url"].asCString());
  ExecuteBusiness(channel, u"DownloadResource", u"DowndloadFileWithURL", json, this);
}

void JSUploadFile::OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t,
                                    const char16_t* result) {
  Json::Value root;
  std::string text;
  if (!ParseHostResult(result, root)) {
    AnswerLocalId(text, sdk::kResultNotJson, "");
  } else {
    // The path as the host wrote it, behind the prefix: no separator is changed.
    AnswerLocalId(text, sdk::kOk, "res://local/" + JsonString(root, "filePath"));
  }
  SendResponse(text);
}

}  // namespace tnwebui
