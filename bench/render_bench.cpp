// The render side's two hot paths, each beside its floor measured in the same run:
// - a page's classic exebusinessaction (lower-casing, registry, message) against the bare
//   building and copying of the same five-string message;
// - an answer from the browser process running the page's function, against the platform's
//   least for it (platform_floor.h): the message made, moved and read, and the function called.

#include <benchmark/benchmark.h>

#include "cef/inproc_v8.h"
#include "floor_ratio.h"
#include "hav/inproc_engine.h"
#include "platform_floor.h"
#include "render/render_process.h"
#include "tn_webui_module.h"
#include "tnbase/logger.h"
#include "tnmainui/inproc_host.h"

namespace {

struct Render {
  Render() {
    tnbase::SetLogSink([](const tnbase::LogRecord&) {}, kTnLogError + 1);  // no line
    render.RegisterNativeExtension();
    engine.render_host()->SetRenderNotify(&render);
    page = engine.OpenPage(true);
    engine.RunUntilIdle();
    engine.SetBrowserReceiver([](int, CefRefPtr<CefProcessMessage>) {});
    callback = cef_inproc::CreateScriptFunction(
        "done", std::function<void(const CefV8ValueList&)>(
                    [](const CefV8ValueList& args) { benchmark::DoNotOptimize(args.data()); }));
  }
  ~Render() { page.reset(); }

  xhav::inproc::Engine engine{xhav::kProcessTypeRender};
  tnmainui::InProcessHost host{engine.core(), engine.render_host()};
  tnwebui::TnWebUIModule module{&host};
  tnwebui::RenderProcess render{&module};
  std::shared_ptr<xhav::inproc::Page> page;
  CefRefPtr<CefV8Value> callback;
};

const std::string kJson(200, 'j');

void BM_ClassicCall(benchmark::State& state) {
  Render r;
  const CefV8ValueList args = {
      CefV8Value::CreateString("Common"), CefV8Value::CreateString("GetUserInfo"),
      CefV8Value::CreateString(""),       CefV8Value::CreateString(kJson),
      CefV8Value::CreateInt(7),           r.callback};
  for (auto _ : state) {
    benchmark::DoNotOptimize(r.page->Call("tnpc.exebusinessaction", args).handled);
    r.engine.RunUntilIdle();
  }
}
BENCHMARK(BM_ClassicCall);

void BM_ClassicCall_Floor(benchmark::State& state) {
  Render r;
  for (auto _ : state) {
    auto message = CefProcessMessage::Create("exebusinessaction");
    auto list = message->GetArgumentList();
    list->SetString(0, std::string("common"));
    list->SetString(1, std::string("getuserinfo"));
    list->SetString(2, std::string());
    list->SetString(3, kJson);
    list->SetString(4, std::string("7"));
    r.page->browser()->SendProcessMessage(PID_BROWSER, message);
    r.engine.RunUntilIdle();
  }
}
BENCHMARK(BM_ClassicCall_Floor);

// The browser process's answer, made anew for each delivery as every sender makes its own (a
// sent message is spent).
CefRefPtr<CefProcessMessage> MakeAnswer() {
  static const CefString kName(u"ExeBusinessActionCallback");
  auto answer = CefProcessMessage::Create(kName);
  auto result = CefListValue::Create();
  result->SetString(0, std::string("1"));
  result->SetInt(1, 0);
  result->SetString(2, kJson);
  answer->GetArgumentList()->SetString(0, std::string("a"));
  answer->GetArgumentList()->SetString(1, std::string("b"));
  answer->GetArgumentList()->SetList(2, result);
  return answer;
}

// A page's call and the browser process's answer to it running the page's function: the answer
// needs the call's waiting function, so the two are measured together.
void BM_AnswerRunsCallback(benchmark::State& state) {
  Render r;
  long answers = 0;
  const CefV8ValueList args = {
      CefV8Value::CreateString("a"), CefV8Value::CreateString("b"),
      CefV8Value::CreateString(""),  CefV8Value::CreateString(""),
      CefV8Value::CreateInt(1),      platform_floor::CountingFunction("done", &answers)};
  for (auto _ : state) {
    r.page->Call("tnpc.exebusinessaction", args);
    r.engine.RunUntilIdle();
    r.engine.SendToRenderer(r.page->id(), MakeAnswer());
    r.engine.RunUntilIdle();
  }
  if (answers != static_cast<long>(state.iterations())) state.SkipWithError("lost answers");
}
BENCHMARK(BM_AnswerRunsCallback);

// The platform's least for the same: the page enters a native function, whose message of five
// texts is made and sent; the answer's message is made, moved and read, and the page's function
// called with the code and the data.
void BM_AnswerRunsCallback_Floor(benchmark::State& state) {
  Render r;
  long answers = 0;
  const CefString id("1"), data(kJson);
  platform_floor::NativeCall native([&](const CefV8ValueList& a) {
    static const CefString kName(u"exebusinessaction");
    auto message = CefProcessMessage::Create(kName);
    auto list = message->GetArgumentList();
    for (std::size_t i = 0; i < 4; ++i) list->SetString(i, a[i]->GetStringValue());
    list->SetString(4, id);
    r.page->browser()->SendProcessMessage(PID_BROWSER, message);
    platform_floor::Answer(r.page->context(), a[5], id, data);
  });
  const CefV8ValueList args = {
      CefV8Value::CreateString("a"), CefV8Value::CreateString("b"),
      CefV8Value::CreateString(""),  CefV8Value::CreateString(""),
      CefV8Value::CreateInt(1),      platform_floor::CountingFunction("done", &answers)};
  for (auto _ : state) {
    native.CallFromPage(args);
    r.engine.RunUntilIdle();
  }
  if (answers != static_cast<long>(state.iterations())) state.SkipWithError("lost answers");
}
BENCHMARK(BM_AnswerRunsCallback_Floor);

}  // namespace

TN_BENCHMARK_MAIN()
