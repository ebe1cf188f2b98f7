#include "hav/cdp_connection.h"

#include <fcntl.h>
#include <json/reader.h>
#include <json/writer.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <future>
#include <mutex>
#include <unordered_map>

#include "child_process.h"
#include "hav/json_text.h"
#include "message_reader.h"
#include "tnbase/logger.h"

namespace xhav::cdp {

namespace {

void Log(int level, const char* function, const std::string& text) {
  logger_write(level, __FILE__, __LINE__, function, text.data(), text.size());
}

// Chromium sandboxes its renderers, so that a page that breaks out of its renderer still
// cannot act as the user. It cannot as root (it refuses to start): only then it runs without,
// and the log says so once.
bool Sandboxed() {
  if (geteuid() != 0) return true;
  static std::once_flag told;
  std::call_once(told, [] {
    Log(kTnLogError, "Connection::Launch",
        "Chromium runs without its sandbox: the client runs as root, where Chromium cannot "
        "sandbox its renderers");
  });
  return false;
}

std::string FreshProfileDir() {
  std::string dir = (std::filesystem::temp_directory_path() / "tnwebui-chromium-XXXXXX").string();
  return mkdtemp(dir.data()) ? dir : std::string();
}

bool WriteAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace

std::unique_ptr<Connection> Connection::Launch(const LaunchOptions& options, std::string* error) {
  if (access(options.executable.c_str(), X_OK) != 0) {
    if (error) *error = options.executable + " is not installed";
    return nullptr;
  }
  int toChild[2], fromChild[2];
  if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0) {
    if (error) *error = std::string("pipe: ") + std::strerror(errno);
    return nullptr;
  }
  const std::string profile = FreshProfileDir();
  if (profile.empty()) {
    if (error) *error = std::string("profile folder: ") + std::strerror(errno);
    close(toChild[0]);
    close(toChild[1]);
    close(fromChild[0]);
    close(fromChild[1]);
    return nullptr;
  }
  // Chromium's singleton folders ("org.chromium.Chromium.*") go to TMPDIR and outlive a browser
  // that is ended: inside the profile they are removed with it.
  const std::string tmp = profile + "/tmp";
  std::filesystem::create_directory(tmp);
  std::vector<std::string> args = {
      options.executable, "--remote-debugging-pipe", "--user-data-dir=" + profile,
      "--disable-background-networking", "--disable-component-update", "--disable-sync",
      "--no-first-run", "--disable-gpu", "--disable-breakpad", "--disable-crash-reporter",
      // Every page is a window of its own on the user's screen, none a background tab: none is
      // given a lower priority, or its timers slowed, for being out of sight.
      "--disable-renderer-backgrounding", "--disable-background-timer-throttling",
      "--disable-backgrounding-occluded-windows",
      // A page that is left goes away, as in an embedded browser: no back-forward cache keeps
      // it frozen. And the desktop browser's own UI is not ours: no renderer of its address
      // bar's popups is loaded for each browser context (50-100 MiB and a page's worth of work
      // that each account's space would carry unused).
      "--disable-features=BackForwardCache,WebUIOmniboxPopup,WebUIOmniboxAimPopup"};
  if (!Sandboxed()) args.push_back("--no-sandbox");
  // Off screen, Chromium's screen is 800 by 600 unless told: a desktop's screen is larger than
  // the client's windows, and a page's `screen` says so.
  if (options.headless) {
    args.push_back("--headless=new");
    args.push_back("--screen-info={1920x1080}");
  }
  args.insert(args.end(), options.extraArgs.begin(), options.extraArgs.end());
  args.push_back("about:blank");
  const pid_t pid = SpawnChild(args, {toChild[0], fromChild[1]}, true, error, {"TMPDIR=" + tmp});
  if (pid < 0) {
    for (int fd : {toChild[0], toChild[1], fromChild[0], fromChild[1]}) close(fd);
    std::error_code ignored;
    std::filesystem::remove_all(profile, ignored);
    return nullptr;
  }
  close(toChild[0]);
  close(fromChild[1]);
  auto connection = std::unique_ptr<Connection>(new Connection(pid, toChild[1], fromChild[0]));
  connection->profile_ = profile;
  return connection;
}

// The runner's tasks of each lane: at most kShare of a lane stand in the runner's queue at a
// time; the lane's others wait here and go to the back of the queue one by one.
struct Connection::Lanes {
  static constexpr int kShare = 8;
  struct Lane {
    std::deque<std::function<void()>> tasks;
    int posted = 0;  // tasks of the runner that will each run one of `tasks`
  };
  std::mutex mutex;
  std::unordered_map<std::string, Lane> lanes;

