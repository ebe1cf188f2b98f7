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
#include "hav/json_text.h"
#include "tnbase/logger.h"

namespace xhav::cdp {

// The script that every document runs at its start (cdp_shim.cpp).
std::string ShimScript();

// The world of every document where the engine watches files dragged onto the window, and the
// binding that only that world has (cdp_drag.cpp).
inline constexpr char kDragWorld[] = "tnwebui-drag";
inline constexpr char kDragBinding[] = "__tnwebuiDrag";
std::string DragScript();

// The reserved origin of the pages' calls (see the shim).
inline bool IsCallUrl(const Json::Value& url) {
  return url.isString() && url.asString().rfind("https://tnpc-call.pages.invalid/", 0) == 0;
}
inline constexpr char kCallUrl[] = "https://tnpc-call.pages.invalid/call";
inline constexpr char kCallHost[] = "tnpc-call.pages.invalid";
inline constexpr char kHelloUrl[] = "https://tnpc-call.pages.invalid/hello";
// Answered at once, empty, by the connection's reader: the bare cost of a page's synchronous
// request (benchmarks).
inline constexpr char kPingUrl[] = "https://tnpc-call.pages.invalid/ping";

// What the page posted with its request.
inline std::string RequestBody(const Json::Value& request) {
  if (!request.isObject()) return "";
  if (request["postData"].isString()) return request["postData"].asString();
  const Json::Value& entries = request["postDataEntries"];
  if (!entries.isArray() || entries.size() == 0 || !entries[0].isObject() ||
      !entries[0]["bytes"].isString())
    return "";
  const QByteArray bytes =
      QByteArray::fromBase64(QByteArray::fromStdString(entries[0]["bytes"].asString()));
  return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

// The bytes that the page posted, whole (every entry of the body, in order).
inline std::string RequestBytes(const Json::Value& request) {
  std::string bytes;
  if (!request.isObject()) return bytes;
  const Json::Value& entries = request["postDataEntries"];
  if (!entries.isArray())
    return request["postData"].isString() ? request["postData"].asString() : "";
  for (const Json::Value& entry : entries) {
    if (!entry.isObject() || !entry["bytes"].isString()) continue;
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

// The empty document that a kept target stands on, under the origin of the site it waits for
// (see Engine::Refill); it is never a page's, and no request of it leaves the engine.
inline constexpr char kParkPath[] = "/.tnpc-park";
inline bool IsParkingUrl(const std::string& url) {
  const std::size_t at = url.find("://");
  return at != std::string::npos && url.find('/', at + 3) != std::string::npos &&
         url.compare(url.find('/', at + 3), std::string::npos, kParkPath) == 0;
}
// Where a page target starts before its first page: about:blank, or a kept target's empty
// document. It is no entry of the window's history.
inline bool IsWhereTargetsStart(const std::string& url) {
  return url == "about:blank" || IsParkingUrl(url);
}

// Whether `url` (client form) is a page of the client's resource roots.
inline bool IsClientPage(const std::string& url) {
  for (const char* root : kRoots) {
    const std::string origin = std::string("file://") + root;
    if (url.compare(0, origin.size(), origin) == 0 &&
        (url.size() == origin.size() || url[origin.size()] == '/'))
      return true;
  }
  return false;
}
// Whether `origin` (as a request's Origin header gives it) is one of the client's pages.
inline bool IsClientOrigin(const std::string& origin) {
  for (const char* root : kRoots) {
    if (origin == "https://" + std::string(root) + kPagesHost) return true;
  }
  return false;
}
// An origin that no other document shares: a sandboxed document's, a `data:` frame's (Chromium
// says "://" of a context, "null" in a request's Origin).
inline bool IsOpaqueOrigin(const std::string& origin) {
  return origin.empty() || origin == "://" || origin == "null";
}
// "scheme://host[:port]" of an address; the whole text when it has no "://".
inline std::string OriginOf(const std::string& url) {
  const auto scheme = url.find("://");
  if (scheme == std::string::npos) return url;
  const auto end = url.find_first_of("/?#", scheme + 3);
  return url.substr(0, end);
}

inline std::string Utf8(TnString* s) { return s ? s->ToUTF8() : std::string(); }

inline std::string Base64(const std::string& bytes) {
  const QByteArray b =
      QByteArray::fromRawData(bytes.data(), static_cast<int>(bytes.size())).toBase64();
  return std::string(b.constData(), static_cast<std::size_t>(b.size()));
}

// What the engine does with a page's request to the desktop origin before a handler runs:
// refuse it, answer a preflight, or serve it with the posted bytes; with the headers of the
// answer.
struct DesktopPlan {
  // kStay: a navigation to the desktop origin, answered "204 No Content" so that the frame
  // stays on its page and no command runs.
  enum Kind { kRefuse, kStay, kPreflight, kServe } kind = kRefuse;
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  std::vector<std::string> body;  // the posted bytes, when there are any
};
// Who sent a request to the desktop origin, as the engine knows it.
struct DesktopSender {
  bool trusted = false;      // the window's main frame, or a frame of the client's pages
  bool mainFrame = false;    // the window's main frame itself
  std::string windowOrigin;  // the origin of the main frame's document
};
// Whether a request whose Origin header is `origin` was sent by the document that the sender's
// frame holds now, rather than by one that left it (a keep-alive request from `pagehide`): the
// main frame's document has the window's origin, a trusted frame's a client origin.
inline bool SentByTheFramesDocument(const std::string& origin, const DesktopSender& sender) {
  if (!sender.mainFrame) return IsClientOrigin(origin);
  if (origin == "null") return IsOpaqueOrigin(sender.windowOrigin);
  return origin == sender.windowOrigin;
}
HAV_API DesktopPlan PlanDesktopRequest(const Json::Value& params, const DesktopSender& sender);

// A member of `value` when it is an object (jsoncpp throws on a member of another type).
inline const Json::Value& Member(const Json::Value& value, const char* name) {
  static const Json::Value kNull;
  return value.isObject() ? value[name] : kNull;
}

// A console argument as the console would print it: a string as it is, a number or a boolean
// by its value, an object by its description.
inline std::string ConsoleText(const Json::Value& arg) {
  const Json::Value& value = Member(arg, "value");
  if (value.isString()) return value.asString();
  if (value.isNumeric() || value.isBool()) return WriteJson(value);
  for (const char* name : {"unserializableValue", "description", "type"}) {
    if (Member(arg, name).isString()) return Member(arg, name).asString();
  }
  return std::string();
}

// "address:line" of a stack's top frame, or of an exception's or entry's own place.
inline std::string Where(const Json::Value& place) {
  const Json::Value& frames = Member(Member(place, "stackTrace"), "callFrames");
  const Json::Value& top = frames.isArray() && !frames.empty() ? frames[0] : Json::Value::null;
  const Json::Value& at = top.isObject() ? top : place;
  const Json::Value& url = Member(at, "url");
  if (!url.isString() || url.asString().empty()) return std::string();
  const Json::Value& line = Member(at, "lineNumber");
  return Engine::ToClientUrl(url.asString()) + ":" +
         std::to_string(line.isInt() ? static_cast<long long>(line.asInt()) + 1 : 0);
}

// Writes one line of the engine's log (the client's logger).
void EngineLog(int level, const char* function, const std::string& text);

// A page's call as the shim writes it: its number in the document, the document's context and
// the document's key come first, `{"seq":N,"ctx":C,"key":"K",...`. False for a body without
// them (a document's hello, or a body that no shim wrote).
struct CallHead {
  int seq = 0;
  int context = 0;
  std::string key;
};
inline bool ReadCallHead(const std::string& body, CallHead* head) {
  int n = 0, c = 0, used = 0;
  char key[65] = {0};
  if (std::sscanf(body.c_str(), "{\"seq\":%d,\"ctx\":%d,\"key\":\"%64[0-9a-f]\",%n", &n, &c, key,
                  &used) != 3 ||
      used == 0 || n <= 0) {
    return false;
  }
  head->seq = n;
  head->context = c;
  head->key = key;
  return true;
}

// The documents whose calls the engine takes, each with its key, and the order of each one's
// calls. A document's key is made by the engine and handed to the document alone (with its
// hello's answer, or with its native object): a call runs only when it names a document that
// is known here together with that document's key, so no frame can call as another document,
// and calls that name no such document leave nothing behind.
//
// Calls that need no answer within the call come by the binding, the others as requests; the
// two ways do not keep order between them, so a call runs only once every call numbered before
// it has been handed on. The page waits in a synchronous call, so nothing numbered after one
// comes before it is done.
class CallOrder {
 public:
  using Key = std::pair<std::string, int>;  // session, context
  // A document's calls in flight that may wait for their turn, and how far ahead of its turn a
  // call may be numbered: a page's calls never come further apart than that.
  static constexpr std::size_t kMaxWaiting = 1024;
  static constexpr int kMaxAhead = 1 << 16;

  // Known from now on, with its key and the origin of its address (empty for a frame's).
  void Admit(const Key& key, const std::string& secret, const std::string& origin) {
    std::lock_guard<std::mutex> lock(mutex_);
    // A new renderer numbers its contexts anew: a context of a document that has gone may
    // come again, as a new document.
    Document& d = documents_[key] = Document();
    d.secret = secret;
    d.origin = origin;
  }
  // Whether `secret` is the key of the document `key`, which is known (or left a moment ago:
  // `gone` then); `origin` gets the origin it had.
  bool Proves(const Key& key, const std::string& secret, bool* gone = nullptr,
              std::string* origin = nullptr) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = documents_.find(key);
    if (it == documents_.end() || it->second.secret.empty() || it->second.secret != secret)
      return false;
    if (gone) *gone = it->second.gone;
    if (origin) *origin = it->second.origin;
    return true;
  }
  // Whether the document `key` is known (or left a moment ago); `origin` gets the origin it had.
  bool Known(const Key& key, std::string* origin) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = documents_.find(key);
    if (it == documents_.end()) return false;
    *origin = it->second.origin;
    return true;
  }
  // Runs `run` (UI thread) now, or when the calls before it have run. A call of a document that
  // is not known, or numbered beyond what a page makes, is dropped (false). `waits` (when
  // given) tells whether the call waits for calls before it.
  bool InTurn(const Key& key, int seq, std::function<void()> run, bool* waits = nullptr) {
    if (waits) *waits = false;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto doc = documents_.find(key);
      if (doc == documents_.end()) return false;
      Document& d = doc->second;
      if (!d.gone && seq > d.next) {
        if (seq - d.next > kMaxAhead || d.waiting.size() >= kMaxWaiting) return false;
        d.waiting.emplace(seq, std::move(run));
        if (waits) *waits = true;
        return true;
      }
    }
    RunFrom(key, seq, std::move(run));
    return true;
  }
  // The number of the call that the document `key` waits for (0: none, or not known).
  int Awaited(const Key& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto doc = documents_.find(key);
    return doc == documents_.end() || doc->second.waiting.empty() ? 0 : doc->second.next;
  }
  // The document still waits for call `seq`, which is not coming (a call that was dropped on
  // its way): the calls after it run in their order (UI thread).
  void SkipMissing(const Key& key, int seq) {
    std::function<void()> run;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto doc = documents_.find(key);
      if (doc == documents_.end() || doc->second.next != seq || doc->second.waiting.empty()) return;
      Document& d = doc->second;
      seq = d.waiting.begin()->first;
      run = std::move(d.waiting.begin()->second);
      d.waiting.erase(d.waiting.begin());
    }
    RunFrom(key, seq, std::move(run));
  }
  // From any thread: takes the turn of call `seq` when every call before it has run.
  bool TakeTurn(const Key& key, int seq) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto doc = documents_.find(key);
    if (doc == documents_.end()) return false;
    Document& d = doc->second;
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
    auto doc = documents_.find({session, context});
    if (doc == documents_.end()) return;
    doc->second.gone = true;
    doc->second.goneAt = now;
    doc->second.waiting.clear();
  }
  // Every document of the session (its page or frame has closed).
  void ForgetSession(const std::string& session) {
    std::lock_guard<std::mutex> lock(mutex_);
    documents_.erase(documents_.lower_bound({session, INT_MIN}),
                     documents_.upper_bound({session, INT_MAX}));
  }
  std::size_t size() {
    std::lock_guard<std::mutex> lock(mutex_);
    return documents_.size();
  }

 private:
  // Runs call `seq`, then each waiting call whose turn that makes.
  void RunFrom(const Key& key, int seq, std::function<void()> run) {
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
  struct Document {
    std::string secret, origin;
    int next = 1;
    std::map<int, std::function<void()>> waiting;
    bool gone = false;
    std::chrono::steady_clock::time_point goneAt;
  };
  std::mutex mutex_;
  std::map<Key, Document> documents_;
};

