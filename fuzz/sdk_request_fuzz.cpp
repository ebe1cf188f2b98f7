// The SDK form of "exebusinessaction" from a page, and the browser process's answers to it,
// both arbitrary. The input is up to four request texts, one a line, then after a blank line
// the data of every answer; its first two bytes pick the answers' code and shape. Each request
// goes through tnpc.exebusinessaction with a callback (or null), and every call that reaches
// the browser is answered with "ExeBusinessActionCallback". Nothing may crash or leak.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "render_world.h"
#include "tnbase/logger.h"

namespace {

constexpr int kCodes[] = {0, 3043, 3044, -1, 404};

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start <= text.size() && lines.size() < 4) {
    const std::size_t end = text.find('\n', start);
    lines.push_back(text.substr(start, end == std::string::npos ? end : end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool quiet = (tnbase::SetLogSink([](const tnbase::LogRecord&) {}), true);
  (void)quiet;
  if (size < 2) return 0;
  const int code = kCodes[data[0] % (sizeof kCodes / sizeof kCodes[0])];
  const bool twice = data[1] & 1, withoutList = data[1] & 2, nullCallback = data[1] & 4;
  const std::string rest(reinterpret_cast<const char*>(data + 2), size - 2);
  const std::size_t cut = rest.find("\n\n");
  const std::string answer = cut == std::string::npos ? std::string() : rest.substr(cut + 2);

  RenderWorld& world = SharedRenderWorld();
  xhav::inproc::Engine& engine = world.engine;

  for (const std::string& request : Lines(rest.substr(0, cut))) {
    world.Call("exebusinessaction", {CefV8Value::CreateString(request),
                                     nullCallback ? CefV8Value::CreateNull() : world.callback});
    engine.RunUntilIdle();
    for (const xhav::inproc::RecordedMessage& sent : engine.TakeBrowserMessages()) {
      CefRefPtr<CefListValue> call = sent.message->GetArgumentList();
      if (sent.message->GetName().ToString() != "exebusinessaction" || call->GetSize() < 5) {
        continue;
      }
      for (int i = 0; i < (twice ? 2 : 1); ++i) {
        auto reply = CefProcessMessage::Create("ExeBusinessActionCallback");
        CefRefPtr<CefListValue> list = reply->GetArgumentList();
        list->SetString(0, call->GetString(0));
        list->SetString(1, call->GetString(1));
        if (!withoutList) {
          CefRefPtr<CefListValue> result = CefListValue::Create();
          result->SetString(0, call->GetString(4));
          result->SetInt(1, code);
          result->SetString(2, answer);
          list->SetList(2, result);
        }
        engine.SendToRenderer(world.page->id(), reply);
      }
      engine.RunUntilIdle();
    }
  }
  return 0;
}
