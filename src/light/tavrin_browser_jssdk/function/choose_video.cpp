#include "base/CommonFunc.h"
#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/choosers.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"
#include "tn_webui_module.h"
#include "tnbase/files.h"

namespace tnwebui {
namespace {

constexpr int32_t kLongestVideo = 300;                             // seconds
constexpr int64_t kTicksPerSecond = 10000000;                      // the host counts in 100 ns
constexpr int64_t kFirstTooLong = 2147483648LL * kTicksPerSecond;  // past any int seconds

}  // namespace

void JSChooseVideo::Execute(const std::string&, const Json::Value& params) {
  if (const Json::Value* payload = PayloadOf(params)) {
    // "sourceType" and "compressed" are read and not used.
    if ((*payload)["maxDuration"].isInt()) maxDuration = (*payload)["maxDuration"].asInt();
    if (maxDuration > kLongestVideo) maxDuration = kLongestVideo;
  }
  Ask(u"notice", u"openfiledialog", R"({"selectFileCount":1,"filterType":"video"})");
}

void JSChooseVideo::OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t,
                                     const char16_t* result) {
  Json::Value root;
  if (!ParseHostResult(result, root)) {
    SendWithJson(6, sdk::kResultNotJson, "");
    return DeleteLater();
  }
  for (const Json::Value& file : root) {
    if (!HasJsonString(file, "filePath")) continue;
    const std::string path = file["filePath"].asString();
    Json::Value entry;
    if (file["fileSize"].isInt()) entry["size"] = file["fileSize"].asInt();
    entry["localId"] = ToLocalId(path);
    entry["path"] = entry["localId"];
    if (file["height"].isInt()) entry["height"] = file["height"].asInt();
    if (file["width"].isInt()) entry["width"] = file["width"].asInt();
    entry["type"] = tnbase::pathFindExtension(path);
    const Json::Value& ticks = file["duration"];
    const int64_t duration = ticks.isInt64() ? ticks.asInt64() : 0;
    if (duration < 0) {
      ShowKeyTip("IDS_STR_TIPS_VIDEOINVALID");
      continue;
    }
    if (duration >= kFirstTooLong) continue;
    const int64_t seconds = duration / kTicksPerSecond;
    if (seconds > maxDuration) {
      std::u16string tip;
      FormatWide(tip, Utf8ToWide(LocalisedText("IDS_STR_TIPS_VIDEOMAXSECONDS")).c_str(),
                 maxDuration);
      ShowTimedTip(tip);
      continue;
    }
    entry["duration"] = Json::Int64(seconds);
    SendWithJson(6, sdk::kOk, WriteJson(entry));
  }
  DeleteLater();
}

}  // namespace tnwebui
