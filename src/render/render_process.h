#pragma once

// The render-process entry: registers the script extension, puts the native `tnpc` object on
// every new script context and receives the browser process's messages.

#include <string>

#include "hav/hav.h"
#include "render/tavrin_js_handler.h"

namespace tnwebui {

class TnWebUIModule;

class RenderProcess : public xhav::RenderNotify {
 public:
  explicit RenderProcess(TnWebUIModule* module) : module_(module) {}
  ~RenderProcess() override = default;

  // Registers the extension "v8/tnpc_global" with the render host and makes the handler.
  void RegisterNativeExtension();
  // Adds one function of the native object; every function is the same handler.
  void AddNativeFunction(const char* name, CefRefPtr<CefV8Value> object);

  void OnContextCreated(CefRefPtr<CefBrowser> browser, CefRefPtr<CefFrame> frame,
                        CefRefPtr<CefV8Context> context, bool enableBusiness) override;
  bool OnHavMessage(CefRefPtr<CefBrowser> browser, int source, TnString* name,
                    const xhav::ArgList* args) override;

  CefRefPtr<CCefV8HandlerImpl> handler() const { return handler_; }

 private:
  xhav::RenderHost* GetRenderHost() const;

  TnWebUIModule* module_;
  CefRefPtr<CCefV8HandlerImpl> handler_;
};

// The text of the extension, with both versions filled in.
std::string MakeExtensionScript(const std::string& webuiVersion,
                                const std::string& businessVersion);

// The file version of `path` as "a.b.c.d"; with a null path, this module's own. "0.0.0.0" when
// the file has no version.
std::string getFileVersion(const char* path);

}  // namespace tnwebui
