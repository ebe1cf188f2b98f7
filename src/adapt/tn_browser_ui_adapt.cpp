#include "adapt/tn_browser_ui_adapt.h"

#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/tn_log.h"
#include "cef/cef_task.h"
#include "tnbase/files.h"

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
    AddRef();  // the task holds the view
    CefPostTask(TID_UI, std::function<void()>([this] {
                  SetInitialCookies();
                  Release();
                }));
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

void TnBrowserAdaptUI::StartShadow() {
  if (!CefCurrentlyOn(TID_UI)) {
    AddRef();  // the task holds the view
    CefPostTask(TID_UI, std::function<void()>([this] {
                  StartShadow();
                  Release();
                }));
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
  tnbase::TnStringPtr business(allocStringFromUTF8(WideToUtf8(texts[0]).c_str()));
  tnbase::TnStringPtr action(allocStringFromUTF8(WideToUtf8(texts[1]).c_str()));
  CefRefPtr<CefListValue> arguments = CefListValue::Create();
  arguments->SetString(0, CefString(texts[2]));
  arguments->SetString(1, CefString(texts[3]));
  arguments->SetString(2, CefString(texts[4]));
  ExecuteBusinessAction(business.get(), action.get(), arguments);
  return true;
}

// Business actions, their answers, cookies and the page's always-on-top state are served by
// the work that builds them; until then these do nothing.
void TnBrowserAdaptUI::ExecuteBusinessAction(TnString*, TnString*, CefRefPtr<CefListValue>) {}

void TnBrowserAdaptUI::SendInitData(TnString*, TnString*, TnString*, const std::string&) {}

void TnBrowserAdaptUI::SetInitialCookies() {}

bool TnBrowserAdaptUI::BeforeReload(const std::u16string&) { return false; }

void TnBrowserAdaptUI::ApplyAlwaysOnTop() {}

}  // namespace tnwebui
