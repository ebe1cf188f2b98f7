// The demo host: plays the client's processes against the in-process engine and against
// Debian's Chromium, and prints a readable trace. Each part runs in processes of its own.

#include <cstdio>
#include <cstdlib>

#include "demo.h"

int main(int argc, char** argv) {
  using namespace demo;
  if (argc > 1) g_library = argv[1];
  setvbuf(stdout, nullptr, _IOLBF, 0);
  std::printf("== TnWebUI demo, module %s\n\n", g_library);
  bool ok = true;
  if (StartSessionTrace())
    std::printf("== the session's trace: %s/demo-trace.jsonl\n", TNWEBUI_BUILD_DIR);
  // TNWEBUI_DEMO_PART=n runs only the nth part (from 1), for a quick look at one of them.
  const char* only = std::getenv("TNWEBUI_DEMO_PART");
  int index = 0;
  const struct {
    const char* name;
    void (*run)();
  } parts[] = {{"page's first calls", PageFirstCalls},
               {"host opens windows", HostOpensWindows},
               {"view life cycle", ViewLifeCycle},
               {"page events", PageEvents},
               {"real pages", RealPages},
               {"light app SDK", LightAppSdk},
               {"desktop commands", DesktopCommands},
               {"light window", LightWindow},
               {"transfers", Transfers},
               {"windows and dialogs", WindowsAndDialogs},
               {"choosers", Choosers},
               {"conformance", Conformance},
               {"a light app's guests", PageGuests},
               {"back button", BackButton},
               {"hostile pages", HostilePages},
               {"window news", WindowNews},
               {"warm windows", WarmWindows}};
  for (const auto& part : parts) {
    if (only && std::atoi(only) != ++index) continue;
    SetTracePart(part.name);
    ok = InChild(part.run) && ok;
    std::printf("\n");
  }
  if (!only) {
    std::printf("== one typical request, over two processes\n");
    SetTracePart("typical request");
    TypicalRequest();
    std::printf("\n");
    SetTracePart("timeline");
    ok = InChild(SessionTimeline) && ok;
    std::printf("\n");
    SetTracePart("workbench");
    ok = InChild(LightAppWorkbench) && ok;
  }
  std::printf("\n== %s\n", ok ? "every part succeeded" : "a part FAILED");
  return ok ? 0 : 1;
}
