#include <limits>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/choosers.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"
#include "tn_webui_module.h"
#include "tnbase/task_queue.h"

namespace tnwebui {
namespace {

// A number of the host's JSON as a 64-bit size; sizes past the signed range count as the
// largest, others as 0.
int64_t SizeOf(const Json::Value& value) {
  if (value.isInt64()) return value.asInt64();
  if (value.isUInt64()) return std::numeric_limits<int64_t>::max();
  return 0;
}

// The extension of a path's last part without its point; empty when it has none.
std::string ExtensionWithoutPoint(const std::string& path) {
  const std::string extension = tnbase::pathFindExtension(path);
  return extension.empty() ? extension : extension.substr(1);
}

}  // namespace

// ---- what every chooser shares

void JsSdkChooser::ShowKeyTip(const char* key) { ShowTimedTip(Utf8ToWide(LocalisedText(key))); }

void JsSdkChooser::ShowKeyTipWith(const char* key, const std::string& argument) {
  std::u16string tip;
  FormatWide(tip, Utf8ToWide(LocalisedText(key)).c_str(), Utf8ToWide(argument));
  ShowTimedTip(tip);
}

// ---- biz.chooseLocalFile

void JSChooseFile::Execute(const std::string&, const Json::Value& params) {
  Json::Value dialog;  // null without a payload
  if (const Json::Value* payload = PayloadOf(params)) {
    if ((*payload)["max"].isInt()) max = (*payload)["max"].asInt();
    dialog["selectFileCount"] = max;
    dialog["filterType"] = "file";
    if ((*payload)["maxSize"].isInt()) maxSize = (*payload)["maxSize"].asInt();
    maxTip = JsonString(*payload, "maxTip");
    const Json::Value& types = (*payload)["types"];
    if (types.isArray()) {
      // Each type extends the suffix, so an empty list names none (no "suffix" at all).
      std::string suffix;
      for (const Json::Value& type : types) {
        suffix += ";*." + JsonToString(type);
        dialog["suffix"] = suffix;
      }
    }
  }
  Ask(u"notice", u"openfiledialog", WriteJson(dialog));
}

void JSChooseFile::OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t,
                                    const char16_t* result) {
  Json::Value root;
  if (!ParseHostResult(result, root)) {
    SendWithJson(4, sdk::kResultNotJson, "[]");
    return DeleteLater();
  }
  if (root.size() == 0) {
    SendWithJson(4, sdk::kBadSelection, "[]");
    return DeleteLater();
  }
  if (root.isArray() && root.size() > static_cast<Json::ArrayIndex>(std::max(max, 0))) {
    ShowTimedTip(Utf8ToWide(maxTip));
    SendWithJson(4, sdk::kBadSelection, "[]");
    return DeleteLater();
  }
  Json::Value list;  // stays null when every file is refused
  for (const Json::Value& file : root) {
    if (!file.isObject()) continue;
    const std::string fileName = JsonString(file, "fileName");
    const int64_t size = SizeOf(file["fileSize"]);
    if (size > maxSize) {
      ShowKeyTipWith("IDS_STR_BUTTON_RESTORE", fileName);  // the client's key for this tip
      continue;
    }
    if (size == 0) {
      std::u16string tip;
      FormatWide(tip, u"%s文件大小为0KB", Utf8ToWide(fileName));
      ShowTimedTip(tip);
      continue;
    }
    const std::string path = JsonString(file, "filePath");
    Json::Value entry;
    entry["localId"] = ToLocalId(path);
    if (file["fileName"].isString()) entry["name"] = fileName;
    entry["size"] = Json::Int64(size);
    entry["type"] = ExtensionWithoutPoint(path);
    list.append(entry);
  }
  SendWithJson(4, sdk::kOk, WriteJson(list));
  DeleteLater();
}

}  // namespace tnwebui
