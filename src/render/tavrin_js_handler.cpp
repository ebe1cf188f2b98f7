#include "render/tavrin_js_handler.h"

#include <QString>
#include <algorithm>
#include <boost/random/mersenne_twister.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cstdlib>
#include <cstring>

#include "base/json.h"
#include "base/tn_log.h"
#include "cef/cef_process_message.h"

namespace tnwebui {

namespace {

// The name of the call message, made once: every copy shares its text.
const CefString& ExeBusinessActionName() {
  static const CefString name(u"exebusinessaction");
  return name;
}

constexpr char kLogSource[] = "..\\..\\src\\render\\tavrin_js_handler";

constexpr char kExecute[] = "CCefV8HandlerImpl::Execute";

// The window commands that travel to the browser process as a message of the same name.
constexpr const char* kWindowCommands[] = {"minwnd", "maxwnd", "closewnd", "forceclosewnd",
                                           "restorewnd"};
// The navigation functions answered here, on the page's browser.
constexpr const char* kBrowserCommands[] = {"refresh", "goback", "cangoback", "goforward",
                                            "cangoforward"};

template <std::size_t N>
bool OneOf(const std::string& name, const char* const (&names)[N]) {
  for (const char* n : names) {
    if (name == n) return true;
  }
  return false;
}

// Looks the key up and enters the callback's context, or logs why it can't. The wrap that
// comes back is immutable (see AddJsFunCallback), so its context is the one entered here and
// the one to exit, whatever the callback registers meanwhile.
CefRefPtr<CJsCallbackWrap> EnterCallback(CCefV8HandlerImpl* handler, const char* function,
                                         CefRefPtr<CefBrowser> browser, const std::string& key) {
  if (!browser) {
    TN_LOG(4, function, "execute action callback, but the browser object is null");
    return nullptr;
  }
  CefRefPtr<CJsCallbackWrap> wrap = handler->FindJsCallback(browser, key);
  if (!wrap) {
    TN_LOG(4, function, "can not find the callback for %s", key.c_str());
    return nullptr;
  }
  if (!wrap->context) {
    TN_LOG(4, function, "js context is null");
    return nullptr;
  }
  wrap->context->Enter();
  return wrap;
}

void SendToBrowser(CefRefPtr<CefBrowser> browser, CefRefPtr<CefProcessMessage> message) {
  browser->SendProcessMessage(PID_BROWSER, message);
}

}  // namespace

std::string AsciiLower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

void CCefV8ArrayBufferReleaseCallback::ReleaseBuffer(void* buffer) { std::free(buffer); }

bool CCefV8HandlerImpl::Execute(const CefString& name, CefRefPtr<CefV8Value> /*object*/,
                                const CefV8ValueList& arguments, CefRefPtr<CefV8Value>& retval,
                                CefString& /*exception*/) {
  const std::string fn = name.ToString();
  TN_LOG(1, kExecute, "CCefV8HandlerImpl - Execute name[%s]", fn.c_str());

  CefRefPtr<CefBrowser> browser;
  if (CefRefPtr<CefV8Context> context = CefV8Context::GetCurrentContext()) {
    browser = context->GetBrowser();
  }

  if (fn == "registerEvent") {
    if (arguments.size() == 2) {
      RegisterEvent(arguments[0], arguments[1], "");
    } else if (arguments.size() == 3) {
      RegisterEvent(arguments[0], arguments[1], arguments[2]->GetStringValue().ToString());
    }
    return true;
  }
  if (fn == "unregisterEvent") {
    if (arguments.size() == 2) UnregisterEvent(arguments[0], arguments[1]);
    return true;
  }
  if (fn == "sendEvent") {
    if (arguments.size() == 2) return SendEvent(arguments[0], arguments[1], nullptr, nullptr);
    if (arguments.size() == 4) {
      return SendEvent(arguments[0], arguments[1], arguments[2], arguments[3]);
    }
    return true;
  }
  if (OneOf(fn, kWindowCommands)) {
    if (browser) SendToBrowser(browser, CefProcessMessage::Create(fn));
    return true;
  }
  if (OneOf(fn, kBrowserCommands)) {
    ExecuteBrowserCommand(browser, fn, retval);
    return true;
  }
  if (fn == "exebusinessaction") return ExecuteBusinessAction(browser, arguments);
  return false;
}

void CCefV8HandlerImpl::ExecuteBrowserCommand(CefRefPtr<CefBrowser> browser,
                                              const std::string& name,
                                              CefRefPtr<CefV8Value>& retval) {
  if (!browser) return;
  if (name == "refresh") {
    browser->Reload();
  } else if (name == "goback") {
    browser->GoBack();
  } else if (name == "cangoback") {
    retval = CefV8Value::CreateBool(browser->CanGoBack());
  } else if (name == "goforward") {
    browser->GoForward();
  } else if (name == "cangoforward") {
    retval = CefV8Value::CreateBool(browser->CanGoForward());
  }
}

bool CCefV8HandlerImpl::ExecuteBusinessAction(CefRefPtr<CefBrowser> browser,
                                              const CefV8ValueList& arguments) {
  const bool classic = arguments.size() == 6 && arguments[0]->IsString() &&
                       arguments[1]->IsString() && arguments[2]->IsString() &&
                       arguments[3]->IsString() &&
                       (arguments[4]->IsInt() || arguments[4]->IsString()) &&
                       (arguments[5]->IsFunction() || arguments[5]->IsNull());
  if (!classic) return ExecuteJsApiRequest(browser, arguments);

  const std::string business = AsciiLower(arguments[0]->GetStringValue().ToString());
  const std::string action = AsciiLower(arguments[1]->GetStringValue().ToString());

  // "receive" only parks a callback for answers the page did not ask for by a call.
  const bool send = action.empty() || action != "receive";
  std::string callbackId;
  if (!arguments[5]->IsNull()) {
    CefRefPtr<CefV8Value> callback = arguments[5];
    CefRefPtr<CefV8Context> context = CefV8Context::GetCurrentContext();
    if (arguments[4]->IsInt()) {
      callbackId = std::to_string(arguments[4]->GetIntValue());
    } else {
      callbackId = arguments[4]->GetStringValue().ToString();
    }
    if (callbackId.empty()) callbackId = callback->GetFunctionName().ToString();
    if (callbackId.empty()) callbackId = "0";
    // A key that another document waits on: this call is not made.
    if (!AddJsFunCallback(browser, MakeCallbackKey(business, action, callbackId), callback, context,
                          "", 0, send && browser))
      return true;
  }
  if (!browser || !send) {
    TN_LOG_TEXT(2, kExecute,
                "no need send the javascript call to browser process: " + business + "," + action);
    return true;
  }

  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create(ExeBusinessActionName());
  CefRefPtr<CefListValue> args = message->GetArgumentList();
  args->SetString(0, business);
  args->SetString(1, action);
  args->SetString(2, arguments[2]->GetStringValue());
  args->SetString(3, arguments[3]->GetStringValue());
  args->SetString(4, callbackId);
  SendToBrowser(browser, message);
  return true;
}

bool CCefV8HandlerImpl::ExecuteJsApiRequest(CefRefPtr<CefBrowser> browser,
                                            const CefV8ValueList& arguments) {
  if (arguments.size() != 2 || !arguments[0]->IsString() ||
      !(arguments[1]->IsFunction() || arguments[1]->IsNull())) {
    return false;
  }
  // Its lines are the SDK form's steps of Execute, and carry that name.
  constexpr const char* kFn = kExecute;
  std::string business, action, meta, request;
  NewJsApiRequestAdapter(arguments[0]->GetStringValue().ToString(), business, action, meta,
                         request);
  action = AsciiLower(action);
  business = AsciiLower(business);
  if (business.empty() || action.empty()) {
    ReturnJsApiErrorMessage(-2, "NOT_SUPPORTED", arguments[1]);
    return true;
  }
  // Three actions work before the page has passed `config`.
  const QString qaction = QString::fromStdString(action);
  bool open = false;
  for (const char* name : {"Config", "InitFinished", "GetVisitorToken"}) {
    open = open || qaction.compare(QLatin1String(name), Qt::CaseInsensitive) == 0;
  }
  if (!open && !HasImplId(CefV8Context::GetCurrentContext())) {
    ReturnJsApiErrorMessage(-4, "PERMISSION_DENIED", arguments[1]);
    return true;
  }
  // The action is in lower case here, so this never matches and "closewindow" goes on as an
  // ordinary action.
  if (action == "CloseWindow" && browser) {
    SendToBrowser(browser, CefProcessMessage::Create("closewnd"));
  }

  std::string callbackId;
  if (!arguments[1]->IsNull()) {
    CefRefPtr<CefV8Value> callback = arguments[1];
    CefRefPtr<CefV8Context> context = CefV8Context::GetCurrentContext();
    callbackId = callback->GetFunctionName().ToString();
    if (callbackId.empty()) callbackId = "0";
    // A key that another document waits on: this call is not made.
    if (!AddJsFunCallback(browser, MakeCallbackKey(business, action, callbackId), callback, context,
                          meta, 1, action != "receive" && browser))
      return true;
  }
  if (action == "receive" || !browser) {
    TN_LOG(1, kFn, "no need send to the browser [%s]---------------------", request.c_str());
    return true;
  }
  TN_LOG(1, kFn, "send to the browser [%s]---------------------", request.c_str());
  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create(ExeBusinessActionName());
  CefRefPtr<CefListValue> args = message->GetArgumentList();
  args->SetString(0, business);
  args->SetString(1, action);
  args->SetString(2, std::string());
  args->SetString(3, request);
  args->SetString(4, callbackId);
  SendToBrowser(browser, message);
  return true;
}

void CCefV8HandlerImpl::MapJsApiName(const std::string& api, std::string& business,
                                     std::string& action) {
  struct Row {
    const char* names[3];
    const char* action;
  };
  static constexpr Row kTable[] = {
      {{"biz.config", "com.config", "config"}, "Config"},
      {{"biz.initfinished", "com.initfinished"}, "InitFinished"},
      {{"biz.choosecontacts", "com.choosecontacts"}, "OnlySelectPeople"},
      {{"biz.opencontactscard", "com.opencontactscard"}, "OpenContactsCard"},
      {{"biz.chooseimage", "com.chooseimage"}, "OpenFileDialog"},
      {{"biz.previewimage", "com.previewimage"}, "ViewSrcPicture"},
      {{"biz.getvisitortoken", "com.getvisitortoken"}, "GetVisitorToken"},
      {{"biz.convertimplidtoopenid", "com.convertimplidtoopenid"}, "ConvertImplIdToOpenId"},
      {{"biz.opengroupchat", "com.opengroupchat"}, "OpenGroupChat"},
      {{"ui.closewindow"}, "CloseWindow"},
  };
  business.clear();
  action.clear();
  const std::string name = AsciiLower(api);
  for (const Row& row : kTable) {
    for (const char* candidate : row.names) {
      if (candidate && name == candidate) {
        business = "Common";
        action = row.action;
        return;
      }
    }
  }
}

void CCefV8HandlerImpl::NewJsApiRequestAdapter(const std::string& json, std::string& business,
                                               std::string& action, std::string& meta,
                                               std::string& request) {
  business.clear();
  action.clear();
  meta.clear();
  request.clear();
  Json::Value root;
  if (!ParseJson(json, root) || !root.isObject()) return;
  if (HasJsonString(root, "api")) MapJsApiName(root["api"].asString(), business, action);
  if (HasJsonString(root, "meta")) meta = root["meta"].asString();
  Json::Value& payload = root["payload"];
  if (!payload.isObject()) return;
  const std::string implId = GetImplId(CefV8Context::GetCurrentContext());
  if (payload["appIdImplId"].isNull()) {
    TN_LOG(1, "CCefV8HandlerImpl::NewJsApiRequestAdapter",
           "appIdImplId append ---------- implId [%s] \n", implId.c_str());
    payload["appIdImplId"] = implId;
  }
  payload["isFromJsSDK"] = true;
  request = WriteJson(payload);
}

void CCefV8HandlerImpl::ReturnJsApiErrorMessage(int code, const std::string& message,
                                                CefRefPtr<CefV8Value> callback) {
  constexpr char kFn[] = "CCefV8HandlerImpl::ReturnJsApiErrorMessage";
  if (!callback || callback->IsNull()) {
    TN_LOG(1, kFn, "return jsapi error message callback empty \n");
    return;
  }
  CefRefPtr<CefV8Context> context = CefV8Context::GetCurrentContext();
  if (context) context->Enter();
  Json::Value response;
  response["status"]["code"] = code;
  response["status"]["message"] = message;
  response["meta"] = Json::Value(Json::objectValue);
  response["data"] = Json::Value(Json::objectValue);
  CefV8ValueList args{CefV8Value::CreateString(WriteJson(response))};
  if (context) context->Exit();
  CefRefPtr<CefV8Value> result = callback->ExecuteFunctionWithContext(context, nullptr, args);
  TN_LOG(1, kFn,
         result ? "return error execute js callback success [%d][%s]\n"
                : "return error execute js callback fail [%d][%s]\n",
         code, message.c_str());
}

std::string CCefV8HandlerImpl::MakeCallbackKey(const std::string& business,
                                               const std::string& action,
                                               const std::string& callbackId) {
  std::string key;
  key.reserve(business.size() + action.size() + callbackId.size() + 2);
  key.append(business).append(1, '_').append(action).append(1, '_').append(AsciiLower(callbackId));
  return key;
}

namespace {

int64_t FrameOf(const CefRefPtr<CefV8Context>& context) {
  CefRefPtr<CefFrame> frame = context ? context->GetFrame() : nullptr;
  return frame ? frame->GetIdentifier() : -1;
}

// Whether `held`, registered by another document than `context` (of `frame`), still waits for
// an answer there. A later document of the same frame replaces the one that left; a document
// whose context has ended waits for nothing.
bool WaitsInAnotherDocument(const CJsCallbackWrap& held, const CefRefPtr<CefV8Context>& context,
                            int64_t frame) {
  if (held.owed <= 0 || !held.context || !context || held.context->IsSame(context)) return false;
  if (frame >= 0 && held.frame == frame) return false;
  return held.context->IsValid();
}

}  // namespace

bool CCefV8HandlerImpl::AddJsFunCallback(CefRefPtr<CefBrowser> browser, const std::string& key,
                                         const CefRefPtr<CefV8Value>& callback,
                                         const CefRefPtr<CefV8Context>& context,
                                         const std::string& meta, int isJsSdk, bool asks) {
  if (!browser) return true;  // nothing registered, nothing refused
  constexpr char kFn[] = "CCefV8HandlerImpl::AddJsFunCallback";
  // A wrap is filled before it is published and never written after: a callback that runs
  // outside the lock, or that registers its own key again while it runs, keeps a consistent
  // function, context and meta. "Modify" publishes a new wrap in the old one's place.
  CefRefPtr<CJsCallbackWrap> wrap = new CJsCallbackWrap();
  wrap->isJsSdk = isJsSdk;
  wrap->callback = callback;
  wrap->context = context;
  wrap->meta = meta;
  wrap->frame = FrameOf(context);
  wrap->owed = asks ? 1 : 0;

  std::lock_guard<std::mutex> lock(lock_);
  auto outer = callbacks_.find(browser->GetIdentifier());
  if (outer == callbacks_.end()) {
    callbacks_[browser->GetIdentifier()].emplace(key, wrap);
    return true;
  }
  TN_LOG(1, kFn, "find the browser cache!");
  auto& inner = outer->second;
  auto it = inner.find(key);
  if (it == inner.end()) {
    inner.emplace(key, wrap);
    TN_LOG(1, kFn, "jscallback wrapper [%s][0x%08x]", key.c_str(),
           static_cast<unsigned>(reinterpret_cast<uintptr_t>(wrap.get())));
    return true;
  }
  // One registry serves every document of the browser, so a key can be asked for by two
  // documents at once (a frame repeating its app's key while the app's answer is on its way).
  // Stricter than "the last registration wins", which holds within one document (two calls of
  // an action with anonymous callbacks still share an entry): across documents the answer
  // stays with the one that asked first and is still there, and the other gets nothing of it.
  if (WaitsInAnotherDocument(*it->second, context, wrap->frame)) {
    TN_LOG(4, kFn, "the callback [%s] waits for another document's answer, not replaced",
           key.c_str());
    return false;
  }
  // The last registration wins; the same document keeps the answers due to it.
  TN_LOG(1, kFn, "js callback exist, need modify [%s]", key.c_str());
  if (it->second->context && context && it->second->context->IsSame(context))
    wrap->owed += it->second->owed;
  it->second = wrap;
  return true;
}

CefRefPtr<CJsCallbackWrap> CCefV8HandlerImpl::Lookup(CefRefPtr<CefBrowser> browser,
                                                     const std::string& key, bool answer) {
  if (!browser) return nullptr;
  std::lock_guard<std::mutex> lock(lock_);
  auto outer = callbacks_.find(browser->GetIdentifier());
  if (outer == callbacks_.end()) return nullptr;
  auto it = outer->second.find(key);
  if (it == outer->second.end()) return nullptr;
  if (answer && it->second->owed > 0) --it->second->owed;
  return it->second;
}

CefRefPtr<CJsCallbackWrap> CCefV8HandlerImpl::TakeAnswer(CefRefPtr<CefBrowser> browser,
                                                         const std::string& key) {
  return Lookup(browser, key, true);
}

CefRefPtr<CJsCallbackWrap> CCefV8HandlerImpl::FindJsCallback(CefRefPtr<CefBrowser> browser,
                                                             const std::string& key) {
  return Lookup(browser, key, false);
}

void CCefV8HandlerImpl::ExecuteCallback(CefRefPtr<CefBrowser> browser, const std::string& key,
                                        int code, const CefString& text, const CefString& format,
                                        const CefString& payload) {
  CefRefPtr<CJsCallbackWrap> wrap =
      EnterCallback(this, "CCefV8HandlerImpl::ExecuteCallback", browser, key);
  if (!wrap) return;
  const CefRefPtr<CefV8Context> entered = wrap->context;
  CefV8ValueList args{CefV8Value::CreateInt(code), CefV8Value::CreateString(text),
                      CefV8Value::CreateString(format), CefV8Value::CreateString(payload)};
  wrap->callback->ExecuteFunctionWithContext(entered, nullptr, args);
  entered->Exit();
}

void CCefV8HandlerImpl::ExecuteCallbackWithBinary(CefRefPtr<CefBrowser> browser,
                                                  const std::string& key, int code,
                                                  const std::string& text,
                                                  const std::string& format,
                                                  const xhav::Binary* binary) {
  constexpr char kFn[] = "CCefV8HandlerImpl::ExecuteCallbackWithBinary";
  CefRefPtr<CJsCallbackWrap> wrap = EnterCallback(this, kFn, browser, key);
  if (!wrap) return;
  const CefRefPtr<CefV8Context> entered = wrap->context;
  CefV8ValueList args{CefV8Value::CreateInt(code), CefV8Value::CreateString(text),
                      CefV8Value::CreateString(format)};
  const std::size_t size = binary ? binary->GetSize() : 0;
  void* buffer = std::malloc(size);
  if (!buffer) {
    // The context stays entered here: the steps that would exit it are skipped.
    TN_LOG(4, kFn, "alloc memeory failed");
    return;
  }
  if (size) std::memcpy(buffer, binary->GetData(), size);
  // The page's ArrayBuffer owns the copy from here on.
  args.push_back(
      CefV8Value::CreateArrayBuffer(buffer, size, new CCefV8ArrayBufferReleaseCallback()));
  wrap->callback->ExecuteFunctionWithContext(entered, nullptr, args);
  entered->Exit();
}

namespace {

constexpr char kAnswerFn[] = "CCefV8HandlerImpl::ExecuteBusinessActionCallback";

}  // namespace

void CCefV8HandlerImpl::ExecuteBusinessActionCallback(CefRefPtr<CefBrowser> browser,
                                                      const CefString& businessName,
                                                      const CefString& actionName,
                                                      CefRefPtr<CefListValue> list) {
  if (!browser) TN_LOG(4, kAnswerFn, "execute action callback, but the browser object is null");
  if (!list) list = CefListValue::Create();
  if (list->GetSize() < 2) {
    TN_LOG(4, kAnswerFn, "execute action callback, but the arg list size is less the 2");
  }
  RunBusinessCallback(browser, businessName.ToString(), actionName.ToString(), list->GetString(0),
                      list->GetInt(1), list->GetString(2));
}

void CCefV8HandlerImpl::ExecuteBusinessResult(CefRefPtr<CefBrowser> browser,
                                              const std::string& business,
                                              const std::string& action, const CefString& id,
                                              int code, const CefString& data) {
  if (!browser) TN_LOG(4, kAnswerFn, "execute action callback, but the browser object is null");
  RunBusinessCallback(browser, business, action, id, code, data);
}

void CCefV8HandlerImpl::RunBusinessCallback(CefRefPtr<CefBrowser> browser,
                                            const std::string& business, const std::string& action,
                                            const CefString& idText, int code,
                                            const CefString& data) {
  std::string id = idText.ToString();
  if (id.empty()) id = "0";
  if (business.empty() || action.empty()) {
    TN_LOG(1, kAnswerFn, "ExecuteBusinessActionCallback business or action empty ");
    return;
  }
  TN_LOG(1, kAnswerFn, "execute action callback, biz = %s, action = %s", business.c_str(),
         action.c_str());

  // Calls that gave no callback end here.
  CefRefPtr<CJsCallbackWrap> wrap = TakeAnswer(browser, MakeCallbackKey(business, action, id));
  if (!wrap) return;
  const CefRefPtr<CefV8Context> context = wrap->context;
  if (!context) return;

  context->Enter();
  CefV8ValueList args;
  if (wrap->isJsSdk == 0) {
    // The id as it came (its text shared), or "0" for none.
    args = {CefV8Value::CreateInt(code), CefV8Value::CreateString(data),
            CefV8Value::CreateString(idText.empty() ? CefString(u"0") : idText)};
  } else {
    args = {CefV8Value::CreateString(
        SdkResponse(business, action, code, data.ToString(), wrap->meta, context))};
  }
  context->Exit();

  CefRefPtr<CefV8Value> result = wrap->callback->ExecuteFunctionWithContext(context, nullptr, args);
  TN_LOG(1, kAnswerFn,
         result ? "execute js callback success [%d][%s][%s]\n"
                : "execute js callback fail [%d][%s][%s]\n",
         browser->GetIdentifier(), business.c_str(), action.c_str());
}

std::string CCefV8HandlerImpl::SdkResponse(const std::string& business, const std::string& action,
                                           int code, const std::string& data,
                                           const std::string& meta,
                                           const CefRefPtr<CefV8Context>& context) {
  Json::Value response;
  response["status"]["code"] = code;
  response["status"]["message"] = "";
  // Pages send lower case, so for their calls this never holds and the raw code stands.
  if (business == "Common" && action == "Config" && code != 0) {
    const int mapped = code == 3043 ? 1 : code == 3044 ? 2 : 3;
    const char* text = code == 3043   ? "INVALID_URL_DOMAIN"
                       : code == 3044 ? "INVALID_SIGNATURE"
                                      : "UNKOWN_ERROR";
    response["status"]["code"] = mapped;
    response["status"]["message"] = text;
  }
  Json::Value parsedMeta;
  response["meta"] = ParseJson(meta, parsedMeta) ? parsedMeta : Json::Value(Json::objectValue);
  Json::Value parsedData;
  if (!data.empty() && ParseJson(data, parsedData)) {
    const bool config =
        business == "common" &&
        QString::fromStdString(action).compare(QLatin1String("Config"), Qt::CaseInsensitive) == 0;
    if (config && HasJsonString(parsedData, "appIdImplId")) {
      SetImplId(context, parsedData["appIdImplId"].asString());
      parsedData.removeMember("appIdImplId");
    }
    response["data"] = parsedData;
  } else {
    response["data"] = Json::Value(Json::objectValue);
  }
  return WriteJson(response);
}

std::string* CCefV8HandlerImpl::ImplIdOf(const CefRefPtr<CefV8Context>& context) {
  if (!context) return nullptr;
  for (auto& [document, implId] : implIds_) {
    if (document->IsSame(context)) return &implId;
  }
  return nullptr;
}

std::string CCefV8HandlerImpl::GetImplId(const CefRefPtr<CefV8Context>& context) {
  std::lock_guard<std::mutex> lock(lock_);
  const std::string* implId = ImplIdOf(context);
  return implId ? *implId : std::string();
}

void CCefV8HandlerImpl::SetImplId(const CefRefPtr<CefV8Context>& context,
                                  const std::string& implId) {
  if (!context) return;
  std::lock_guard<std::mutex> lock(lock_);
  if (std::string* known = ImplIdOf(context)) {
    *known = implId;
    return;
  }
  implIds_.erase(std::remove_if(implIds_.begin(), implIds_.end(),
                                [](const auto& entry) { return !entry.first->IsValid(); }),
                 implIds_.end());
  implIds_.emplace_back(context, implId);
}

bool CCefV8HandlerImpl::HasImplId(const CefRefPtr<CefV8Context>& context) {
  std::lock_guard<std::mutex> lock(lock_);
  const std::string* implId = ImplIdOf(context);
  return implId && !implId->empty();
}

namespace {

// The elements of a page's array of names; a non-string element leaves its index unset.
CefRefPtr<CefListValue> NameList(const CefRefPtr<CefV8Value>& names) {
  CefRefPtr<CefListValue> list = CefListValue::Create();
  for (int i = 0; i < names->GetArrayLength(); ++i) {
    CefRefPtr<CefV8Value> element = names->GetValue(i);
    if (element && element->IsString()) list->SetString(i, element->GetStringValue());
  }
  return list;
}

CefRefPtr<CefBrowser> CurrentBrowser() {
  CefRefPtr<CefV8Context> context = CefV8Context::GetCurrentContext();
  return context ? context->GetBrowser() : nullptr;
}

// A fresh subscription key: a random UUID from a Mersenne twister.
std::string NewSubscriptionKey() {
  thread_local boost::uuids::basic_random_generator<boost::mt19937> generator;
  return boost::uuids::to_string(generator());
}

}  // namespace

void CCefV8HandlerImpl::RegisterEvent(CefRefPtr<CefV8Value> names, CefRefPtr<CefV8Value> callback,
                                      const std::string& tag) {
  if (!names || !names->IsArray() || !callback || !callback->IsFunction()) return;
  CefRefPtr<CefListValue> list = NameList(names);
  CefRefPtr<CefV8Context> context = CefV8Context::GetCurrentContext();
  CefRefPtr<CefBrowser> browser = context ? context->GetBrowser() : nullptr;
  // One key for all the names of this call; the page never sees it.
  const std::string key = NewSubscriptionKey();
  AddJsFunCallback(browser, key, callback, context, "", 1);
  if (!browser) return;
  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create("registerEvent");
  message->GetArgumentList()->SetList(0, list);
  message->GetArgumentList()->SetString(1, key);
  message->GetArgumentList()->SetString(2, tag);
  SendToBrowser(browser, message);
}

void CCefV8HandlerImpl::UnregisterEvent(CefRefPtr<CefV8Value> names, CefRefPtr<CefV8Value> tag) {
  if (!tag || !tag->IsString() || !names || !names->IsArray()) return;
  CefRefPtr<CefBrowser> browser = CurrentBrowser();
  if (!browser) return;
  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create("unregisterEvent");
  message->GetArgumentList()->SetList(0, NameList(names));
  message->GetArgumentList()->SetString(1, tag->GetStringValue());
  SendToBrowser(browser, message);
}

bool CCefV8HandlerImpl::SendEvent(CefRefPtr<CefV8Value> type, CefRefPtr<CefV8Value> name,
                                  CefRefPtr<CefV8Value> format, CefRefPtr<CefV8Value> payload) {
  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create("send_event");
  CefRefPtr<CefListValue> args = message->GetArgumentList();
  args->SetInt(0, type ? type->GetIntValue() : 0);
  args->SetString(1, name ? name->GetStringValue() : CefString());
  if (format && payload) {
    const CefString kind = format->GetStringValue();
    args->SetString(2, kind);
    // Only "json" and "text" carry their payload; "pb" and every other format carry none.
    if (kind == CefString("json") || kind == CefString("text")) {
      args->SetString(3, payload->GetStringValue());
    }
  }
  CefRefPtr<CefBrowser> browser = CurrentBrowser();
  return browser && browser->SendProcessMessage(PID_BROWSER, message);
}

}  // namespace tnwebui
