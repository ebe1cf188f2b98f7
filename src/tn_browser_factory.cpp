#include "tn_browser_factory.h"

#include <QString>
#include <algorithm>
#include <new>

#include "adapt/tn_browser_pb_ui.h"
#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/tn_log.h"
#include "browser_view_setting.h"
#include "light/window_tavrin_browser_ui.h"
#include "presentation.pb.h"
#include "tn_webui_module.h"
#include "tnbase/files.h"
#include "win/window.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\tn_browser_factory";
constexpr char kExtendFrame[] = "file://tavrin4/extendframe.html";

tnbase::TnStringPtr Text(const std::string& utf8) { return tnbase::TnStringPtr::FromUTF8(utf8); }

xhav::Core* HavCore() {
  ModuleHost* host = GetModuleHost();
  return host ? host->GetHavCore() : nullptr;
}

// Brings an open window forward: restored if minimised, on top, active and shown.
void BringForward(HWND hwnd) {
  if (win::IsIconic(hwnd)) win::ShowWindow(hwnd, win::SW_RESTORE);
  win::SetWindowPos(hwnd, nullptr, 0, 0, 0, 0, win::SWP_NOSIZE | win::SWP_NOMOVE);
  win::SetForegroundWindow(hwnd);
  win::SetActiveWindow(hwnd);
  win::ShowWindow(hwnd, win::SW_SHOWWINDOW);
}

}  // namespace

FusionBrowser* TnBrowserFactory::At(std::size_t index) {
  std::lock_guard<std::mutex> lock(lock_);
  return index < browsers_.size() ? browsers_[index] : nullptr;
}

void TnBrowserFactory::Append(FusionBrowser* element) {
  std::lock_guard<std::mutex> lock(lock_);
  browsers_.push_back(element);
}

bool TnBrowserFactory::Erase(FusionBrowser* element) {
  std::lock_guard<std::mutex> lock(lock_);
  auto it = std::find(browsers_.begin(), browsers_.end(), element);
  if (it == browsers_.end()) return false;
  browsers_.erase(it);
  return true;
}

std::size_t TnBrowserFactory::size() {
  std::lock_guard<std::mutex> lock(lock_);
  return browsers_.size();
}

xhav::BrowserParam* NewBrowserParam() {
  void* hav = win::GetModuleHandleW(xhav::kHavLibraryName);
  auto create =
      reinterpret_cast<xhav::CreateHavObjectFn>(win::GetProcAddress(hav, "CreateHavObject"));
  void* param = nullptr;
  if (!create || !create(xhav::kHavObjectBrowserParam, &param)) return nullptr;
  return static_cast<xhav::BrowserParam*>(param);
}

HRESULT TnBrowserFactory::CreateBrowserViewSetting(IBrowserViewSetting** out) {
  if (!out) return E_INVALIDARG;
  auto* settings = new (std::nothrow) CBrowserViewSettingImpl();
  if (!settings) {
    TN_LOG(4, "TnBrowserFactory::CreateBrowserViewSetting",
           "new CBrowserViewSettingImpl return null, E_OUTOFMEMORY");
    return E_OUTOFMEMORY;
  }
  settings->AddRef();
  const HRESULT hr =
      settings->QueryInterface(IID_IBrowserViewSetting, reinterpret_cast<void**>(out));
  settings->Release();
  return hr;
}

