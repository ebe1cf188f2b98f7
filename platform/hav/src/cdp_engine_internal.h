#pragma once

// What the Chromium engine's files share: the reserved addresses, the bodies of requests, and
// the watchdog of the pages' synchronous calls. Private to the engine.

#include <QByteArray>
#include <algorithm>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "hav/cdp_engine.h"

namespace xhav::cdp {

// The script that every document runs at its start (cdp_shim.cpp).
std::string ShimScript();

// The reserved origin of the pages' calls (see the shim).
inline bool IsCallUrl(const Json::Value& url) {
  return url.isString() && url.asString().rfind("https://tnpc-call.pages.invalid/", 0) == 0;
}
inline constexpr char kCallUrl[] = "https://tnpc-call.pages.invalid/call";
inline constexpr char kHelloUrl[] = "https://tnpc-call.pages.invalid/hello";
// Answered at once, empty, by the connection's reader: the bare cost of a page's synchronous
// request (benchmarks).
inline constexpr char kPingUrl[] = "https://tnpc-call.pages.invalid/ping";

// What the page posted with its request.
inline std::string RequestBody(const Json::Value& request) {
  if (request["postData"].isString()) return request["postData"].asString();
  const Json::Value& entries = request["postDataEntries"];
  if (!entries.isArray() || entries.size() == 0 || !entries[0]["bytes"].isString()) return "";
  const QByteArray bytes =
      QByteArray::fromBase64(QByteArray::fromStdString(entries[0]["bytes"].asString()));
  return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

// The bytes that the page posted, whole (every entry of the body, in order).
inline std::string RequestBytes(const Json::Value& request) {
  std::string bytes;
  const Json::Value& entries = request["postDataEntries"];
  if (!entries.isArray())
    return request["postData"].isString() ? request["postData"].asString() : "";
  for (const Json::Value& entry : entries) {
    if (!entry["bytes"].isString()) continue;
    const QByteArray b =
        QByteArray::fromBase64(QByteArray::fromStdString(entry["bytes"].asString()));
    bytes.append(b.constData(), static_cast<std::size_t>(b.size()));
  }
  return bytes;
}

// The client's resource roots, served under "https://<root>.pages.invalid/", and again under a
// second reserved site, so that pages can hold frames of another site.
inline constexpr const char* kRoots[] = {"tavrin5main", "tavrin5", "tavrin4"};
inline constexpr char kPagesHost[] = ".pages.invalid";
inline constexpr char kFramesHost[] = ".frames.invalid";

inline std::string Utf8(TnString* s) { return s ? s->ToUTF8() : std::string(); }

inline std::string Base64(const std::string& bytes) {
  const QByteArray b =
      QByteArray::fromRawData(bytes.data(), static_cast<int>(bytes.size())).toBase64();
  return std::string(b.constData(), static_cast<std::size_t>(b.size()));
}

// The place of a page's call in its document's order: the shim numbers every call from 1 and
// writes the number and the context first, `{"seq":N,"ctx":C,...`. False for a body without
// them (a document's hello).
inline bool ReadCallOrder(const std::string& body, int* seq, int* context) {
  int n = 0, c = 0, used = 0;
  if (std::sscanf(body.c_str(), "{\"seq\":%d,\"ctx\":%d,%n", &n, &c, &used) != 2 || used == 0 ||
      n <= 0) {
    return false;
  }
  *seq = n;
  *context = c;
  return true;
}

// Keeps each document's calls in the order the page made them. Calls that need no answer
// within the call come by the binding, the others as requests; the two ways do not keep order
// between them, so a call runs only once every call numbered before it has been handed on.
// The page waits in a synchronous call, so nothing numbered after one comes before it is done.
class Engine::CallOrder {
 public:
  using Key = std::pair<std::string, int>;  // session, context
  // Runs `run` (UI thread) now, or when the calls before it have run.
  void InTurn(const Key& key, int seq, std::function<void()> run) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      Document& d = documents_[key];
      if (!d.gone && seq > d.next) {
        d.waiting.emplace(seq, std::move(run));
        return;
      }
    }
    for (;;) {
      run();
      std::lock_guard<std::mutex> lock(mutex_);
      auto doc = documents_.find(key);
      if (doc == documents_.end() || doc->second.gone) return;
      Document& d = doc->second;
      d.next = std::max(d.next, seq + 1);
      auto due = d.waiting.find(d.next);
      if (due == d.waiting.end()) return;
      seq = due->first;
      run = std::move(due->second);
      d.waiting.erase(due);
    }
  }
  // From any thread: takes the turn of call `seq` when every call before it has run.
  bool TakeTurn(const Key& key, int seq) {
    std::lock_guard<std::mutex> lock(mutex_);
    Document& d = documents_[key];
    if (d.gone) return true;
    if (seq != d.next || !d.waiting.empty()) return seq < d.next;
    d.next = seq + 1;
    return true;
  }
  // The document is gone. The calls it made as it went may still come (a beacon, the binding):
  // from now on they run as they come, for a while; the ones waiting are dropped (a waiting
  // request is answered by the watchdog).
  void Forget(const std::string& session, int context) {
    const auto now = std::chrono::steady_clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = documents_.begin(); it != documents_.end();) {
      const bool old = it->second.gone && now - it->second.goneAt > std::chrono::seconds(10);
      it = old ? documents_.erase(it) : std::next(it);
    }
    Document& d = documents_[{session, context}];
    d.gone = true;
    d.goneAt = now;
    d.waiting.clear();
  }
  // Every document of the session (its page has closed).
  void ForgetSession(const std::string& session) {
    std::lock_guard<std::mutex> lock(mutex_);
    documents_.erase(documents_.lower_bound({session, INT_MIN}),
                     documents_.upper_bound({session, INT_MAX}));
  }

 private:
  struct Document {
    int next = 1;
    std::map<int, std::function<void()>> waiting;
    bool gone = false;
    std::chrono::steady_clock::time_point goneAt;
  };
  std::mutex mutex_;
  std::map<Key, Document> documents_;
};

