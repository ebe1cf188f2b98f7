#pragma once

// The client on Debian's Chromium, for the benchmarks that open real pages: the engine (the
// render side in a render host process, as in the client, or in this process on the UI
// thread), the host object with an event bus, the module, and a business core that answers
// every action at once with {"ok":1}. Made on the calling thread, which is the UI thread until
// the owner starts the UI's own thread; Finish() undoes the module's part on the UI thread.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "hav/cdp_engine.h"
#include "render/render_process.h"
#include "tn_browser_factory.h"
#include "tn_webui_module.h"
#include "tnbase/logger.h"
#include "tnmainui/business_core.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"

// The `percent`th percentile of `samples` (0 when there are none).
inline double Percentile(std::vector<double> samples, int percent) {
  if (samples.empty()) return 0;
  std::sort(samples.begin(), samples.end());
  return samples[std::min(samples.size() - 1, samples.size() * percent / 100)];
}

class ChromiumClient {
 public:
  explicit ChromiumClient(bool renderHost) {
    tnbase::SetLogSink([](const tnbase::LogRecord&) {}, kTnLogError + 1);  // no line
    xhav::cdp::EngineOptions options;
    options.pagesDir = TNWEBUI_PAGES_DIR;
    options.clientWebDomain = tnmainui::kDefaultWebDomain;
    if (renderHost) options.renderHost = {TNWEBUI_RENDER_HOST, "--module=" TNWEBUI_MODULE};
    engine = std::make_unique<xhav::cdp::Engine>(options);
    if (!engine->ok()) return;
    engine->ui().BindCurrentThread();
    host = std::make_unique<tnmainui::InProcessHost>(engine->core(), engine->render_host());
    host->SetService(SID_EventBus, static_cast<EventBus*>(&bus));
    module = std::make_unique<tnwebui::TnWebUIModule>(host.get());
    previous = tnwebui::TnWebUIModule::Install(module.get());
    if (!renderHost) {
      render = std::make_unique<tnwebui::RenderProcess>(module.get());
      render->RegisterNativeExtension();
      engine->render_host()->SetRenderNotify(render.get());
    }
    core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");
    core->SetRecordCalls(false);
    core->SetHandler([this](const tnmainui::BusinessCall& call) {
      ++actions;
      call.callback->OnBusinessResult(call.business.c_str(), call.action.c_str(),
                                      call.callbackId.c_str(), 0, u"{\"ok\":1}");
      return S_OK;
    });
    factory = module->GetOrCreateFactory();
  }
  ChromiumClient(const ChromiumClient&) = delete;
  ChromiumClient& operator=(const ChromiumClient&) = delete;

  bool ok() const { return engine && engine->ok(); }
  void Finish() {
    if (render) engine->render_host()->SetRenderNotify(nullptr);
    tnwebui::TnWebUIModule::Install(previous);
    core->Release();
  }
  // Opens `url` as the view `name` with the client's core.
  IBrowserView* OpenView(const char16_t* name, const char* url) {
    IBrowserViewSetting* settings = nullptr;
    factory->CreateBrowserViewSetting(&settings);
    settings->SetName(name);
    settings->SetBusinessCore(core);
    IBrowserView* view = nullptr;
    factory->CreateBrowserView(url, settings, &view);
    settings->Release();
    return view;
  }

  // Waits (five seconds at most) until the engine keeps its targets ready.
  void WaitWarm() {
    for (int i = 0; i < 500 && engine->warm_targets() < 1; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }

  std::unique_ptr<xhav::cdp::Engine> engine;
  std::atomic<long> actions{0};  // business actions the core has answered
  tnmainui::InProcessEventBus bus{[this](std::function<void()> t) { engine->ui().PostTask(t); }};
  std::unique_ptr<tnmainui::InProcessHost> host;
  std::unique_ptr<tnwebui::TnWebUIModule> module;
  tnwebui::TnWebUIModule* previous = nullptr;
  std::unique_ptr<tnwebui::RenderProcess> render;
  tnwebui::TnBrowserFactory* factory = nullptr;
  tnmainui::ScriptedBusinessCore* core = nullptr;
};
