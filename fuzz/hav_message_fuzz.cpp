// Feeds arbitrary process messages from the browser process and arbitrary page calls to the
// render side. Nothing may crash, leak or hang.

#include <cstddef>
#include <cstdint>
#include <string>

#include "render_world.h"
#include "tnbase/logger.h"

namespace {

class Reader {
 public:
  Reader(const uint8_t* data, size_t size) : p_(data), end_(data + size) {}
  bool empty() const { return p_ == end_; }
  uint8_t Byte() { return empty() ? 0 : *p_++; }
  std::string Text() {
    size_t n = Byte() % 24;
    std::string s;
    while (n-- && !empty()) s.push_back(static_cast<char>(Byte()));
    return s;
  }

 private:
  const uint8_t* p_;
  const uint8_t* end_;
};

const char* const kNames[] = {"push_notify", "PUSH_NOTIFY", "ExeBusinessActionCallback",
                              "exebusinessactioncallback", "other"};
const char* const kFormats[] = {"binary", "pb", "json", "base64", "pbtext"};
const char* const kFunctions[] = {"exebusinessaction", "minwnd",    "cangoback",
                                  "registerEvent",     "sendEvent", "unregisterEvent",
                                  "refresh",           "nosuch"};

CefRefPtr<CefListValue> MakeList(Reader& in, int depth) {
  auto list = CefListValue::Create();
  const size_t count = in.Byte() % 7;
  for (size_t i = 0; i < count; ++i) {
    switch (in.Byte() % 6) {
      case 0:
        list->SetInt(i, static_cast<int8_t>(in.Byte()));
        break;
      case 1:
        list->SetString(i, in.Text());
        break;
      case 2:
        list->SetString(i, kFormats[in.Byte() % 5]);
        break;
      case 3: {
        const std::string bytes = in.Text();
        list->SetBinary(i, CefBinaryValue::Create(bytes.data(), bytes.size()));
        break;
      }
      case 4:
        if (depth < 2) list->SetList(i, MakeList(in, depth + 1));
        break;
      default:
        list->SetNull(i);
        break;
    }
  }
  return list;
}

CefRefPtr<CefV8Value> MakeValue(Reader& in, const CefRefPtr<CefV8Value>& fn) {
  switch (in.Byte() % 6) {
    case 0:
      return CefV8Value::CreateInt(static_cast<int8_t>(in.Byte()));
    case 1:
      return CefV8Value::CreateString(in.Text());
    case 2:
      return fn;
    case 3:
      return CefV8Value::CreateNull();
    case 4:
      return CefV8Value::CreateDouble(in.Byte() / 3.0);
    default:
      return CefV8Value::CreateUndefined();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool quiet = (tnbase::SetLogSink([](const tnbase::LogRecord&) {}), true);
  (void)quiet;
  RenderWorld& world = SharedRenderWorld();
  xhav::inproc::Engine& engine = world.engine;
  auto& page = world.page;
  const CefRefPtr<CefV8Value>& fn = world.callback;

  Reader in(data, size);
  while (!in.empty()) {
    if (in.Byte() % 2) {
      auto message = CefProcessMessage::Create(kNames[in.Byte() % 5]);
      auto list = MakeList(in, 0);
      for (size_t i = 0; i < list->GetSize(); ++i) {
        switch (list->GetType(i)) {
          case VTYPE_INT:
            message->GetArgumentList()->SetInt(i, list->GetInt(i));
            break;
          case VTYPE_STRING:
            message->GetArgumentList()->SetString(i, list->GetString(i));
            break;
          case VTYPE_BINARY:
            message->GetArgumentList()->SetBinary(i, list->GetBinary(i));
            break;
          case VTYPE_LIST:
            message->GetArgumentList()->SetList(i, list->GetList(i));
            break;
          default:
            message->GetArgumentList()->SetNull(i);
            break;
        }
      }
      engine.SendToRenderer(page->id(), message);
    } else {
      CefV8ValueList args;
      const char* name = kFunctions[in.Byte() % 8];
      const size_t count = in.Byte() % 7;
      for (size_t i = 0; i < count; ++i) args.push_back(MakeValue(in, fn));
      world.Call(name, args);
    }
    engine.RunUntilIdle();
    engine.TakeBrowserMessages();
  }
  return 0;
}