// Answers a page's synchronous call that the UI thread has not served within the limit, so a
// page never hangs on a busy or blocked UI thread. The call itself still runs when its turn
// comes; only its answer within the call is lost.
class Engine::SyncWatchdog {
 public:
  using Fulfil = std::function<void(const std::string& session, const std::string& requestId)>;
  SyncWatchdog(int limitMs, Fulfil fulfil)
      : limit_(limitMs), fulfil_(std::move(fulfil)), thread_([this] { Run(); }) {}
  ~SyncWatchdog() { Stop(); }

  void Watch(const std::string& requestId, const std::string& session) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) return;
    pending_[requestId] = {session, Clock::now() + limit_};
    wake_.notify_all();
  }
  // True when the call is still to be answered by its server (the watchdog no longer will).
  bool Claim(const std::string& requestId) {
    std::lock_guard<std::mutex> lock(mutex_);
    return pending_.erase(requestId) != 0;
  }
  void Stop() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopped_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
  }

 private:
  using Clock = std::chrono::steady_clock;
  struct Entry {
    std::string session;
    Clock::time_point deadline;
  };
  void Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopped_) {
      std::vector<std::pair<std::string, std::string>> due;  // request, session
      Clock::time_point next = Clock::time_point::max();
      const Clock::time_point now = Clock::now();
      for (auto it = pending_.begin(); it != pending_.end();) {
        if (it->second.deadline <= now) {
          due.emplace_back(it->first, it->second.session);
          it = pending_.erase(it);
        } else {
          next = std::min(next, it->second.deadline);
          ++it;
        }
      }
      if (!due.empty()) {
        lock.unlock();
        for (const auto& [request, session] : due) fulfil_(session, request);
        lock.lock();
        continue;
      }
      if (next == Clock::time_point::max()) {
        wake_.wait(lock);
      } else {
        wake_.wait_until(lock, next);
      }
    }
  }

  const std::chrono::milliseconds limit_;
  const Fulfil fulfil_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::map<std::string, Entry> pending_;
  bool stopped_ = false;
  std::thread thread_;  // last: it starts with every member in place
};

}  // namespace xhav::cdp
