#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"

#include <string_view>
#include <unordered_map>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/resource_roots.h"
#include "base/tn_log.h"
#include "light/tavrin_browser_jssdk/function/choosers.h"
#include "light/tavrin_browser_jssdk/function/config.h"
#include "light/tavrin_browser_jssdk/function/getsectormembers.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "light/tavrin_browser_jssdk/function/nav_bar.h"
#include "light/tavrin_browser_jssdk/function/not_impl.h"
#include "light/tavrin_browser_jssdk/function/page_commands.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"
#include "light/tavrin_browser_jssdk/function/voice.h"

namespace tnwebui {
namespace {

constexpr char kLogSource[] = "..\\..\\src\\light\\tavrin_browser_jssdk\\tavrin_js_sdk";

constexpr char kGoBackScript[] =
    R"(if(!window.TavrinJsBridge){tnpc.goback();} else if(TavrinJsBridge._checkHandler) { var t = TavrinJsBridge._checkHandler('{"handlerName":"ui.onHistoryBack"}'); var response = JSON.parse(t); console.log(response); if(response.result == true) %s else tnpc.goback();} else {tnpc.goback();})";
constexpr char kHistoryBackCall[] =
    R"(TavrinJsBridge._handleMessageFromObjC('{"callbackId":"123456","data":{"meta": {},"payload":{}},"handlerName": "ui.onHistoryBack"}');)";

template <typename Function>
JsSdkFunction* Make(const std::shared_ptr<SharedAppId>&) {
  return new Function;
}

// config leaves the app's identity in the SDK.
JsSdkFunction* MakeConfig(const std::shared_ptr<SharedAppId>& sharedAppId) {
  return new JSConfigFunction(sharedAppId);
}

// The names the SDK serves, compared in this order.
struct Handler {
  const char* name;
  JsSdkFunction* (*make)(const std::shared_ptr<SharedAppId>& sharedAppId);
};
constexpr Handler kHandlers[] = {
    {"config", MakeConfig},
    {"biz.getAuthCode", Make<JSGetAuthCodeFunction>},
    {"ui.setNavigationBarMenu", Make<JSNavBarFunction>},
    {"ui.closeWindow", Make<JSCloseWindow>},
    {"ui.onHistoryBack", Make<JSHistoryBack>},
    {"internal.biz.getVisitorToken", Make<JSGetVisitorTokenFunction>},
    {"media.chooseImage", Make<JSChooseImage>},
    {"biz.chooseContacts", Make<JSChooseContacts>},
    {"media.previewImage", Make<JSPreviewImage>},
    {"biz.opencontactscard", Make<JSOpenContactsCard>},
    {"media.chooseVideo", Make<JSChooseVideo>},
    {"media.previewVideo", Make<JSPreviewVideo>},
    {"utils.uploadFile", Make<JSUploadFile>},
    {"utils.uploadFileToS3", Make<JSUploadFileToS3>},
    {"utils.downloadFile", Make<JSDownloadFile>},
    {"utils.saveFile", Make<JSSaveFile>},
    {"media.playVoice", Make<JSPlayVoice>},
    {"media.pauseVoice", Make<JSPauseVoice>},
    {"media.stopVoice", Make<JSStopVoice>},
    {"media.onVoicePlay", Make<JSOnVoicePlay>},
    {"media.onVoicePlayEnd", Make<JSOnVoicePlayEnd>},
    {"utils.onUploadProgress", Make<JSOnUploadProgress>},
    {"utils.onDownloadProgress", Make<JSOnDownloadProgress>},
    {"utils.share", Make<JSShare>},
    {"device.displayLocation", Make<JSDisplayLocation>},
    {"biz.openGroupChat", Make<JSOpenGroupChat>},
    {"biz.openContactsCard", Make<JSOpenContactsCard>},
    {"biz.chooseLocalFile", Make<JSChooseFile>},
    {"biz.getSectorMember", Make<JSGetSectorMembers>},
    {"biz.chooseDepartments", Make<JSChooseDepartments>},
};
static_assert(sizeof kHandlers / sizeof kHandlers[0] == 30, "the SDK serves thirty names");

}  // namespace

TavrinJsSDK::TavrinJsSDK(int32_t orgId, ModuleHost* module)
    : orgId_(orgId), module_(module), sharedAppId_(std::make_shared<SharedAppId>()) {}

bool TavrinJsSDK::OnBrowserCall(TnString* name, CefRefPtr<CefProcessMessage> message) {
  if (!name || !name->EqualsIgnoreCase(xhav::kFetchJSMessage)) return false;
  CefRefPtr<CefListValue> args = message ? message->GetArgumentList() : nullptr;
  if (!args || args->GetSize() == 0 || args->GetType(0) != VTYPE_STRING) {
    TN_LOG_TEXT(4, "TavrinJsSDK::OnBrowserCall", "on havFetchJSMessage, the json is NULL;");
    return true;
  }
  fetched_ = true;

  Json::Value messages;
  if (!ParseJson(args->GetString(0).ToString(), messages) || !messages.isArray()) return true;
  for (Json::Value& element : messages) {
    if (!element.isObject()) continue;
    Json::Value single(Json::arrayValue);
    single.append(std::move(element));  // each element is written once and then not needed
    onJsCall(WriteJson(single));
  }
  return true;
}

void TavrinJsSDK::onJsCall(const std::string& message) {
  Json::Value root;
  if (!ParseJson(message, root) || !root.isArray() || root.size() != 1) return;
  const Json::Value& call = root[0u];
  const std::string handlerName = JsonString(call, "handlerName");
  if (handlerName.empty()) return;

  // An answer (a responseData that isn't null) wins over a call.
  std::string id;
  const Json::Value* arguments = &call["responseData"];
  if (!arguments->isNull()) {
    id = JsonString(call, "responseId");
  } else {
    id = JsonString(call, "callbackId");
    arguments = &call["data"];
  }

  JsSdkFunction* function = CreateFunction(handlerName);
  if (!function) {
    TN_LOG(4, "TavrinJsSDK::onJsCall", "can not find js handler for %s", handlerName.c_str());
    return;
  }
  const bool oneShot = function->IsOneShot();
  function->Fill(orgId_, appIdImplId_, browser_, browser_ ? browser_->GetWindowHandle() : nullptr,
                 module_);
  function->SetCallbackId(id);
  function->Execute(handlerName, *arguments);
  // What the last config left decides from here on, for pages of its origin; empty while none
  // has run.
  appIdImplId_ = sharedAppId_->Get(OriginOf(PageUrlOf(browser_)));
  if (oneShot) delete function;
}

void TavrinJsSDK::SetViewParam(const std::string& json) {
  viewParam_ = json;
  if (viewParam_.empty()) return;
  Json::Value param;
  if (ParseJson(viewParam_, param) && HasJsonString(param, "appid")) {
    appIdImplId_ = param["appid"].asString();
  }
}

bool TavrinJsSDK::GoBack() {
  std::string script;
  JsSdkFunction::FormatText(script, kGoBackScript, kHistoryBackCall);
  if (browser_) browser_->ExecuteJavaScript(nullptr, nullptr, Utf8ToWide(script).c_str());
  return true;
}

JsSdkFunction* TavrinJsSDK::CreateFunction(const std::string& handlerName) {
  // The names are distinct, so an index of the table finds what the scan in its order finds.
  static const std::unordered_map<std::string_view, const Handler*> index = [] {
    std::unordered_map<std::string_view, const Handler*> names;
    for (const Handler& handler : kHandlers) names.emplace(handler.name, &handler);
    return names;
  }();
  auto it = index.find(handlerName);
  if (it != index.end()) return it->second->make(sharedAppId_);
  return new JSNotImplFunction;
}

}  // namespace tnwebui
