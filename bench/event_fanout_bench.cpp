// One event raised on the client's bus, fanned out to 1, 10 and 100 subscriptions of a page,
// through the view's pool, the render process and the page's functions, in each format and
// with a 64-byte and a 64 KiB payload. The floor beside each format, in the same run, is copying
// the payload once per subscription; a "json" event's is the platform's least work for the
// event (see BM_FanOutJson_Floor).

#include <benchmark/benchmark.h>

#include "cef/inproc_v8.h"
#include "floor_ratio.h"
#include "platform_floor.h"
#include "tnmainui/event_bus.h"
#include "view_harness.h"

namespace {

const char* const kFormats[] = {"json", "pbtext", "binary", "pb", "base64"};

class FanOut {
 public:
  explicit FanOut(int subscriptions) {
    auto f = cef_inproc::CreateScriptFunction(
        "onEvent", std::function<void(const CefV8ValueList&)>([this](const CefV8ValueList& args) {
          ++received;
          benchmark::DoNotOptimize(args.data());
        }));
    CefRefPtr<CefV8Value> names = CefV8Value::CreateArray(1);
    names->SetValue(0, CefV8Value::CreateString("tn.bench"));
    for (int i = 0; i < subscriptions; ++i) harness.page->Call("tnpc.registerEvent", {names, f});
    engine.RunUntilIdle();
  }

  tnmainui::InProcessEventBus bus{[this](std::function<void()> t) { engine.ui().PostTask(t); }};
  ViewHarness harness{"https://events.test/", nullptr, &bus};
  xhav::inproc::Engine& engine = harness.engine;
  long received = 0;
};

void FanOutIn(benchmark::State& state, const char* format) {
  const int subscriptions = static_cast<int>(state.range(0));
  const std::string payload(state.range(1), 'x');  // NUL-terminated, as "json" needs
  FanOut fan(subscriptions);
  for (auto _ : state) {
    fan.bus.Deliver(3, "tn.bench", format, payload.data(), static_cast<uint32_t>(payload.size()));
    fan.engine.RunUntilIdle();
  }
  if (fan.received != state.iterations() * subscriptions) state.SkipWithError("lost events");
  state.SetLabel(format);
  state.SetBytesProcessed(state.iterations() * subscriptions * payload.size());
}

void BM_FanOut(benchmark::State& state) { FanOutIn(state, kFormats[state.range(2)]); }

// A "json" event: the page gets text. The least a correct fan-out does on this platform is
// converting the text once for the event and, for each subscription, what the platform needs
// to hand it over (platform_floor.h): its message made, moved and read, and the page's function
// called. The floor before this one converted and copied the text once per subscription, work
// that no correct implementation needs now that the platform's strings share their text.
void BM_FanOutJson(benchmark::State& state) { FanOutIn(state, "json"); }

void BM_FanOutJson_Floor(benchmark::State& state) {
  const int subscriptions = static_cast<int>(state.range(0));
  const std::string payload(state.range(1), 'x');
  long received = 0;
  auto function = platform_floor::CountingFunction("onEvent", &received);
  std::vector<CefString> keys;
  for (int i = 0; i < subscriptions; ++i) keys.emplace_back(std::to_string(i) + "|tn.bench");
  const CefRefPtr<CefV8Context> context = cef_inproc::CreateContext(nullptr, nullptr);
  for (auto _ : state) {
    const CefString name("tn.bench");
    const CefString format("json");
    const CefString text(payload);
    for (int i = 0; i < subscriptions; ++i) {
      platform_floor::Push(context, function, keys[i], name, format, text);
    }
  }
  if (received != state.iterations() * subscriptions) state.SkipWithError("lost events");
  state.SetBytesProcessed(state.iterations() * subscriptions * payload.size());
}

void BM_FanOut_Floor(benchmark::State& state) {
  const int subscriptions = static_cast<int>(state.range(0));
  const std::string payload(state.range(1), 'x');
  for (auto _ : state) {
    for (int i = 0; i < subscriptions; ++i) {
      std::string copy(payload.data(), payload.size());
      benchmark::DoNotOptimize(copy.data());
    }
  }
  state.SetBytesProcessed(state.iterations() * subscriptions * payload.size());
}

void Arguments(benchmark::internal::Benchmark* b) {
  for (int subscriptions : {1, 10, 100}) {
    for (int size : {64, 64 << 10}) {
      for (int format = 0; format < 5; ++format) b->Args({subscriptions, size, format});
    }
  }
}

void FloorArguments(benchmark::internal::Benchmark* b) {
  for (int subscriptions : {1, 10, 100}) {
    for (int size : {64, 64 << 10}) b->Args({subscriptions, size});
  }
}

BENCHMARK(BM_FanOut)->Apply(Arguments);
BENCHMARK(BM_FanOut_Floor)->Apply(FloorArguments);
BENCHMARK(BM_FanOutJson)->Apply(FloorArguments);
BENCHMARK(BM_FanOutJson_Floor)->Apply(FloorArguments);

}  // namespace

TN_BENCHMARK_MAIN()
