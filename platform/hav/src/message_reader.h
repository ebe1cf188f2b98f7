#pragma once

// Splits the DevTools pipe's stream into its messages (JSON texts, each ended by a NUL byte),
// however the reads cut it. A message longer than its kind's limit is skipped to its NUL, never
// held whole: a page can make Chromium write a message of any size (one console call of
// 300 MB), and the connection must read on past it.

#include <cstddef>
#include <cstring>
#include <functional>
#include <string>

namespace xhav::cdp {

// An event's method and session, read from its text without parsing it: Chromium writes an
// event as {"method":"<name>","params":{...}} with ,"sessionId":"<id>" last when it has one.
// False for any other text (an answer). A session that can't be read so is empty.
inline bool PeekEvent(const std::string& text, std::string* method, std::string* session) {
  static constexpr char kHead[] = "{\"method\":\"", kSession[] = ",\"sessionId\":\"";
  constexpr std::size_t kHeadSize = sizeof kHead - 1, kSessionSize = sizeof kSession - 1;
  if (text.compare(0, kHeadSize, kHead) != 0) return false;
  const std::size_t end = text.find_first_of("\"\\", kHeadSize);
  if (end == std::string::npos || text[end] != '"') return false;
  method->assign(text, kHeadSize, end - kHeadSize);
  session->clear();
  if (text.size() < 2 || text.compare(text.size() - 2, 2, "\"}") != 0) return true;
  const std::size_t at = text.rfind(kSession);
  if (at == std::string::npos || at < end) return true;
  const std::size_t from = at + kSessionSize, length = text.size() - 2 - from;
  if (text.find_first_of("\"\\", from) == text.size() - 2) session->assign(text, from, length);
  return true;
}

class MessageReader {
 public:
  // `limit` for every message, `pageLimit` for the pages' console and log entries.
  MessageReader(std::size_t limit, std::size_t pageLimit) : limit_(limit), pageLimit_(pageLimit) {}

  // Takes the bytes of one read; `message` gets each whole message in turn (it may keep the
  // text: it is moved out), `skipped` the first bytes of each one skipped, and its limit.
  template <typename Message, typename Skipped>
  void Feed(const char* data, std::size_t size, Message&& message, Skipped&& skipped) {
    while (size > 0) {
      const char* end = static_cast<const char*>(std::memchr(data, '\0', size));
      const std::size_t length = end ? static_cast<std::size_t>(end - data) : size;
      if (!skipping_) {
        if (buffer_.empty()) current_ = limit_;
        buffer_.append(data, length);
        if (current_ == limit_ && IsPageMessage(buffer_)) current_ = pageLimit_;
        if (buffer_.size() > current_) {
          skipped(buffer_.substr(0, 80), current_);
          std::string().swap(buffer_);
          skipping_ = true;
        }
      }
      if (!end) return;
      if (skipping_) {
        skipping_ = false;
      } else {
        std::string text;
        text.swap(buffer_);
        message(std::move(text));
      }
      data = end + 1;
      size -= length + 1;
    }
  }
  // Bytes held of a message not yet ended.
  std::size_t held() const { return buffer_.size(); }

  // Whether a message's first bytes name a page's console or log entry: Chromium writes a
  // message's method first.
  static bool IsPageMessage(const std::string& start) {
    static constexpr const char* kMethods[] = {"\"method\":\"Runtime.consoleAPICalled\"",
                                               "\"method\":\"Log.entryAdded\"",
                                               "\"method\":\"Runtime.exceptionThrown\""};
    const std::string head = start.substr(0, 64);
    for (const char* method : kMethods) {
      if (head.find(method) != std::string::npos) return true;
    }
    return false;
  }

 private:
  const std::size_t limit_, pageLimit_;
  std::size_t current_ = 0;  // the limit of the message being read
  std::string buffer_;
  bool skipping_ = false;  // the rest of a message too long to read, up to its NUL
};

}  // namespace xhav::cdp
