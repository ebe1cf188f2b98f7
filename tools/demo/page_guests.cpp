// Demo part: a light app brings guests into its window in Debian's Chromium (a frame of another
// site, a worker, its own dialogs) and each reports what it was allowed. The engine's log lines
// say what it refused and what it answered for the page.

#include <functional>
#include <string>

#include "demo.h"
#include "tnmainui/inproc_host.h"

namespace demo {

namespace {

// A client app with three widgets: only the one of the app's origin acts for the window.
void Widgets(xhav::cdp::Engine& engine, ITnWebUI* factory, BusinessCore* core) {
  Say("== a client app with three widgets, file://tavrin5main/widgets.html: a frame of another "
      "site, a sandboxed frame of the app's own address (its origin opaque), a frame of the "
      "app's origin");
  IBrowserView* view = nullptr;
  Json::Value r;
  xhav::cdp::PageBrowser* page = OpenReadyPage(engine, factory, u"Widgets",
                                               "file://tavrin5main/widgets.html", core, &view, &r);
  bool kept = true;
  for (const char* as : {"foreign", "sandboxed", "same"}) {
    const Json::Value& w = r["widgets"][as];
    Say("  the %s widget: business functions %s, events %s, /window/init %s", as,
        w["business"].asString().c_str(), w["events"].asString().c_str(),
        w["init"].asString().c_str());
    const bool acts = std::string(as) == "same";
    kept = kept && (w["business"] == "function") == acts && (w["init"] == "answered") == acts;
  }
  Say("  SDK answers that reached the app's bridge: %s; the id written to break out of the "
      "answer's script ran as script: %s",
      Compact(r["answered"]).c_str(), r.isMember("injected") ? "yes" : "no");
  page->Click(100, 50);  // the foreign widget's link to the desktop's /window/min
  WaitFor(
      [&] {
        engine.ui().RunUntilIdle();
        return false;
      },
      500);
  const bool minimised = win::IsIconic(view->GetHwnd());
  Say("  the foreign widget's link to /window/min, clicked: the window is %s, on %s",
      minimised ? "minimised" : "where it was", page->url().c_str());
  if (!kept || minimised || r["answered"].size() != 1 || r.isMember("injected"))
    Fail("a widget of the client app acted for its window, or the app's own widget could not");
  CloseChromiumPart(engine, page, "demo-widgets.png", view, nullptr, nullptr);
}

// A sign-in frame of another site breaks out of its client app when clicked. A view that
// filters addresses (the settings' default) keeps its window on the app; in one that lets its
// pages go to other sites, the page the frame puts in the window reads none of the window's
// data, by the business action or the desktop.
void Breakout(xhav::cdp::Engine& engine, ITnWebUI* factory, BusinessCore* core, bool filter) {
  Say("== a client app with a sign-in frame of another site that takes the whole window when "
      "clicked, file://tavrin5main/breakout.html, in a view that %s addresses",
      filter ? "filters" : "doesn't filter");
  IBrowserView* view = nullptr;
  OpenView(factory, u"Breakout", "file://tavrin5main/breakout.html", core, R"({"name":"the user"})",
           &view, filter ? 1 : 0);
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  Json::Value r;
  auto results = [&](const std::function<bool()>& until, int ms = 10000) {
    return WaitFor(
        [&] {
          engine.ui().RunUntilIdle();
          return page->Evaluate("window.results", &r, 300) && until();
        },
        ms);
  };
  results([&] { return r["app"].isString() && r["signin"].asBool(); });
  Say("  the app reads its initial data: %s", r["app"].asString().c_str());
  // The frame tells it is there before its link can take a click: clicked until the window
  // leaves the app's page (a few times where the view keeps it).
  const std::string app = page->url();
  for (int i = 0; i < (filter ? 3 : 40) && page->url() == app; ++i) {
    page->Click(100, 50);
    WaitFor(
        [&] {
          engine.ui().RunUntilIdle();
          return page->url() != app;
        },
        filter ? 500 : 250);
  }
  if (filter) {
    Say("  the frame, clicked, did not take the window: it shows %s", page->url().c_str());
    if (page->url() != app) Fail("a filtering view let a frame of another site take its window");
    CloseChromiumPart(engine, page, nullptr, view, nullptr, nullptr);
    return;
  }
  results([&] { return r["landed"].asBool() && r["desktop"].isString(); });
  results([] { return false; }, 300);  // an answer, were one given, a moment to arrive
  Say("  the frame, clicked, put %s in the window; that page's GetInitData: %s; its "
      "/window/init: %s",
      page->url().c_str(), r["init"].isNull() ? "no answer" : r["init"].asString().c_str(),
      r["desktop"].asString().c_str());
  if (!r["landed"].asBool() || !r["init"].isNull() ||
      r["desktop"].asString().find("the user") != std::string::npos)
    Fail("a page that took a client window's main frame read the window's data");
  CloseChromiumPart(engine, page, "demo-breakout.png", view, nullptr, nullptr);
}

}  // namespace

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
  Json::Value r;
  xhav::cdp::PageBrowser* page =
      OpenReadyPage(engine, factory, u"Guests", "file://tavrin5main/guests.html", core, &view, &r);
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
  Widgets(engine, factory, core);
  Breakout(engine, factory, core, true);
  Breakout(engine, factory, core, false);
  CloseChromiumPart(engine, page, "demo-guests.png", view, factory, core);
}

}  // namespace demo
