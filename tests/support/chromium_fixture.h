#pragma once

// The fixtures of the tests over real pages: the module, unchanged, drives Debian's Chromium
// through the platform layer. Included by each Chromium test file (they define
// TNWEBUI_RENDER_HOST and TNWEBUI_MODULE).

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>

#include "adapt/tn_browser_pb_ui.h"
#include "cef/inproc_v8.h"
#include "hav/cdp_engine.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "log_capture.h"
#include "render/render_process.h"
#include "tn_browser_factory.h"
#include "tn_webui_module.h"
#include "tnmainui/business_core.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"
#include "win/user.h"

// `renderHost`: the render side lives in a render host process, as in the client.
inline xhav::cdp::EngineOptions ChromiumOptions(bool renderHost) {
  xhav::cdp::EngineOptions options;
  options.pagesDir = TNWEBUI_PAGES_DIR;
  options.clientWebDomain = tnmainui::kDefaultWebDomain;
  options.syncCallLimitMs = 1500;  // well above the 300 ms that the tests block the UI thread
  if (renderHost) options.renderHost = {TNWEBUI_RENDER_HOST, "--module=" TNWEBUI_MODULE};
  return options;
}

class ChromiumViews : public ::testing::Test {
 protected:
  explicit ChromiumViews(bool renderHost = false) : engine(ChromiumOptions(renderHost)) {}
  void SetUp() override {
    if (access(xhav::cdp::LaunchOptions().executable.c_str(), X_OK) != 0)
      GTEST_SKIP() << "Chromium is not available: " << engine.error();
    ASSERT_TRUE(engine.ok()) << engine.error();
    engine.ui().BindCurrentThread();
    previous = tnwebui::TnWebUIModule::Install(&module);
    module.OnModuleLoaded(0);  // the open commands, for every page
    factory = module.GetOrCreateFactory();
  }
  void TearDown() override {
    if (!engine.ok()) return;
    for (IBrowserView* v : views) {
      if (auto* b = static_cast<tnwebui::TnBrowserPbUI*>(v)->browser()) b->Close(0);
    }
    Pump([&] { return factory->size() == 0; });
    for (IBrowserView* v : views) v->Release();
    tnwebui::TnWebUIModule::Install(previous);
    for (auto* core : cores) core->Release();
  }
  // Runs the UI thread's work until `done`, at most ten seconds. Predicates evaluate in the page
  // with a short time-out: a page may be waiting in a call for this very thread.
  bool Pump(const std::function<bool()>& done, int rounds = 2000) {
    // Bounded by the clock, so that pumps inside `done` cannot multiply the wait.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(5) * rounds;
    while (std::chrono::steady_clock::now() < end) {
      engine.ui().RunUntilIdle();
      if (done()) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
  }
  // Evaluates `expression` in the page while this thread goes on with the UI's work: a page
  // may be waiting in a call for this very thread.
  bool EvaluatePumping(xhav::cdp::PageBrowser* page, const std::string& expression,
                       Json::Value* value) {
    struct Answer {
      bool came = false, ok = false;
      Json::Value value;
    };
    auto answer = std::make_shared<Answer>();
    page->EvaluateLater(expression, [answer](bool ok, const Json::Value& v) {
      *answer = {true, ok, v};
    });
    if (!Pump([&] { return answer->came; }) || !answer->ok) return false;
    *value = answer->value;
    return true;
  }
  // Pumps until the page's `window.results` meets `until`; `results` holds the last seen.
  bool PumpResults(xhav::cdp::PageBrowser* page, Json::Value* results,
                   const std::function<bool(const Json::Value&)>& until) {
    return Pump(
        [&] { return EvaluatePumping(page, "window.results", results) && until(*results); });
  }
  xhav::cdp::PageBrowser* Open(const std::u16string& name, const char16_t* org, const char* url,
                               const std::string& initData,
                               const std::function<void(IBrowserViewSetting*)>& tweak = {}) {
    auto* core = new tnmainui::ScriptedBusinessCore(org, "account");
    cores.push_back(core);
    IBrowserViewSetting* settings = nullptr;
    factory->CreateBrowserViewSetting(&settings);
    settings->SetName(name.c_str());
    settings->SetBusinessCore(core);
    settings->SetInitData(initData.c_str());
    if (tweak) tweak(settings);
    IBrowserView* view = nullptr;
    EXPECT_EQ(factory->CreateBrowserView(url, settings, &view), S_OK);
    settings->Release();
    if (!view) return nullptr;
    views.push_back(view);
    return engine.browsers().back();
  }

  xhav::cdp::Engine engine;
  tnmainui::InProcessHost host{engine.core(), nullptr};
  tnwebui::TnWebUIModule module{&host};
  tnwebui::TnWebUIModule* previous = nullptr;
  tnwebui::TnBrowserFactory* factory = nullptr;
  std::vector<IBrowserView*> views;
  std::vector<tnmainui::ScriptedBusinessCore*> cores;
};

class ChromiumPages : public ChromiumViews {
 public:
  // PumpResults for helpers outside the fixture.
  bool PumpResultsOf(xhav::cdp::PageBrowser* page, Json::Value* results,
                     const std::function<bool(const Json::Value&)>& until) {
    return PumpResults(page, results, until);
  }
  void PumpFor(int ms) {
    Pump([] { return false; }, ms / 5);
  }
  bool PumpUntil(const std::function<bool()>& done, int ms) { return Pump(done, ms / 5); }
  // How many navigations a view kept its page from, for `why` ("is filtered by the view", "is
  // the client's to open"), as the engine logs them.
  int Stayed(const std::string& why) const {
    int n = 0;
    for (const auto& r : log.records())
      n += r.function == "PageBrowser::AskBeforeNavigating" && r.level == kTnLogInfo &&
           r.message.find("the view stays on its page") != std::string::npos &&
           r.message.find(why) != std::string::npos;
    return n;
  }
  // Open for helpers outside the fixture: a view of org-1 on `url`.
  xhav::cdp::PageBrowser* OpenView(const std::u16string& name, const char* url,
                                   const std::string& initData,
                                   const std::function<void(IBrowserViewSetting*)>& tweak = {}) {
    return Open(name, u"org-1", url, initData, tweak);
  }

