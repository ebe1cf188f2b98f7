// Demo part: a page subscribes to a client event, which is raised once in each format.

#include <utility>
#include <vector>

#include "demo.h"
#include "hav/inproc_engine.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"

namespace demo {

void PageEvents() {
  Module m = Load();
  // Both sides of the process border in this process: the engine reports a render process, so
  // the module starts its render side, and the host's factory makes the view.
  xhav::inproc::Engine engine(xhav::kProcessTypeRender);
  TraceMessagesQuietly(engine);
  engine.ui().BindCurrentThread();
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::InProcessEventBus bus([&](std::function<void()> task) { engine.ui().PostTask(task); });
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  ITnWebUI* factory = StartModule(m, &host);
  IBrowserView* view = nullptr;
  OpenView(factory, u"TnEvents", "https://events.example.com/", nullptr, nullptr, &view);
  engine.RunUntilIdle();
  auto page = engine.browsers().back()->page();

  Say("== the page calls tnpc.registerEvent(['tn.demo'], onEvent, 'demo')");
  auto onEvent = ScriptFunction("onEvent", [](const CefV8ValueList& args) {
    std::string payload = Describe(args[3]);
    if (args[3]->IsArrayBuffer()) {
      payload = "ArrayBuffer of " + std::to_string(args[3]->GetArrayBufferByteLength()) + " bytes";
    }
    Say("  page function onEvent(type=%s, name=%s, format=%s, payload=%s)",
        Describe(args[0]).c_str(), Describe(args[1]).c_str(), Describe(args[2]).c_str(),
        payload.c_str());
  });
  CefRefPtr<CefV8Value> names = CefV8Value::CreateArray(1);
  names->SetValue(0, CefV8Value::CreateString("tn.demo"));
  page->Call("tnpc.registerEvent", {names, onEvent, CefV8Value::CreateString("demo")});
  engine.RunUntilIdle();

  const std::string json = "{\"unread\":3}";
  const std::string bytes("\x08\x03\x12\x02hi", 6);
  for (const auto& [format, payload] :
       std::vector<std::pair<std::string, std::string>>{{"json", json},
                                                        {"base64", bytes},
                                                        {"pbtext", bytes},
                                                        {"binary", bytes},
                                                        {"pb", bytes}}) {
    Say("== the client raises tn.demo (type 12) in format \"%s\" with %zu bytes", format.c_str(),
        payload.size());
    bus.Raise(12, "tn.demo", format, payload);
    engine.RunUntilIdle();
  }
  engine.browsers().back()->FinishClose();
  engine.RunUntilIdle();
  view->Release();
  factory->Release();
  page.reset();
}

}  // namespace demo
