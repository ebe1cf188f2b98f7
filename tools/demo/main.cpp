// The demo host: plays the client's processes against the in-process engine and against
// Debian's Chromium, and prints a readable trace. Each part runs in processes of its own.

#include <cstdio>

#include "demo.h"

int main(int argc, char** argv) {
  using namespace demo;
  if (argc > 1) g_library = argv[1];
  setvbuf(stdout, nullptr, _IOLBF, 0);
  std::printf("== TnWebUI demo, module %s\n\n", g_library);
  bool ok = true;
  for (void (*part)() : {PageFirstCalls, HostOpensWindows, ViewLifeCycle, PageEvents, RealPages,
                         LightAppSdk, DesktopCommands}) {
    ok = InChild(part) && ok;
    std::printf("\n");
  }
  std::printf("== one typical request, over two processes\n");
  TypicalRequest();
  std::printf("\n== %s\n", ok ? "every part succeeded" : "a part FAILED");
  return ok ? 0 : 1;
}
