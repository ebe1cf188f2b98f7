// Demo part: a light app brings guests into its window in Debian's Chromium (a frame of another
// site, a worker, its own dialogs) and each reports what it was allowed. The engine's log lines
// say what it refused and what it answered for the page.

#include "demo.h"
#include "tnmainui/inproc_host.h"

namespace demo {

void PageGuests() {
  g_who = "[host]   ";
  ShowLog(2);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the light app and its guests could not run")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");
  AnswerEveryAction(core, "  the business core takes %s");

  Say("== in Chromium: a light app with a frame of https://tavrin5.frames.invalid, a worker and "
      "dialogs, file://tavrin5main/guests.html");
  IBrowserView* view = nullptr;
  xhav::cdp::PageBrowser* page =
      OpenReadyPage(engine, factory, u"Guests", "file://tavrin5main/guests.html", core, &view);
  Json::Value r;
  page->Evaluate("window.results", &r, 1000);
  const Json::Value& app = r["app"];
  const Json::Value& frame = r["frame"];
  const Json::Value& dialogs = r["dialogs"];
  Say("  the app's business action: %s", app["business"].asString().c_str());
  Say("  the app's /window/init: %s", app["init"].asString().c_str());
  Say("  the frame of another site: /window/init %s, /window/min %s, its own tnpc: %s",
      frame["init"].asString().c_str(), frame["min"].asString().c_str(),
      frame["tnpc"].asString().c_str());
  Say("  the worker: %s", r["worker"].asString().c_str());
  Say("  the dialogs, answered as a user who closes them: alert %s, confirm %s, prompt %s",
      dialogs["alert"].asString().c_str(), Compact(dialogs["confirm"]).c_str(),
      Compact(dialogs["prompt"]).c_str());
  const bool minimised = win::IsIconic(view->GetHwnd());
  Say("  the view's window, which the frame asked to minimise: %s",
      minimised ? "minimised" : "not minimised");
  const bool allowed = app["business"] == "answered" && app["init"] == "read, name Guests" &&
                       frame["init"] == "refused" && frame["min"] == "refused" &&
                       r["worker"] == "no native object" && dialogs["confirm"] == false &&
                       dialogs["prompt"].isNull() && !minimised;
  if (!allowed) Fail("a guest of the light app was allowed what it should not be, or the app less");
  CloseChromiumPart(engine, page, "demo-guests.png", view, factory, core);
}

}  // namespace demo
