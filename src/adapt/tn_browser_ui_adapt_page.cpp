// What a view does on the notifications of hav: from the window's creation through loading,
// navigation, activation and dragging, to the end of a render process and of the browser.

#include <QFileInfo>
#include <algorithm>

#include "adapt/tn_browser_pb_ui.h"
#include "adapt/tn_browser_ui_adapt.h"
#include "adapt/watermark.h"
#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/resource_roots.h"
#include "base/tn_log.h"
#include "cef/cef_task.h"
#include "coretnmedia.pb.h"
#include "light/web_title_child_window.h"
#include "tn_browser_factory.h"
#include "tn_webui_module.h"
#include "tnbase/files.h"
#include "tnwebui/services.h"
#include "win/shell.h"
#include "win/window.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\adapt\\tn_browser_ui_adapt";

constexpr int32_t kTitleHeight = 36;
constexpr int32_t kTitleWidth = 1000;
constexpr int32_t kLayoutState = 3;
constexpr char kLoadingPage[] = "file://tavrin4/loading.html";
constexpr char kDropEvent[] = "tn.ondragfile";
constexpr char kCourierScheme[] = "zd480courier://";

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.rfind(prefix, 0) == 0;
}

template <typename Service>
Service* FindService(const GUID& id) {
  ModuleHost* host = GetModuleHost();
  return host ? static_cast<Service*>(host->QueryService(id)) : nullptr;
}

}  // namespace

void TnBrowserAdaptUI::CreateTitleWindow(int32_t height, int32_t width) {
  HWND hwnd = GetHwnd();
  if (titleWindow_ || !hwnd) return;
  titleWindow_ = CreateWebTitleWindow();
  // The bar makes its buttons from these choices when it is created.
  ConfigureTitleButtons();
  titleWindow_->Create(hwnd, width, height, 0);
}

void TnBrowserAdaptUI::ApplyAlwaysOnTop() {
  HWND hwnd = GetHwnd();
  if (initData_.empty() || !hwnd) return;
  Json::Value data;
  if (!ParseJson(initData_, data) || !data.isObject()) return;
  const Json::Value& top = data["alwaysOnTop"];
  if (top.isBool() && top.asBool()) {
    win::SetWindowPos(hwnd, reinterpret_cast<HWND>(win::HWND_TOPMOST_VALUE), 0, 0, 0, 0,
                      win::SWP_NOSIZE | win::SWP_NOMOVE);
  }
}

void TnBrowserAdaptUI::OnStateChanged(int32_t state) {
  if (state != kLayoutState) return;
  if (shadow_) shadow_->UpdateShadow();
  HWND hwnd = GetHwnd();
  if (GetViewType() != 4 || !hwnd) return;
  CreateTitleWindow(kTitleHeight, kTitleWidth);
  int width = 0, height = 0;
  win::GetClientRect(hwnd, &width, &height);
  if (width > 0 && height > 0 && titleWindow_) {
    win::SetWindowPos(titleWindow_->GetWindowHandle(), nullptr, 0, 0, width, height,
                      win::SWP_FRAMECHANGED);
  }
  void* engineBrowser = nullptr;
  xhav::Browser* b = browser();
  if (b && b->GetProperty(18, &engineBrowser) && engineBrowser) {
    CefRefPtr<CefBrowserHost> host = static_cast<CefBrowser*>(engineBrowser)->GetHost();
    if (host) {
      win::SetWindowPos(host->GetWindowHandle(), nullptr, 0, kTitleHeight, width,
                        height - kTitleHeight, win::SWP_FRAMECHANGED);
    }
  }
}

void TnBrowserAdaptUI::OnBrowserCreated() {
  if (GetViewType() == 4) {
    CreateTitleWindow(kTitleHeight, kTitleWidth);
    if (titleWindow_) titleWindow_->AttachBrowser(this, browser());
  }
  ApplyAlwaysOnTop();
}

bool TnBrowserAdaptUI::OnClosing() {
  if (GetViewType() != 1) return false;
  // A resident window never closes by itself: it hides.
  if (xhav::Browser* b = browser()) b->Show(false);
  return true;
}

