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
#include <filesystem>
#include <future>

#include "child_process.h"
#include "json_text.h"

namespace xhav::cdp {

namespace {

constexpr std::size_t kMaxMessage = 256u << 20;  // a message of 100 MB fits

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
      options.executable, "--remote-debugging-pipe", "--no-sandbox", "--user-data-dir=" + profile,
      "--disable-background-networking", "--disable-component-update", "--disable-sync",
      "--no-first-run", "--disable-gpu", "--disable-breakpad", "--disable-crash-reporter",
      // A page that is left goes away, as in an embedded browser:
      // no back-forward cache keeps it frozen.
      "--disable-features=BackForwardCache"};
  if (options.headless) args.push_back("--headless=new");
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

Connection::Connection(pid_t pid, int toChromium, int fromChromium)
    : pid_(pid), toChromium_(toChromium), fromChromium_(fromChromium) {
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

void Connection::SetReaderHook(ReaderHook hook) {
  std::lock_guard<std::mutex> lock(mutex_);
  readerHook_ = std::move(hook);
}

void Connection::Post(std::function<void()> task) {
  tnbase::TaskQueue* runner;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    runner = runner_;
  }
  if (runner) {
    runner->PostTask(std::move(task));
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
  std::string buffer;
  std::size_t scanned = 0;
  char chunk[1 << 16];
  for (;;) {
    const ssize_t n = ::read(fromChromium_, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    buffer.append(chunk, static_cast<std::size_t>(n));
    // Split at each NUL; a message may arrive in many reads.
    std::size_t start = 0;
    for (;;) {
      const std::size_t end = buffer.find('\0', std::max(start, scanned));
      if (end == std::string::npos) break;
      Dispatch(buffer.substr(start, end - start));
      start = end + 1;
    }
    buffer.erase(0, start);
    scanned = buffer.size();
    if (buffer.size() > kMaxMessage) break;  // no message is this large
  }
  closed_ = true;
}

void Connection::Dispatch(const std::string& text) {
  ++messagesRead_;
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
      Post([callback, result, error] { callback(*result, *error); });
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
  const std::string method = message["method"].asString();
  const std::string session =
      message["sessionId"].isString() ? message["sessionId"].asString() : "";
  if (hook && hook(method, message["params"], session)) return;
  if (!handler) return;
  auto params = std::make_shared<Json::Value>(std::move(message["params"]));
  Post([handler, method, params, session] { handler(method, *params, session); });
}

}  // namespace xhav::cdp
