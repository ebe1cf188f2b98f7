// Demo part: in Debian's Chromium a page opens light windows through "/window/open" (one at the
// bottom right of the work area, one beside it) and asks the client's main page, "TnMain", for a
// message box. The main page shows it as HTML, a user's click answers it, and the asking page
// hears the answer as the event "tn.messagebox".

#include <json/writer.h>

#include "demo.h"
#include "tnmainui/business_service.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"
#include "win/window.h"

namespace demo {
namespace {

std::string Rect(xhav::cdp::Engine& engine, int32_t id) {
  for (xhav::cdp::PageBrowser* browser : engine.browsers()) {
    if (browser->GetId() != id) continue;
    win::Rect r;
    win::GetWindowRect(browser->GetWindowHandle(), &r);
    char text[96];
    std::snprintf(text, sizeof text, "(%d, %d)-(%d, %d), %d by %d", r.left, r.top, r.right,
                  r.bottom, r.right - r.left, r.bottom - r.top);
    return text;
  }
  return "none";
}

// A JavaScript string literal of `text`.
std::string Quoted(const std::string& text) {
  Json::StreamWriterBuilder builder;
  return Json::writeString(builder, Json::Value(text));
}

}  // namespace

void WindowsAndDialogs() {
  g_who = "[host]   ";
  ShowLog(2);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  TraceRequests(engine);
  if (!ChromiumReady(engine, "the windows and dialogs could not run")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::InProcessEventBus bus([&](std::function<void()> task) { engine.ui().PostTask(task); });
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");
  tnmainui::ScriptedBusinessService service;
  service.SetBusinessCore(7, core);
  host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
  // The main page's call channel: each call waits for the page's answer.
  tnmainui::ScriptedBusinessChannel channel(
      [&engine](std::function<void()> task) { engine.ui().PostTask(std::move(task)); });
  engine.SetBusinessChannel(&channel);
  ITnWebUI* factory = StartModule(m, &host);

  win::Rect area;
  win::SystemParametersInfoW(win::SPI_GETWORKAREA, 0, &area, 0);
  Say("== the screen's work area: (%d, %d)-(%d, %d)", area.left, area.top, area.right, area.bottom);
  IBrowserView* mainView = nullptr;
  OpenView(factory, u"TnMain", "file://tavrin5main/tnmain.html", core, "{}", &mainView);
  xhav::cdp::PageBrowser* mainPage = engine.browsers().back();
  core->SetBrowserView(u"TnMain", mainView);
  Say("== the client's main page TnMain is open (file://tavrin5main/tnmain.html)");

  IBrowserView* view = nullptr;
  xhav::cdp::PageBrowser* page =
      OpenReadyPage(engine, factory, u"Windows", "file://tavrin5main/windows.html", core, &view);
  Json::Value r;
  Say("== the page opens two light windows, asks for a window by title and for a message box");
  page->Evaluate("window.runFirst(), true", nullptr, 1000);
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", &r, 300) && r["first"].isObject();
  });
  const int32_t first = r["first"]["id"].asInt();
  Say("  /window/open \"notes\" (bottomright, 360 by 240) answered %s: window %d at %s",
      Compact(r["firstCodes"]).c_str(), first, Rect(engine, first).c_str());
  page->Evaluate("window.runRest(), true", nullptr, 1000);
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return channel.held() > 0;
  });
  page->Evaluate("window.results", &r, 1000);
  const int32_t second = r["second"]["id"].asInt();
  Say("  /window/open \"notes-2\" (300 by 240, prevWinId %d) answered %s: window %d at %s", first,
      Compact(r["secondCodes"]).c_str(), second, Rect(engine, second).c_str());
  Say("  and the first window moved beside it, the pair centred: %s", Rect(engine, first).c_str());
  Say("  /window/havewindow \"Notes\" answered %s, \"Nothing\" answered %s",
      Compact(r["have"]).c_str(), Compact(r["haveNot"]).c_str());

  const tnmainui::ChannelCall call = channel.calls().back();
  const std::string method = Utf8(call.params[1]), json = Utf8(call.params[3]);
  Say("  the main page's channel gets %s/%s %s", Utf8(call.params[0]).c_str(), method.c_str(),
      json.c_str());
  Json::Value shown;
  mainPage->Evaluate("window.tnMain.open(" + Quoted(method) + ", " + Quoted(json) + ")", &shown);
  Say("  TnMain shows the message box: %s", shown.asBool() ? "yes" : "no");
  SaveScreenshot(mainPage, "demo-tnmain-dialog.png");
  Json::Value where;
  mainPage->Evaluate("window.tnMain.where('ok')", &where);
  Say("  the user clicks \"Leave\" at (%.0f, %.0f) of the main page", where["x"].asDouble(),
      where["y"].asDouble());
  mainPage->Click(where["x"].asDouble(), where["y"].asDouble());
  Json::Value answer;
  WaitFor([&] {
    return mainPage->Evaluate("window.tnMain.answers[0]", &answer, 300) && answer.isObject();
  });
  Say("  the main page answers status %d, %s", answer["status"].asInt(),
      answer["result"].asString().c_str());
  const std::string result = answer["result"].asString();
  channel.AnswerHeld(answer["status"].asInt(), std::u16string(result.begin(), result.end()));
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", &r, 300) && r["messagebox"].isObject();
  });
  Say("  the asking page heard %s", Compact(r["messagebox"]).c_str());
  if (!r["success"].asBool()) Fail("the windows and dialogs page did not report success");
  core->SetBrowserView(u"TnMain", nullptr);
  // The light windows and the main page close before the asking page.
  for (xhav::cdp::PageBrowser* browser : engine.browsers()) {
    if (browser != page) browser->Close(1);
  }
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return engine.browsers().size() <= 1;
  });
  mainView->Release();
  CloseChromiumPart(engine, page, "demo-windows.png", view, factory, core);
  engine.SetBusinessChannel(nullptr);
}

}  // namespace demo
