// The render side in a render host process of its own, as a real browser keeps its pages'
// script apart from the browser process. The engine and the render host talk over a stream
// socket: process messages cross as they are, and the render side's requests and answers
// cross as control frames whose text is a JSON object with an "op".

#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdlib>
#include <cstring>

#include "cdp_render_side.h"
#include "child_process.h"
#include "hav/cdp_render_host.h"
#include "hav/inproc_engine.h"
#include "hav/json_text.h"

namespace xhav::cdp {

namespace {

constexpr auto kRenderControl = static_cast<inproc::Control::Kind>(3);

void SendOp(inproc::Transport* transport, int browser, const Json::Value& op) {
  transport->SendControl({kRenderControl, browser, WriteJson(op)});
}

Json::Value Op(const char* name) {
  Json::Value op;
  op["op"] = name;
  return op;
}

Json::Value DocumentOp(const char* name, const DocumentId& document) {
  Json::Value op = Op(name);
  op["session"] = document.session;
  op["context"] = document.context;
  return op;
}

// A document named in a frame, or false; the browser comes with the frame.
bool ReadDocument(const inproc::Control& control, const Json::Value& op, DocumentId* document) {
  if (!op["session"].isString() || !op["context"].isInt()) return false;
  *document = {control.browserId, op["session"].asString(), op["context"].asInt()};
  return true;
}

bool ReadOp(const inproc::Control& control, Json::Value* op) {
  return control.kind == kRenderControl && ParseJson(control.text, op) && op->isObject() &&
         (*op)["op"].isString();
}

// ---------------------------------------------------------------------------------------------
// The engine's side: a render side whose work is done by the render host process.

class RemoteRenderSide final : public RenderSide {
 public:
  RemoteRenderSide(PageLink* link, tnbase::TaskQueue* ui) : link_(link), ui_(ui) {}
  ~RemoteRenderSide() override {
    transport_.reset();  // the render host leaves when its socket closes
    EndChild(pid_, 3000);
    FailPending();
  }

