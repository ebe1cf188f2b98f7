#include "adapt/tn_browser_ui_adapt.h"

#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/resource_roots.h"
#include "base/tn_log.h"
#include "cef/cef_task.h"
#include "light/tool_tip.h"
#include "tn_webui_module.h"
#include "tnbase/files.h"
#include "tnwebui/services.h"
#include "win/window.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\adapt\\tn_browser_ui_adapt";

TnString* EmptyText() { return allocString(); }

}  // namespace

std::string TnBrowserAdaptUI::CookieSpaceOf(BusinessCore* core) {
  if (!core) return std::string();
  const char16_t* org = core->GetOrgKey();
  const char* account = core->GetAccountKey();
  const std::string key = WideToUtf8(org ? org : u"") + (account ? account : "");
  return key.empty() ? std::string() : tnbase::md5String(key);
}

TnBrowserAdaptUI::TnBrowserAdaptUI(xhav::Browser* browser)
    : TnBrowserUI(browser),
      initBusiness_(EmptyText()),
      initAction_(EmptyText()),
      initCallback_(EmptyText()) {
  callback_ = new TnBrowserAdaptCallback(this);
  callback_->AddRef();
}

TnBrowserAdaptUI::~TnBrowserAdaptUI() {
  TN_LOG(2, "TnBrowserAdaptUI::~TnBrowserAdaptUI", "TnBrowserAdaptUI deleted");
  callback_->Detach();
  callback_->Release();
  titleWindow_ = nullptr;  // the title bar goes with its native window
  if (businessCore_) businessCore_->Release();
  if (settings_) settings_->Release();
  if (shadow_) shadow_->Release();
}

void TnBrowserAdaptUI::SetPageHost(PageHost* host) {
  pageHost_ = host;
  StartShadow();
}

void TnBrowserAdaptUI::SetBusinessCore(BusinessCore* core) {
  // The UI thread reads the core with every page call and every answer: the core is only ever
  // replaced there. A host on another thread hands the change over, as Init hands over its
  // cookie set-up; the task holds the view and the new core until it runs.
  if (!CefCurrentlyOn(TID_UI)) {
    if (core) core->AddRef();  // the task holds the new core
    PostHoldingView([this, core] {
      SetBusinessCore(core);
      if (core) core->Release();
    });
    return;
  }
  if (core) core->AddRef();
  if (businessCore_) businessCore_->Release();
  businessCore_ = core;
  if (settings_) {
    StartShadow();
    Show(1);
  }
}

const char16_t* TnBrowserAdaptUI::GetOrgKey() {
  const char16_t* key = businessCore_ ? businessCore_->GetOrgKey() : nullptr;
  return key ? key : u"";
}

int32_t TnBrowserAdaptUI::GetOrgId() {
  int64_t id = 0;
  const char16_t* key = GetOrgKey();
  if (!*key) return 0;
  for (const char16_t* c = key; *c; ++c) {
    if (*c < u'0' || *c > u'9') return 0;
    id = id * 10 + (*c - u'0');
    if (id > INT32_MAX) return 0;
  }
  return static_cast<int32_t>(id);
}

const char16_t* TnBrowserAdaptUI::GetName() {
  const char16_t* name = settings_ ? settings_->GetName() : nullptr;
  return name ? name : u"";
}

int32_t TnBrowserAdaptUI::GetViewType() { return settings_ ? settings_->GetViewType() : 0; }

int32_t TnBrowserAdaptUI::GetBusinessVersion() {
  return businessCore_ ? businessCore_->GetBusinessVersion() : 0;
}

void TnBrowserAdaptUI::Init(IBrowserViewSetting* settings) {
  if (!settings) return;
  settings->AddRef();
  if (settings_) settings_->Release();
  settings_ = settings;
  const char* initData = settings->GetInitData();
  initData_ = initData ? initData : "";
  if (BusinessCore* core = settings->GetBusinessCore()) {
    core->AddRef();
    if (businessCore_) businessCore_->Release();
    businessCore_ = core;
    StartShadow();
  }
  if (CefCurrentlyOn(TID_UI)) {
    SetInitialCookies();
  } else {
    PostHoldingView([this] { SetInitialCookies(); });
  }
}

void TnBrowserAdaptUI::SetInitData(const char* json, int32_t apply) {
  const std::string text = json ? json : "";
  Json::Value value;
  const bool isObject = ParseJson(text, value) && value.isObject();
  if (isObject) {
    value["osType"] = 0;
    initData_ = WriteJson(value);
  } else {
    initData_ = text;
  }
  if (!apply) return;
  if (initBusiness_->GetLength() > 0 || initAction_->GetLength() > 0) {
    SendInitData(initBusiness_.get(), initAction_.get(), initCallback_.get(), initData_);
  }
  if (isObject && HasJsonString(value, "url")) {
    const std::string url = value["url"].asString();
    if (BeforeReload(Utf8ToWide(url))) {
      if (xhav::Browser* b = browser()) b->LoadUrl(url.c_str());
    }
  }
  ApplyAlwaysOnTop();
}

