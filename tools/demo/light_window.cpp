// Demo part: a light app's window in Debian's Chromium, opened through the factory. Its title
// bar is drawn by the window model's GDI over the page's own screenshot, in one picture; a
// framed web window of the client shows its fuller bar above a watermarked page. The user's
// close asks the page, which saves and closes its window itself.

#include <string>

#include "demo.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"
#include "win/paint.h"
#include "win/user.h"

namespace demo {
namespace {

// The whole window, bar and page, saved in the build folder.
void SaveWholeWindow(xhav::cdp::PageBrowser* page, const char* name) {
  const std::string path = std::string(TNWEBUI_BUILD_DIR) + "/" + name;
  if (SaveWindowPng(page, path)) Say("  the whole window: %s", path.c_str());
}

// Waits until the page's script says "ready" in window.results.
bool PageReady(xhav::cdp::Engine& engine, xhav::cdp::PageBrowser* page, Json::Value* results) {
  return WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", results, 300) &&
           ((*results)["ready"].asBool() || (*results)["error"].isString());
  });
}

}  // namespace

void LightWindow() {
  g_who = "[host]   ";
  ShowLog(2);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  TraceRequests(engine);
  if (!ChromiumReady(engine, "the light window could not open")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::InProcessEventBus bus(
      [&engine](std::function<void()> task) { engine.ui().PostTask(std::move(task)); });
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");

  Say("== in Chromium: a light app's window through ITnWebUI::CreateLightBrowser");
  const HRESULT id = OpenLightWindow(factory, 7, "expenses", "file://tavrin5main/light.html",
                                     "Expenses", 900, 560);
  Say("  CreateLightBrowser -> window %d", static_cast<int>(id));
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  Json::Value r;
  if (!PageReady(engine, page, &r) || !r["ready"].asBool()) {
    Fail("the light window's page did not get ready");
    return;
  }
  Say("  the page read its window's data: %s", Compact(r["init"]).c_str());
  HWND hwnd = page->GetWindowHandle();
  HWND bar = ChildOfClass(hwnd, "TN_WEB_TITLE");
  Say("  its title bar: %s, buttons: %zu (close, maximise, minimise)", bar ? "there" : "MISSING",
      bar ? win::GetChildren(bar).size() : 0u);
  // The user moves the window: the view lays out the bar and the page below it.
  page->MoveWindow(120, 80, 920, 580);
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return win::GetWindowState(page->host_window()).y == 36;
  });
  const auto viewport = win::GetWindowState(page->host_window());
  Say("  after the move the page's window is at (0, %d), %d by %d: the page's viewport", viewport.y,
      viewport.width, viewport.height);
  engine.ui().RunUntilIdle();
  if (bar) PaintBar(bar);
  SaveWholeWindow(page, "demo-light-window.png");

  // The user presses the bar's close button: the page is asked, saves and closes.
  HWND close = nullptr;
  for (HWND button : bar ? win::GetChildren(bar) : std::vector<HWND>()) {
    if (win::GetWindowState(button).x == 920 - 40) close = button;
  }
  Say("  the user clicks the bar's close button");
  if (close) {
    win::SendMessageW(close, win::WM_LBUTTONDOWN, 0, win::MAKELPARAM(10, 10));
    win::SendMessageW(close, win::WM_LBUTTONUP, 0, win::MAKELPARAM(10, 10));
  }
  const bool closed = WaitFor([&] {
    engine.ui().RunUntilIdle();
    return !page->alive();
  });
  Say("  the page heard \"tn.onclose\", answered with /window/close, and its window %s",
      closed ? "closed" : "STAYED OPEN");
  if (!closed || !close) Fail("the light window did not close through its page");

  Say("== a framed web window of the client (type 4): its bar above a watermarked page");
  IBrowserViewSetting* settings = nullptr;
  factory->CreateBrowserViewSetting(&settings);
  settings->SetName(u"Framed");
  settings->SetViewType(4);
  settings->SetBusinessCore(core);
  settings->SetInitData(
      R"({"showWatermark":1,"name":"Ann Lee","mobile":"13800001234","watermark_modes":["1"],)"
      R"("id":"msg-article-url","message":{"msgId":"1"}})");
  RECT rect{100, 100, 1000, 640};
  settings->SetRect(rect);
  IBrowserView* view = nullptr;
  factory->CreateBrowserView("file://tavrin5main/light.html", settings, &view);
  settings->Release();
  xhav::cdp::PageBrowser* framed = engine.browsers().back();
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    Json::Value marked;
    return framed->Evaluate("!!document.querySelector('div.tavrin-watermark')", &marked, 300) &&
           marked.asBool();
  });
  framed->MoveWindow(100, 100, 920, 560);
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return win::GetWindowState(framed->host_window()).y == 36;
  });
  engine.ui().RunUntilIdle();
  HWND framedBar = ChildOfClass(framed->GetWindowHandle(), "TN_WEB_TITLE");
  Say("  its bar has %zu buttons", framedBar ? win::GetChildren(framedBar).size() : 0u);
  if (framedBar) PaintBar(framedBar);
  SaveWholeWindow(framed, "demo-framed-window.png");
  CloseChromiumPart(engine, framed, "demo-framed-page.png", view, factory, core);
}

}  // namespace demo
