#include "light/tavrin_browser_ui.h"

#include "base/CommonFunc.h"
#include "tn_browser_factory.h"
#include "tn_webui_module.h"
#include "tnwebui/business_service.h"
#include "tnwebui/services.h"

namespace tnwebui {

namespace {

constexpr char kCloseEvent[] = "tn.onclose";
constexpr char kWindowChangeEvent[] = "tn.onwindowChange";
constexpr char kBusinessCommand[] = "exebusinessaction";

template <typename Service>
Service* FindService(const GUID& id) {
  ModuleHost* host = GetModuleHost();
  return host ? static_cast<Service*>(host->QueryService(id)) : nullptr;
}

}  // namespace

TavrinBrowserUI::TavrinBrowserUI(int32_t oid)
    : oid_(oid),
      handlerCreator_(std::make_unique<BrowserHandlerCreator>(this)),
      eventApi_(std::make_shared<BrowserEventApi>()),
      jsSdk_(std::make_unique<TavrinJsSDK>(oid, GetModuleHost())) {}

TavrinBrowserUI::~TavrinBrowserUI() = default;

void TavrinBrowserUI::SetViewParams(const ExtraParams& params) {
  for (const auto& [key, value] : params) extraParams_[key] = value;
}

void TavrinBrowserUI::AddDesktopHandler(const char* address) {
  if (havBrowser_) havBrowser_->AddHandler(address, handlerCreator_.get());
}

void TavrinBrowserUI::OnBrowserCreated() {
  if (jsSdk_) jsSdk_->SetBrowser(havBrowser_);
  if (eventApi_) eventApi_->Init(havBrowser_);
  for (const char* path : kLightBrowserPaths) AddDesktopHandler(DesktopAddress(path).c_str());
}

void TavrinBrowserUI::OnBeforeBrowserClose() {
  // The list as it stands: its two animation addresses aren't the registered ones, which
  // therefore stay.
  RemoveDesktopHandlers(havBrowser_, kLightBrowserRemovedPaths);
  if (eventApi_) eventApi_->Detach();
  if (jsSdk_) jsSdk_->SetBrowser(nullptr);
}

void TavrinBrowserUI::OnBrowserDestroyed() {
  // The factory's end of a light window frees this view: nothing may follow.
  if (TnBrowserFactory* factory = GetBrowserFactory()) factory->RemoveBrowser(id_);
}

bool TavrinBrowserUI::OnProcessMessage(TnString* name, CefRefPtr<CefProcessMessage> message) {
  tnbase::TnStringPtr empty;
  if (!name) {
    empty = tnbase::TnStringPtr(allocString());
    name = empty.get();
  }
  if (eventApi_ && eventApi_->OnBrowserCall(name, message)) return true;
  return jsSdk_ && jsSdk_->OnBrowserCall(name, message);
}

bool TavrinBrowserUI::OnClosing() {
  auto* bus = FindService<EventBus>(SID_EventBus);
  if (!bus) return false;
  // The page decides: it answers with /window/close when it is ready to go.
  if (HasEventApi()) bus->PostJsonEvent(oid_, kCloseEvent, "");
  return true;
}

void TavrinBrowserUI::OnWindowChange(int32_t state) {
  if (!HasEventApi()) return;
  auto* bus = FindService<EventBus>(SID_EventBus);
  if (bus) bus->PostJsonEvent(oid_, kWindowChangeEvent, std::to_string(state).c_str());
}

void TavrinBrowserUI::OnRenderCommand(CefRefPtr<CefBrowser>, bool*, TnString* name,
                                      const xhav::ArgList* args) {
  if (!TnWebUIModule::Get() || !name || name->ToUTF8() != kBusinessCommand) return;
  auto* service = FindService<BusinessCoreService>(SID_BusinessCoreService);
  BusinessCore* core = service ? service->GetBusinessCore(oid_) : nullptr;
  if (!core) return;
  std::u16string texts[5];
  for (std::size_t i = 0; i < 5 && args && i < args->GetCount(); ++i) {
    tnbase::TnStringPtr text(args->GetString(i));
    if (text) texts[i].assign(text->GetData(), static_cast<std::size_t>(text->GetLength()));
  }
  core->ExecuteBusinessAction(texts[0].c_str(), texts[1].c_str(), texts[2].c_str(),
                              texts[3].c_str(), texts[4].c_str(), nullptr);
}

}  // namespace tnwebui