  static void Add(const std::shared_ptr<Lanes>& self, tnbase::TaskQueue* runner,
                  const std::string& lane, std::function<void()> task) {
    {
      std::lock_guard<std::mutex> lock(self->mutex);
      Lane& l = self->lanes[lane];
      l.tasks.push_back(std::move(task));
      if (l.posted >= kShare) return;
      ++l.posted;
    }
    runner->PostTask([self, runner, lane] { RunNext(self, runner, lane); });
  }
  static void RunNext(const std::shared_ptr<Lanes>& self, tnbase::TaskQueue* runner,
                      const std::string& lane) {
    std::function<void()> task;
    bool again = false;
    {
      std::lock_guard<std::mutex> lock(self->mutex);
      auto it = self->lanes.find(lane);
      if (it == self->lanes.end()) return;
      Lane& l = it->second;
      if (!l.tasks.empty()) {
        task = std::move(l.tasks.front());
        l.tasks.pop_front();
      }
      // The other posted tasks each take one of the rest; any beyond them need this one again.
      again = l.tasks.size() >= static_cast<std::size_t>(l.posted);
      if (!again && --l.posted == 0) self->lanes.erase(it);
    }
    if (again) runner->PostTask([self, runner, lane] { RunNext(self, runner, lane); });
    if (task) task();
  }
};

Connection::Connection(pid_t pid, int toChromium, int fromChromium)
    : pid_(pid),
      toChromium_(toChromium),
      fromChromium_(fromChromium),
      lanes_(std::make_shared<Lanes>()) {
  reader_ = std::thread(&Connection::ReadLoop, this);
}

Connection::~Connection() {
  closed_ = true;
  close(toChromium_);  // Chromium ends when its pipe closes
  EndChild(pid_, 0);
  if (reader_.joinable()) reader_.join();
  close(fromChromium_);
  std::error_code ignored;
  std::filesystem::remove_all(profile_, ignored);  // the fresh profile goes with its browser
  // Answers that never came: their callers hear of the end.
  std::map<int, Callback> pending;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    pending.swap(pending_);
  }
  Json::Value error;
  error["message"] = "connection closed";
  for (auto& [id, callback] : pending) {
    if (callback) callback(Json::Value(), error);
  }
}

void Connection::SetRunner(tnbase::TaskQueue* runner) {
  std::lock_guard<std::mutex> lock(mutex_);
  runner_ = runner;
}

void Connection::SetEventHandler(EventHandler handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  eventHandler_ = std::move(handler);
}

void Connection::SetReaderHook(ReaderHook hook, HookFilter wants) {
  std::lock_guard<std::mutex> lock(mutex_);
  readerHook_ = std::move(hook);
  hookFilter_ = std::move(wants);
}

void Connection::SetLostHandler(std::function<void()> handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  lostHandler_ = std::move(handler);
}

void Connection::Post(const std::string& lane, std::function<void()> task) {
  tnbase::TaskQueue* runner;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    runner = runner_;
  }
  if (runner) {
    Lanes::Add(lanes_, runner, lane, std::move(task));
  } else {
    task();
  }
}

bool Connection::WriteMessage(const std::string& text) {
  std::lock_guard<std::mutex> lock(writeMutex_);
  if (closed_) return false;
  return WriteAll(toChromium_, text.c_str(), text.size() + 1);  // with its NUL
}

int Connection::Send(const std::string& method, const Json::Value& params,
                     const std::string& sessionId, Callback callback) {
  Json::Value message;
  int id;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (closed_) return 0;
    id = nextId_++;
    pending_[id] = std::move(callback);
  }
  message["id"] = id;
  message["method"] = method;
  message["params"] = params.isNull() ? Json::Value(Json::objectValue) : params;
  if (!sessionId.empty()) message["sessionId"] = sessionId;
  if (!WriteMessage(WriteJson(message))) {
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.erase(id);
    return 0;
  }
  return id;
}

int Connection::SendDirect(const std::string& method, const Json::Value& params,
                           const std::string& sessionId, Callback taken) {
  Json::Value message;
  int id;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (closed_) return 0;
    id = nextId_++;
    pending_[id] = std::move(taken);
    direct_.insert(id);
  }
  message["id"] = id;
  message["method"] = method;
  message["params"] = params.isNull() ? Json::Value(Json::objectValue) : params;
  if (!sessionId.empty()) message["sessionId"] = sessionId;
  if (WriteMessage(WriteJson(message))) return id;
  Forget(id);
  return 0;
}

void Connection::Forget(int id) {
  std::lock_guard<std::mutex> lock(mutex_);
  pending_.erase(id);
  direct_.erase(id);
}

bool Connection::Call(const std::string& method, const Json::Value& params,
                      const std::string& sessionId, Json::Value* result, std::string* error,
                      int timeoutMs) {
  auto answer = std::make_shared<std::promise<std::pair<Json::Value, Json::Value>>>();
  std::future<std::pair<Json::Value, Json::Value>> future = answer->get_future();
  // The answer is taken on the reader thread: waiting here never needs the runner.
  const int id =
      SendDirect(method, params, sessionId, [answer](const Json::Value& r, const Json::Value& e) {
        answer->set_value({r, e});
      });
  if (id == 0) {
    if (error) *error = "connection closed";
    return false;
  }
  if (future.wait_for(std::chrono::milliseconds(timeoutMs)) != std::future_status::ready) {
    Forget(id);
    if (error) *error = method + ": no answer in time";
    return false;
  }
  auto [r, e] = future.get();
  if (!e.isNull()) {
    if (error) *error = e.isObject() && e["message"].isString() ? e["message"].asString() : "error";
    return false;
  }
  if (result) *result = r;
  return true;
}

