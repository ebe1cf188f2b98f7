#pragma once

// A browser process with the module's factory, a scripted business core and, in the same
// engine, the render side, so that pages can send their window commands to the views.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "adapt/tn_browser_pb_ui.h"
#include "hav/inproc_engine.h"
#include "log_capture.h"
#include "render/render_process.h"
#include "render_fixture.h"
#include "tn_browser_factory.h"
#include "tn_webui_module.h"
#include "tnmainui/business_core.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"

// A page host that answers with `status` and counts what views ask of it.
struct RecordingPageHost final : PageHost {
  HRESULT ExecuteBusinessAction(const char16_t*, const char16_t*, const char16_t*, const char16_t*,
                                IBrowserViewCallback*) override {
    ++calls;
    return status;
  }
  void OnClosed() override { ++closed; }
  HRESULT CreateShadow(WindowShadow** out) override {
    if (!givesShadow) return E_NOTIMPL;
    ++shadows;
    auto* shadow = new tnmainui::RecordingShadow();
    shadow->AddRef();
    *out = shadow;
    return S_OK;
  }
  HRESULT status = S_OK;
  bool givesShadow = false;
  int calls = 0, closed = 0, shadows = 0;
};

class ViewFixture : public ::testing::Test {
 protected:
  // Unless told otherwise, the test's thread is the browser's user-interface thread.
  explicit ViewFixture(bool mainThreadIsUi = true);
  ~ViewFixture() override;

  // New settings with a name, a view type and initial data (and the fixture's core).
  IBrowserViewSetting* Settings(const std::u16string& name, int type = 0,
                                const std::string& initData = "", bool withCore = true);
  // CreateBrowserView with `settings`, which it releases; fails the test on a bad status.
  IBrowserView* Create(IBrowserViewSetting* settings, const std::string& url = "https://a.test/");
  xhav::inproc::BrowserImpl* BrowserOf(IBrowserView* view);
  static tnwebui::TnBrowserPbUI* Pb(IBrowserView* view);
  static uint32_t RefCount(IUnknown* object);

  // Whether helpers pump the engine's runners themselves (not when they run on threads).
  bool pump = true;
  LogCapture log;
  xhav::inproc::Engine engine{xhav::kProcessTypeBrowser};
  tnmainui::InProcessHost host{engine.core(), engine.render_host()};
  tnmainui::InProcessEventBus eventBus{
      [this](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }};
  std::unique_ptr<tnwebui::TnWebUIModule> module;
  tnwebui::TnWebUIModule* previous = nullptr;
  tnwebui::TnBrowserFactory* factory = nullptr;
  std::unique_ptr<tnwebui::RenderProcess> render;
  tnmainui::ScriptedBusinessCore* core = nullptr;
};
