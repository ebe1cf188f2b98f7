// "havFetchJSMessage" with 1, 100 and 1,000 queued messages, through the SDK's dispatcher, one
// function per message and the answer's script handed to the browser. The floor beside it, in
// the same run, is the least any dispatcher does: parse the array once, write each element once
// and format each answer once.

#include <benchmark/benchmark.h>

#include <cstdio>

#include "base/json.h"
#include "floor_ratio.h"
#include "hav/null_browser.h"
#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"
#include "tnbase/logger.h"

namespace {

// `count` messages as a light app's bridge queues them: menus and names the SDK doesn't serve.
std::string Queue(int count) {
  std::string text = "[";
  for (int i = 0; i < count; ++i) {
    if (i) text += ",";
    text +=
        i % 2
            ? R"({"handlerName":"x.y","callbackId":"cb_)" + std::to_string(i) +
                  R"(_1795437419068","data":{"meta":{},"payload":{"a":1}}})"
            : R"({"handlerName":"ui.setNavigationBarMenu","callbackId":"cb_)" + std::to_string(i) +
                  R"(_1795437419068","data":{"meta":{},"payload":{"items":[{"id":"share","text":"Share"}]}}})";
  }
  return text + "]";
}

void BM_FetchJSMessage(benchmark::State& state) {
  tnbase::SetLogSink([](const tnbase::LogRecord&) {}, kTnLogError + 1);  // no line
  const int count = static_cast<int>(state.range(0));
  xhav::NullBrowser browser;
  tnwebui::TavrinJsSDK sdk(0, nullptr);
  sdk.SetBrowser(&browser);
  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create(xhav::kFetchJSMessage);
  message->GetArgumentList()->SetString(0, Queue(count));
  tnbase::TnStringPtr name(allocStringFromUTF8(xhav::kFetchJSMessage));
  for (auto _ : state) sdk.OnBrowserCall(name.get(), message);
  if (browser.scripts != state.iterations() * count) state.SkipWithError("lost answers");
  state.SetItemsProcessed(state.iterations() * count);
}

void BM_FetchJSMessage_Floor(benchmark::State& state) {
  const std::string text = Queue(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    Json::Value messages;
    tnwebui::ParseJson(text, messages);
    for (const Json::Value& element : messages) {
      const std::string written = tnwebui::WriteJson(element);
      benchmark::DoNotOptimize(written.data());
      char answer[1025];
      std::snprintf(answer, sizeof answer,
                    R"(TavrinJsBridge._handleMessageFromObjC('{"responseId":"%s","responseData":)",
                    element["callbackId"].asCString());
      benchmark::DoNotOptimize(answer);
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_FetchJSMessage)->Arg(1)->Arg(100)->Arg(1000);
BENCHMARK(BM_FetchJSMessage_Floor)->Arg(1)->Arg(100)->Arg(1000);

}  // namespace

TN_BENCHMARK_MAIN()
