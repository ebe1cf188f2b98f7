#include <cstdio>
#include <vector>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/choosers.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"
#include "tnbase/files.h"

namespace tnwebui {
namespace {

constexpr char kDataAddress[] = "data:image/png;base64,";

// The whole file as a data address; the prefix alone when it can't be read.
std::string DataAddress(const std::string& path) {
  std::string address = kDataAddress;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return address;
  std::vector<char> bytes;
  char block[65536];
  for (std::size_t n; (n = std::fread(block, 1, sizeof block, file)) > 0;) {
    bytes.insert(bytes.end(), block, block + n);
  }
  std::fclose(file);
  return address + tnbase::base64Encode(bytes.data(), bytes.size());
}

}  // namespace

void JSChooseImage::Execute(const std::string&, const Json::Value& params) {
  const Json::Value* payload = PayloadOf(params);
  if (payload && (*payload)["count"].isInt()) count = (*payload)["count"].asInt();
  std::string json;
  FormatText(json, R"({"selectFileCount":%d,"filterType":"image"})", count);
  Ask(u"notice", u"openfiledialog", json);
}

void JSChooseImage::OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t,
                                     const char16_t* result) {
  Json::Value root;
  // No JSON: an empty list text, so the answer reads "tempFiles":}}; and the function stays.
  if (!ParseHostResult(result, root)) {
    SendWithJson(5, sdk::kResultNotJson, "");
    return Stay();
  }
  if (root.size() == 0) {
    SendWithJson(5, sdk::kBadSelection, "[]");
    return DeleteLater();
  }
  if (count != 0 && root.size() > static_cast<Json::ArrayIndex>(count)) {
    ShowKeyTip("IDS_STR_TIPS_FILEMAXCOUNT");  // no answer, and the function stays
    return Stay();
  }
  Json::Value list(Json::arrayValue);
  for (const Json::Value& file : root) {
    if (!HasJsonString(file, "filePath") || !file.isMember("thumbnail")) continue;
    const std::string id = ToLocalId(file["filePath"].asString());
    Json::Value entry;
    entry["localId"] = id;
    entry["path"] = id;
    entry["base64"] = DataAddress(JsonString(file, "thumbnail"));
    if (file["mimeType"].isString()) entry["type"] = file["mimeType"].asString();
    if (file["fileSize"].isInt()) entry["size"] = file["fileSize"].asInt();
    if (file["fileName"].isString()) entry["name"] = file["fileName"].asString();
    list.append(entry);
  }
  SendWithJson(5, sdk::kOk, WriteJson(list));
  DeleteLater();
}

}  // namespace tnwebui
