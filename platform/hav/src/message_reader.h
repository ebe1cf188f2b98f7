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