 protected:
  explicit ChromiumPages(bool renderHost = false) : ChromiumViews(renderHost) {}
  void SetUp() override {
    ChromiumViews::SetUp();
    if (!engine.ok()) return;
    host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
    if (!engine.render_host()) return;  // the render host process has its own module
    host.SetHav(engine.core(), engine.render_host());
    render.RegisterNativeExtension();
    engine.render_host()->SetRenderNotify(&render);
  }
  void TearDown() override {
    ChromiumViews::TearDown();
    if (engine.ok() && engine.render_host()) engine.render_host()->SetRenderNotify(nullptr);
  }
  // The newest view's core answers every business call with `data`.
  void AnswerEveryCallWith(std::u16string data) {
    cores.back()->SetHandler([data](const tnmainui::BusinessCall& call) {
      call.callback->OnBusinessResult(call.business.c_str(), call.action.c_str(),
                                      call.callbackId.c_str(), 0, data.c_str());
      return S_OK;
    });
  }
  // Opens `url` in a view of org-1 whose core answers every call with `answer`, and pumps until
  // the page's results meet `until`; null when either fails.
  xhav::cdp::PageBrowser* OpenAnswered(
      const std::u16string& name, const char* url, std::u16string answer, Json::Value* results,
      const std::function<bool(const Json::Value&)>& until,
      const std::function<void(IBrowserViewSetting*)>& tweak = {}) {
    auto* page = Open(name, u"org-1", url, "{}", tweak);
    if (!page) return nullptr;
    AnswerEveryCallWith(std::move(answer));
    return PumpResults(page, results, until) ? page : nullptr;
  }
  // Opens the business page, whose core answers every call with `answer`, once its script has
  // had its answers.
  xhav::cdp::PageBrowser* OpenAnsweredBusinessPage(const std::u16string& name,
                                                   std::u16string answer) {
    auto* page = Open(name, u"org-1", "file://tavrin5main/business.html", "{}");
    if (!page) return nullptr;
    AnswerEveryCallWith(std::move(answer));
    Json::Value results;
    const bool answered =
        PumpResults(page, &results, [](const Json::Value& r) { return r["again"].isString(); });
    return answered ? page : nullptr;
  }
  void ExpectAnswersWithinTheCall();
  void ExpectCallsAnswersAndEvents();
  void ExpectAnAnswerGoesToTheDocumentThatAskedForIt();
  tnmainui::InProcessEventBus bus{[this](std::function<void()> t) { engine.ui().PostTask(t); }};
  tnwebui::RenderProcess render{&module};
  LogCapture log;
};

// The client's arrangement: the render side in a render host process that loads the module.
class ChromiumRenderHost : public ChromiumPages {
 protected:
  ChromiumRenderHost() : ChromiumPages(true) {}
};
