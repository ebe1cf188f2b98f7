#pragma once

// A render process for one fuzz input: the module with its native extension over the in-process
// engine, one page with its context, and a page function that does nothing, to hand over as a
// callback. Made anew for each input, so nothing one input parks reaches the next.

#include <functional>
#include <memory>

#include "cef/inproc_v8.h"
#include "hav/inproc_engine.h"
#include "render/render_process.h"
#include "tn_webui_module.h"
#include "tnmainui/inproc_host.h"

struct RenderWorld {
  RenderWorld() {
    render.RegisterNativeExtension();
    engine.render_host()->SetRenderNotify(&render);
    page = engine.OpenPage(true);
    engine.RunUntilIdle();
  }
  ~RenderWorld() { page.reset(); }

  // Calls the native function `name` from the page's script with `args`.
  void Call(const char* name, const CefV8ValueList& args) {
    cef_inproc::CallFromScript(page->context(), CefV8Value::CreateFunction(name, render.handler()),
                               args);
  }

  xhav::inproc::Engine engine{xhav::kProcessTypeRender};
  tnmainui::InProcessHost host{engine.core(), engine.render_host()};
  tnwebui::TnWebUIModule module{&host};
  tnwebui::RenderProcess render{&module};
  std::shared_ptr<xhav::inproc::Page> page;
  CefRefPtr<CefV8Value> callback = cef_inproc::CreateScriptFunction(
      "cb", std::function<void(const CefV8ValueList&)>([](const CefV8ValueList&) {}));
};
