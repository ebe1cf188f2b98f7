// Demo part: hostile pages try to hurt the client in Debian's Chromium while an honest window
// keeps calling: frames of another site, hellos and desktop requests by the thousand, calls
// that prove nothing, one console message of 300 MB, popups, and a page that closes a resident
// window. Each page reports from its own script; the honest window reports its slowest call.

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "demo.h"
#include "tnmainui/inproc_host.h"
#include "win/user.h"

namespace demo {

namespace {

// The slowest of the honest window's calls (it makes one every 20 ms) while `busy` holds, at
// most a minute, in ms; -1 when it no longer answers.
double SlowestCallWhile(xhav::cdp::Engine& engine, xhav::cdp::PageBrowser* steady,
                        const std::function<bool()>& busy) {
  Json::Value worst;
  if (!steady->Evaluate("window.results.worst = 0", &worst, 5000)) return -1;
  WaitFor(
      [&] {
        engine.ui().RunUntilIdle();
        return !busy();
      },
      60000);
  WaitFor(
      [&] {
        engine.ui().RunUntilIdle();
        return false;
      },
      100);  // a last call or two
  return steady->Evaluate("window.results.worst", &worst, 10000) ? worst.asDouble() : -1;
}

// Whether a hostile page's try has ended, with its results. The page may be busy for a while:
// it is asked without holding the UI thread, which goes on serving every window meanwhile, as
// the client's does.
class Watch {
 public:
  Watch(xhav::cdp::Engine& engine, xhav::cdp::PageBrowser* page) : engine_(engine), page_(page) {}
  bool Done(Json::Value* r) {
    engine_.ui().RunUntilIdle();
    if (!*asking_) {
      *asking_ = true;
      Json::Value params;
      params["expression"] = "window.results";
      params["returnByValue"] = true;
      engine_.connection().Send(
          "Runtime.evaluate", params, page_->session(),
          [asking = asking_, results = results_](const Json::Value& result, const Json::Value&) {
            *asking = false;
            if (result.isObject() && result["result"].isObject())
              *results = result["result"]["value"];
          });
    }
    *r = *results_;
    return r->isObject() && (*r)["done"].asBool();
  }

 private:
  xhav::cdp::Engine& engine_;
  xhav::cdp::PageBrowser* page_;
  std::shared_ptr<bool> asking_ = std::make_shared<bool>(false);
  std::shared_ptr<Json::Value> results_ = std::make_shared<Json::Value>();
};

int OpenWindows(xhav::cdp::Engine& engine) {
  int open = 0;
  for (xhav::cdp::PageBrowser* b : engine.browsers()) open += b->alive();
  return open;
}

// A page that opens windows: six clicks, at most four hidden popup windows, gone with it.
void Popups(xhav::cdp::Engine& engine, ITnWebUI* factory, BusinessCore* core) {
  IBrowserView* view = nullptr;
  xhav::cdp::PageBrowser* page =
      OpenReadyPage(engine, factory, u"Popups", "file://tavrin5main/popup.html", core, &view);
  const int before = OpenWindows(engine);
  Json::Value r;
  for (int i = 1; i <= 6; ++i) {
    page->Click(50, 50);
    WaitFor([&] {
      engine.ui().RunUntilIdle();
      return page->Evaluate("window.results", &r, 300) && r["opened"].asInt() == i;
    });
  }
  WaitFor(
      [&] {
        engine.ui().RunUntilIdle();
        return false;
      },
      1500);
  const int popups = OpenWindows(engine) - before;
  Say("  six clicks on window.open: %d hidden popup windows of the view are open (a page has at "
      "most 4)",
      popups);
  CloseChromiumPart(engine, page, nullptr, view, nullptr, nullptr);
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return OpenWindows(engine) == before - 1;
  });
  Say("  the page closed: %d of its popup windows are left", OpenWindows(engine) - (before - 1));
  if (popups > 4 || OpenWindows(engine) != before - 1)
    Fail("a page left more popup windows than it may, or they outlived it");
}

