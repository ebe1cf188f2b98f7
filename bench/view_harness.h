#pragma once

// A view with its page, both sides in this process and pumped by hand: the setting of the
// benchmarks that run a page's traffic from end to end.

#include <memory>

#include "hav/inproc_engine.h"
#include "render/render_process.h"
#include "tn_browser_factory.h"
#include "tn_webui_module.h"
#include "tnbase/logger.h"
#include "tnmainui/inproc_host.h"

class ViewHarness {
 public:
  // Opens `url` in a view; `core` (if any) goes into its settings.
  explicit ViewHarness(const char* url, BusinessCore* core = nullptr, EventBus* bus = nullptr) {
    tnbase::SetLogSink(nullptr);  // errors only, as a host with its trace levels off
    engine.ui().BindCurrentThread();
    if (bus) host.SetService(SID_EventBus, bus);
    previous_ = tnwebui::TnWebUIModule::Install(&module);
    render.RegisterNativeExtension();
    engine.render_host()->SetRenderNotify(&render);
    tnwebui::TnBrowserFactory* factory = module.GetOrCreateFactory();
    IBrowserViewSetting* settings = nullptr;
    factory->CreateBrowserViewSetting(&settings);
    settings->SetName(u"bench");
    if (core) settings->SetBusinessCore(core);
    factory->CreateBrowserView(url, settings, &view);
    settings->Release();
    engine.RunUntilIdle();
    page = engine.browsers().back()->page();
  }
  ~ViewHarness() {
    engine.browsers().back()->FinishClose();
    engine.RunUntilIdle();
    view->Release();
    page.reset();
    engine.render_host()->SetRenderNotify(nullptr);
    tnwebui::TnWebUIModule::Install(previous_);
  }

  xhav::inproc::Engine engine{xhav::kProcessTypeBrowser};
  tnmainui::InProcessHost host{engine.core(), engine.render_host()};
  tnwebui::TnWebUIModule module{&host};
  tnwebui::RenderProcess render{&module};
  IBrowserView* view = nullptr;
  std::shared_ptr<xhav::inproc::Page> page;

 private:
  tnwebui::TnWebUIModule* previous_ = nullptr;
};
