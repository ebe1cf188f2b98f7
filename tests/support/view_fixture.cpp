#include "view_fixture.h"

#include <cstdlib>
#include <fstream>
#include <mutex>

#include "base/json.h"

namespace {

// With TNWEBUI_BRIDGE_RECORD naming a file, every light-app message a page hands over, every
// script run in a page and every desktop request's answer is appended to it as a JSON line
// {"browser", "fetch"|"script"|"request" (with "writes", each in hex)}: the declarations'
// check reads what the module really answered in every test that ran.
void RecordBridgeTraffic(xhav::inproc::Engine& engine) {
  const char* path = std::getenv("TNWEBUI_BRIDGE_RECORD");
  if (!path || !*path) return;
  auto append = [file = std::string(path)](int browser, const char* kind, const std::string& text,
                                           Json::Value line = Json::Value()) {
    static std::mutex mutex;
    line["browser"] = browser;
    line[kind] = text;
    std::lock_guard<std::mutex> lock(mutex);
    std::ofstream(file, std::ios::app) << tnwebui::WriteJson(line);
  };
  engine.SetTracer(
      [append](const char* hop, CefProcessId, int browser, CefRefPtr<CefProcessMessage> message) {
        if (std::string(hop) == "send" && message->GetName() == "havFetchJSMessage") {
          append(browser, "fetch", message->GetArgumentList()->GetString(0).ToString());
        }
      });
  engine.SetScriptTracer(
      [append](int browser, const std::string& script) { append(browser, "script", script); });
  engine.SetRequestTracer(
      [append](int browser, const std::string& address, const std::vector<std::string>& writes) {
        static const char kHex[] = "0123456789abcdef";
        Json::Value line;
        line["writes"] = Json::arrayValue;
        for (const std::string& bytes : writes) {
          std::string hex;
          for (unsigned char c : bytes) (hex += kHex[c >> 4]) += kHex[c & 15];
          line["writes"].append(hex);
        }
        append(browser, "request", address, line);
      });
}

}  // namespace

ViewFixture::ViewFixture(bool mainThreadIsUi) {
  if (mainThreadIsUi) engine.ui().BindCurrentThread();
  host.SetService(SID_EventBus, static_cast<EventBus*>(&eventBus));
  module = std::make_unique<tnwebui::TnWebUIModule>(&host);
  previous = tnwebui::TnWebUIModule::Install(module.get());
  factory = module->GetOrCreateFactory();
  render = std::make_unique<tnwebui::RenderProcess>(module.get());
  render->RegisterNativeExtension();
  engine.render_host()->SetRenderNotify(render.get());
  core = new tnmainui::ScriptedBusinessCore(u"org-1", "account-1");
  RecordBridgeTraffic(engine);
}

ViewFixture::~ViewFixture() {
  // Windows still open close now, so that their views go.
  engine.ui().Stop();
  engine.renderer().Stop();
  engine.RunUntilIdle();
  for (auto* browser : engine.browsers()) {
    if (browser->alive()) browser->FinishClose();
  }
  engine.RunUntilIdle();
  engine.render_host()->SetRenderNotify(nullptr);
  tnwebui::TnWebUIModule::Install(previous);
  module.reset();
  core->Release();
}

IBrowserViewSetting* ViewFixture::Settings(const std::u16string& name, int type,
                                           const std::string& initData, bool withCore) {
  IBrowserViewSetting* settings = nullptr;
  EXPECT_EQ(factory->CreateBrowserViewSetting(&settings), S_OK);
  settings->SetName(name.c_str());
  settings->SetViewType(type);
  settings->SetInitData(initData.c_str());
  if (withCore) settings->SetBusinessCore(core);
  return settings;
}

IBrowserView* ViewFixture::Create(IBrowserViewSetting* settings, const std::string& url) {
  IBrowserView* view = nullptr;
  EXPECT_EQ(factory->CreateBrowserView(url.c_str(), settings, &view), S_OK);
  settings->Release();
  if (pump) engine.RunUntilIdle();
  return view;
}

xhav::inproc::BrowserImpl* ViewFixture::BrowserOf(IBrowserView* view) {
  xhav::Browser* browser = Pb(view)->browser();
  return browser ? engine.FindBrowser(browser->GetId()) : nullptr;
}

tnwebui::TnBrowserPbUI* ViewFixture::Pb(IBrowserView* view) {
  return static_cast<tnwebui::TnBrowserPbUI*>(view);
}

uint32_t ViewFixture::RefCount(IUnknown* object) {
  object->AddRef();
  return object->Release();
}