// The calls that come as prompts (see the shim): "tnpc-part\n" carries a part of a long body,
// "tnpc-call\n" and "tnpc-hello\n" its last part. Each frame's parts are its own; no call of a
// page is as long as `kMaxCall`, and a frame that sends parts without end loses them.
class PromptCalls {
 public:
  static constexpr std::size_t kMaxCall = 8u << 20;
  enum class Kind { kNone, kPart, kCall, kHello };
  // What `message` is; for a call or a hello, `body` gets the whole body.
  Kind Take(const std::string& frame, const std::string& message, std::string* body) {
    static constexpr char kPart[] = "tnpc-part\n", kCallText[] = "tnpc-call\n",
                          kHelloText[] = "tnpc-hello\n";
    const bool part = message.rfind(kPart, 0) == 0, hello = message.rfind(kHelloText, 0) == 0;
    if (!part && !hello && message.rfind(kCallText, 0) != 0) return Kind::kNone;
    std::lock_guard<std::mutex> lock(mutex_);
    if (part) {
      std::string& gathered = parts_[frame];
      if (gathered.size() + message.size() > kMaxCall) gathered.clear();
      gathered.append(message, sizeof(kPart) - 1, std::string::npos);
      return Kind::kPart;
    }
    body->clear();
    auto gathered = parts_.find(frame);
    if (gathered != parts_.end()) {
      body->swap(gathered->second);
      parts_.erase(gathered);
    }
    body->append(message, hello ? sizeof(kHelloText) - 1 : sizeof(kCallText) - 1,
                 std::string::npos);
    return hello ? Kind::kHello : Kind::kCall;
  }
  // The parts of one frame (`session` + "\n" + the frame's id), whose document has gone.
  void ForgetFrame(const std::string& frame) {
    std::lock_guard<std::mutex> lock(mutex_);
    parts_.erase(frame);
  }
  std::size_t held() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::size_t bytes = 0;
    for (const auto& [frame, parts] : parts_) bytes += parts.size();
    return bytes;
  }
  // The frames' parts of a session that has gone.
  void Forget(const std::string& session) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = parts_.lower_bound(session);
         it != parts_.end() && it->first.compare(0, session.size(), session) == 0;)
      it = parts_.erase(it);
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> parts_;  // "<session>\n<frame>" -> the parts so far
};

