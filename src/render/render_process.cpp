#include "render/render_process.h"

#include <cstdio>

#include "base/CommonFunc.h"
#include "base/tn_log.h"
#include "tn_webui_module.h"
#include "tnbase/files.h"
#include "win/file_version.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\render\\render_process";

constexpr char kExtensionScript[] =
    "var tnpc_global;if(!tnpc_global) tnpc_global = {};(function(){ tnpc_global.tnwebui_ver = "
    "'%s'; tnpc_global.tnbusiness_ver = '%s'; tnpc_global.sayhello = function() { alert('Hello "
    "N');};  tnpc_global.GetVersion = function() { native function GetVersion(); return "
    "GetVersion();}; })();";

constexpr const char* kWindowFunctions[] = {"minwnd",        "restorewnd",  "maxwnd", "closewnd",
                                            "forceclosewnd", "refresh",     "goback", "cangoback",
                                            "goforward",     "cangoforward"};
constexpr const char* kBusinessFunctions[] = {"exebusinessaction", "registerEvent",
                                              "unregisterEvent", "sendEvent"};

std::string ArgString(const xhav::ArgList* args, std::size_t index) {
  tnbase::TnStringPtr s(args->GetString(index));
  return s ? s->ToUTF8() : std::string();
}

// The element as the engine's UTF-16 text, with no conversion on the way.
CefString ArgText(const xhav::ArgList* args, std::size_t index) {
  tnbase::TnStringPtr s(args->GetString(index));
  return EngineText(s.get());
}

}  // namespace

std::string getFileVersion(const char* path) {
  const std::string file =
      path ? std::string(path)
           : win::GetModuleFileName(reinterpret_cast<const void*>(&getFileVersion));
  win::FixedFileInfo info;
  if (!win::GetFileVersionInfo(file, &info)) return "0.0.0.0";
  char text[32];
  std::snprintf(text, sizeof text, "%d.%d.%d.%d", static_cast<int>(info.fileVersionMS >> 16),
                static_cast<int>(info.fileVersionMS & 0xffff),
                static_cast<int>(info.fileVersionLS >> 16),
                static_cast<int>(info.fileVersionLS & 0xffff));
  return text;
}

std::string MakeExtensionScript(const std::string& webuiVersion,
                                const std::string& businessVersion) {
  const int n =
      std::snprintf(nullptr, 0, kExtensionScript, webuiVersion.c_str(), businessVersion.c_str());
  std::string script(static_cast<std::size_t>(n) + 1, '\0');
  std::snprintf(script.data(), script.size(), kExtensionScript, webuiVersion.c_str(),
                businessVersion.c_str());
  script.resize(static_cast<std::size_t>(n));
  return script;
}

xhav::RenderHost* RenderProcess::GetRenderHost() const {
  ModuleHost* host = module_ ? module_->GetHost() : nullptr;
  return host ? host->GetRenderHost() : nullptr;
}

void RenderProcess::RegisterNativeExtension() {
  const std::string self = win::GetModuleFileName(reinterpret_cast<const void*>(&getFileVersion));
  std::string business = tnbase::pathRemoveFileName(self);
  tnbase::pathAppend(business, "TnBusiness.dll");
  const std::string businessVersion = getFileVersion(business.c_str());
  const std::string script = MakeExtensionScript(getFileVersion(nullptr), businessVersion);
  if (!handler_) handler_ = new CCefV8HandlerImpl();
  if (xhav::RenderHost* host = GetRenderHost()) {
    host->RegisterExtension("v8/tnpc_global", script.c_str(), handler_);
  }
}

void RenderProcess::AddNativeFunction(const char* name, CefRefPtr<CefV8Value> object) {
  if (!name || !*name || !object || !handler_) return;
  object->SetValue(name, CefV8Value::CreateFunction(name, handler_), V8_PROPERTY_ATTRIBUTE_NONE);
}

void RenderProcess::OnContextCreated(CefRefPtr<CefBrowser>, CefRefPtr<CefFrame>,
                                     CefRefPtr<CefV8Context> context, bool enableBusiness) {
  if (!context) return;
  CefRefPtr<CefV8Value> global = context->GetGlobal();
  CefRefPtr<CefV8Value> object = CefV8Value::CreateObject(new CCefV8AccessorHandler());
  if (!handler_ || !global) return;
  for (const char* name : kWindowFunctions) AddNativeFunction(name, object);
  if (enableBusiness) {
    for (const char* name : kBusinessFunctions) AddNativeFunction(name, object);
  }
  global->SetValue("tnpc", object, V8_PROPERTY_ATTRIBUTE_NONE);
  global->SetValue("Tavrin", object, V8_PROPERTY_ATTRIBUTE_NONE);
}

bool RenderProcess::OnHavMessage(CefRefPtr<CefBrowser> browser, int /*source*/, TnString* name,
                                 const xhav::ArgList* args) {
  constexpr char kFn[] = "RenderProcess::OnHavMessage";
  if (!name) return false;
  const std::size_t count = args ? args->GetCount() : 0;

  if (name->EqualsIgnoreCase("push_notify")) {
    if (count != 5) return false;
    const std::string key = ArgString(args, 0);
    const int code = args->GetInt(1);
    // The event's name and format go to the page as the UTF-16 texts they came as.
    const CefString eventName = ArgText(args, 2);
    const CefString format = ArgText(args, 3);
    if (!handler_) return false;
    static const CefString kBinary(u"binary"), kPb(u"pb");
    if (format == kBinary || format == kPb) {
      xhav::Binary* bytes = args->GetBinary(4);
      handler_->ExecuteCallbackWithBinary(browser, key, code, eventName.ToString(),
                                          format.ToString(), bytes);
      if (bytes) bytes->Release();
    } else {
      handler_->ExecuteCallback(browser, key, code, eventName, format, ArgText(args, 4));
    }
    return true;
  }

  if (name->EqualsIgnoreCase("exebusinessactioncallback")) {
    if (count != 3) return false;
    const std::string business = ArgString(args, 0);
    const std::string action = ArgString(args, 1);
    const xhav::ArgList* result = args->GetList(2);
    if (!result) {
      // Without its result list the answer names no callback: reading on would make up the id
      // "0" with code 0 and fire a parked "<business>_<action>_0" callback with a false success.
      TN_LOG(4, kFn, "OnHavMessage:exebusinessactioncallback without a result list, dropped");
      return false;
    }
    const CefString id = ArgText(result, 0);
    const int code = result->GetInt(1);
    const CefString data = ArgText(result, 2);
    TN_LOG(2, kFn, "OnHavMessage:exebusinessactioncallback->business[%s] action[%s]",
           business.c_str(), action.c_str());
    if (handler_) {
      handler_->ExecuteBusinessResult(browser, business, action, id, code, data);
      return true;
    }
  }

  TN_LOG(2, kFn, "unknown OnHavMessage[%s]", name->ToUTF8().c_str());
  return false;
}

}  // namespace tnwebui
