#pragma once

// The render host: a program that the Chromium engine starts (see EngineOptions::renderHost)
// to keep the render side of its pages in a process of its own. It loads the module as a
// render process would and serves the engine until the engine goes away.

#include <functional>

#include "hav/hav.h"

namespace xhav::cdp {

// The socket that the engine gave this program ("--render-fd=N"), or -1.
HAV_API int RenderFdFromArgs(int argc, char** argv);

// Serves the engine on `fd` until it closes. `load` runs first, on the render main thread
// ("TID_RENDERER"), with this process's hav core (process type render) and render host: it
// loads the module, which registers its script extension and render notify object there.
HAV_API int ServeRenderSide(int fd, const std::function<void(Core*, RenderHost*)>& load);

}  // namespace xhav::cdp