bool Connection::CallAll(const std::vector<std::pair<std::string, Json::Value>>& commands,
                         const std::string& sessionId, int timeoutMs) {
  struct Answers {
    std::mutex mutex;
    std::condition_variable done;
    std::size_t left = 0;
    bool failed = false;
  };
  auto answers = std::make_shared<Answers>();
  answers->left = commands.size();
  std::vector<int> ids;
  for (const auto& [method, params] : commands) {
    const int id =
        SendDirect(method, params, sessionId, [answers](const Json::Value&, const Json::Value& e) {
          std::lock_guard<std::mutex> lock(answers->mutex);
          answers->failed = answers->failed || !e.isNull();
          if (--answers->left == 0) answers->done.notify_all();
        });
    if (id == 0) {
      for (int sent : ids) Forget(sent);
      return false;
    }
    ids.push_back(id);
  }
  std::unique_lock<std::mutex> lock(answers->mutex);
  if (!answers->done.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                              [&] { return answers->left == 0; })) {
    lock.unlock();
    for (int id : ids) Forget(id);
    return false;
  }
  return !answers->failed;
}

void Connection::ReadLoop() {
  pthread_setname_np(pthread_self(), "cdp-reader");
  tnbase::RaiseToDisplayPriority();  // the browser's IO thread
  MessageReader reader(kMaxMessage, kMaxPageMessage);
  std::vector<char> chunk(1 << 16);
  for (;;) {
    const ssize_t n = ::read(fromChromium_, chunk.data(), chunk.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    reader.Feed(
        chunk.data(), static_cast<std::size_t>(n),
        [this](std::string text) { Dispatch(std::move(text)); },
        [this](const std::string& start, std::size_t limit) {
          ++messagesSkipped_;
          Log(kTnLogInfo, "Connection::ReadLoop",
              "a message longer than " + std::to_string(limit) + " bytes is skipped: " + start);
        });
  }
  if (closed_.exchange(true)) return;  // closed by this side
  // Chromium has gone: the commands in flight hear of it, and so does the owner.
  Log(kTnLogError, "Connection::ReadLoop", "the connection to Chromium is lost");
  std::map<int, Callback> pending;
  std::set<int> direct;
  std::function<void()> lost;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    pending.swap(pending_);
    direct.swap(direct_);
    lost = lostHandler_;
  }
  Json::Value error;
  error["message"] = "connection lost";
  for (auto& [id, callback] : pending) {
    if (!callback) continue;
    if (direct.count(id)) {
      callback(Json::Value(), error);
    } else {
      Post("", [callback = std::move(callback), error] { callback(Json::Value(), error); });
    }
  }
  if (lost) lost();
}

void Connection::Dispatch(std::string text) {
  ++messagesRead_;
  std::string method, session;
  if (PeekEvent(text, &method, &session)) {
    EventHandler handler;
    ReaderHook hook;
    HookFilter wants;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      handler = eventHandler_;
      hook = readerHook_;
      wants = hookFilter_;
    }
    if (!(hook && wants && wants(method, text))) {
      // Read on the runner, in the session's share of it: the reader goes on at once, so a
      // session that floods costs the others no more than the look at each message's head.
      if (!handler) return;
      auto raw = std::make_shared<std::string>(std::move(text));
      Post(session, [handler, raw] {
        Json::Value message;
        if (!ParseJson(*raw, &message) || !message.isObject() || !message["method"].isString())
          return;
        const Json::Value& session = message["sessionId"];
        handler(message["method"].asString(), message["params"],
                session.isString() ? session.asString() : std::string());
      });
      return;
    }
  }
  Json::Value message;
  if (!ParseJson(text, &message) || !message.isObject()) return;
  if (message.isMember("id") && message["id"].isInt()) {
    const int id = message["id"].asInt();
    Callback callback;
    bool direct = false;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto it = pending_.find(id);
      if (it == pending_.end()) return;
      callback = std::move(it->second);
      pending_.erase(it);
      direct = direct_.erase(id) != 0;
    }
    if (!callback) return;
    auto result = std::make_shared<Json::Value>(std::move(message["result"]));
    auto error = std::make_shared<Json::Value>(std::move(message["error"]));
    if (direct) {
      callback(*result, *error);
    } else {
      // In its session's order: an answer comes after the session's events before it.
      const std::string session =
          message["sessionId"].isString() ? message["sessionId"].asString() : "";
      Post(session, [callback, result, error] { callback(*result, *error); });
    }
    return;
  }
  if (!message["method"].isString()) return;
  EventHandler handler;
  ReaderHook hook;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    handler = eventHandler_;
    hook = readerHook_;
  }
  method = message["method"].asString();
  session = message["sessionId"].isString() ? message["sessionId"].asString() : "";
  if (hook && hook(method, message["params"], session)) return;
  if (!handler) return;
  auto params = std::make_shared<Json::Value>(std::move(message["params"]));
  Post(session, [handler, method, params, session] { handler(method, *params, session); });
}

}  // namespace xhav::cdp