void TnBrowserAdaptUI::OnPageLoaded(CefRefPtr<CefBrowser> engineBrowser, CefRefPtr<CefFrame> frame,
                                    TnString* url) {
  xhav::Browser* b = browser();
  if (url && url->Equals(kLoadingPage)) {
    // The loading page was shown first; the real address follows.
    Json::Value data;
    const std::string real = ParseJson(initData_, data) ? JsonString(data, "url") : std::string();
    if (!real.empty() && b) b->LoadUrl(real.c_str());
    return;
  }
  if (!initData_.empty() && b) RunWatermarkStep(b, engineBrowser, frame, initData_);
}

void TnBrowserAdaptUI::OnActiveChanged(bool active) {
  // A result without a call: pages subscribed to it under "regcallback".
  CefRefPtr<CefListValue> result = CefListValue::Create();
  result->SetString(0, std::string());
  result->SetInt(1, 0);
  result->SetString(2, std::string(active ? "active" : "inactive"));
  ExeBusinessActionCallback(tnbase::TnStringPtr::FromUTF8("regcallback").get(),
                            tnbase::TnStringPtr::FromUTF8("updateactivestate").get(), result);
}

void TnBrowserAdaptUI::OnNavigationState(int32_t index, int32_t count) {
  xhav::Browser* b = browser();
  if (index >= 0 && b) {
    tnbase::TnStringPtr url(b->GetUrl());
    if (url) currentUrl_ = url->ToUTF8();
  }
  if (count > 0 && titleWindow_) titleWindow_->SetBackEnabled(index > 1);
}

int32_t TnBrowserAdaptUI::OnBeforeNavigate(TnString* url) {
  if (!url || url->GetLength() == 0) return 0;
  const std::string address = url->ToUTF8();
  if (IsClientResource(address)) return 0;
  // Addresses of the company's own domain open in the client, under its own scheme.
  auto* info = FindService<ClientInfoService>(SID_ClientInfoService);
  const char* domain = info ? info->GetWebDomain() : nullptr;
  const std::string webPrefix = std::string("https://") + (domain ? domain : "") + "/";
  std::string target;
  if (StartsWith(address, kCourierScheme)) {
    target = address;
  } else if (StartsWith(address, webPrefix)) {
    target = kCourierScheme + address.substr(webPrefix.size());
  }
  if (!target.empty()) ExecuteOwnAction("OpenUrl", "", "0", target, "0");
  return 0;
}

void TnBrowserAdaptUI::OpenSaveAsWnd(TnString* business, TnString* action,
                                     CefRefPtr<CefListValue> result) {
  if (!CefCurrentlyOn(TID_UI)) {
    // The task holds the names and the list.
    tnbase::TnStringPtr heldBusiness(business ? business->Clone() : allocString());
    tnbase::TnStringPtr heldAction(action ? action->Clone() : allocString());
    PostHoldingView([this, heldBusiness, heldAction, result] {
      OpenSaveAsWnd(heldBusiness.get(), heldAction.get(), result);
    });
    return;
  }
  const std::string data = result ? result->GetString(2).ToString() : std::string();
  CefRefPtr<CefListValue> list = CefListValue::Create();
  list->SetString(0, std::string("0"));
  list->SetString(1, data);
  list->SetString(2, std::string("0"));
  ExecuteBusinessAction(business, tnbase::TnStringPtr::FromUTF8("OpenSaveAsWnd").get(), list);
}

bool TnBrowserAdaptUI::IsFilteredUrl(TnString* url) {
  if (settings_ && settings_->GetFilterUrl() == 0) return false;
  return !IsClientResource(url ? url->ToUTF8() : std::string());
}

void TnBrowserAdaptUI::OnRenderProcessTemerate(int32_t, int32_t status) {
  renderCrashed_ = true;
  if (!businessCore_) return;
  const char* text = status == 0   ? "TS_ABNORMAL_TERMINATION"
                     : status == 1 ? "TS_PROCESS_WAS_KILLED"
                     : status == 2 ? "TS_PROCESS_CRASHED"
                                   : "";
  TN_LOG_TEXT(4, "TnBrowserAdaptUI::OnRenderProcessTemerate", text);
  // Only a crash of the client's main page is told to the core at once.
  if (status == 2 && IsMainView()) businessCore_->NotifyCrash();
}

