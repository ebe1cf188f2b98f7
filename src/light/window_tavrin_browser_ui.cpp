#include "light/window_tavrin_browser_ui.h"

#include "base/tn_log.h"
#include "tn_webui_module.h"
#include "win/file_version.h"
#include "win/user.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "src\\light\\window_tavrin_browser_ui";
// The shadow's library in the application folder, and its entry.
constexpr char kTnMainUILibrary[] = "libTnMainUI.so";
constexpr char kCreateInterface[] = "CreateInterface";
using CreateInterfaceFn = HRESULT (*)(const GUID*, void**);

constexpr int32_t kSizeChanged = 3;
constexpr int32_t kFramedViewType = 4;
constexpr int32_t kTitleWidth = 1000;
constexpr int32_t kTitleHeight = 36;

}  // namespace

WindowTavrinBrowserUI::~WindowTavrinBrowserUI() {
  if (shadow_) shadow_->Release();
}

xhav::BrowserParam* WindowTavrinBrowserUI::Settings() {
  void* settings = nullptr;
  if (!havBrowser_ || !havBrowser_->GetProperty(xhav::kPropertySettings, &settings)) return nullptr;
  return static_cast<xhav::BrowserParam*>(settings);
}

void WindowTavrinBrowserUI::OnBrowserCreated() {
  createShadow();
  if (havBrowser_) {
    xhav::BrowserParam* settings = Settings();
    createTitle(settings);
    if (settings && !settings->GetStartHidden()) havBrowser_->Show(true);
  }
  TavrinBrowserUI::OnBrowserCreated();
}

void WindowTavrinBrowserUI::createShadow() {
  if (shadow_) return;
  TnWebUIModule* module = TnWebUIModule::Get();
  const std::string path =
      (module ? module->GetAppFolder() : std::string()) + win::kPathSeparator + kTnMainUILibrary;
  void* library = win::LoadLibraryW(path);  // kept loaded: the shadow's code lives there
  if (!library) {
    TN_LOG(4, "WindowTavrinBrowserUI::createShadow", "load TnMainUI.dll failure.");
    return;
  }
  auto create = reinterpret_cast<CreateInterfaceFn>(win::GetProcAddress(library, kCreateInterface));
  if (!create) return;  // a library without the entry: no shadow either
  void* shadow = nullptr;
  if (create(&IID_WindowShadow, &shadow) != S_OK || !shadow) return;
  shadow_ = static_cast<WindowShadow*>(shadow);
  HWND hwnd = havBrowser_ ? havBrowser_->GetWindowHandle() : nullptr;
  shadow_->SetShadowMode(0);
  shadow_->AttachWindow(hwnd);
  shadow_->ShowShadow(1);
}

void WindowTavrinBrowserUI::createTitle(xhav::BrowserParam* settings) {
  if (title_ || !settings || !settings->GetShowTitleBar()) return;
  HWND hwnd = havBrowser_ ? havBrowser_->GetWindowHandle() : nullptr;
  title_ = CreateWebTitleWindow();
  TnString* text = settings->GetTitle();
  title_->SetTitle(tnbase::TnStringPtr::FromUTF8(text ? text->ToUTF8() : std::string()));
  // Light windows have only close, maximise and minimise.
  title_->SetShowLinkButtons(false);
  title_->SetShowNavigation(false);
  title_->Create(hwnd, kTitleWidth, kTitleHeight, 0);
  if (settings->GetViewType() == kFramedViewType) title_->AttachBrowser(nullptr, havBrowser_);
}

void WindowTavrinBrowserUI::OnStateChanged(int32_t state) {
  if (state != kSizeChanged) return;
  if (shadow_) shadow_->UpdateShadow();
  xhav::BrowserParam* settings = Settings();
  HWND hwnd = havBrowser_ ? havBrowser_->GetWindowHandle() : nullptr;
  if (!settings || settings->GetViewType() != kFramedViewType || !hwnd) return;
  createTitle(settings);
  int width = 0, height = 0;
  win::GetClientRect(hwnd, &width, &height);
  if (title_ && win::IsWindowVisible(title_->GetWindowHandle()) && width > 0 && height > 0) {
    win::SetWindowPos(title_->GetWindowHandle(), nullptr, 0, 0, width, height,
                      win::SWP_FRAMECHANGED);
  }
  // The browser's own window goes below the bar, whether or not the bar is there.
  void* engineBrowser = nullptr;
  if (havBrowser_->GetProperty(xhav::kPropertyEngineBrowser, &engineBrowser) && engineBrowser) {
    CefRefPtr<CefBrowserHost> host = static_cast<CefBrowser*>(engineBrowser)->GetHost();
    if (host) {
      win::SetWindowPos(host->GetWindowHandle(), nullptr, 0, kTitleHeight, width,
                        height - kTitleHeight, win::SWP_FRAMECHANGED);
    }
  }
}

void WindowTavrinBrowserUI::OnBrowserDestroyed() {
  if (shadow_) {
    shadow_->DetachWindow();
    WindowShadow* shadow = shadow_;
    shadow_ = nullptr;
    shadow->Release();
  }
  TavrinBrowserUI::OnBrowserDestroyed();
}

}  // namespace tnwebui