// A page in a resident view (type 1) closes its window by script: the view keeps it, hidden.
void ResidentClose(xhav::cdp::Engine& engine, ITnWebUI* factory, BusinessCore* core) {
  IBrowserViewSetting* settings = nullptr;
  factory->CreateBrowserViewSetting(&settings);
  settings->SetName(u"Resident");
  settings->SetViewType(1);
  settings->SetBusinessCore(core);
  IBrowserView* view = nullptr;
  factory->CreateBrowserView("file://tavrin5main/harm.html?do=close", settings, &view);
  settings->Release();
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  Json::Value r;
  Watch watch(engine, page);
  WaitFor([&] { return watch.Done(&r) && !win::IsWindowVisible(view->GetHwnd()); });
  const bool kept = page->alive() && !win::IsWindowVisible(view->GetHwnd());
  Say("  a resident view's page calls window.close(): its window is %s",
      kept ? "hidden and kept, as the view's close does" : "gone");
  if (!kept) Fail("a page closed a window that its view keeps");
  CloseChromiumPart(engine, page, nullptr, view, nullptr, nullptr);
}

}  // namespace

void HostilePages() {
  g_who = "[host]   ";
  ShowLog(4);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the hostile pages could not run")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");

  Say("== in Chromium: an honest window keeps calling, file://tavrin5main/steady.html, while "
      "hostile pages try to hurt the client, file://tavrin5main/harm.html");
  IBrowserView* steadyView = nullptr;
  xhav::cdp::PageBrowser* steady = OpenReadyPage(
      engine, factory, u"Steady", "file://tavrin5main/steady.html", core, &steadyView);
  Json::Value ignored;
  steady->Evaluate("window.keepCalling(20)", &ignored);
  const auto alone = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  Say("  the honest window's slowest call, alone for a second: %.1f ms",
      SlowestCallWhile(engine, steady, [&] { return std::chrono::steady_clock::now() < alone; }));
  struct Try {
    const char* what;
    const char* url;
  };
  double worstOfAll = 0;
  for (const Try& t :
       {Try{"ten frames of another site", "file://tavrin5main/harm.html?do=frames&n=10"},
        Try{"6,000 hellos", "file://tavrin5main/harm.html?do=hellos&n=6000"},
        Try{"10,000 requests to the desktop origin",
            "file://tavrin5main/harm.html?do=desktop&n=10000"},
        Try{"20,000 calls that prove nothing", "file://tavrin5main/harm.html?do=forged&n=20000"},
        Try{"one console message of 50 million characters",
            "file://tavrin5main/harm.html?do=console&n=50000000"}}) {
    IBrowserView* view = nullptr;
    OpenView(factory, u"Hostile", t.url, core, "{}", &view);
    xhav::cdp::PageBrowser* page = engine.browsers().back();
    const auto start = std::chrono::steady_clock::now();
    Json::Value r;
    Watch watch(engine, page);
    const double worst = SlowestCallWhile(engine, steady, [&] { return !watch.Done(&r); });
    WaitFor([&] { return watch.Done(&r); }, 60000);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    Say("  %s: the page is done in %.1f s%s; the honest window's slowest call meanwhile %.1f ms",
        t.what, took.count(),
        r.isMember("framesWithObject")
            ? (", " + std::to_string(r["framesWithObject"].asInt()) + " frames found tnpc").c_str()
            : "",
        worst);
    worstOfAll = std::max(worstOfAll, worst);
    if (!r["done"].asBool() || worst < 0) Fail("a hostile page stopped the client");
    CloseChromiumPart(engine, page, nullptr, view, nullptr, nullptr);
  }
  // A page that held the UI thread froze the others for 40 s and more. A flood of desktop
  // requests is paced on this side (8 answers in flight a page, 8 tasks a session on the UI
  // thread, each call answered within milliseconds here), but Chromium's own queue of paused
  // requests holds an honest window's call for 1 to 4 s in a release build on two cores.
  if (worstOfAll > 4000) Fail("a hostile page held an honest window's call for 4 s or more");
  Popups(engine, factory, core);
  ResidentClose(engine, factory, core);
  CloseChromiumPart(engine, steady, "demo-hostile.png", steadyView, factory, core);
}

}  // namespace demo