  bool Start(const std::vector<std::string>& command, std::string* error) {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
      *error = std::string("socketpair: ") + std::strerror(errno);
      return false;
    }
    std::vector<std::string> args = command;
    args.push_back("--render-fd=3");
    pid_ = SpawnChild(args, {fds[1]}, false, error);
    close(fds[1]);
    if (pid_ < 0) {
      close(fds[0]);
      return false;
    }
    // A render host that goes away answers what it still owes with nothing. Its frames are
    // handled on the transport's reader thread, one after the other, without a further hop.
    transport_ =
        inproc::CreateSocketTransport(fds[0], PID_BROWSER, nullptr, [this] { FailPending(); });
    transport_->SetReceiver(PID_BROWSER, [this](int browser, CefRefPtr<CefProcessMessage> m) {
      DocumentId from;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = senders_.find(browser);
        if (it != senders_.end()) {
          from = it->second;
          senders_.erase(it);
        }
      }
      link_->SendToBrowser(browser, m, from);
    });
    transport_->SetControlReceiver([this](const inproc::Control& c) { OnControl(c); });
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(20), [this] { return ready_ || gone_; });
    if (!ready_) *error = "the render host " + command.front() + " did not come up";
    return ready_;
  }

  std::vector<std::string> ExtensionScripts() override {
    std::lock_guard<std::mutex> lock(mutex_);
    return extensions_;
  }
  void PageState(int browser, bool canGoBack, bool canGoForward) override {
    Json::Value op = Op("state");
    op["back"] = canGoBack;
    op["forward"] = canGoForward;
    SendOp(transport_.get(), browser, op);
  }
  void PageClosed(int browser) override { SendOp(transport_.get(), browser, Op("closed")); }
  void NewDocument(const DocumentId& document, const DocumentFrame& frame, bool business,
                   std::function<void(const Names&)> done) override {
    Json::Value op = DocumentOp("document", document);
    op["business"] = business;
    op["frame"] = static_cast<Json::Int64>(frame.id);
    op["main"] = frame.main;
    op["request"] = Expect([done](const Json::Value& answer) {
      Names names;
      for (const Json::Value& name : answer["names"]) {
        if (name.isString()) names.push_back(name.asString());
      }
      done(names);
    });
    SendOp(transport_.get(), document.browser, op);
  }
  void DocumentGone(const DocumentId& document) override {
    SendOp(transport_.get(), document.browser, DocumentOp("gone", document));
  }
  void Call(const DocumentId& document, const std::string& body, bool answerWithin,
            std::function<void(const std::string&)> done) override {
    SendCall(document, body, answerWithin, std::move(done), false);
  }
  bool CallFromAnyThread(const DocumentId& document, const std::string& body,
                         std::function<void(const std::string&)> done) override {
    SendCall(document, body, true, std::move(done), true);
    return true;
  }
  void Deliver(int browser, CefRefPtr<CefProcessMessage> message) override {
    transport_->Send(PID_RENDERER, browser, message);
  }
  pid_t process() const override { return pid_; }

 private:
  using Answer = std::function<void(const Json::Value&)>;
  struct Pending {
    Answer answer;
    bool direct = false;  // answered on the link's thread rather than the UI thread
  };

  void SendCall(const DocumentId& document, const std::string& body, bool answerWithin,
                std::function<void(const std::string&)> done, bool direct) {
    Json::Value op = DocumentOp("call", document);
    op["body"] = body;
    op["within"] = answerWithin;
    op["request"] = Expect(
        [done](const Json::Value& answer) {
          done(answer["reply"].isString() ? answer["reply"].asString() : "{\"handled\":false}");
        },
        direct);
    SendOp(transport_.get(), document.browser, op);
  }

  // A request whose answer `answer` takes on the UI thread (or, `direct`, on the link's); a
  // render host that is gone answers every request with nothing.
  int Expect(Answer answer, bool direct = false) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (gone_) {
      lock.unlock();
      Run({std::move(answer), direct}, Json::Value());
      return 0;
    }
    pending_[++nextRequest_] = {std::move(answer), direct};
    return nextRequest_;
  }
  void Run(Pending pending, const Json::Value& answer) {
    if (pending.direct) {
      pending.answer(answer);
    } else {
      ui_->PostTask([answer, run = std::move(pending.answer)] { run(answer); });
    }
  }

  void OnControl(const inproc::Control& control) {
    Json::Value op;
    if (!ReadOp(control, &op)) return;
    const std::string name = op["op"].asString();
    DocumentId document;
    if (name == "ready") {
      std::lock_guard<std::mutex> lock(mutex_);
      for (const Json::Value& script : op["extensions"]) {
        if (script.isString()) extensions_.push_back(script.asString());
      }
      ready_ = true;
      changed_.notify_all();
    } else if (name == "answer" && op["request"].isInt()) {
      Pending pending;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = pending_.find(op["request"].asInt());
        if (it == pending_.end()) return;
        pending = std::move(it->second);
        pending_.erase(it);
      }
      Run(std::move(pending), op);
    } else if (name == "run" && op["handle"].isInt() && op["args"].isString() &&
               ReadDocument(control, op, &document)) {
      ui_->PostTask([this, document, handle = op["handle"].asInt(), args = op["args"].asString()] {
        link_->RunPageFunction(document, handle, args);
      });
    } else if (name == "navigate" && op["how"].isString()) {
      link_->Navigate(control.browserId, op["how"].asString());
    } else if (name == "from" && ReadDocument(control, op, &document)) {
      std::lock_guard<std::mutex> lock(mutex_);
      senders_[control.browserId] = document;
    }
  }

  void FailPending() {
    std::map<int, Pending> pending;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      gone_ = true;
      pending.swap(pending_);
      changed_.notify_all();
    }
    for (auto& [id, request] : pending) Run(std::move(request), Json::Value());
  }

  PageLink* link_;
  tnbase::TaskQueue* ui_;
  std::unique_ptr<inproc::Transport> transport_;
  pid_t pid_ = -1;
  // Each browser's sender of the message that comes next (the reader thread's, under the lock).
  std::map<int, DocumentId> senders_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ready_ = false, gone_ = false;
  std::vector<std::string> extensions_;
  std::map<int, Pending> pending_;
  int nextRequest_ = 0;
};

// ---------------------------------------------------------------------------------------------
// The render host's side: the render side itself, reaching the pages through the socket.

class SocketPageLink final : public PageLink {
 public:
  explicit SocketPageLink(inproc::Transport* transport) : transport_(transport) {}
  void SendToBrowser(int browser, CefRefPtr<CefProcessMessage> message,
                     const DocumentId& from) override {
    // The sender goes first, and the engine reads it with the message that follows.
    SendOp(transport_, browser, DocumentOp("from", from));
    transport_->Send(PID_BROWSER, browser, message);
  }
  void RunPageFunction(const DocumentId& document, int handle, const std::string& args) override {
    Json::Value op = DocumentOp("run", document);
    op["handle"] = handle;
    op["args"] = args;
    SendOp(transport_, document.browser, op);
  }
  void Navigate(int browser, const std::string& how) override {
    Json::Value op = Op("navigate");
    op["how"] = how;
    SendOp(transport_, browser, op);
  }

 private:
  inproc::Transport* transport_;
};

