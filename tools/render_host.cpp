// The render host: the client's program in its render role for the Chromium engine. The engine
// starts it with a socket; it loads libTnWebUI.so with dlopen, as every render process does,
// and keeps the render side of the engine's pages until the engine goes away.
//
//   tnwebui_render_host [--module=PATH] [--log=LEVEL] [--prefix=TEXT] --render-fd=N
//
// With --log, the module's log lines of that level and up go to standard output.

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "hav/cdp_render_host.h"
#include "tnbase/logger.h"
#include "tnmainui/inproc_host.h"
#include "tnwebui/module.h"

namespace {

std::string Option(int argc, char** argv, const char* name, const char* fallback) {
  const std::size_t length = std::strlen(name);
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], name, length) == 0 && argv[i][length] == '=') {
      return argv[i] + length + 1;
    }
  }
  return fallback;
}

}  // namespace

int main(int argc, char** argv) {
  const int fd = xhav::cdp::RenderFdFromArgs(argc, argv);
  if (fd < 0) {
    std::fprintf(stderr, "%s: no --render-fd; the Chromium engine starts this program\n", argv[0]);
    return 2;
  }
  const std::string module = Option(argc, argv, "--module", "./libTnWebUI.so");
  const std::string log = Option(argc, argv, "--log", "");
  const std::string prefix = Option(argc, argv, "--prefix", "");
  setvbuf(stdout, nullptr, _IOLBF, 0);
  if (!log.empty()) {
    const int level = std::atoi(log.c_str());
    tnbase::SetLogSink([level, prefix](const tnbase::LogRecord& r) {
      if (r.level >= level) {
        std::printf("%s  [log %d] %s: %s\n", prefix.c_str(), r.level, r.function.c_str(),
                    r.message.c_str());
      }
    });
  }
  std::unique_ptr<tnmainui::InProcessHost> host;
  const int status =
      xhav::cdp::ServeRenderSide(fd, [&](xhav::Core* core, xhav::RenderHost* render) {
        void* library = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
        auto create =
            library ? reinterpret_cast<CreateTavrinModuleFn>(dlsym(library, "CreateTavrinModule"))
                    : nullptr;
        if (!create) {
          std::fprintf(stderr, "%s: cannot load %s: %s\n", argv[0], module.c_str(), dlerror());
          return;
        }
        host = std::make_unique<tnmainui::InProcessHost>(core, render);
        TavrinModule* tavrin = create(host.get());
        tavrin->OnModuleLoaded(0);
        tavrin->OnProcessInited(0);  // a render process: the module starts its render side
      });
  // The module stays loaded for the life of the process, as in every render process; a normal
  // exit lets the sanitizers of a test build report on this process too.
  return status;
}
