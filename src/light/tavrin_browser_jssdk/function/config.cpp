#include "light/tavrin_browser_jssdk/function/config.h"

#include <cstdlib>
#include <map>
#include <vector>

#include "auth.pb.h"
#include "base/CommonFunc.h"
#include "base/resource_roots.h"
#include "base/tn_log.h"
#include "coretool.pb.h"
#include "light/tavrin_browser_jssdk/function/go_adapters.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"
#include "options.pb.h"
#include "tn/d/message.pb.h"
#include "tn/d/obj/bridge/bridge_KV.pb.h"
#include "tn/d/obj/jsapi_signature_status/message.pb.h"
#include "tnwebui/services.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\light\\tavrin_browser_jssdk\\function\\config";
constexpr char kConfigAnswer[] = "JSConfigFunction::Execute::<lambda>::operator ()";
constexpr char kWebviewDomain[] = "webview";
constexpr char kDeviceSuffix[] = "_webview";

// The text of `key` in a CoreContext's map; empty when it isn't there.
std::string ContextValue(const interdata::CoreContext& context, const char* key) {
  auto it = context.context().find(key);
  return it == context.context().end() ? std::string() : it->second;
}

}  // namespace

void SplitAppId(const std::string& text, int32_t* oid, int32_t* appId) {
  *oid = 0;
  *appId = 0;
  const std::size_t dash = text.find('-');
  if (dash == std::string::npos) return;
  *oid = std::atoi(text.substr(0, dash).c_str());
  *appId = std::atoi(text.substr(dash + 1).c_str());
}

// ---- config

void JSConfigFunction::Execute(const std::string&, const Json::Value& params) {
  std::string nonce, signature, timestamp;
  int32_t oid = 0, app = 0;
  const Json::Value& payload = params.isObject() ? params["payload"] : Json::Value::nullSingleton();
  if (payload.isObject()) {
    if (payload["nonceStr"].isString()) nonce = payload["nonceStr"].asString();
    if (payload["appId"].isString()) SplitAppId(payload["appId"].asString(), &oid, &app);
    if (payload["signature"].isString()) signature = payload["signature"].asString();
    // Only a number counts; a timestamp given as text is left out.
    if (payload["timestamp"].isInt()) FormatText(timestamp, "%d", payload["timestamp"].asInt());
  }
  auto* service = QueryService<BusinessCoreService>(SID_BusinessCoreService);

  bridge::KArray keys;
  auto* key = keys.add_array()->mutable_k_obj()->mutable_k_jsapi_signature_status();
  key->mutable_app_id()->set_oid(oid);
  key->mutable_app_id()->set_app_id(app);
  // The app's identity is what config leaves behind, whatever the check says.
  const std::string appId = key->app_id().SerializeAsString();
  appIdHex.clear();
  for (unsigned char byte : appId) {
    std::string hex;
    FormatText(hex, "%02x", byte);
    appIdHex += hex;
  }
  if (sharedAppId) sharedAppId->Set(appIdHex, OriginOf(PageUrlOf(browser)));
  key->set_nonce(nonce);
  key->set_signature(signature);
  key->set_url(PageUrlOf(browser));
  key->set_timestamp(timestamp);

  interdata::TaskOptions options;
  options.set_needauth(true);
  options.set_netsensitive(true);
  const std::string keyBytes = keys.SerializeAsString();
  const std::string optionBytes = options.SerializeAsString();
  GDataImpl keyData(keyBytes.data(), static_cast<int32_t>(keyBytes.size()));
  GDataImpl optionData(optionBytes.data(), static_cast<int32_t>(optionBytes.size()));
  tnbusiness::NetworkObject* network = service ? service->GetNetworkObject() : nullptr;
  if (!network) {
    KeepForProcess(std::shared_ptr<JsSdkFunction>(this));  // nobody to ask: no answer
    return;
  }
  network->BatchQuery(orgId, &keyData, &optionData, 1,
                      new ResponserImpl([this](IGData* answer, Tnerror::Error* error) {
                        OnAnswer(answer, error);
                      }));
}

void JSConfigFunction::OnAnswer(IGData* data, Tnerror::Error* error) {
  int32_t code = sdk::kOk;
  const int32_t value = GoErrorValue(error);
  bridge::KVSArray answer;
  if (value != 0) {
    TN_LOG(4, kConfigAnswer, "jsapi_signature_status error, dump error code: %d", value);
    code = value;
  } else if (!data || !answer.ParseFromArray(data->Data(), data->Size())) {
    TN_LOG(4, kConfigAnswer, "jsapi_signature_status, parser error");
    code = sdk::kBadSignatureAnswer;
  } else if (answer.array_size() != 1) {
    TN_LOG(4, kConfigAnswer, "jsapi_signature_status, the response size is not 1 size");
    code = sdk::kBadSignatureAnswer;
  } else {
    // Another member than the signature's reads as a default value: not ok.
    code = answer.array(0).v().v_obj().v_jsapi_signature_status().ok() ? sdk::kOk
                                                                       : sdk::kSignatureRejected;
  }
  std::string text;
  FormatText(text, sdk::kEnvelopes[1].head, code);
  SendResponse(text);
  DeleteLater();
}

