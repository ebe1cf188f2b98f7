#include "tn_webui_module.h"

#include <new>

#include "base/tn_log.h"
#include "hav/hav.h"
#include "light/desktop_origin.h"
#include "light/tavrin_browser_handler.h"
#include "render/render_process.h"
#include "tn_browser_factory.h"
#include "tnwebui/services.h"
#include "win/file_version.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\tn_webui_module";

// Set once on the host's start-up thread, before any view exists; read from anywhere after.
TnWebUIModule* g_module = nullptr;

}  // namespace

TnWebUIModule::~TnWebUIModule() {
  if (factory_) factory_->Release();
  delete handlerCreator_;
}

TnWebUIModule* TnWebUIModule::Get() { return g_module; }

std::string TnWebUIModule::GetAppFolder() const {
  if (!appFolder_.empty()) return appFolder_;
  const std::string file = win::GetModuleFileName(reinterpret_cast<const void*>(&g_module));
  const std::size_t cut = file.rfind(win::kPathSeparator);
  return cut == std::string::npos ? std::string() : file.substr(0, cut);
}

TnWebUIModule* TnWebUIModule::GetOrCreate(ModuleHost* host) {
  if (!g_module) g_module = new TnWebUIModule(host);
  return g_module;
}

TnWebUIModule* TnWebUIModule::Install(TnWebUIModule* module) {
  TnWebUIModule* previous = g_module;
  g_module = module;
  return previous;
}

TnBrowserFactory* TnWebUIModule::GetOrCreateFactory() {
  if (!factory_) {
    factory_ = new (std::nothrow) TnBrowserFactory();
    if (factory_) factory_->AddRef();
  }
  return factory_;
}

void TnWebUIModule::OnModuleLoaded(uint32_t) {
  if (!handlerCreator_) handlerCreator_ = new BrowserFactoryHandlerCreator(&handlerCreator_);
  // The registry is asked for anew for each address.
  for (const char* path : kOpenPaths) {
    xhav::Core* core = host_ ? host_->GetHavCore() : nullptr;
    xhav::HandlerRegistry* registry = core ? core->GetHandlerRegistry() : nullptr;
    if (registry) registry->AddHandler(DesktopAddress(path).c_str(), handlerCreator_);
  }
}

void TnWebUIModule::OnProcessInited(uint32_t) {
  xhav::Core* core = host_ ? host_->GetHavCore() : nullptr;
  if (!core || core->GetProcessType() != xhav::kProcessTypeRender) return;
  TN_LOG(2, "TnWebUIModule::OnProcessInited",
         "current process is render process, start notify RenderProcess launched");
  if (renderProcess_) return;
  renderProcess_ = std::make_unique<RenderProcess>(this);
  renderProcess_->RegisterNativeExtension();
  if (xhav::RenderHost* renderHost = host_->GetRenderHost()) {
    renderHost->SetRenderNotify(renderProcess_.get());
  }
}

ModuleHost* GetModuleHost() { return g_module ? g_module->GetHost() : nullptr; }

TnBrowserFactory* GetBrowserFactory() { return g_module ? g_module->factory() : nullptr; }

std::string LocalisedText(const char* key) {
  ModuleHost* host = GetModuleHost();
  auto* strings =
      host ? static_cast<StringTableService*>(host->QueryService(SID_StringTableService)) : nullptr;
  char buffer[260] = {};
  if (strings) strings->LoadString(key, buffer, sizeof buffer);
  return buffer;
}

}  // namespace tnwebui
