// A page's classic business action over the Chromium engine, from the page's call to its
// function running with the answer (page -> render side -> view -> business core -> page), beside
// the floor measured in the same run: a bare binding call from the page answered by one
// Runtime.evaluate. A call that the page needs answered within the call (cangoback) stands
// beside a bare synchronous request that the engine answers as soon as Chromium holds it. The
// business action is measured with the render side in this process and in a render host process.
// All are timed from a Runtime.evaluate that waits for the page's promise, so the evaluate's own
// cost is in each. Prints the median and the 99th percentile.
// Last, the wait of a window command that the host posts to the UI thread while the page floods
// it with business actions, beside the same wait on an idle page (the worst wait as a counter).

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "chromium_client.h"
#include "floor_ratio.h"

namespace {

// `renderHost`: the render side in a render host process (as in the client); otherwise in
// this process, on the UI thread.
class Pages : public ChromiumClient {
 public:
  explicit Pages(bool renderHost) : ChromiumClient(renderHost) {
    if (!ok()) return;
    // The floor's binding is answered at once with one evaluate.
    engine->SetBindingHandler(
        [this](xhav::cdp::PageBrowser* p, const std::string&, const std::string&) {
          Json::Value params;
          params["expression"] = "window.__floorResolve()";
          engine->connection().Send("Runtime.evaluate", params, p->session(), nullptr);
        });
    view = OpenView(u"bench", "file://tavrin5main/index.html");
    page = engine->browsers().back();
    // The window's target comes after CreateBrowserView returns: ten seconds at most for its
    // page to show tnpc.
    Json::Value ready;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end) {
      engine->ui().RunUntilIdle();
      if (page->bound() &&
          page->Evaluate("!!(window.tnpc && window.tnpc.exebusinessaction)", &ready) &&
          ready.asBool())
        break;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    Json::Value binding;
    binding["name"] = "__floor";
    engine->connection().Call("Runtime.addBinding", binding, page->session(), nullptr);
    // The engine makes its kept target once the window has shown: that work is done before
    // anything is measured.
    for (int i = 0; i < 600 && engine->warm_targets() < 1; ++i) {
      engine->ui().RunUntilIdle();
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    // From here the UI thread runs by itself while the benchmark waits on the page.
    engine->ui().StartThread();
  }
  ~Pages() {
    if (!ok()) return;
    engine->ui().Stop();
    page->Close(0);
    for (int i = 0; i < 2000 && page->alive(); ++i) engine->ui().RunUntilIdle();
    view->Release();
    Finish();
  }
  bool ready() const { return ok() && page; }

  IBrowserView* view = nullptr;
  xhav::cdp::PageBrowser* page = nullptr;
};

Pages& Shared(bool renderHost) {
  static Pages inProcess(false);
  static Pages apart(true);
  return renderHost ? apart : inProcess;
}

void Measure(benchmark::State& state, const std::string& expression, bool renderHost = false) {
  Pages& pages = Shared(renderHost);
  if (!pages.ready()) {
    state.SkipWithError("Chromium is not available");
    return;
  }
  std::vector<double> samples;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    Json::Value done;
    if (!pages.page->Evaluate(expression, &done) || !done.asBool()) {
      state.SkipWithError("the page did not answer");
      return;
    }
    samples.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
            .count());
  }
  state.counters["p50_us"] = Percentile(samples, 50);
  state.counters["p99_us"] = Percentile(samples, 99);
}

void BM_PageBusinessAction(benchmark::State& state) {
  Measure(state,
          "new Promise(function (r) { tnpc.exebusinessaction('Contact', 'Ping', '', '{}', 'p', "
          "function () { r(true); }); })");
}

void BM_PageBusinessAction_RenderHost(benchmark::State& state) {
  Measure(state,
          "new Promise(function (r) { tnpc.exebusinessaction('Contact', 'Ping', '', '{}', 'p', "
          "function () { r(true); }); })",
          true);
}