// The render process's hav core: it makes no browsers.
class RenderCore final : public Core {
 public:
  int GetProcessType() override { return kProcessTypeRender; }
  HandlerRegistry* GetHandlerRegistry() override { return &registry_; }
  bool CreateBrowser(const char*, BrowserParam*, BrowserNotify*, Browser** out) override {
    if (out) *out = nullptr;
    return false;
  }

 private:
  class Registry final : public HandlerRegistry {
   public:
    void AddHandler(const char*, HandlerCreator*) override {}
    void RemoveHandler(const char*) override {}
  };
  Registry registry_;
};

void Answer(inproc::Transport* transport, int browser, const Json::Value& request,
            Json::Value answer) {
  answer["op"] = "answer";
  answer["request"] = request;
  SendOp(transport, browser, answer);
}

void Serve(LocalRenderSide* side, inproc::Transport* transport, const inproc::Control& control) {
  Json::Value op;
  if (!ReadOp(control, &op)) return;
  const std::string name = op["op"].asString();
  const int browser = control.browserId;
  const Json::Value request = op["request"];
  DocumentId document;
  if (name == "state") {
    side->PageState(browser, op["back"].isBool() && op["back"].asBool(),
                    op["forward"].isBool() && op["forward"].asBool());
  } else if (name == "closed") {
    side->PageClosed(browser);
  } else if (name == "gone" && ReadDocument(control, op, &document)) {
    side->DocumentGone(document);
  } else if (name == "document" && ReadDocument(control, op, &document)) {
    const bool business = op["business"].isBool() && op["business"].asBool();
    DocumentFrame frame;
    if (op["frame"].isInt64()) frame.id = op["frame"].asInt64();
    frame.main = op["main"].isBool() && op["main"].asBool();
    side->NewDocument(document, frame, business, [&](const RenderSide::Names& names) {
      Json::Value answer;
      answer["names"] = Json::Value(Json::arrayValue);
      for (const std::string& n : names) answer["names"].append(n);
      Answer(transport, browser, request, answer);
    });
  } else if (name == "call" && op["body"].isString() && ReadDocument(control, op, &document)) {
    side->Call(document, op["body"].asString(), op["within"].isBool() && op["within"].asBool(),
               [&](const std::string& reply) {
                 Json::Value answer;
                 answer["reply"] = reply;
                 Answer(transport, browser, request, answer);
               });
  }
}

}  // namespace

std::unique_ptr<RenderSide> ConnectRenderHost(const std::vector<std::string>& command,
                                              PageLink* link, tnbase::TaskQueue* ui,
                                              std::string* error) {
  if (command.empty() || access(command.front().c_str(), X_OK) != 0) {
    *error = "no render host program at " + (command.empty() ? std::string() : command.front());
    return nullptr;
  }
  auto side = std::make_unique<RemoteRenderSide>(link, ui);
  if (!side->Start(command, error)) return nullptr;
  return side;
}

int RenderFdFromArgs(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--render-fd=", 12) == 0) return std::atoi(argv[i] + 12);
  }
  return -1;
}

int ServeRenderSide(int fd, const std::function<void(Core*, RenderHost*)>& load) {
  tnbase::TaskQueue main("TID_RENDERER");
  // The render side of every page lives here, where a browser gives each page a renderer of
  // its own: pages that keep their renderers busy must not starve the others' calls.
  main.SetDisplayPriority();
  std::mutex mutex;
  std::condition_variable closed;
  bool engineGone = false;
  main.StartThread();
  std::unique_ptr<inproc::Transport> transport =
      inproc::CreateSocketTransport(fd, PID_RENDERER, &main, [&] {
        std::lock_guard<std::mutex> lock(mutex);
        engineGone = true;
        closed.notify_all();
      });
  SocketPageLink link(transport.get());
  RenderCore core;
  std::unique_ptr<LocalRenderSide> side;
  main.PostTask([&] {
    side = std::make_unique<LocalRenderSide>(&link);
    load(&core, side->host());
    Json::Value ready = Op("ready");
    ready["extensions"] = Json::Value(Json::arrayValue);
    for (const std::string& script : side->ExtensionScripts()) ready["extensions"].append(script);
    transport->SetReceiver(PID_RENDERER, [&](int browser, CefRefPtr<CefProcessMessage> m) {
      side->Deliver(browser, m);
    });
    transport->SetControlReceiver(
        [&](const inproc::Control& control) { Serve(side.get(), transport.get(), control); });
    SendOp(transport.get(), 0, ready);
  });
  {
    std::unique_lock<std::mutex> lock(mutex);
    closed.wait(lock, [&] { return engineGone; });
  }
  main.PostTask([&] { side.reset(); });
  main.Flush();
  main.Stop();
  transport.reset();
  return 0;
}

}  // namespace xhav::cdp