void TnBrowserAdaptUI::PostHoldingView(std::function<void()> task) {
  AddRef();
  CefPostTask(TID_UI, std::function<void()>([this, task = std::move(task)] {
                task();
                Release();
              }));
}

void TnBrowserAdaptUI::StartShadow() {
  if (!CefCurrentlyOn(TID_UI)) {
    PostHoldingView([this] { StartShadow(); });
    return;
  }
  if (shadow_) return;
  WindowShadow* shadow = nullptr;
  if (!businessCore_ ||
      businessCore_->QueryObject(IID_WindowShadow, reinterpret_cast<void**>(&shadow)) < 0 ||
      !shadow) {
    shadow = nullptr;
    if (!pageHost_ || pageHost_->CreateShadow(&shadow) < 0 || !shadow) return;
  }
  shadow_ = shadow;
  shadow_->SetShadowMode(0);
  shadow_->AttachWindow(GetHwnd());
  shadow_->ShowShadow(1);
}

bool TnBrowserAdaptUI::ProcessMessage(xhav::Browser*, int32_t, TnString* name,
                                      const std::vector<std::u16string>& texts) {
  if (texts.empty()) return ProcessJsCommand(name);
  if (texts.size() == 5) return ExecuteFromRender(texts);
  return false;
}

bool TnBrowserAdaptUI::ProcessJsCommand(TnString* command) {
  if (command && command->EqualsIgnoreCase("closewnd")) {
    TN_LOG(2, "TnBrowserAdaptUI::ProcessJsCommand",
           "TnBrowserAdaptUI::ProcessJsCommand:[closewnd]");
    if (xhav::Browser* b = browser()) {
      if (settings_ && settings_->GetHideOnClose() != 0) {
        b->Show(false);
      } else {
        b->Close(0);
      }
    }
    return true;
  }
  return TnBrowserUI::ProcessJsCommand(command);
}

bool TnBrowserAdaptUI::ExecuteFromRender(const std::vector<std::u16string>& texts) {
  if (texts.size() != 5) return false;
  tnbase::TnStringPtr business(
      allocStringFromWideChars(texts[0].data(), static_cast<int32_t>(texts[0].size())));
  tnbase::TnStringPtr action(
      allocStringFromWideChars(texts[1].data(), static_cast<int32_t>(texts[1].size())));
  // The page's texts are all strings: they go on without being copied into a list.
  if (business && action)
    ExecuteAuthorised(business.get(), action.get(), texts[2], texts[3], texts[4]);
  return true;
}

bool TnBrowserAdaptUI::CheckAuth(TnString* business, TnString* action) {
  if (currentUrl_.empty()) currentUrl_ = PageUrlOf(browser());
  if (IsClientResource(currentUrl_)) return true;
  if (business->EqualsIgnoreCase("common")) return true;
  if (business->EqualsIgnoreCase("openurl") &&
      (action->GetLength() == 0 || action->Equals("OpenSaveAsWnd"))) {
    return true;
  }
  if (business->EqualsIgnoreCase("ExtendApp")) return true;
  if (business->Equals("MyFavorite")) return true;
  // Never reached: every "common" passed above. It keeps its place in the order.
  if (business->EqualsIgnoreCase("common") &&
      (action->EqualsIgnoreCase("getvisitortoken") || action->EqualsIgnoreCase("initfinished") ||
       action->EqualsIgnoreCase("config"))) {
    return true;
  }
  ModuleHost* host = GetModuleHost();
  auto* override =
      host ? static_cast<AccessOverrideService*>(host->QueryService(SID_AccessOverrideService))
           : nullptr;
  return override && override->AllowAnyPage();
}

namespace {

constexpr char kExecuteFn[] = "TnBrowserAdaptUI::ExecuteBusinessAction";

}  // namespace

void TnBrowserAdaptUI::ExecuteBusinessAction(TnString* business, TnString* action,
                                             CefRefPtr<CefListValue> arguments) {
  if (!business || !action) return;
  const std::size_t size = arguments ? arguments->GetSize() : 0;
  bool strings = size == 3;
  for (std::size_t i = 0; strings && i < 3; ++i) strings = arguments->GetType(i) == VTYPE_STRING;
  if (!strings) {
    // The page's rights are asked first, as for every action.
    if (Authorised(business, action)) {
      TN_LOG_TEXT(1, kExecuteFn,
                  "execute business action argument invalid size " + std::to_string(size));
    }
    return;
  }
  ExecuteAuthorised(business, action, arguments->GetString(0).ToString16(),
                    arguments->GetString(1).ToString16(), arguments->GetString(2).ToString16());
}

