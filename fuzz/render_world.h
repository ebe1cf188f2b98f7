#pragma once

// A render process for the fuzz inputs: the module with its native extension over the in-process
// engine, one page with its context, and a page function that does nothing, to hand over as a
// callback.

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

// The world the inputs share. A new one costs as much as a thousand inputs, so it serves a
// run of them and is then made anew: what inputs park (callbacks, subscriptions) stays bounded,
// and a crash that needs the inputs before it is still found within one run.
// It is never destroyed at exit, where the order of the statics' ends is unknown.
inline RenderWorld& SharedRenderWorld() {
  static RenderWorld* world = nullptr;
  static int served = 0;
  if (!world || ++served % 500 == 0) {
    delete world;
    world = new RenderWorld();
  }
  return *world;
}
