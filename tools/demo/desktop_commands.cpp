// Demo part: a page sends desktop commands in Debian's Chromium. Its fetches to the desktop
// origin are intercepted by the engine and served by the handlers that the module registered,
// for the window (its twelve window commands) and for every page (the open commands).

#include <string>

#include "demo.h"
#include "tnmainui/inproc_host.h"

namespace demo {

void DesktopCommands() {
  g_who = "[host]   ";
  ShowLog(2);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  TraceRequests(engine);
  if (!ChromiumReady(engine, "the desktop commands could not run")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");

  Say("== in Chromium: a page sends desktop commands, file://tavrin5main/desktop.html");
  IBrowserView* view = nullptr;
  const HRESULT hr = OpenView(factory, u"Desktop", "file://tavrin5main/desktop.html", core,
                              R"({"theme":"light"})", &view);
  Say("ITnWebUI::CreateBrowserView -> %s", Status(hr).c_str());
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  Json::Value r;
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", &r, 300) &&
           (r["unregistered"].isString() || r["error"].isString());
  });
  Say("  /window/init gave the page its window's data: %s", Compact(r["init"]).c_str());
  Say("  /window/minimize (a longer form of /window/min): %s", Compact(r["minLonger"]).c_str());
  Say("  /window/open without items, two writes: %s", Compact(r["open"]).c_str());
  Say("  /window/setwindowsize with a body that is no ParamList: %s",
      Compact(r["badBody"]).c_str());
  Say("  /window/setwindowsize to 700 by 500 at (40, 60): %s", Compact(r["resized"]).c_str());
  Say("  /window/getwindowtemp: %s", Compact(r["temp"]).c_str());
  Say("  /nothing/here, an address that nothing serves: %s", r["unregistered"].asString().c_str());
  Say("  the page's own script reports success: %s", r["success"].asBool() ? "yes" : "no");
  if (!r["success"].asBool()) Fail("the desktop page's own script did not report success");
  CloseChromiumPart(engine, page, "demo-desktop.png", view, factory, core);
}

}  // namespace demo