bool TnBrowserAdaptUI::Authorised(TnString* business, TnString* action) {
  if (CheckAuth(business, action)) return true;
  TN_LOG_TEXT(
      4, kExecuteFn,
      "check auth fail for action = " + business->ToUTF8() + ", action = " + action->ToUTF8());
  return false;
}

void TnBrowserAdaptUI::ExecuteAuthorised(TnString* business, TnString* action,
                                         const std::u16string& param,
                                         const std::u16string& jsonText, const std::u16string& id) {
  if (!Authorised(business, action)) return;
  // The texts stay UTF-16 on their way to the core; inner actions read the JSON as UTF-8.
  // Only the initial-data actions need the id as a string object.
  auto callbackText = [&id] {
    return tnbase::TnStringPtr(
        allocStringFromWideChars(id.data(), static_cast<int32_t>(id.size())));
  };
  auto json = [&jsonText] { return WideToUtf8(jsonText); };

  if (action->EqualsIgnoreCase("InitFinished")) {
    const tnbase::TnStringPtr callback = callbackText();
    if (initBusiness_->GetLength() == 0) {
      initBusiness_ = tnbase::TnStringPtr(business->Clone());
      initAction_ = tnbase::TnStringPtr(action->Clone());
      initCallback_ = tnbase::TnStringPtr(callback->Clone());
    }
    SendInitData(business, action, callback.get(), initData_);
  } else if (action->EqualsIgnoreCase("GetInitData")) {
    SendInitData(business, action, callbackText().get(), initData_);
  } else if (action->EqualsIgnoreCase("GetDragFileNames")) {
    CefRefPtr<CefListValue> result = CefListValue::Create();
    result->SetString(0, CefString(id));
    result->SetInt(1, 0);
    Json::Value files(Json::arrayValue);
    for (const std::u16string& file : dragFiles_) {
      Json::Value info;
      getFileInfoJson(WideToUtf8(file), info);
      files.append(info);
    }
    result->SetString(2, WriteJson(files));
    ExeBusinessActionCallback(business, action, result);
    Show(1);
  } else if (action->EqualsIgnoreCase("ModifyWindowTitle")) {
    Json::Value value;
    const std::string title =
        !jsonText.empty() && ParseJson(json(), value) ? JsonString(value, "title") : std::string();
    if (!title.empty()) {
      if (xhav::Browser* b = browser()) b->SetTitle(Utf8ToWide(title).c_str());
    }
  } else if (action->EqualsIgnoreCase("ShowWindow")) {
    if (settings_ && settings_->GetDelayShow() != 0) {
      settings_->SetDelayShow(0);  // the first show of such a window is swallowed
    } else {
      Show(1);
    }
  } else if (action->EqualsIgnoreCase("SetCookie")) {
    SetCookies(json(), CookieSpaceOf(businessCore_));
  } else if (action->EqualsIgnoreCase("DeleteCookie")) {
    DeleteCookies(business, action, WideToUtf8(id), json(), CookieSpaceOf(businessCore_));
  } else if (action->EqualsIgnoreCase("SetAlwaysTop")) {
    Json::Value value;
    if (ParseJson(json(), value) && value.isObject() && value.isMember("top") &&
        value["top"].isBool()) {
      SetAlwaysTop(value["top"].asBool() ? 1 : 0);
    }
  } else {
    ExecuteOnCore(business, action, param, jsonText, id);
  }
}

void TnBrowserAdaptUI::ExecuteOnCore(TnString* business, TnString* action,
                                     const std::u16string& param, const std::u16string& json,
                                     const std::u16string& id) {
  const int32_t viewType = settings_ ? settings_->GetViewType() : 0;
  if (businessCore_) {
    const HRESULT status = businessCore_->ExecuteBusinessAction(
        business->GetData(), action->GetData(), param.c_str(), json.c_str(), id.c_str(), callback_);
    if (status < 0) {
      TN_LOG(1, "TnBrowserAdaptUI::ExecuteBusinessAction", "call tnbusiness return fail [0x%08X]\n",
             static_cast<unsigned>(status));
      AnswerFailure(business, action, WideToUtf8(id), status);
    }
  } else if (viewType == 2 && pageHost_) {
    const HRESULT status = pageHost_->ExecuteBusinessAction(business->GetData(), action->GetData(),
                                                            json.c_str(), id.c_str(), callback_);
    if (status < 0) AnswerFailure(business, action, WideToUtf8(id), status);
  }
  // With neither, the action is dropped.
}

void TnBrowserAdaptUI::AnswerFailure(TnString* business, TnString* action,
                                     const std::string& callbackId, HRESULT status) {
  CefRefPtr<CefListValue> result = CefListValue::Create();
  result->SetString(0, callbackId);
  result->SetInt(1, status);
  result->SetString(2, std::string());
  ExeBusinessActionCallback(business, action, result);
}