// ---- biz.getAuthCode

void JSGetAuthCodeFunction::Execute(const std::string&, const Json::Value& params) {
  auto* service = QueryService<BusinessCoreService>(SID_BusinessCoreService);
  tnbusiness::ApplicationObject* application = service ? service->GetApplicationObject() : nullptr;
  if (!application) {
    KeepForProcess(std::shared_ptr<JsSdkFunction>(this));  // no answer; the function stays
    return;
  }
  const std::string url = PageUrlOf(browser);
  interdata::CoreAppCodeReq request;
  const Json::Value& payload = params.isObject() ? params["payload"] : Json::Value::nullSingleton();
  if (payload.isObject() && payload["appId"].isString()) {
    int32_t oid = 0, app = 0;
    SplitAppId(payload["appId"].asString(), &oid, &app);
    request.set_appoid(oid);
    request.set_appid(app);
  }
  request.set_serverurl(url);
  const std::string bytes = request.SerializeAsString();
  const std::string task = createUuid();
  GDataImpl data(bytes.data(), static_cast<int32_t>(bytes.size()));
  GStringImpl taskId(task.data(), static_cast<int32_t>(task.size()));
  application->RequestAppCode(orgId, &data, &taskId,
                              new ResponserImpl([this](IGData* answer, Tnerror::Error* error) {
                                OnAnswer(answer, error);
                              }));
}

void JSGetAuthCodeFunction::OnAnswer(IGData* data, Tnerror::Error* error) {
  const int32_t value = GoErrorValue(error);
  std::string answer;
  if (value != 0) {
    FormatText(answer, sdk::kEnvelopes[3].head, value, "");
    SendResponse(answer);
  } else if (data) {
    interdata::CoreAppCodeResp response;
    const bool parsed = response.ParseFromArray(data->Data(), data->Size());
    // A bad answer still shows whatever code its bytes hold.
    FormatText(answer, sdk::kEnvelopes[3].head, parsed ? sdk::kOk : sdk::kBadAppCode,
               response.code().c_str());
    SendResponse(answer);
  }
  DeleteLater();
}

// ---- internal.biz.getVisitorToken

void JSGetVisitorTokenFunction::Execute(const std::string&, const Json::Value&) {
  // Never deleted: the object is kept for the process, and its answers hold it.
  std::shared_ptr<JSGetVisitorTokenFunction> self(this);
  KeepForProcess(self);
  auto* service = QueryService<BusinessCoreService>(SID_BusinessCoreService);
  if (!service) return;
  auto* info = QueryService<ClientInfoService>(SID_ClientInfoService);
  const char* device = info ? info->GetDeviceId() : nullptr;
  deviceId = std::string(device ? device : "") + kDeviceSuffix;
  tnbusiness::CoreObject* core = service->GetCoreObject();
  if (!core) return;
  GStringImpl domain(kWebviewDomain, static_cast<int32_t>(sizeof kWebviewDomain - 1));
  GStringImpl deviceText(deviceId.data(), static_cast<int32_t>(deviceId.size()));
  core->RequestToken(&domain, &deviceText,
                     new ResponserImpl([self](IGData* data, Tnerror::Error* error) {
                       self->OnToken(true, data, error);
                     }));
  core->RequestOrgToken(orgId, &domain, &deviceText,
                        new ResponserImpl([self](IGData* data, Tnerror::Error* error) {
                          self->OnToken(false, data, error);
                        }));
}

void JSGetVisitorTokenFunction::OnToken(bool centre, IGData* data, Tnerror::Error* error) {
  std::lock_guard<std::mutex> guard(lock);
  ++answers;
  if (GoErrorValue(error) == 0 && data) {
    interdata::CoreContext context;
    if (context.ParseFromArray(data->Data(), data->Size())) {
      if (centre) {
        centerToken = ContextValue(context, "token");
        centerUserId = ContextValue(context, "userId");
      } else {
        orgToken = ContextValue(context, "token");
      }
    }
  }
  if (answers == 1) return;  // the other request answers
  std::string answer;
  FormatText(answer, sdk::kEnvelopes[15].head, sdk::kOk, deviceId.c_str(), centerUserId.c_str(),
             centerToken.c_str(), orgId, SessionUid(), orgToken.c_str(), orgId);
  SendResponse(answer);
}

int32_t JSGetVisitorTokenFunction::SessionUid() {
  auto* service = QueryService<BusinessCoreService>(SID_BusinessCoreService);
  tnbusiness::CoreObject* core = service ? service->GetCoreObject() : nullptr;
  IGData* data = core ? core->GetSession(orgId) : nullptr;
  if (!data) return 0;
  interdata::CoreSession session;
  const int32_t uid = session.ParseFromArray(data->Data(), data->Size()) ? session.uid() : 0;
  data->Dispose();
  return uid;
}

}  // namespace tnwebui
