#pragma once

// A connection to Debian's Chromium over the DevTools protocol on a pipe
// (--remote-debugging-pipe: file descriptors 3 and 4, messages of JSON ended by a NUL byte).
// One reader thread reads and splits the stream; command results and events are handed to a
// task runner (the engine's browser UI thread), so nothing that needs the page ever runs on the
// reader thread. Chromium runs in a process group of its own and dies with its parent.

#include <json/value.h>
#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "hav/hav.h"
#include "tnbase/task_queue.h"

namespace xhav::cdp {

struct LaunchOptions {
  std::string executable = "/usr/lib/chromium/chromium";
  bool headless = true;                // false: a window on the display
  std::vector<std::string> extraArgs;  // appended to the fixed ones
};

class HAV_API Connection {
 public:
  using Callback = std::function<void(const Json::Value& result, const Json::Value& error)>;
  using EventHandler = std::function<void(const std::string& method, const Json::Value& params,
                                          const std::string& sessionId)>;

  // Starts Chromium and connects; null (with `error` set) when it can't be started.
  static std::unique_ptr<Connection> Launch(const LaunchOptions& options, std::string* error);
  // Closes the pipe, ends Chromium's process group and waits for it.
  ~Connection();

  // Events and command callbacks run on `runner`; without one they run on the reader thread.
  void SetRunner(tnbase::TaskQueue* runner);
  void SetEventHandler(EventHandler handler);
  // Sees, on the reader thread, the events that `wants` picks by their method and text (it
  // must be cheap: it sees every event), before they are posted; it must never wait. An event
  // that it takes (returns true) is not posted. Other events are read on the runner.
  using ReaderHook = std::function<bool(const std::string& method, const Json::Value& params,
                                        const std::string& sessionId)>;
  using HookFilter = std::function<bool(const std::string& method, const std::string& text)>;
  void SetReaderHook(ReaderHook hook, HookFilter wants);
  // Told once, on the reader thread, when Chromium's side of the pipe ends (Chromium has gone)
  // while the connection was in use: no answer or event comes any more.
  void SetLostHandler(std::function<void()> handler);

  // Sends a command (to a session when `sessionId` isn't empty); returns its id, 0 when the
  // connection is closed. `callback` runs on the runner with the result or the error.
  int Send(const std::string& method, const Json::Value& params, const std::string& sessionId,
           Callback callback);
  // Sends a command and waits for its answer, at most `timeoutMs`. Never call it from the
  // runner for a command whose answer needs the runner: the answer is taken on the reader thread.
  bool Call(const std::string& method, const Json::Value& params, const std::string& sessionId,
            Json::Value* result, std::string* error = nullptr, int timeoutMs = 10000);

  // Sends every command at once, in order, and waits until each has its answer (all within
  // `timeoutMs`, taken on the reader thread as Call's are); false when one failed or none came.
  // Chromium runs a session's commands in the order they came: the wait is the slowest
  // answer's, not the sum of all.
  bool CallAll(const std::vector<std::pair<std::string, Json::Value>>& commands,
               const std::string& sessionId, int timeoutMs = 10000);

  pid_t pid() const { return pid_; }
  bool closed() const { return closed_; }
  // Messages read so far (for tests of the reader).
  std::size_t messages_read() const { return messagesRead_; }
  // Messages skipped for their size (see kMaxMessage).
  std::size_t messages_skipped() const { return messagesSkipped_; }

  // The longest message that is read: a longer one is skipped. The page's console and log
  // entries, which nobody needs whole, are read up to kMaxPageMessage.
  static constexpr std::size_t kMaxMessage = 256u << 20;
  static constexpr std::size_t kMaxPageMessage = 4u << 20;

 private:
  Connection(pid_t pid, int toChromium, int fromChromium);
  // Sends a command whose answer `taken` takes on the reader thread; its id, 0 when closed.
  int SendDirect(const std::string& method, const Json::Value& params, const std::string& sessionId,
                 Callback taken);
  void Forget(int id);
  void ReadLoop();
  void Dispatch(std::string text);
  // Runs `task` on the runner in the order of `lane` (a session), within the lane's share.
  void Post(const std::string& lane, std::function<void()> task);
  bool WriteMessage(const std::string& text);

  const pid_t pid_;
  std::string profile_;  // the fresh --user-data-dir, removed at the end
  const int toChromium_;
  const int fromChromium_;
  std::thread reader_;
  std::atomic<bool> closed_{false};
  std::atomic<std::size_t> messagesRead_{0};
  std::atomic<std::size_t> messagesSkipped_{0};
  struct Lanes;
  std::shared_ptr<Lanes> lanes_;  // shared with the tasks on the runner, which may outlive this
  std::function<void()> lostHandler_;

  std::mutex mutex_;
  std::mutex writeMutex_;
  int nextId_ = 1;
  std::map<int, Callback> pending_;
  std::set<int> direct_;  // commands whose answer is taken on the reader thread
  tnbase::TaskQueue* runner_ = nullptr;
  EventHandler eventHandler_;
  ReaderHook readerHook_;
  HookFilter hookFilter_;
};

}  // namespace xhav::cdp