void TnBrowserAdaptUI::ProcessInnerBusiness(const std::vector<std::u16string>& texts,
                                            IBrowserViewCallback* callback) {
  if (!businessCore_ || texts.size() != 5) return;
  if (!callback) callback = callback_;
  const HRESULT status =
      businessCore_->ExecuteBusinessAction(texts[0].c_str(), texts[1].c_str(), texts[2].c_str(),
                                           texts[3].c_str(), texts[4].c_str(), callback);
  if (status >= 0) return;
  TN_LOG(1, "TnBrowserAdaptUI::ProcessInnerBusiness", "call tnbusiness return fail [0x%08X]\n",
         static_cast<unsigned>(status));
  tnbase::TnStringPtr business(allocStringFromUTF8(WideToUtf8(texts[0]).c_str()));
  tnbase::TnStringPtr action(allocStringFromUTF8(WideToUtf8(texts[1]).c_str()));
  AnswerFailure(business.get(), action.get(), WideToUtf8(texts[4]), status);
}

void TnBrowserAdaptUI::SendInitData(TnString* business, TnString* action, TnString* callbackId,
                                    const std::string& data) {
  // Stricter than answering every page of the window: the initial data carries the user's name
  // and session, so a page that took the window's main frame from another origin (a frame that
  // broke out, a link followed) gets no answer. The window was opened on the factory's address,
  // or on the data's own "url" behind the loading page.
  const std::string current = PageUrlOf(browser());
  Json::Value given;
  const std::string real = ParseJson(data, given) ? JsonString(given, "url") : std::string();
  if (!MayReadWindowData(current, {OpenAddress(), real})) {
    TN_LOG_TEXT(4, "TnBrowserAdaptUI::SendInitData",
                "the initial data is kept from a page of another origin: " + current);
    return;
  }
  CefRefPtr<CefListValue> result = CefListValue::Create();
  result->SetString(0, EngineText(callbackId));
  result->SetInt(1, 0);
  result->SetString(2, data);
  ExeBusinessActionCallback(business, action, result);
}

void TnBrowserAdaptUI::ExeBusinessActionCallback(TnString* business, TnString* action,
                                                 CefRefPtr<CefListValue> result) {
  AddRef();  // the view stays through the work, whichever thread this is
  xhav::Browser* b = browser();
  if (b && business && action) {
    if (business->EqualsIgnoreCase("OpenUrl") && action->EqualsIgnoreCase("Download")) {
      OpenSaveAsWnd(business, action, result);
    } else if (business->EqualsIgnoreCase("MyFavorite") &&
               action->EqualsIgnoreCase("CreateFavorite")) {
      ShowFavoriteTip(result && result->GetInt(1) == 0);
    } else {
      void* engineBrowser = nullptr;
      if (b->GetProperty(18, &engineBrowser) && engineBrowser) {
        static const CefString kName(u"ExeBusinessActionCallback");  // made once, shared
        CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create(kName);
        CefRefPtr<CefListValue> args = message->GetArgumentList();
        args->SetString(0, EngineText(business));
        args->SetString(1, EngineText(action));
        args->SetList(2, result ? result : CefListValue::Create());
        result = nullptr;  // the message holds it now
        static_cast<CefBrowser*>(engineBrowser)->SendProcessMessage(PID_RENDERER, message);
      }
    }
  }
  Release();
}

void TnBrowserAdaptUI::ExecuteOwnAction(const char* business, const char* action,
                                        const std::string& param, const std::string& json,
                                        const std::string& callbackId) {
  CefRefPtr<CefListValue> list = CefListValue::Create();
  list->SetString(0, param);
  list->SetString(1, json);
  list->SetString(2, callbackId);
  ExecuteBusinessAction(tnbase::TnStringPtr::FromUTF8(business).get(),
                        tnbase::TnStringPtr::FromUTF8(action).get(), list);
}

bool TnBrowserAdaptUI::IsMainView() { return std::u16string(GetName()) == u"TnMain"; }

// The favourite's tool tip is the native dialogs' work; until it exists the outcome is only
// in the result.
void TnBrowserAdaptUI::ShowFavoriteTip(bool created) {
  // The answer comes on the core's thread; the tip is the UI thread's to show.
  if (!CefCurrentlyOn(TID_UI)) {
    PostHoldingView([this, created] { ShowFavoriteTip(created); });
    return;
  }
  if (win::GetSystemMajorVersion() < 6) return;
  const std::string text = LocalisedText(created ? "IDS_STRING_CREATE_FAVORITE_SUCESS"
                                                 : "IDS_STRING_CREATE_FAVORITE_FAILE");
  CloseToolTip();  // a tip on the screen goes at once
  ShowToolTip(Utf8ToWide(text), kFavoriteTipTime);
}

}  // namespace tnwebui
