#include <string_view>

#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"
#include "tnbase/files.h"

namespace tnwebui {
namespace {

constexpr int kEnvelope = 10;  // the store upload's answer, with its early brace

// The payload's keys in the order they are read; all but the session token are required.
constexpr std::string_view kKeys[] = {"localId",      "endpoint", "accessKey", "secretKey",
                                      "sessionToken", "region",   "bucket",    "object"};
constexpr std::string_view kOptionalKey = "sessionToken";

}  // namespace

void JSUploadFileToS3::Execute(const std::string&, const Json::Value& params) {
  xhav::BusinessChannel* channel = HostChannel();
  const Json::Value* payload = channel ? PayloadOf(params) : nullptr;
  if (!payload) {
    KeepForProcess(std::shared_ptr<JsSdkFunction>(this));  // no answer; it stays
    return;
  }
  for (std::string_view key : kKeys) {
    if (key == kOptionalKey || (*payload)[key.data()].isString()) continue;
    SendCode(kEnvelope, sdk::kMissingKey);
    KeepForProcess(std::shared_ptr<JsSdkFunction>(this));
    return;
  }
  localId = (*payload)["localId"].asString();
  const std::string path = FromLocalId(localId);

  Json::Value request(Json::objectValue);
  request["filePath"] = tnbase::pathRemoveFileName(path);
  request["fileName"] = tnbase::pathFindFileName(path);
  int64_t size = 0;
  if (tnbase::pathFileExists(path)) {
    size = tnbase::fileSize(path);
    if (size < 0) {
      SendCode(kEnvelope, sdk::kNoFileSize);
      KeepForProcess(std::shared_ptr<JsSdkFunction>(this));
      return;
    }
  }
  request["fileSize"] = Json::UInt64(size);
  for (std::string_view key : kKeys) {
    if (key != kKeys[0]) request[key.data()] = JsonString(*payload, key.data());
  }
  ExecuteBusiness(channel, u"UploadResource", u"UploadFileWithFilePath", WriteJson(request), this);
}

void JSUploadFileToS3::OnBusinessResult(const char16_t*, const char16_t*, const char16_t*,
                                        int32_t code, const char16_t* result) {
  Json::Value root;
  if (!ParseHostResult(result, root) || !root.isObject() || !root["fileSize"].isUInt64() ||
      !root["progress"].isUInt64()) {
    return SendCode(kEnvelope, sdk::kProgressMissing);
  }
  const uint64_t fileSize = root["fileSize"].asUInt64();
  const uint64_t progress = root["progress"].asUInt64();
  SendEvent(ProgressText(localId, fileSize, progress), kUploadProgressEvent);
  if (progress == fileSize) SendCode(kEnvelope, code);
}

}  // namespace tnwebui