// Lets through a few lines of one kind at a time: a page that makes the engine log a line per
// message it sends cannot fill the log. The lines held back are counted in the next one.
class LogBudget {
 public:
  static constexpr int kLines = 10;
  static constexpr std::chrono::seconds kPeriod{10};
  // Whether a line may be written now; `held` gets how many were held back before it.
  bool Take(std::size_t* held) {
    const auto now = std::chrono::steady_clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    if (now - start_ >= kPeriod) {
      start_ = now;
      lines_ = 0;
    }
    if (lines_ >= kLines) {
      ++held_;
      return false;
    }
    ++lines_;
    *held = held_;
    held_ = 0;
    return true;
  }

 private:
  std::mutex mutex_;
  std::chrono::steady_clock::time_point start_{};
  int lines_ = 0;
  std::size_t held_ = 0;
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

  // `times`: how many limits the call may wait (a document's first request waits longer).
  void Watch(const std::string& requestId, const std::string& session, int times = 1) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) return;
    pending_[requestId] = {session, Clock::now() + limit_ * times};
    wake_.notify_all();
  }
  // Runs `task` on the watchdog's thread after `ms` milliseconds, unless stopped first.
  void After(int ms, std::function<void()> task) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) return;
    timers_.emplace(Clock::now() + std::chrono::milliseconds(ms), std::move(task));
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
      std::vector<std::function<void()>> tasks;
      while (!timers_.empty() && timers_.begin()->first <= now) {
        tasks.push_back(std::move(timers_.begin()->second));
        timers_.erase(timers_.begin());
      }
      if (!timers_.empty()) next = std::min(next, timers_.begin()->first);
      if (!due.empty() || !tasks.empty()) {
        lock.unlock();
        for (const auto& [request, session] : due) fulfil_(session, request);
        for (const auto& task : tasks) task();
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
  std::multimap<Clock::time_point, std::function<void()>> timers_;
  bool stopped_ = false;
  std::thread thread_;  // last: it starts with every member in place
};

}  // namespace xhav::cdp
