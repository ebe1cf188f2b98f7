// Demo part: the title bar's back button over a light app's own history. The page
// file://tavrin5main/back.html walks to its third step by itself; then the user presses back,
// three times over: a page that claims the command and answers {data: {result: true}} goes back
// in its history, one that answers false stays, one without a handler gets the client's back.

#include <string>

#include "demo.h"
#include "tnmainui/inproc_host.h"

namespace demo {

void BackButton() {
  g_who = "[host]   ";
  ShowLog(4);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the back button could not be shown")) return;
  TraceScripts(engine, true);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");

  struct Case {
    const char* answer;
    const char* told;
    int step;  // where the page must be afterwards
  };
  const Case cases[] = {
      {"yes", "claims the command and answers {data: {result: true}}: back to step 2", 2},
      {"no", "claims the command and answers {data: {result: false}}: it stays at step 3", 3},
      {"none", "has no handler: the client goes back on its own, to step 2", 2}};
  for (const Case& c : cases) {
    Say("== a light app that %s", c.told);
    const std::string url = std::string("file://tavrin5main/back.html?answer=") + c.answer;
    IBrowserView* view = nullptr;
    // Framed: the client's title bar with its back button.
    xhav::cdp::PageBrowser* page = OpenFramedPage(engine, factory, u"BackButton", url.c_str(), core,
                                                  {40, 40, 840, 560}, &view);
    Json::Value r;
    WaitFor([&] {
      engine.ui().RunUntilIdle();
      return page->Evaluate("window.results", &r, 300) && r["step"].asInt() == 3 &&
             r["menu"].isInt();
    });
    // The title bar enables its back button when the window's history says it can go back.
    WaitFor([&] { return engine.ui().RunUntilIdle(), false; }, 1000);
    Say("  the page walked to step %d of its own history; the user presses back",
        r["step"].asInt());
    if (!PressBackButton(page->GetWindowHandle())) return Fail("the window has no back button");
    WaitFor([&] {
      engine.ui().RunUntilIdle();
      return page->Evaluate("window.results", &r, 300) &&
             (c.step == 2 ? r["step"].asInt() == 2 : r["asked"].asInt() == 1);
    });
    WaitFor([&] { return engine.ui().RunUntilIdle(), false; }, 500);  // time for a wrong back
    page->Evaluate("window.results", &r, 300);
    Say("  the page is at step %d; its handler was asked %d time(s)", r["step"].asInt(),
        r["asked"].asInt());
    if (r["step"].asInt() != c.step) Fail("the back button did not do what the page answered");
    const std::string shot = std::string("demo-back-") + c.answer + ".png";
    CloseChromiumPart(engine, page, shot.c_str(), view, nullptr, nullptr);
  }
  factory->Release();
  core->Release();
}

}  // namespace demo
