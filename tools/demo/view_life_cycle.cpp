// Demo part: a view's page from the loading page to its real address, with the session's
// cookies and the watermark.

#include "demo.h"
#include "hav/inproc_engine.h"
#include "tnmainui/inproc_host.h"

namespace demo {

void ViewLifeCycle() {
  Module m = Load();
  xhav::inproc::Engine engine(xhav::kProcessTypeBrowser);
  TraceMessagesQuietly(engine);
  engine.ui().BindCurrentThread();
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");

  const char* initData =
      R"({"url":"https://intra.example.com/news","cookie":"[{\"Set-Cookie\":\"sid=s-991; Path=/; HttpOnly\"},{\"Set-Cookie\":\"lang=en\"}]",)"
      R"("showWatermark":1,"name":"Ann Lee","mobile":"13800001234","watermark_modes":["1"]})";
  Say("== a view opens \"file://tavrin4/loading.html\" with initial data %s", initData);
  IBrowserView* view = nullptr;
  HRESULT hr = OpenView(factory, u"TnNews", "file://tavrin4/loading.html", core, initData, &view);
  engine.RunUntilIdle();
  Say("ITnWebUI::CreateBrowserView -> %s", Status(hr).c_str());
  xhav::inproc::BrowserImpl* browser = engine.browsers().back();
  for (const std::string& call : browser->calls()) {
    if (call.rfind("LoadUrl", 0) == 0) Say("  the view moves on: %s", call.c_str());
  }
  Say("  the page shows %s", browser->url().c_str());
  for (const auto& [space, jar] : browser->cookies()) {
    Say("  cookie space %s (MD5 of organisation and account keys):", space.c_str());
    for (const auto& [key, value] : jar) Say("    %s = %s", key.c_str(), value.c_str());
  }
  for (const std::string& script : browser->scripts()) {
    if (script.size() > 160) {
      Say("  runs in the page: the watermark script (%zu bytes)", script.size());
    } else {
      Say("  runs in the page: %s", script.c_str());
    }
  }
  browser->FinishClose();
  view->Release();
  factory->Release();
  core->Release();
}

}  // namespace demo
