// The library's two exports.

#include "tn_browser_factory.h"
#include "tn_webui_module.h"
#include "win/file_version.h"

TN_FILE_VERSION_RESOURCE(TNWEBUI_VERSION_MAJOR, TNWEBUI_VERSION_MINOR, TNWEBUI_VERSION_PATCH,
                         TNWEBUI_VERSION_BUILD);

TavrinModule* CreateTavrinModule(ModuleHost* host) {
  return tnwebui::TnWebUIModule::GetOrCreate(host);
}

HRESULT CreateInterface(const GUID* id, void** out) {
  if (!out) return E_INVALIDARG;
  if (!id || *id != IID_ITnWebUI) return E_NOTIMPL;
  tnwebui::TnWebUIModule* module = tnwebui::TnWebUIModule::Get();
  if (!module) return E_NOTIMPL;  // callers must create the module first
  tnwebui::TnBrowserFactory* factory = module->GetOrCreateFactory();
  if (!factory) return E_OUTOFMEMORY;
  return factory->QueryInterface(*id, out);
}
