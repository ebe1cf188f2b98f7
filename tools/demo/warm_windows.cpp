// Demo part: a light app opens at once. CreateLightBrowser returns before the window's page
// target is there; the first window's target is made when it is asked for, the second takes
// the one the engine made ready after the first was shown (its renderer already started on
// the app's site). Each opening's steps, as the engine takes them, in milliseconds.

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "demo.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"

namespace demo {
namespace {

using Clock = std::chrono::steady_clock;

double MsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

}  // namespace

void WarmWindows() {
  g_who = "[host]   ";
  ShowLog(4);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the light windows could not open")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::InProcessEventBus bus(
      [&engine](std::function<void()> task) { engine.ui().PostTask(std::move(task)); });
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  ITnWebUI* factory = StartModule(m, &host);

  std::mutex mutex;
  std::vector<std::pair<double, std::string>> steps;
  Clock::time_point start;
  engine.SetStepTracer([&](int, const char* step) {
    std::lock_guard<std::mutex> lock(mutex);
    steps.emplace_back(MsSince(start), step);
  });
  // Opens the expenses app as window `name`, waits until its page says it is ready and prints
  // the steps; the milliseconds until ready (0 when it never was).
  auto open = [&](const char* name) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      steps.clear();
    }
    start = Clock::now();
    const HRESULT id =
        OpenLightWindow(factory, 7, name, "file://tavrin5main/light.html", "Expenses", 900, 560);
    Say("  CreateLightBrowser -> window %d, returned after %.1f ms", static_cast<int>(id),
        MsSince(start));
    xhav::cdp::PageBrowser* page = engine.browsers().back();
    Json::Value results;
    const bool ready = WaitFor([&] {
      engine.ui().RunUntilIdle();
      return page->bound() && EvaluateOnUi(engine, page, "window.results", &results) &&
             results["ready"].asBool();
    });
    const double took = MsSince(start);
    std::vector<std::pair<double, std::string>> taken;
    {
      std::lock_guard<std::mutex> lock(mutex);
      taken.swap(steps);
    }
    for (const auto& [ms, step] : taken) Say("  %8.1f ms  %s", ms, step.c_str());
    Say("  %8.1f ms  the page's own script says it is ready (it has its window's data)", took);
    if (!ready) Fail("a light window's page did not get ready");
    SaveWindowPng(page, std::string(TNWEBUI_BUILD_DIR) + "/demo-warm-" + name + ".png");
    page->Close(0);
    WaitFor([&] {
      engine.ui().RunUntilIdle();
      return !page->alive();
    });
    return ready ? took : 0.0;
  };

  Say("== in Chromium: a light app opened twice; the engine keeps one target ready");
  Say("-- the first window: its target is made when it is asked for");
  const double cold = open("first");
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return engine.warm_targets() > 0;
  });
  Say("-- after the first was shown, the engine keeps %d target ready, parked on the app's site",
      engine.warm_targets());
  Say("-- the second window takes it");
  const double warm = open("second");
  Say("  ready after %.0f ms on a kept target, %.0f ms on one made when asked for", warm, cold);
  if (warm <= 0 || cold <= 0) return;
  engine.SetWarmTargets(0);
  Say("  the engine keeps none any more: %d", engine.warm_targets());
}

}  // namespace demo
