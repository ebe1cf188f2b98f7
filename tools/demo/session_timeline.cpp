// Demo part: the timeline of the demo's own session, in Debian's Chromium. The page
// pages/tavrin5main/timeline.html reads the trace that every part has written so far and draws
// the part of the real pages (their calls of the native object, the process messages, events
// and answers, the scripts the host runs, each on the thread that ran it); the demo saves its
// screenshot.

#include <json/writer.h>

#include <fstream>
#include <sstream>

#include "demo.h"
#include "tnmainui/business_core.h"
#include "tnmainui/inproc_host.h"

namespace demo {

namespace {
constexpr char kPage[] = "file://tavrin5main/timeline.html";
constexpr char kShownPart[] = "real pages";
}  // namespace

xhav::cdp::PageBrowser* DrawTimeline(xhav::cdp::Engine& engine, ITnWebUI* factory,
                                     BusinessCore* core, const std::string& trace, const char* part,
                                     IBrowserView** view, Json::Value* drawn) {
  xhav::cdp::PageBrowser* page = OpenReadyPage(engine, factory, u"Timeline", kPage, core, view);
  page->MoveWindow(20, 20, 1400, 1000);
  Json::Value r;
  WaitFor([&] {  // the page lays its lanes out at its width
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.innerWidth", &r, 300) && r.isInt() && r.asInt() > 1000;
  });
  const std::string show = "showTrace(" + Json::valueToQuotedString(trace.c_str()) + ", " +
                           Json::valueToQuotedString(part) + "), window.results";
  if (!page->Evaluate(show, drawn, 30000)) *drawn = Json::Value();
  return page;
}

void SessionTimeline() {
  g_who = "[host]   ";
  std::stringstream trace;
  trace << std::ifstream(std::string(TNWEBUI_BUILD_DIR) + "/demo-trace.jsonl").rdbuf();
  const std::string text = trace.str();
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the timeline could not be drawn")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");

  Say("== in Chromium: the session's timeline, %s, drawn from the trace so far (%zu bytes)", kPage,
      text.size());
  IBrowserView* view = nullptr;
  Json::Value r;
  xhav::cdp::PageBrowser* page = DrawTimeline(engine, factory, core, text, kShownPart, &view, &r);
  const bool shown = r["rendered"].asBool();
  Say("the page drew %s: %s", kShownPart, Compact(r["shown"]).c_str());
  Say("parts in the trace: %s", Compact(r["parts"]).c_str());
  if (!shown || r["shown"]["steps"].asInt() == 0) Fail("the timeline drew nothing");
  CloseChromiumPart(engine, page, "demo-timeline.png", view, factory, core);
}

}  // namespace demo