HRESULT TnBrowserFactory::CreateBrowserView(const char* url, IBrowserViewSetting* settings,
                                            IBrowserView** out) {
  if (!settings || !out) return E_INVALIDARG;
  *out = nullptr;
  FindBrowserView(settings->GetName(), out);
  if (*out) {
    // A window of this name is open: it takes the new data and comes forward.
    HWND hwnd = (*out)->GetHwnd();
    (*out)->SetInitData(settings->GetInitData(), 1);
    BringForward(hwnd);
    return S_OK;
  }

  xhav::BrowserParam* param = NewBrowserParam();
  xhav::Core* core = HavCore();
  // Without hav the contract has no way on (the parameter object would be empty); a status
  // tells the host instead of a crash.
  if (!param || !core) {
    if (param) param->Destroy();
    return E_NOINTERFACE;
  }
  const int32_t viewType = settings->GetViewType();
  param->SetShowTitleBar(viewType == 4);
  param->SetName(tnbase::TnStringPtr(allocStringFromWideChars(settings->GetName())).get());
  param->SetStartHidden(settings->GetStartHidden() != 0);
  param->SetHavFlagA(settings->GetHavFlagA() != 0);
  param->SetResizable(settings->GetResizable() != 0);
  param->SetViewType(viewType);
  param->SetHavFlagB(settings->GetHavFlagB() != 0);
  param->SetParentWindow(settings->GetParentWindow());
  param->SetHideOnClose(settings->GetHideOnClose() != 0);
  param->SetTopCenter(settings->GetTopCenter() != 0);

  const std::string initData = settings->GetInitData() ? settings->GetInitData() : "";
  Json::Value init;
  const bool initIsObject = ParseJson(initData, init) && init.isObject();
  if (initIsObject) param->SetOpenMaximized(JsonToBool(init["isopenmax"]));

  RECT rect{0, 0, 0, 0};
  settings->GetRect(&rect);
  const int32_t width = rect.right - rect.left;
  const int32_t height = rect.bottom - rect.top;
  if (width > 0 && height > 0) {
    param->SetWidth(width);
    param->SetHeight(height);
    param->SetLeft(rect.left);
    param->SetTop(rect.top);
    if (viewType == 4) param->SetScaledSize(scaleForDpi(width), scaleForDpi(height));
  }
  param->SetTitle(Text(LocalisedText("IDS_STR_APP_NAME")).get());

  auto* view = new TnBrowserPbUI(nullptr);
  view->AddRef();
  param->SetCookieSpace(Text(TnBrowserAdaptUI::CookieSpaceOf(settings->GetBusinessCore())).get());

  std::string address = url ? url : "";
  if (address == kExtendFrame) {
    // The real address of an extended frame comes with the initial data.
    if (!initIsObject) {
      // Nothing is created and the result is 0, as for any caller; the view made above and the
      // parameter object are freed rather than left behind.
      param->Destroy();
      view->Release();
      return S_OK;
    }
    address = JsonString(init, "url");
  }

  xhav::Browser* browser = nullptr;
  view->SetNameAndUrl(WideToUtf8(settings->GetName() ? settings->GetName() : u""), address);
  core->CreateBrowser(address.c_str(), param, view, &browser);
  view->SetBrowser(browser);
  param->Destroy();
  *out = view;
  view->SetInitData(initData.c_str(), 1);
  if (browser) browser->SetInitialData(initData.c_str());
  view->Init(settings);
  view->AddRef();  // the list's reference
  Append(view);
  return S_OK;
}

HRESULT TnBrowserFactory::FindBrowserView(const char16_t* name, IBrowserView** out) {
  if (!name || !out) return E_INVALIDARG;
  for (std::size_t i = 0;; ++i) {
    FusionBrowser* element = At(i);
    if (!element) break;
    if (!element->IsPbView()) continue;
    auto* view = static_cast<TnBrowserPbUI*>(element);
    if (SameIgnoringCase(view->GetName(), name)) {
      view->AddRef();
      *out = view;
      return S_OK;
    }
  }
  return E_NOINTERFACE;
}

TavrinBrowser* TnBrowserFactory::FindLightBrowserByName(const std::string& name) {
  if (name.empty()) return nullptr;
  for (std::size_t i = 0;; ++i) {
    FusionBrowser* element = At(i);
    if (!element) return nullptr;
    if (element->IsPbView()) continue;
    auto* light = dynamic_cast<TavrinBrowser*>(element);
    if (light && light->GetName() == name) return light;
  }
}

TavrinBrowser* TnBrowserFactory::FindLightBrowserById(int32_t id) {
  for (std::size_t i = 0;; ++i) {
    FusionBrowser* element = At(i);
    if (!element) return nullptr;
    if (element->IsPbView()) continue;
    auto* light = dynamic_cast<TavrinBrowser*>(element);
    if (light && light->GetId() == id) return light;
  }
}

HRESULT TnBrowserFactory::CreateLightBrowser(int32_t first, const char* url,
                                             xhav::BrowserParam* third) {
  return CreateLightBrowser(first, "", url, third);
}

HRESULT TnBrowserFactory::CreateLightBrowser(int32_t first, const char* name, const char* url,
                                             xhav::BrowserParam* param) {
  return CreateLightBrowser(first, name, url, param, nullptr);
}

