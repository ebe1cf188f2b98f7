// Demo part: the same view over real pages in Debian's Chromium, their render side in a render
// host process.

#include <algorithm>
#include <cstdio>

#include "demo.h"
#include "hav/cdp_engine.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"

namespace demo {

void RealPages() {
  g_who = "[host]   ";
  ShowLog(1);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the real pages could not run")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::InProcessEventBus bus([&](std::function<void()> task) { engine.ui().PostTask(task); });
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");
  core->SetHandler([](const tnmainui::BusinessCall& call) {
    Say("  the business core takes %s", DescribeCall(call).c_str());
    const std::u16string data = call.action == u"getuserinfo" ? u"{\"name\":\"Ann\"}"
                                : call.action == u"config"    ? u"{\"appIdImplId\":\"demo-app\"}"
                                                              : u"again";
    call.callback->OnBusinessResult(call.business.c_str(), call.action.c_str(),
                                    call.callbackId.c_str(), 0, data.c_str());
    return S_OK;
  });

  // Runs the engine's UI thread until `done`. A page may be waiting in a call for this very
  // thread: evaluations run its work while they wait.
  auto pumpUntil = [&](const std::function<bool()>& done) {
    return WaitFor([&] {
      engine.ui().RunUntilIdle();
      return done();
    });
  };
  auto results = [&](xhav::cdp::PageBrowser* page) {
    Json::Value r;
    EvaluateOnUi(engine, page, "window.results", &r);
    return r;
  };
  // Opens `url` behind the loading page with the watermark and a session cookie, waits until
  // the page's own script reports success (`ready` first, if given) and saves its screenshot.
  auto runPage = [&](const char16_t* name, const char* url, const char* shot,
                     const std::function<void(xhav::cdp::PageBrowser*)>& ready) {
    const std::string initData =
        std::string(R"({"url":")") + url +
        R"(","showWatermark":1,"name":"Ann Lee","mobile":"13800001234","watermark_modes":["1"],)"
        R"("cookie":"[{\"Set-Cookie\":\"sid=s-991; Path=/\"}]"})";
    Say("== in Chromium: a view opens \"file://tavrin4/loading.html\", then %s", url);
    IBrowserView* view = nullptr;
    const HRESULT hr =
        OpenView(factory, name, "file://tavrin4/loading.html", core, initData.c_str(), &view);
    Say("ITnWebUI::CreateBrowserView -> %s", Status(hr).c_str());
    xhav::cdp::PageBrowser* page = engine.browsers().back();
    Json::Value marked;
    pumpUntil([&] {
      return page->url() == url &&
             EvaluateOnUi(engine, page, "!!document.querySelector('div.tavrin-watermark')",
                          &marked) &&
             marked.asBool();
    });
    if (ready) ready(page);
    pumpUntil([&] { return results(page)["success"].asBool(); });
    Json::Value cookie, info;
    page->Evaluate("document.cookie", &cookie, 1000);
    page->Evaluate("JSON.stringify(window.watermarkInfo)", &info, 1000);
    Say("  the page moved on to %s (back to the loading page: %s)", page->url().c_str(),
        page->CanGoBack() ? "yes" : "no");
    Say("  document.cookie in its cookie space: %s", cookie.asString().c_str());
    Say("  window.watermarkInfo = %s; the watermark layer is on the page: %s",
        info.asString().c_str(), marked.asBool() ? "yes" : "no");
    const Json::Value r = results(page);
    Say("  the page's own script reports: %s", Compact(r).c_str());
    if (!r["success"].asBool()) Fail("the page's own script did not report success");
    SaveScreenshot(page, shot);
    page->Close(0);
    pumpUntil([&] { return !page->alive(); });
    view->Release();
  };

  runPage(u"TnMain", "file://tavrin5main/index.html", "demo-tnmain.png", nullptr);
  // A light app: it subscribes to an event before its answer's function calls again, and one
  // page's messages keep their order, so once the core has that call the view holds the
  // subscription and the events can go.
  runPage(u"LightApp", "file://tavrin5main/lightapp.html", "demo-lightapp.png",
          [&](xhav::cdp::PageBrowser*) {
            pumpUntil([&] {
              const auto calls = core->calls();
              return std::any_of(calls.begin(), calls.end(), [](const tnmainui::BusinessCall& c) {
                return c.action == u"again";
              });
            });
            for (const char* format : {"json", "base64", "pbtext", "binary", "pb"}) {
              bus.Raise(12, "tn.demo", format, std::string("{\"unread\":3}"));
            }
          });

  // A light app whose Content Security Policy refuses every connection: tnpc still answers
  // within its calls, and the policy still refuses the page's own request to another origin.
  runPage(u"Strict", "file://tavrin5main/csp-connect-none.html", "demo-csp.png", nullptr);

  // A page of another site asks for a business action: the view refuses it.
  Say("== in Chromium: a page of another site, https://tavrin5.frames.invalid/foreign.html");
  IBrowserView* view = nullptr;
  OpenView(factory, u"Foreign", "https://tavrin5.frames.invalid/foreign.html", core, nullptr,
           &view);
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  pumpUntil([&] { return results(page)["success"].asBool(); });
  Say("  the page's own script reports: %s", Compact(results(page)).c_str());
  if (!results(page)["success"].asBool()) Fail("the foreign page was not refused");
  page->Close(0);
  pumpUntil([&] { return !page->alive(); });
  view->Release();
  factory->Release();
  core->Release();
}

}  // namespace demo
