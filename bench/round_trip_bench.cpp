// A business action's full round trip inside one process: page call, render message, view,
// rights check, business core (answering at once), "ExeBusinessActionCallback", page function.
// Each figure stands beside its floor measured in the same run: the platform's least work for
// the same call (platform_floor.h), and for the SDK form the JSON work its contract asks.

#include <benchmark/benchmark.h>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "cef/inproc_v8.h"
#include "floor_ratio.h"
#include "platform_floor.h"
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
    callback = platform_floor::CountingFunction("done", &answers);
  }
  ~RoundTrip() { core->Release(); }

  static constexpr char kPage[] = "file://tavrin5main/bench.html";
  static tnmainui::ScriptedBusinessCore* MakeCore(const std::string& answer) {
    auto* core = new tnmainui::ScriptedBusinessCore(u"org", "acc");
    core->AnswerAtOnce(0, tnwebui::Utf8ToWide(answer));
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

// The platform's least for the same call: see platform_floor.h. The core's answer, a
// NUL-terminated pointer, is measured and copied once into the platform's string.
void BM_Classic_Floor(benchmark::State& state) {
  const std::string json = Json(state.range(0));
  const std::u16string answer = tnwebui::Utf8ToWide(json);
  long answers = 0;
  auto callback = platform_floor::CountingFunction("done", &answers);
  std::unique_ptr<platform_floor::NativeCall> native;
  native = std::make_unique<platform_floor::NativeCall>([&](const CefV8ValueList& a) {
    const std::vector<std::u16string> call = platform_floor::Call(
        {a[0]->GetStringValue(), a[1]->GetStringValue(), a[2]->GetStringValue(),
         a[3]->GetStringValue(), CefString(std::to_string(a[4]->GetIntValue()))});
    platform_floor::Answer(native->context(), a[5], CefString(call[4].c_str()),
                           CefString(answer.c_str()));
  });
  const CefV8ValueList args = {CefV8Value::CreateString("Contact"),
                               CefV8Value::CreateString("GetUserInfo"),
                               CefV8Value::CreateString(""),
                               CefV8Value::CreateString(json),
                               CefV8Value::CreateInt(7),
                               callback};
  for (auto _ : state) native->CallFromPage(args);
  if (answers != static_cast<long>(state.iterations())) state.SkipWithError("lost answers");
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

// The SDK form's least adds what its contract asks of the texts: the request read as JSON, two
// fields added to its payload and the payload written; the answer's data read as JSON and
// written inside the response. The old floor parsed and wrote once, half of what any correct
// form must do.
void BM_Sdk_Floor(benchmark::State& state) {
  const std::string json = Json(state.range(0));
  const std::u16string answer = tnwebui::Utf8ToWide(json);
  long answers = 0;
  auto callback = platform_floor::CountingFunction("done", &answers);
  std::unique_ptr<platform_floor::NativeCall> native;
  auto respond = cef_inproc::CreateScriptFunction(
      "respond", std::function<void(const CefV8ValueList&)>([&](const CefV8ValueList& args) {
        Json::Value data;
        tnwebui::ParseJson(args[1]->GetStringValue().ToString(), data);
        Json::Value response;
        response["status"]["code"] = args[0]->GetIntValue();
        response["status"]["message"] = "";
        response["meta"] = Json::Value(Json::objectValue);
        response["data"] = data;
        callback->ExecuteFunctionWithContext(
            native->context(), nullptr, {CefV8Value::CreateString(tnwebui::WriteJson(response))});
      }));
  native = std::make_unique<platform_floor::NativeCall>([&](const CefV8ValueList& a) {
    Json::Value request;
    tnwebui::ParseJson(a[0]->GetStringValue().ToString(), request);
    Json::Value& payload = request["payload"];
    payload["appIdImplId"] = "";
    payload["isFromJsSDK"] = true;
    const std::vector<std::u16string> call =
        platform_floor::Call({CefString("common"), CefString("config"), CefString(),
                              CefString(tnwebui::WriteJson(payload)), CefString("0")});
    platform_floor::Answer(native->context(), respond, CefString(call[4].c_str()),
                           CefString(answer.c_str()));
  });
  const CefV8ValueList args = {
      CefV8Value::CreateString("{\"api\":\"biz.config\",\"payload\":" + json + "}"), callback};
  for (auto _ : state) native->CallFromPage(args);
  if (answers != static_cast<long>(state.iterations())) state.SkipWithError("lost answers");
  state.SetBytesProcessed(state.iterations() * 2 * json.size());
}

BENCHMARK(BM_Classic)->Arg(64)->Arg(64 << 10);
BENCHMARK(BM_Classic_Floor)->Arg(64)->Arg(64 << 10);
BENCHMARK(BM_Sdk)->Arg(64)->Arg(64 << 10);
BENCHMARK(BM_Sdk_Floor)->Arg(64)->Arg(64 << 10);

}  // namespace

TN_BENCHMARK_MAIN()