HRESULT TnBrowserFactory::CreateLightBrowser(int32_t first, const char* name, const char* url) {
  return CreateLightBrowser(first, name, url, nullptr);
}

HRESULT TnBrowserFactory::CreateLightBrowser(int32_t first, const char* name, const char* url,
                                             xhav::BrowserParam* param,
                                             const interdata::WindowProperty* property) {
  if (TavrinBrowser* open = FindLightBrowserByName(name ? name : "")) return open->GetId();
  auto* window = new WindowTavrinBrowserUI(first);
  window->SetName(name ? name : "");
  window->SetOpenUrl(url ? url : "");
  window->SetTitle(property ? property->title() : std::string());
  // The schema's window property names no owner window, so the new window has none.
  xhav::Browser* browser = nullptr;
  if (xhav::Core* core = HavCore()) core->CreateBrowser(url ? url : "", param, window, &browser);
  window->SetBrowser(browser);
  window->SetId(browser ? browser->GetId() : 0);
  Append(window);
  return window->GetId();
}

TnBrowserPbUI* TnBrowserFactory::CreatePopupView(int32_t, const char* url,
                                                 xhav::BrowserParam* param) {
  auto* view = new TnBrowserPbUI(nullptr);
  view->AddRef();
  view->SetNameAndUrl(std::string(), url ? url : "");
  xhav::Browser* browser = nullptr;
  if (xhav::Core* core = HavCore()) core->CreateBrowser(url ? url : "", param, view, &browser);
  view->SetBrowser(browser);
  Append(view);
  return view;
}

HRESULT TnBrowserFactory::CloseBrowsersOfName(const char16_t* name) {
  const char16_t* wanted = name ? name : u"";
  // The size is read once; an index that the list has shrunk past yields nothing.
  const std::size_t count = size();
  if (count == 0) return S_OK;
  std::vector<FusionBrowser*> closed;
  for (std::size_t i = 0; i < count; ++i) {
    FusionBrowser* element = At(i);
    if (!element) continue;
    std::u16string key;
    if (element->IsPbView()) {
      auto* view = static_cast<TnBrowserPbUI*>(element);
      const char16_t* org = view->GetOrgKey();
      key = org ? org : u"";
      const int32_t type = view->GetViewType();
      if (type == 1 || type == 2) continue;  // resident and embedded windows survive
      if (!SameIgnoringCase(wanted, key.c_str())) continue;
      win::PostMessageW(view->GetHwnd(), win::WM_CLOSE, 0, 0);
    } else {
      auto* light = dynamic_cast<TavrinBrowser*>(element);
      if (!light) continue;
      key = Utf8ToWide("tn.org." + std::to_string(light->GetOid()));
      if (!SameIgnoringCase(wanted, key.c_str())) continue;
      if (xhav::Browser* browser = light->GetHavBrowser()) browser->Close(1);
    }
    closed.push_back(element);
  }
  for (FusionBrowser* element : closed) Erase(element);
  return E_NOTIMPL;
}

void TnBrowserFactory::RemoveBrowser(int32_t id) {
  for (std::size_t i = 0;; ++i) {
    FusionBrowser* element = At(i);
    if (!element) return;
    if (element->IsPbView()) {
      auto* view = static_cast<TnBrowserPbUI*>(element);
      xhav::Browser* browser = view->browser();
      if ((browser ? browser->GetId() : 0) != id) continue;
      Erase(element);
      view->SetBrowserOnly(nullptr);
      view->Release();
      return;
    }
    auto* light = dynamic_cast<TavrinBrowserUI*>(element);
    if (light && light->GetId() == id) {
      Erase(element);
      light->SetBrowser(nullptr);
      light->Destroy(1);
      return;
    }
  }
}

bool TnBrowserFactory::PopupViewOpen(int32_t id, bool close) {
  for (std::size_t i = 0;; ++i) {
    FusionBrowser* element = At(i);
    if (!element) return false;
    if (!element->IsPbView()) continue;
    xhav::Browser* browser = static_cast<TnBrowserPbUI*>(element)->browser();
    if (!browser || browser->GetId() != id) continue;
    if (close) browser->Close(1);
    return true;
  }
}

}  // namespace tnwebui
