// What Chromium writes to the engine: a stream of DevTools messages, cut anywhere by the pipe's
// reads, of any size and shape, with what pages put inside them. The first byte says how the
// reads cut the stream; the rest is the stream. The reader hands on each message whole and as
// written, skips one longer than its limit (a page's console entry has a lower one) to its end,
// and never holds more than a limit; the engine's readers of what pages put in a message (a
// console call's arguments and place, a paused request's body, a call's head) take any shape
// without throwing. An event's method and session read at its head are the ones it names.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "../platform/hav/src/cdp_engine_internal.h"
#include "../platform/hav/src/message_reader.h"

namespace {

using xhav::cdp::Member;
using xhav::cdp::MessageReader;

constexpr std::size_t kLimit = 200, kPageLimit = 100;

void Check(bool ok) {
  if (!ok) std::abort();
}

// The engine's reading of one message, as its handlers read it.
void Use(const std::string& text) {
  std::string method, session;
  const bool event = xhav::cdp::PeekEvent(text, &method, &session);
  Json::Value message;
  if (!xhav::ParseJson(text, &message) || !message.isObject()) return;
  // An event written as Chromium writes one (compact, members in order) is read at its head
  // as it parses.
  auto plain = [](const Json::Value& v) {
    if (!v.isString()) return v.isNull();
    for (char c : v.asString()) {
      if (c < 0x20 || c > 0x7e || c == '"' || c == '\\') return false;
    }
    return true;
  };
  bool chromiums = true;  // only the members Chromium writes in an event
  for (const std::string& name : message.getMemberNames())
    chromiums = chromiums && (name == "method" || name == "params" || name == "sessionId");
  if (chromiums && message["method"].isString() && plain(message["method"]) &&
      plain(message["sessionId"]) && xhav::WriteJson(message) == text) {
    Check(event && method == message["method"].asString());
    Check(session ==
          (message["sessionId"].isString() ? message["sessionId"].asString() : std::string()));
  }
  const Json::Value& params = Member(message, "params");
  const Json::Value& args = Member(params, "args");
  for (Json::ArrayIndex i = 0; args.isArray() && i < args.size(); ++i)
    xhav::cdp::ConsoleText(args[i]);
  xhav::cdp::Where(params);
  xhav::cdp::Where(Member(params, "exceptionDetails"));
  xhav::cdp::Where(Member(params, "entry"));
  const Json::Value& request = Member(params, "request");
  xhav::cdp::IsCallUrl(Member(request, "url"));
  xhav::cdp::RequestBody(request);
  xhav::cdp::RequestBytes(request);
  const Json::Value& payload = Member(params, "payload");
  xhav::cdp::CallHead head;
  if (payload.isString()) xhav::cdp::ReadCallHead(payload.asString(), &head);
  xhav::cdp::DesktopSender sender;
  sender.trusted = sender.mainFrame = true;
  sender.windowOrigin = "https://tavrin5main.pages.invalid";
  xhav::cdp::PlanDesktopRequest(params, sender);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t step = 1 + data[0];
  const std::string stream(reinterpret_cast<const char*>(data) + 1, size - 1);

  MessageReader reader(kLimit, kPageLimit);
  std::vector<std::string> read;
  std::size_t skipped = 0;
  for (std::size_t at = 0; at < stream.size(); at += step) {
    reader.Feed(
        stream.data() + at, std::min(step, stream.size() - at),
        [&](std::string text) {
          Use(text);
          read.push_back(std::move(text));
        },
        [&](const std::string& start, std::size_t limit) {
          Check(limit == kLimit || limit == kPageLimit);
          Check(start.size() <= 80);
          ++skipped;
        });
    Check(reader.held() <= kLimit);
  }

  // What the stream holds: each message ended by its NUL, read when within its limit; one
  // beyond its limit is skipped, even when its end has not come yet.
  std::vector<std::string> expected;
  std::size_t expectedSkipped = 0;
  for (std::size_t start = 0; start < stream.size();) {
    const std::size_t end = stream.find('\0', start);
    const std::string message = stream.substr(start, end == std::string::npos ? end : end - start);
    const std::size_t limit = MessageReader::IsPageMessage(message) ? kPageLimit : kLimit;
    if (message.size() > limit) {
      ++expectedSkipped;
    } else if (end != std::string::npos) {
      expected.push_back(message);
    }
    if (end == std::string::npos) break;
    start = end + 1;
  }
  Check(read == expected);
  Check(skipped == expectedSkipped);
  return 0;
}
