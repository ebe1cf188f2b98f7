// Demo part: a render process starts and a page makes its first calls.

#include "demo.h"
#include "hav/inproc_engine.h"
#include "tnmainui/inproc_host.h"

namespace demo {

void PageFirstCalls() {
  ShowLog(2);
  Module m = Load();
  xhav::inproc::Engine engine(xhav::kProcessTypeRender);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  engine.SetTracer(
      [](const char* hop, CefProcessId target, int id, CefRefPtr<CefProcessMessage> message) {
        TraceProcessMessage(hop, target, id, message);
        if (std::string(hop) == "deliver" && target == PID_BROWSER) {
          Say("  -> the browser process receives \"%s\" %s from browser %d",
              message->GetName().ToString().c_str(),
              DescribeList(message->GetArgumentList()).c_str(), id);
        }
      });

  Say("== a render process starts");
  TavrinModule* module = m.createModule(&host);
  Say("CreateTavrinModule -> module %s", module ? "made" : "missing");
  module->OnModuleLoaded(0);
  for (const auto& [address, creator] : engine.registrations()) {
    Say("  desktop command registered: %s", address.c_str());
  }
  module->OnProcessInited(0);
  for (const auto& ext : engine.extensions()) {
    Say("  extension \"%s\": %s", ext.name.c_str(), ext.script.c_str());
  }

  Say("== a page opens");
  auto page = engine.OpenPage(/*enableBusiness=*/true);
  engine.RunUntilIdle();
  page->SetHistory(/*canGoBack=*/true, /*canGoForward=*/false);
  Say("window.tnpc === window.Tavrin: %s",
      page->Get("tnpc")->IsSame(page->Get("Tavrin")) ? "true" : "false");

  Say("== tnpc.cangoback()");
  auto r = page->Call("tnpc.cangoback");
  Say("  returns %s, answered in the render process", Describe(r.value).c_str());
  engine.RunUntilIdle();

  Say("== tnpc.minwnd()");
  page->Call("tnpc.minwnd");
  engine.RunUntilIdle();

  Say("== tnpc.exebusinessaction('Common', 'GetUserInfo', '', '{\"uid\":7}', 'me', onUser)");
  auto onUser = ScriptFunction("onUser", [](const CefV8ValueList& args) {
    Say("  page function onUser(code=%s, data=%s, id=%s)", Describe(args[0]).c_str(),
        Describe(args[1]).c_str(), Describe(args[2]).c_str());
  });
  r = page->Call("tnpc.exebusinessaction",
                 {CefV8Value::CreateString("Common"), CefV8Value::CreateString("GetUserInfo"),
                  CefV8Value::CreateString(""), CefV8Value::CreateString("{\"uid\":7}"),
                  CefV8Value::CreateString("me"), onUser});
  Say("  handled: %s", r.handled ? "true" : "false");
  engine.RunUntilIdle();

  Say("== the browser process answers with \"ExeBusinessActionCallback\"");
  auto answer = CefProcessMessage::Create("ExeBusinessActionCallback");
  auto result = CefListValue::Create();
  result->SetString(0, "me");
  result->SetInt(1, 0);
  result->SetString(2, "{\"name\":\"Ann\"}");
  answer->GetArgumentList()->SetString(0, "common");
  answer->GetArgumentList()->SetString(1, "getuserinfo");
  answer->GetArgumentList()->SetList(2, result);
  engine.SendToRenderer(page->id(), answer);
  engine.RunUntilIdle();
  page.reset();
}

}  // namespace demo