void TnBrowserAdaptUI::OnBrowserDestroyed() {
  ClosePopups();  // the hidden windows that the page made go with it
  if (businessCore_) businessCore_->OnViewClosed(this);
  if (pageHost_) {
    pageHost_->OnClosed();
    pageHost_ = nullptr;
  }
  if (shadow_) {
    shadow_->DetachWindow();
    shadow_->Release();
    shadow_ = nullptr;
  }
  if (businessCore_) {
    if (IsMainView() && renderCrashed_) businessCore_->NotifyCrash();
    businessCore_->Release();
    businessCore_ = nullptr;
  }
  // Last: the factory may let go of this view here.
  TnBrowserUI::OnBrowserDestroyed();
}

void TnBrowserAdaptUI::OnFilesDragged(const xhav::FileList& files) { dragFiles_ = files; }

void TnBrowserAdaptUI::OnFilesDropped(const xhav::FileList& files) {
  interdata::CoreMediaInfoList list;
  for (const std::u16string& file : files) {
    const std::string path = WideToUtf8(file);
    interdata::CoreMediaInfo* info = list.add_infos();
    info->set_name(tnbase::pathFindFileName(path));
    std::string local = path;
    std::replace(local.begin(), local.end(), '\\', '/');
    info->set_localpath(local);
    if (QFileInfo(QString::fromStdString(path)).isDir()) {
      info->set_type(interdata::DIR);
      info->set_size(0);
    } else {
      info->set_type(interdata::GENERICFILE);
      info->set_size(std::max<int64_t>(tnbase::fileSize(path), 0));
    }
    info->set_localstate(interdata::Prepared);
  }
  xhav::Browser* b = browser();
  if (auto* bus = FindService<EventBus>(SID_EventBus)) {
    bus->PostFileListEvent(b ? b->GetId() : 0, kDropEvent, list);
  }
}

void TnBrowserAdaptUI::OnRevealFile(TnString* url) {
  std::string path = url ? url->ToUTF8() : std::string();
  if (path.size() > 260) path = "\\\\?\\" + path;  // past the system's path limit
  std::string program = win::GetSystemWindowsDirectory();
  tnbase::pathAppend(program, "explorer.exe");
  win::CreateProcess(program + " /select, \"" + path + "\"", win::SW_SHOW);
}

void TnBrowserAdaptUI::OnPopup() {
  TnBrowserFactory* factory = GetBrowserFactory();
  if (factory) {
    // The popup views of this page that are still open; a page that opens more gets none.
    popups_.erase(std::remove_if(popups_.begin(), popups_.end(),
                                 [factory](int32_t id) { return !factory->PopupViewOpen(id); }),
                  popups_.end());
    if (popups_.size() >= kMaxPopups) {
      TN_LOG_TEXT(2, "TnBrowserAdaptUI::OnPopup",
                  "a page's popup beyond its open ones is not made");
      return;
    }
  }
  xhav::BrowserParam* param = NewBrowserParam();
  if (!param) return;
  param->SetStartHidden(true);
  param->SetTopCenter(false);
  param->SetResizable(true);
  param->SetViewType(4);
  param->SetPopupOption(20);
  param->SetShowTitleBar(true);
  if (factory) {
    TnBrowserPbUI* popup = factory->CreatePopupView(0, "file://test/newpage.html", param);
    xhav::Browser* browser = popup ? popup->browser() : nullptr;
    if (browser) popups_.push_back(browser->GetId());
  }
  param->Destroy();
}

void TnBrowserAdaptUI::ClosePopups() {
  TnBrowserFactory* factory = GetBrowserFactory();
  if (!factory) return;
  for (int32_t id : popups_) factory->PopupViewOpen(id, true);
  popups_.clear();
}

bool TnBrowserAdaptUI::OnInnerBusiness(const std::vector<std::u16string>& texts, void* callback) {
  ProcessInnerBusiness(texts, static_cast<IBrowserViewCallback*>(callback));
  return true;
}

}  // namespace tnwebui
