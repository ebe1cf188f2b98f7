#include <cstdlib>

#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/page_commands.h"

namespace tnwebui {
namespace {

constexpr int kDownloadStep = 3002;  // the host's fetch reports a step, not its end

// A coordinate of the page: a number, or a number written as text; 0 for anything else.
float Coordinate(const Json::Value& payload, const char* key) {
  const Json::Value& value = payload[key];
  if (value.isNumeric()) return value.asFloat();
  if (value.isString()) return std::strtof(value.asCString(), nullptr);
  return 0;
}

}  // namespace

// ---- device.displayLocation

void JSDisplayLocation::Execute(const std::string&, const Json::Value& params) {
  const Json::Value* payload = PayloadOf(params);
  if (!payload) {
    SendCode(2, sdk::kResultNotJson);
    return DeleteLater();
  }
  // The type of the coordinates, the place's name and address aren't shown on the map.
  const float latitude = Coordinate(*payload, "latitude");
  const float longitude = Coordinate(*payload, "longitude");
  std::string location;
  FormatText(location, "%f,%f", latitude, longitude);
  Json::Value open;
  open["url"] = std::string(kWebMapMarker) + "?location=" + location +
                "&title=\xe4\xb8\x9a\xe4\xbd\x8d&output=html&src=" + kWebMapSource;
  ExecuteBusiness(HostChannel(), u"Notice", u"OpenUrl", WriteJson(open), nullptr);
  // "ok" says the request was made, not that a map opened: the client answers so even when no
  // host channel took it, and pages written for it expect no other code here.
  SendCode(2, sdk::kOk);
  DeleteLater();
}

// ---- media.previewImage

void JSPreviewImage::Execute(const std::string&, const Json::Value& params) {
  std::string current;
  if (const Json::Value* payload = PayloadOf(params)) {
    current = JsonString(*payload, "current");  // `urls`, the others of the set, aren't shown
  }
  xhav::BusinessChannel* channel = HostChannel();
  if (!channel) return Keep();
  std::string json;
  FormatText(json, R"({ "strUrl":"%s"})", current.c_str());
  ExecuteBusiness(channel, u"DownloadResource", u"DowndloadFileWithURL", json, this);
}

void JSPreviewImage::OnBusinessResult(const char16_t*, const char16_t*, const char16_t*,
                                      int32_t code, const char16_t* result) {
  if (code == kDownloadStep) return;
  Json::Value root;
  if (!ParseHostResult(result, root)) return SendCode(1, sdk::kResultNotJson);
  if (HasJsonString(root, "filePath") && !root["filePath"].asString().empty()) {
    Json::Value view;
    view["pathAry"].append(root["filePath"]);
    ExecuteBusiness(HostChannel(), u"Notice", u"ViewSrcPicture", WriteJson(view), nullptr);
  }
  SendCode(1, sdk::kOk);
}

// ---- media.previewVideo

void JSPreviewVideo::Execute(const std::string&, const Json::Value& params) {
  std::string url;
  if (const Json::Value* payload = PayloadOf(params)) url = JsonString(*payload, "url");
  std::string json;
  FormatText(json, R"({ "url":"%s"})", url.c_str());
  ExecuteBusiness(HostChannel(), u"ExtendApp", u"OpenImageViewer", json, this);
  // At once and "ok" whatever the host does (or when there is none): the viewer is the host's
  // own window, and the page's answer never waited for it.
  SendCode(9, sdk::kOk);
  DeleteLater();
}

// ---- ui.closeWindow, ui.onHistoryBack

void JSCloseWindow::Execute(const std::string&, const Json::Value&) {
  SendResponse(sdk::kEnvelopes[14].head);
  if (browser) browser->Close(1);
}

void JSHistoryBack::Execute(const std::string&, const Json::Value& params) {
  if (!params.isObject()) return;
  const Json::Value& data = params["data"];
  if (data.isObject() && data["result"].isBool() && data["result"].asBool()) {
    RunScript("tnpc.goback();");
  }
}

}  // namespace tnwebui
