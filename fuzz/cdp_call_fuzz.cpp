// What a page writes to the Chromium engine's call channel: call bodies (by request, prompt or
// binding), prompt texts in parts, hellos and the requests' posted entries. The input is a run
// of operations; a page's documents are admitted with their keys as the engine does. Nothing
// may crash, a body proves its document only with that document's key, forged calls leave
// nothing behind in the order of calls, and only an admitted document is known, with its origin.

#include <json/reader.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "../platform/hav/src/cdp_engine_internal.h"

namespace {

using xhav::cdp::CallHead;
using xhav::cdp::CallOrder;
using xhav::cdp::PromptCalls;

const char* const kKeys[] = {"00112233445566778899aabbccddeeff",
                             "ffeeddccbbaa99887766554433221100"};

struct Reader {
  const uint8_t* data;
  std::size_t size;
  uint8_t Byte() {
    if (size == 0) return 0;
    --size;
    return *data++;
  }
  std::string Text() {
    const std::size_t n = std::min<std::size_t>(size, Byte() * 4u + Byte() % 4u);
    std::string text(reinterpret_cast<const char*>(data), n);
    data += n;
    size -= n;
    return text;
  }
};

void Check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Reader in{data, size};
  CallOrder order;
  PromptCalls prompts;
  // Two documents of the page's session, each with its key.
  order.Admit({"page", 1}, kKeys[0], "https://tavrin5main.pages.invalid");
  order.Admit({"page", 2}, kKeys[1], "");
  int ran = 0;
  while (in.size > 0) {
    const uint8_t op = in.Byte();
    std::string text = in.Text();
    CallHead head;
    switch (op % 7) {
      case 0:  // a call body by any way
      case 1: {
        if (!xhav::cdp::ReadCallHead(text, &head)) break;
        const std::string session = op & 0x10 ? "frame" : "page";
        const bool proven = order.Proves({session, head.context}, head.key);
        const bool known = session == "page" && (head.context == 1 || head.context == 2);
        Check(proven == (known && head.key == kKeys[head.context - 1]));
        if (!proven) break;
        if (op % 7 == 0) {
          order.InTurn({session, head.context}, head.seq, [&ran] { ++ran; });
        } else {
          order.TakeTurn({session, head.context}, head.seq);
        }
        break;
      }
      case 2: {  // prompt texts, in parts
        std::string body;
        const auto kind = prompts.Take(op & 0x10 ? "page\nA" : "page\nB", text, &body);
        if (kind == PromptCalls::Kind::kCall && xhav::cdp::ReadCallHead(body, &head))
          order.Proves({"page", head.context}, head.key);
        break;
      }
      case 3: {  // a paused request's JSON, as the engine reads its body
        Json::Value request;
        Json::CharReaderBuilder builder;
        std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        if (!reader->parse(text.data(), text.data() + text.size(), &request, nullptr)) break;
        xhav::cdp::RequestBody(request);
        xhav::cdp::RequestBytes(request);
        break;
      }
      case 4:
        order.Forget(op & 0x10 ? "page" : "frame", 1 + op % 3);
        break;
      case 5:
        prompts.Forget("page");
        break;
      case 6: {  // whether a document that sent a message is the page's: only admitted ones are
        std::string origin;
        const std::string session = op & 0x10 ? "frame" : "page";
        const int context = 1 + (op >> 5) % 3;
        if (!order.Known({session, context}, &origin)) break;
        Check(session == "page" && context <= 2);
        Check(origin == (context == 1 ? "https://tavrin5main.pages.invalid" : ""));
        break;
      }
    }
  }
  // Forged calls added no document: only the two admitted ones (or fewer) are known.
  Check(order.size() <= 2);
  return 0;
}
