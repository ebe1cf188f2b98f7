// A business action's full round trip inside one process: page call, render message, view,
// rights check, business core (answering at once), "ExeBusinessActionCallback", page function.
// Each figure stands beside its floor measured in the same run:
// - classic form: copying the message's strings once per process hop;
// - SDK form: that, plus parsing and writing the JSON once.

#include <benchmark/benchmark.h>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "cef/inproc_v8.h"
#include "floor_ratio.h"
#include "tnmainui/business_core.h"
#include "view_harness.h"

namespace {

std::string Json(std::size_t size) {
  // {"k":"xxxx…"} of about `size` bytes.
  return "{\"k\":\"" + std::string(size > 10 ? size - 10 : 1, 'x') + "\"}";
}

// The view's business core answers every call at once with `answer`.
class RoundTrip {
 public:
  explicit RoundTrip(const std::string& answer) : core(MakeCore(answer)), harness(kPage, core) {
    page = harness.page;
    callback = cef_inproc::CreateScriptFunction(
        "done", std::function<void(const CefV8ValueList&)>([this](const CefV8ValueList& args) {
          ++answers;
          benchmark::DoNotOptimize(args.data());
        }));
  }
  ~RoundTrip() { core->Release(); }

  static constexpr char kPage[] = "file://tavrin5main/bench.html";
  static tnmainui::ScriptedBusinessCore* MakeCore(const std::string& answer) {
    auto* core = new tnmainui::ScriptedBusinessCore(u"org", "acc");
    core->SetRecordCalls(false);
    const std::u16string data = tnwebui::Utf8ToWide(answer);
    core->SetHandler([data](const tnmainui::BusinessCall& call) {
      call.callback->OnBusinessResult(call.business.c_str(), call.action.c_str(),
                                      call.callbackId.c_str(), 0, data.c_str());
      return S_OK;
    });
    return core;
  }

  tnmainui::ScriptedBusinessCore* core;
  ViewHarness harness;
  xhav::inproc::Engine& engine = harness.engine;
  std::shared_ptr<xhav::inproc::Page> page;
  CefRefPtr<CefV8Value> callback;
  long answers = 0;
};

void BM_Classic(benchmark::State& state) {
  const std::string json = Json(state.range(0));
  RoundTrip rt(json);
  const CefV8ValueList args = {CefV8Value::CreateString("Contact"),
                               CefV8Value::CreateString("GetUserInfo"),
                               CefV8Value::CreateString(""),
                               CefV8Value::CreateString(json),
                               CefV8Value::CreateInt(7),
                               rt.callback};
  for (auto _ : state) {
    rt.page->Call("tnpc.exebusinessaction", args);
    rt.engine.RunUntilIdle();
  }
  if (rt.answers != static_cast<long>(state.iterations())) state.SkipWithError("lost answers");
  state.SetBytesProcessed(state.iterations() * 2 * json.size());
}

void BM_Classic_Floor(benchmark::State& state) {
  const std::string json = Json(state.range(0));
  for (auto _ : state) {
    auto call = CefProcessMessage::Create("exebusinessaction");
    auto list = call->GetArgumentList();
    for (const std::string& s : {std::string("contact"), std::string("getuserinfo"), std::string(),
                                 json, std::string("7")}) {
      list->SetString(list->GetSize(), s);
    }
    benchmark::DoNotOptimize(call->Copy());
    auto answer = CefProcessMessage::Create("ExeBusinessActionCallback");
    auto result = CefListValue::Create();
    result->SetString(0, std::string("7"));
    result->SetInt(1, 0);
    result->SetString(2, json);
    answer->GetArgumentList()->SetList(2, result);
    benchmark::DoNotOptimize(answer->Copy());
  }
  state.SetBytesProcessed(state.iterations() * 2 * json.size());
}

void BM_Sdk(benchmark::State& state) {
  const std::string json = Json(state.range(0));
  RoundTrip rt(json);
  const CefV8ValueList args = {
      CefV8Value::CreateString("{\"api\":\"biz.config\",\"payload\":" + json + "}"), rt.callback};
  for (auto _ : state) {
    rt.page->Call("tnpc.exebusinessaction", args);
    rt.engine.RunUntilIdle();
  }
  if (rt.answers != static_cast<long>(state.iterations())) state.SkipWithError("lost answers");
  state.SetBytesProcessed(state.iterations() * 2 * json.size());
}

void BM_Sdk_Floor(benchmark::State& state) {
  const std::string json = Json(state.range(0));
  for (auto _ : state) {
    Json::Value value;
    tnwebui::ParseJson(json, value);
    const std::string written = tnwebui::WriteJson(value);
    auto call = CefProcessMessage::Create("exebusinessaction");
    auto list = call->GetArgumentList();
    for (const std::string& s :
         {std::string("common"), std::string("config"), std::string(), written, std::string("0")}) {
      list->SetString(list->GetSize(), s);
    }
    benchmark::DoNotOptimize(call->Copy());
    auto answer = CefProcessMessage::Create("ExeBusinessActionCallback");
    auto result = CefListValue::Create();
    result->SetString(0, std::string("0"));
    result->SetInt(1, 0);
    result->SetString(2, json);
    answer->GetArgumentList()->SetList(2, result);
    benchmark::DoNotOptimize(answer->Copy());
  }
  state.SetBytesProcessed(state.iterations() * 2 * json.size());
}

BENCHMARK(BM_Classic)->Arg(64)->Arg(64 << 10);
BENCHMARK(BM_Classic_Floor)->Arg(64)->Arg(64 << 10);
BENCHMARK(BM_Sdk)->Arg(64)->Arg(64 << 10);
BENCHMARK(BM_Sdk_Floor)->Arg(64)->Arg(64 << 10);

}  // namespace

TN_BENCHMARK_MAIN()
