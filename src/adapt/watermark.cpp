#include "adapt/watermark.h"

#include "base/json.h"
#include "tnbase/tn_string.h"

extern const char kWatermarkScript[];
extern const std::size_t kWatermarkScriptSize;

namespace tnwebui {

const char16_t kDragRegionScript[] =
    u"var oDom = document.createElement('div');\t\toDom.className = 'can_drag';\t\toDom.style = ' "
    u"-webkit-app-region: drag';\t\tdocument.body.appendChild(oDom);";

std::string LoadWatermarkScript() { return std::string(kWatermarkScript, kWatermarkScriptSize); }

bool BuildWatermarkInfo(const std::string& initData, std::u16string* json) {
  Json::Value data;
  if (!ParseJson(initData, data) || !data.isObject()) return false;
  const Json::Value& show = data["showWatermark"];
  if (!show.isInt() || show.asInt() <= 0) return false;

  Json::Value info(Json::objectValue);
  info["name"] = JsonString(data, "name");
  info["mobile"] = JsonString(data, "mobile");  // whatever "showWatermarkPhone" says
  info["email"] = JsonString(data, "email");
  info["petname"] = JsonString(data, "petname");
  info["sector"] = JsonString(data, "sectorname");
  const Json::Value& modes = data["watermark_modes"];
  if (modes.isArray()) {
    for (const Json::Value& mode : modes) info["watermarkRule"].append(mode);
  }
  const std::string written = WriteJson(info);
  tnbase::TnStringPtr text(
      allocStringFromUTF8(written.data(), static_cast<int32_t>(written.size())));
  text->TrimLineEnd();
  json->assign(text->GetData(), static_cast<std::size_t>(text->GetLength()));
  return true;
}

void RunWatermarkStep(xhav::Browser* browser, CefRefPtr<CefBrowser> engineBrowser,
                      CefRefPtr<CefFrame> frame, const std::string& initData) {
  std::u16string info;
  if (!browser || !BuildWatermarkInfo(initData, &info)) return;
  browser->ExecuteJavaScript(engineBrowser, frame, (u"window.watermarkInfo = " + info).c_str());
  const std::string script = LoadWatermarkScript();
  if (script.empty()) return;
  tnbase::TnStringPtr wide(allocStringFromUTF8(script.data(), static_cast<int32_t>(script.size())));
  browser->ExecuteJavaScript(engineBrowser, frame, wide->GetData());
  browser->ExecuteJavaScript(engineBrowser, frame, kDragRegionScript);
}

}  // namespace tnwebui