void BM_PageBusinessAction_Floor(benchmark::State& state) {
  Measure(state,
          "new Promise(function (r) { window.__floorResolve = function () { r(true); }; "
          "__floor('x'); })");
}

// A call that the page needs answered within: its request, the render side, the reply.
void BM_PageSyncCall(benchmark::State& state) {
  Measure(state, "Promise.resolve(typeof tnpc.cangoback() === 'boolean')");
}

// The same request, answered empty by the engine as soon as Chromium holds it.
void BM_PageSyncCall_Floor(benchmark::State& state) {
  Measure(state,
          "(function () { var x = new XMLHttpRequest(); "
          "x.open('POST', 'https://tnpc-call.pages.invalid/ping', false); x.send('{}'); "
          "return Promise.resolve(x.status === 200); })()");
}

// Posts a window command to the UI thread every 20 ms and times each until it ran; `flood`: the
// page makes business actions without pause meanwhile, and the run waits for their answers.
void WindowCommandWaits(benchmark::State& state, bool flood) {
  Pages& pages = Shared(false);
  if (!pages.ready()) {
    state.SkipWithError("Chromium is not available");
    return;
  }
  Json::Value started;
  if (flood && !pages.page->Evaluate(R"JS(window.flood = {sent: 0, answered: 0, stop: false};
        (function burst() {
          for (var i = 0; i < 10; ++i)
            tnpc.exebusinessaction('Contact', 'Ping', '', '{}', String(++flood.sent),
                                   function () { flood.answered++; });
          if (!flood.stop) setTimeout(burst, 0);
        })(); true)JS",
                                     &started)) {
    state.SkipWithError("the page did not start its flood");
    return;
  }
  using Clock = std::chrono::steady_clock;
  std::vector<double> samples;
  for (auto _ : state) {
    auto served = std::make_shared<std::atomic<bool>>(false);
    const auto posted = Clock::now();
    pages.engine->ui().PostTask([&pages, served] {
      pages.page->MoveWindow(10, 10, 800, 600);
      *served = true;
    });
    while (!*served) std::this_thread::sleep_for(std::chrono::microseconds(100));
    const double waited = std::chrono::duration<double, std::micro>(Clock::now() - posted).count();
    samples.push_back(waited);
    state.SetIterationTime(waited / 1e6);
    state.PauseTiming();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    state.ResumeTiming();
  }
  if (flood) {
    Json::Value flooded;
    pages.page->Evaluate("flood.stop = true; flood.sent", &flooded);
    state.counters["calls"] = flooded.asDouble();
    for (int i = 0; i < 600; ++i) {
      if (pages.page->Evaluate("flood.answered === flood.sent", &flooded) && flooded.asBool())
        break;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }
  state.counters["p50_us"] = Percentile(samples, 50);
  state.counters["p99_us"] = Percentile(samples, 99);
  state.counters["worst_us"] = *std::max_element(samples.begin(), samples.end());
}

void BM_WindowCommandUnderFlood(benchmark::State& state) { WindowCommandWaits(state, true); }
void BM_WindowCommandUnderFlood_Floor(benchmark::State& state) { WindowCommandWaits(state, false); }

BENCHMARK(BM_PageBusinessAction)->Iterations(300)->UseRealTime();
BENCHMARK(BM_PageBusinessAction_RenderHost)->Iterations(300)->UseRealTime();
BENCHMARK(BM_PageBusinessAction_Floor)->Iterations(300)->UseRealTime();
BENCHMARK(BM_PageSyncCall)->Iterations(300)->UseRealTime();
BENCHMARK(BM_PageSyncCall_Floor)->Iterations(300)->UseRealTime();
BENCHMARK(BM_WindowCommandUnderFlood)->Iterations(250)->UseManualTime();
BENCHMARK(BM_WindowCommandUnderFlood_Floor)->Iterations(250)->UseManualTime();

}  // namespace

TN_BENCHMARK_MAIN()
