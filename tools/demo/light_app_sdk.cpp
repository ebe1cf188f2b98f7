// Demo part: a light app's own TavrinJsBridge speaks to the client's JS SDK in Debian's
// Chromium. The page hands its queue over with "havFetchJSMessage"; the view's SDK serves each
// message and answers by running TavrinJsBridge._handleMessageFromObjC in the page.

#include <cstdio>

#include "demo.h"
#include "tnmainui/inproc_host.h"

namespace demo {

void LightAppSdk() {
  g_who = "[host]   ";
  ShowLog(1);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  engine.SetScriptTracer([](int id, const std::string& script) {
    Say("  runs in the page of browser %d: %s", id, script.c_str());
  });
  if (!ChromiumReady(engine, "the light app could not run")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");

  Say("== in Chromium: a light app with its own TavrinJsBridge, file://tavrin5main/sdk.html");
  Say("   it hands over three messages at once: ui.setNavigationBarMenu with its own id \"it's\","
      " ui.setNavigationBarMenu with the bridge's id, and x.y, a name the client doesn't serve");
  IBrowserView* view = nullptr;
  const HRESULT hr = OpenView(factory, u"SdkApp", "file://tavrin5main/sdk.html", core, "{}", &view);
  Say("ITnWebUI::CreateBrowserView -> %s", Status(hr).c_str());
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  Json::Value r;
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", &r, 300) && r["navBar"].isObject() &&
           r["unknown"].isObject();
  });
  Say("  the page's bridge got %u texts:", r["texts"].size());
  for (const Json::Value& text : r["texts"]) Say("    %s", text.asString().c_str());
  Say("  the answer to its own id \"it's\" broke the script before the bridge saw it: %s",
      r["quoteAnswered"].asBool() ? "no, it arrived" : "yes");
  Say("  the page's own script reports: %s", Compact(r).c_str());
  if (!r["success"].asBool()) Fail("the light app's own script did not report success");
  CloseChromiumPart(engine, page, "demo-sdk.png", view, factory, core);
}

}  // namespace demo
