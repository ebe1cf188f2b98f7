#include "hav/cdp_engine.h"

#include <QByteArray>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <thread>

#include "arg_list.h"
#include "cdp_render_side.h"
#include "cef/cef_task.h"
#include "cef/inproc_v8.h"
#include "host_browser.h"
#include "json_text.h"

namespace xhav::cdp {

std::string ShimScript();

namespace {

bool IsCallUrl(const Json::Value& url) {
  return url.isString() && url.asString().rfind("https://tnpc-call.pages.invalid/", 0) == 0;
}

constexpr char kCallUrl[] = "https://tnpc-call.pages.invalid/call";
constexpr char kHelloUrl[] = "https://tnpc-call.pages.invalid/hello";

// Calls that came as prompts are answered through the dialog: their request identifiers say so.
constexpr char kDialogRequest[] = "dialog:";
bool IsDialogRequest(const std::string& requestId) {
  return requestId.rfind(kDialogRequest, 0) == 0;
}
// The prompt texts of the shim: a part of a long body, a call, a document's hello.
constexpr char kPromptPart[] = "tnpc-part\n";
constexpr char kPromptCall[] = "tnpc-call\n";
constexpr char kPromptHello[] = "tnpc-hello\n";
bool StartsWith(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

// What the page posted with its request.
std::string RequestBody(const Json::Value& request) {
  if (request["postData"].isString()) return request["postData"].asString();
  const Json::Value& entries = request["postDataEntries"];
  if (!entries.isArray() || entries.size() == 0 || !entries[0]["bytes"].isString()) return "";
  const QByteArray bytes =
      QByteArray::fromBase64(QByteArray::fromStdString(entries[0]["bytes"].asString()));
  return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

constexpr const char* kRoots[] = {"tavrin5main", "tavrin5", "tavrin4"};
constexpr char kPagesHost[] = ".pages.invalid";
// A second reserved site with the same files: pages can hold frames of another site.
constexpr char kFramesHost[] = ".frames.invalid";

std::string Utf8(TnString* s) { return s ? s->ToUTF8() : std::string(); }

std::string Base64(const std::string& bytes) {
  const QByteArray b =
      QByteArray::fromRawData(bytes.data(), static_cast<int>(bytes.size())).toBase64();
  return std::string(b.constData(), static_cast<std::size_t>(b.size()));
}

std::string ContentType(const std::string& path) {
  const auto dot = path.find_last_of('.');
  const std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
  if (ext == "html" || ext == "htm") return "text/html; charset=utf-8";
  if (ext == "js") return "text/javascript; charset=utf-8";
  if (ext == "css") return "text/css; charset=utf-8";
  if (ext == "png") return "image/png";
  if (ext == "svg") return "image/svg+xml";
  if (ext == "json") return "application/json";
  return "application/octet-stream";
}

bool ReadFile(const std::string& path, std::string* bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream out;
  out << in.rdbuf();
  *bytes = out.str();
  return true;
}

}  // namespace

// ---------------------------------------------------------------------------------------------

class Engine::CoreImpl final : public Core {
 public:
  CoreImpl(Engine* engine, int processType) : engine_(engine), processType_(processType) {}
  int GetProcessType() override { return processType_; }
  HandlerRegistry* GetHandlerRegistry() override { return &registry_; }
  bool CreateBrowser(const char* url, BrowserParam* param, BrowserNotify* notify,
                     Browser** out) override {
    return engine_->CreateBrowser(url, param, notify, out);
  }

 private:
  class Registry final : public HandlerRegistry {
   public:
    void AddHandler(const char*, HandlerCreator*) override {}
    void RemoveHandler(const char*) override {}
  };
  Engine* engine_;
  const int processType_;
  Registry registry_;
};

std::string Engine::ToEngineUrl(const std::string& url) {
  for (const char* root : kRoots) {
    const std::string origin = std::string("file://") + root;
    if (url == origin) return "https://" + std::string(root) + kPagesHost;  // a cookie's address
    if (url.rfind(origin + "/", 0) == 0) {
      return "https://" + std::string(root) + kPagesHost + url.substr(origin.size());
    }
  }
  return url;
}

std::string Engine::ToClientUrl(const std::string& url) {
  for (const char* root : kRoots) {
    const std::string prefix = "https://" + std::string(root) + kPagesHost + "/";
    if (url.rfind(prefix, 0) == 0)
      return std::string("file://") + root + "/" + url.substr(prefix.size());
  }
  return url;
}

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

Engine::Engine(EngineOptions options, int processType)
    : options_(std::move(options)), core_(std::make_unique<CoreImpl>(this, processType)) {
  cef_inproc::SetTaskRunner(TID_UI, &ui_);
  connection_ = Connection::Launch(options_.launch, &error_);
  if (!connection_) return;
  connection_->SetRunner(&ui_);
  watchdog_ = std::make_unique<SyncWatchdog>(
      options_.syncCallLimitMs, [this](const std::string& session, const std::string& request) {
        FulfilCall(session, request, "{\"handled\":false}");
      });
  answers_ = std::make_shared<CallAnswers>(connection_.get());
  connection_->SetReaderHook(
      [this](const std::string& method, const Json::Value& params, const std::string& session) {
        if (method == "Page.javascriptDialogOpening") return DialogFromReader(session, params);
        if (method != "Fetch.requestPaused" || !params["requestId"].isString() ||
            !IsCallUrl(params["request"]["url"])) {
          return false;
        }
        const std::string requestId = params["requestId"].asString();
        watchdog_->Watch(requestId, session);
        return params["request"]["url"] == kCallUrl &&
               CallFromReader(session, RequestBody(params["request"]), requestId);
      });
  connection_->SetEventHandler(
      [this](const std::string& method, const Json::Value& params, const std::string& session) {
        OnEvent(method, params, session);
      });
  if (!StartRenderSide()) {
    answers_->Close();
    connection_.reset();
  }
}

Engine::~Engine() {
  {
    std::lock_guard<std::mutex> lock(directMutex_);
    direct_ = false;  // the reader no longer hands calls to the render side
  }
  ui_.Stop();
  if (watchdog_) watchdog_->Stop();  // it writes to the connection
  if (answers_) answers_->Close();
  connection_.reset();  // ends Chromium
  ui_.RunUntilIdle();
  renderSide_.reset();  // ends a render host process
  ui_.RunUntilIdle();
  for (PageBrowser* b : browsers_) delete b;
  cef_inproc::SetTaskRunner(TID_UI, nullptr);
}

Core* Engine::core() { return core_.get(); }

RenderHost* Engine::render_host() { return renderHost_; }

pid_t Engine::render_process() const { return renderSide_ ? renderSide_->process() : -1; }

// The render side's way to the pages. In this process it runs on the UI thread; the link to a
// render host process calls it there too.
class Engine::Link final : public PageLink {
 public:
  explicit Link(Engine* engine) : engine_(engine) {}
  void SendToBrowser(int browser, CefRefPtr<CefProcessMessage> message) override {
    // A process message arrives later, as one from another process would.
    engine_->ui_.PostTask([this, browser, message] {
      PageBrowser* page = Find(browser);
      engine_->trace_("deliver", PID_BROWSER, browser, message);
      if (page && page->alive() && page->notify_) {
        inproc::DeliverToView(page->notify_, page->hostBrowser_, message);
      }
    });
  }
  void RunPageFunction(const DocumentId& document, int handle, const std::string& args) override {
    if (PageBrowser* page = Find(document.browser)) {
      page->RunPageFunction(document.session, document.context, handle, args);
    }
  }
  void Navigate(int browser, const std::string& how) override {
    engine_->ui_.PostTask([this, browser, how] {
      PageBrowser* page = Find(browser);
      if (!page) return;
      if (how == "reload") page->Reload();
      if (how == "back" || how == "forward") page->GoInHistory(how == "back" ? -1 : 1);
    });
  }

 private:
  PageBrowser* Find(int id) {
    std::lock_guard<std::mutex> lock(engine_->mutex_);
    for (PageBrowser* page : engine_->browsers_) {
      if (page->id_ == id) return page;
    }
    return nullptr;
  }
  Engine* engine_;
};

bool Engine::StartRenderSide() {
  link_ = std::make_unique<Link>(this);
  if (options_.renderHost.empty()) {
    auto local = std::make_unique<LocalRenderSide>(link_.get());
    renderHost_ = local->host();
    renderSide_ = std::move(local);
    return true;
  }
  renderSide_ = ConnectRenderHost(options_.renderHost, link_.get(), &ui_, &error_);
  if (!renderSide_) return false;
  // A render host answers pages' calls without the UI thread, as a render process does.
  std::lock_guard<std::mutex> lock(directMutex_);
  direct_ = true;
  return true;
}

void Engine::SetBindingHandler(BindingHandler handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  bindingHandler_ = std::move(handler);
}

std::vector<PageBrowser*> Engine::browsers() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return browsers_;
}

std::string Engine::ContextFor(const std::string& space) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = contexts_.find(space);
    if (it != contexts_.end()) return it->second;
  }
  Json::Value result;
  if (!connection_->Call("Target.createBrowserContext", Json::Value(), "", &result)) return "";
  const std::string id = result["browserContextId"].asString();
  std::lock_guard<std::mutex> lock(mutex_);
  contexts_[space] = id;
  return id;
}

bool Engine::CreateBrowser(const char* url, BrowserParam* param, BrowserNotify* notify,
                           Browser** out) {
  if (out) *out = nullptr;
  if (!connection_) return false;
  const inproc::BrowserParamRecord record = inproc::ReadBrowserParam(param);
  // Each cookie space is a browser context: two accounts never share cookies.
  const std::string context = ContextFor(record.cookieSpace);
  Json::Value create, created;
  create["url"] = "about:blank";
  if (!context.empty()) create["browserContextId"] = context;
  if (!connection_->Call("Target.createTarget", create, "", &created)) return false;
  Json::Value attach, attached;
  attach["targetId"] = created["targetId"];
  attach["flatten"] = true;
  if (!connection_->Call("Target.attachToTarget", attach, "", &attached)) return false;

  PageBrowser* browser;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    browser = new PageBrowser(this, nextId_++, notify, record);
    browser->target_ = created["targetId"].asString();
    browser->session_ = attached["sessionId"].asString();
    browser->context_ = context;
    browsers_.push_back(browser);
    bySession_[browser->session_] = browser;
  }
  const std::string& session = browser->session_;
  const int id = browser->id_;
  browser->hostBrowser_ =
      new inproc::HostBrowser(id, [this, browser, id](CefRefPtr<CefProcessMessage> m) {
        if (!browser->alive()) return false;
        trace_("send", PID_RENDERER, id, m);
        // The sender may change its message once this returns: the render side gets a copy.
        ui_.PostTask([this, browser, m = m->Copy()] {
          if (browser->alive()) renderSide_->Deliver(browser->id_, m);
        });
        return true;
      });
  SetUpSession(session);
  if (out) *out = browser;

  // The view learns of its window first; the first navigation follows the view's set-up, so
  // the initial cookies (set on this thread right after this call) are in place before it.
  const std::string address = url ? url : "";
  ui_.PostTask([browser, address] {
    if (!browser->alive_) return;
    if (browser->notify_) browser->notify_->OnBrowserCreated();
    if (!address.empty()) browser->LoadUrl(address.c_str());
  });
  return true;
}

void Engine::SetUpSession(const std::string& session) {
  // Every step is in force before the session's first document: each waits for its answer.
  Json::Value binding;
  binding["name"] = "__tnpcNative";
  Json::Value shim;
  shim["source"] = ShimScript();
  Json::Value fetch;
  for (const char* host : {kPagesHost, kFramesHost}) {
    Json::Value pattern;
    pattern["urlPattern"] = std::string("https://*") + host + "/*";
    fetch["patterns"].append(pattern);
  }
  Json::Value attach;
  attach["autoAttach"] = true;
  attach["waitForDebuggerOnStart"] = true;
  attach["flatten"] = true;
  connection_->Call("Page.enable", Json::Value(), session, nullptr);
  connection_->Call("Runtime.enable", Json::Value(), session, nullptr);
  connection_->Call("Runtime.addBinding", binding, session, nullptr);
  connection_->Call("Page.addScriptToEvaluateOnNewDocument", shim, session, nullptr);
  for (const std::string& extension : renderSide_->ExtensionScripts()) {
    Json::Value script;
    script["source"] = extension;
    connection_->Call("Page.addScriptToEvaluateOnNewDocument", script, session, nullptr);
  }
  connection_->Call("Fetch.enable", fetch, session, nullptr);
  // Frames of other sites are targets of their own: they are attached and set up the same way.
  connection_->Call("Target.setAutoAttach", attach, session, nullptr);
}

void Engine::OnEvent(const std::string& method, const Json::Value& params,
                     const std::string& session) {
  if (method == "Fetch.requestPaused") {
    ServeResource(session, params);
    return;
  }
  if (method == "Page.javascriptDialogOpening") {
    std::optional<std::pair<bool, std::string>> call;
    {
      std::lock_guard<std::mutex> lock(dialogMutex_);
      auto it = dialogCalls_.find(session);
      if (it != dialogCalls_.end()) {
        call = std::move(it->second);
        dialogCalls_.erase(it);
      }
    }
    if (call) {
      ServeCall(session, call->first, call->second, kDialogRequest + session);
      return;
    }
  }
  PageBrowser* browser = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string key = session;
    if (key.empty() && params.isMember("sessionId")) key = params["sessionId"].asString();
    auto it = bySession_.find(key);
    if (it != bySession_.end()) browser = it->second;
  }
  if (!browser) return;
  if (method == "Target.attachedToTarget" && !session.empty()) {
    const std::string child = params["sessionId"].asString();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      bySession_[child] = browser;
    }
    browser->OnFrameAttached(child, params["targetInfo"]["targetId"].asString());
    return;
  }
  browser->OnEvent(method, params, session.empty() ? browser->session_ : session);
}

void Engine::ServeResource(const std::string& session, const Json::Value& params) {
  const std::string url = params["request"]["url"].asString();
  if (IsCallUrl(params["request"]["url"])) {
    ServeCall(session, params["request"]["url"] == kHelloUrl, RequestBody(params["request"]),
              params["requestId"]);
    return;
  }
  std::string path = ToClientUrl(url);
  for (const char* root : kRoots) {
    const std::string frames = "https://" + std::string(root) + kFramesHost + "/";
    if (url.rfind(frames, 0) == 0)
      path = std::string("file://") + root + "/" + url.substr(frames.size());
  }
  path = path.substr(std::min(path.size(), std::string("file://").size()));
  const auto query = path.find_first_of("?#");
  if (query != std::string::npos) path.resize(query);
  std::string body;
  // A missing file shows the client's error page under the address that was asked for. (It
  // goes out as a plain answer: Chromium's handling of an error status here is not steady.)
  const int status = 200;
  if (path.find("..") != std::string::npos || !ReadFile(options_.pagesDir + "/" + path, &body)) {
    ReadFile(options_.pagesDir + "/tavrin4/error.html", &body);
    path = "error.html";
  }
  Json::Value fulfil;
  fulfil["requestId"] = params["requestId"];
  fulfil["responseCode"] = status;
  Json::Value header;
  header["name"] = "Content-Type";
  header["value"] = ContentType(path);
  fulfil["responseHeaders"].append(header);
  // A file may come with headers of its own ("Name: value" lines in "<file>.headers"), as a
  // server would send them: a page's Content Security Policy, say.
  std::string extra;
  if (ReadFile(options_.pagesDir + "/" + path + ".headers", &extra)) {
    std::istringstream lines(extra);
    for (std::string line; std::getline(lines, line);) {
      const auto colon = line.find(':');
      if (colon == std::string::npos) continue;
      Json::Value more;
      more["name"] = line.substr(0, colon);
      more["value"] = line.substr(line.find_first_not_of(' ', colon + 1) == std::string::npos
                                      ? line.size()
                                      : line.find_first_not_of(' ', colon + 1));
      fulfil["responseHeaders"].append(more);
    }
  }
  fulfil["body"] = Base64(body);
  connection_->Send("Fetch.fulfillRequest", fulfil, session, nullptr);
}

void Engine::ServeCall(const std::string& session, bool hello, const std::string& body,
                       const Json::Value& requestId) {
  PageBrowser* page = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = bySession_.find(session);
    if (it != bySession_.end()) page = it->second;
  }
  // When the watchdog has answered, the page has gone on: the call runs without a waiting page.
  const bool answerWithin = watchdog_->Claim(requestId.asString());
  if (!page || !page->alive()) {
    if (answerWithin) FulfilCall(session, requestId, "{\"handled\":false}");
    return;
  }
  if (hello) {
    if (!answerWithin) return;  // the page has gone on without its object
    page->OnHelloRequest(session, body, [this, session, requestId](const std::string& reply) {
      FulfilCall(session, requestId, reply);
    });
    return;
  }
  renderSide_->Call({page->id_, session, 0}, body, answerWithin,
                    [this, session, requestId, answerWithin](const std::string& reply) {
                      if (answerWithin) FulfilCall(session, requestId, reply);
                    });
}

bool Engine::CallFromReader(const std::string& session, const std::string& body,
                            const std::string& requestId) {
  std::lock_guard<std::mutex> lock(directMutex_);
  if (!direct_) return false;
  int browser = 0;
  {
    std::lock_guard<std::mutex> pages(mutex_);
    auto it = bySession_.find(session);
    if (it == bySession_.end() || !it->second->alive()) return false;
    browser = it->second->id_;
  }
  SyncWatchdog* watchdog = watchdog_.get();
  std::shared_ptr<CallAnswers> answers = answers_;
  return renderSide_->CallFromAnyThread(
      {browser, session, 0}, body,
      [watchdog, answers, session, requestId, body](const std::string& reply) {
        if (watchdog->Claim(requestId)) {
          answers->Fulfil(session, requestId, reply);
        } else {
          // The watchdog answered first: the page functions due within the call run now.
          answers->RunDeferred(session, body, reply);
        }
      });
}

bool Engine::DialogFromReader(const std::string& session, const Json::Value& params) {
  const std::string message = params["message"].isString() ? params["message"].asString() : "";
  if (params["type"] != "prompt") return false;
  std::string body;
  bool hello = false;
  {
    std::lock_guard<std::mutex> lock(dialogMutex_);
    if (StartsWith(message, kPromptPart)) {
      dialogParts_[session] += message.substr(std::strlen(kPromptPart));
      answers_->Fulfil(session, kDialogRequest + session, "");
      return true;
    }
    hello = StartsWith(message, kPromptHello);
    if (!hello && !StartsWith(message, kPromptCall)) return false;  // the page's own dialog
    body = std::move(dialogParts_[session]);
    dialogParts_.erase(session);
    body += message.substr(std::strlen(hello ? kPromptHello : kPromptCall));
  }
  const std::string requestId = kDialogRequest + session;
  watchdog_->Watch(requestId, session);
  if (!hello && CallFromReader(session, body, requestId)) return true;
  std::lock_guard<std::mutex> lock(dialogMutex_);
  dialogCalls_[session] = {hello, std::move(body)};
  return false;
}

void Engine::FulfilCall(const std::string& session, const Json::Value& requestId,
                        const std::string& reply) {
  answers_->Fulfil(session, requestId.asString(), reply);
}

void Engine::CallAnswers::Fulfil(const std::string& session, const std::string& requestId,
                                 const std::string& reply) {
  if (IsDialogRequest(requestId)) {
    Json::Value answer;
    answer["accept"] = true;
    answer["promptText"] = reply;
    std::lock_guard<std::mutex> lock(mutex_);
    if (connection_) connection_->Send("Page.handleJavaScriptDialog", answer, session, nullptr);
    return;
  }
  Json::Value fulfil;
  fulfil["requestId"] = requestId;
  fulfil["responseCode"] = 200;
  for (const auto& [name, value] :
       {std::pair<const char*, const char*>{"Content-Type", "text/plain; charset=utf-8"},
        {"Access-Control-Allow-Origin", "*"}}) {
    Json::Value header;
    header["name"] = name;
    header["value"] = value;
    fulfil["responseHeaders"].append(header);
  }
  fulfil["body"] = Base64(reply);
  std::lock_guard<std::mutex> lock(mutex_);
  if (connection_) connection_->Send("Fetch.fulfillRequest", fulfil, session, nullptr);
}

void Engine::CallAnswers::RunDeferred(const std::string& session, const std::string& body,
                                      const std::string& reply) {
  Json::Value call, answer;
  if (!ParseJson(body, &call) || !call["ctx"].isInt() || !ParseJson(reply, &answer) ||
      !answer["deferred"].isArray())
    return;
  std::lock_guard<std::mutex> lock(mutex_);
  for (const Json::Value& due : answer["deferred"]) {
    if (!connection_ || !due["h"].isInt()) continue;
    Json::Value params;
    params["expression"] = "window.__tnpcShim && window.__tnpcShim.run(" +
                           std::to_string(due["h"].asInt()) + ", " + WriteJson(due["a"]) + ")";
    params["contextId"] = call["ctx"];
    connection_->Send("Runtime.evaluate", params, session, nullptr);
  }
}

// ---------------------------------------------------------------------------------------------

PageBrowser::PageBrowser(Engine* engine, int id, BrowserNotify* notify,
                         const inproc::BrowserParamRecord& p)
    : engine_(engine), id_(id), notify_(notify), param_(p) {
  hwnd_ = win::CreateWindowModel("HavWindowClassName", p.parent, nullptr);
  if (p.width > 0 && p.height > 0) {
    win::SetWindowPos(hwnd_, nullptr, p.left, p.top, p.width, p.height, win::SWP_NOZORDER);
  }
  if (!p.startHidden) win::ShowWindow(hwnd_, win::SW_SHOWWINDOW);
}

PageBrowser::~PageBrowser() {
  if (hwnd_) win::DestroyWindow(hwnd_);
}

RenderSide* PageBrowser::render() { return engine_->renderSide_.get(); }

void PageBrowser::ReportState() {
  std::unique_lock<std::mutex> lock(mutex_);
  const bool back = index_ > 0, forward = index_ + 1 < static_cast<int>(history_.size());
  lock.unlock();
  render()->PageState(id_, back, forward);
}

void PageBrowser::Reload() {
  if (!alive_) return;
  ++navigations_;
  engine_->connection().Send("Page.reload", Json::Value(), session_, nullptr);
}

void PageBrowser::GoInHistory(int offset) {
  if (!alive_) return;
  ++navigations_;
  // The browser's own history, as it stands when the step is taken.
  Connection* connection = &engine_->connection();
  const std::string session = session_;
  connection->Send(
      "Page.getNavigationHistory", Json::Value(), session,
      [connection, session, offset](const Json::Value& result, const Json::Value&) {
        const int index =
            result["currentIndex"].isInt() ? result["currentIndex"].asInt() + offset : -1;
        const Json::Value& entries = result["entries"];
        if (!entries.isArray() || index < 0 || index >= static_cast<int>(entries.size()) ||
            entries[index]["url"] == "about:blank")  // where every page target starts
          return;
        Json::Value params;
        params["entryId"] = entries[index]["id"];
        connection->Send("Page.navigateToHistoryEntry", params, session, nullptr);
      });
}

void PageBrowser::OnNewDocument(const std::string& session, int executionContextId) {
  if (!documents_.emplace(std::make_pair(session, executionContextId), Document()).second) return;
  render()->NewDocument(
      {id_, session, executionContextId}, [this, session, executionContextId](const auto& names) {
        auto it = documents_.find({session, executionContextId});
        if (it == documents_.end()) return;
        it->second.named = true;
        it->second.names = names;
        AnswerHellos();
        if (names.empty() || !alive_ || !engine_->ok()) return;
        Json::Value list(Json::arrayValue);
        for (const std::string& name : names) list.append(name);
        const std::string context = std::to_string(executionContextId);
        // The shim normally stands in the document from its start; should the page have been
        // faster than its registration, it comes with the object (it is made once per document).
        Json::Value params;
        params["expression"] = "window.__tnpcNames = " + WriteJson(list) +
                               "; window.__tnpcContext = " + context + ";" + ShimScript() +
                               "; window.__tnpcShim.install(window.__tnpcNames, " + context + ")";
        params["contextId"] = executionContextId;
        engine_->connection().Send("Runtime.evaluate", params, session, nullptr);
      });
}

void PageBrowser::OnDocumentGone(const std::string& session, int executionContextId) {
  if (documents_.erase({session, executionContextId}) == 0) return;
  for (auto it = hellos_.begin(); it != hellos_.end();) {
    const bool gone = it->second.session == session && it->second.context == executionContextId;
    it = gone ? hellos_.erase(it) : std::next(it);
  }
  render()->DocumentGone({id_, session, executionContextId});
}

void PageBrowser::OnHello(const std::string& token, const std::string& session, int context,
                          std::function<void(const std::string&)> answer) {
  Hello& hello = hellos_[token];
  hello.session = session;
  if (context) hello.context = context;
  if (answer) hello.answer = std::move(answer);
  // A document that the engine has not seen as a page's own (a frame of the same site) is
  // known from its request: it gets its object too.
  if (context) OnNewDocument(session, context);
  AnswerHellos();
}

void PageBrowser::AnswerHellos() {
  for (auto it = hellos_.begin(); it != hellos_.end();) {
    const Hello& hello = it->second;
    auto document = documents_.find({hello.session, hello.context});
    if (!hello.answer || document == documents_.end() || !document->second.named) {
      ++it;
      continue;
    }
    Json::Value reply;
    reply["handled"] = true;
    reply["ctx"] = hello.context;
    reply["names"] = Json::Value(Json::arrayValue);
    for (const std::string& name : document->second.names) reply["names"].append(name);
    hello.answer(WriteJson(reply));
    it = hellos_.erase(it);
  }
}

void PageBrowser::OnHelloRequest(const std::string& session, const std::string& body,
                                 std::function<void(const std::string&)> answer) {
  Json::Value hello;
  if (!ParseJson(body, &hello) || !hello.isObject() || !hello["hello"].isString()) {
    answer("{\"handled\":false}");
    return;
  }
  OnHello(hello["hello"].asString(), session, 0, std::move(answer));
  if (session == session_ && navigating_) AnswerHellosOfALeavingDocument();
}

void PageBrowser::AnswerHellosOfALeavingDocument() {
  // A document whose frame is already navigating away may never be reported (Chromium holds
  // back its events while its page waits in the request): it goes without its object rather
  // than holding the page, and the navigation, until the watchdog answers.
  for (auto it = hellos_.begin(); it != hellos_.end();) {
    if (it->second.session == session_ && it->second.context == 0 && it->second.answer) {
      it->second.answer("{\"handled\":false}");
      it = hellos_.erase(it);
    } else {
      ++it;
    }
  }
}

void PageBrowser::OnPageCall(const std::string& session, const Json::Value& params) {
  if (!params["payload"].isString() || !params["executionContextId"].isInt()) return;
  Json::Value hello;
  if (params["payload"].asString().rfind("{\"hello\":", 0) == 0) {
    if (ParseJson(params["payload"].asString(), &hello) && hello["hello"].isString()) {
      OnHello(hello["hello"].asString(), session, params["executionContextId"].asInt(), nullptr);
    }
    return;
  }
  render()->Call({id_, session, params["executionContextId"].asInt()}, params["payload"].asString(),
                 false, [](const std::string&) {});
}

void PageBrowser::RunPageFunction(const std::string& session, int executionContextId, int handle,
                                  const std::string& args) {
  if (!alive_ || !engine_->ok()) return;
  Json::Value params;
  params["expression"] =
      "window.__tnpcShim && window.__tnpcShim.run(" + std::to_string(handle) + ", " + args + ")";
  params["contextId"] = executionContextId;
  engine_->connection().Send("Runtime.evaluate", params, session, nullptr);
}

// A frame of another site, a target of its own: the view hears of its loads with it and runs
// its scripts there.
class PageBrowser::Frame final : public CefFrame {
 public:
  Frame(std::string session, std::string target, int64_t id)
      : session(std::move(session)), target(std::move(target)), id_(id) {}
  bool IsMain() override { return false; }
  int64_t GetIdentifier() override { return id_; }
  CefString GetURL() override { return url; }
  const std::string session, target;
  std::string url;  // client form; UI thread only

 private:
  const int64_t id_;
  IMPLEMENT_REFCOUNTING(Frame);
};

void PageBrowser::OnFrameAttached(const std::string& session, const std::string& targetId) {
  frames_[session] = new Frame(session, targetId, static_cast<int64_t>(frames_.size()) + 1);
  engine_->SetUpSession(session);
  engine_->connection().Send("Runtime.runIfWaitingForDebugger", Json::Value(), session, nullptr);
}

void PageBrowser::OnEvent(const std::string& method, const Json::Value& params,
                          const std::string& session) {
  if (!alive_) return;
  const bool main = session == session_;
  auto attached = frames_.find(session);
  if (!main && attached == frames_.end()) return;
  const std::string frame = main ? target_ : attached->second->target;
  if (method == "Runtime.executionContextCreated") {
    const Json::Value& aux = params["context"]["auxData"];
    if (aux["isDefault"].asBool() && aux["frameId"].asString() == frame) {
      OnNewDocument(session, params["context"]["id"].asInt());
    }
    return;
  }
  if (method == "Runtime.executionContextDestroyed") {
    OnDocumentGone(session, params["executionContextId"].asInt());
    return;
  }
  if (method == "Runtime.executionContextsCleared" || (!main && method == "Inspector.detached")) {
    std::vector<int> ids;
    for (const auto& [key, document] : documents_) {
      if (key.first == session) ids.push_back(key.second);
    }
    for (int id : ids) OnDocumentGone(session, id);
    if (!main && method == "Inspector.detached") frames_.erase(session);
    return;
  }
  if (method == "Runtime.bindingCalled") {
    if (params["name"].asString() == "__tnpcNative") {
      OnPageCall(session, params);
      return;
    }
    Engine::BindingHandler handler;
    {
      std::lock_guard<std::mutex> lock(engine_->mutex_);
      handler = engine_->bindingHandler_;
    }
    if (handler) handler(this, params["name"].asString(), params["payload"].asString());
    return;
  }
  if (!main) {
    // A cross-site frame's own loads: the view runs its steps for that frame too.
    Frame* f = attached->second.get();
    if (method == "Page.frameNavigated" && params["frame"]["id"].asString() == frame) {
      f->url = Engine::ToClientUrl(params["frame"]["url"].asString());
    } else if (method == "Page.frameStoppedLoading" && params["frameId"].asString() == frame &&
               notify_ && !f->url.empty()) {
      tnbase::TnStringPtr text = tnbase::TnStringPtr::FromUTF8(f->url);
      notify_->OnPageLoaded(hostBrowser_, f, text.get());
    }
    return;
  }
  // A main-frame document has committed: its address is known at once (the page's first calls
  // may come before the load ends), and the history follows when the load does.
  if (method == "Page.frameStartedNavigating" && params["frameId"].asString() == target_ &&
      params["navigationType"] != "sameDocument") {
    navigating_ = true;
    AnswerHellosOfALeavingDocument();
    return;
  }
  if (method == "Page.frameNavigated" && !params["frame"].isMember("parentId")) {
    navigating_ = false;
    const std::string url = Engine::ToClientUrl(params["frame"]["url"].asString());
    std::unique_lock<std::mutex> lock(mutex_);
    ++navigations_;
    // A step back or forward, or a new entry; the browser's own history settles it at the end
    // of the load.
    const int size = static_cast<int>(history_.size());
    const bool stays = url == "about:blank" || (index_ >= 0 && history_[index_] == url);
    if (stays) {
      // about:blank, where every page target starts, is no entry; the same address neither.
    } else if (index_ > 0 && history_[index_ - 1] == url) {
      --index_;
    } else if (index_ >= 0 && index_ + 1 < size && history_[index_ + 1] == url) {
      ++index_;
    } else {
      history_.resize(index_ + 1);
      history_.push_back(url);
      index_ = static_cast<int>(history_.size()) - 1;
    }
    lock.unlock();
    ReportState();
    return;
  }
  // The main frame has stopped loading: a document is there. (Its load event can be missed
  // when the navigation moves the page to another renderer process; this one is not.)
  if (method == "Page.frameStoppedLoading" && params["frameId"].asString() == target_) {
    // Chromium drops a close that a navigation overtakes: it is asked again.
    if (closing_) {
      Close(0);
      return;
    }
    // The history is the browser's own; about:blank, where every page target starts, is
    // dropped from it.
    engine_->connection().Send(
        "Page.getNavigationHistory", Json::Value(), session_,
        [this, navigations = navigations_.load()](const Json::Value& result, const Json::Value&) {
          OnHistory(result, navigations);
        });
    return;
  }
  if (method == "Inspector.detached") FinishClose();
}

void PageBrowser::OnHistory(const Json::Value& result, int navigations) {
  if (!alive_ || !result["entries"].isArray()) return;
  std::vector<std::string> urls;
  for (const Json::Value& entry : result["entries"]) {
    urls.push_back(Engine::ToClientUrl(entry["url"].asString()));
  }
  int index = result["currentIndex"].asInt();
  if (!urls.empty() && urls.front() == "about:blank" && index > 0) {
    // The target's own about:blank is no back entry: the browser forgets it once the first
    // page is the only other entry and no navigation has begun since the history was read (a
    // reset then would drop the entries it adds).
    urls.erase(urls.begin());
    --index;
    if (urls.size() == 1 && navigations == navigations_)
      engine_->connection().Send("Page.resetNavigationHistory", Json::Value(), session_, nullptr);
  }
  if (index < 0 || index >= static_cast<int>(urls.size())) return;
  const std::string current = urls[index];
  if (current == "about:blank") return;
  const int count = static_cast<int>(urls.size());
  {
    std::lock_guard<std::mutex> lock(mutex_);
    history_ = urls;
    index_ = index;
  }
  ReportState();
  if (!notify_) return;
  tnbase::TnStringPtr text = tnbase::TnStringPtr::FromUTF8(current);
  notify_->OnPageLoaded(nullptr, nullptr, text.get());
  if (alive_) notify_->OnNavigationState(index, count);
}

void PageBrowser::FinishClose() {
  if (!alive_.exchange(false)) return;
  render()->PageClosed(id_);
  if (notify_) notify_->OnBeforeBrowserClose();
  win::DestroyWindow(hwnd_);
  hwnd_ = nullptr;
  if (notify_) notify_->OnBrowserDestroyed();
}

bool PageBrowser::GetProperty(int32_t id, void** out) {
  if (!out) return false;
  *out = nullptr;
  if (id != 18 || !alive_ || !hostBrowser_) return false;
  *out = hostBrowser_.get();
  return true;
}

void PageBrowser::SetWindowBounds(const Json::Value& bounds) {
  if (!alive_) return;
  Json::Value params;
  params["targetId"] = target_;
  Connection* connection = &engine_->connection();
  connection->Send("Browser.getWindowForTarget", params, "",
                   [connection, bounds](const Json::Value& result, const Json::Value&) {
                     if (!result.isMember("windowId")) return;
                     Json::Value set;
                     set["windowId"] = result["windowId"];
                     set["bounds"] = bounds;
                     connection->Send("Browser.setWindowBounds", set, "", nullptr);
                   });
}

void PageBrowser::SetWindowState(const char* state) {
  Json::Value bounds;
  bounds["windowState"] = state;
  SetWindowBounds(bounds);
}

void PageBrowser::Show(bool show) {
  if (alive_) win::ShowWindow(hwnd_, show ? win::SW_SHOWWINDOW : win::SW_HIDE);
}

void PageBrowser::Minimize() {
  if (alive_) win::ShowWindow(hwnd_, win::SW_MINIMIZE);
  SetWindowState("minimized");
}

void PageBrowser::Maximize() {
  if (alive_) win::ShowWindow(hwnd_, win::SW_MAXIMIZE);
  SetWindowState("maximized");
}

void PageBrowser::Restore() {
  if (alive_) win::ShowWindow(hwnd_, win::SW_RESTORE);
  SetWindowState("normal");
}

void PageBrowser::SetTopMost(bool) {}

void PageBrowser::Close(int32_t) {
  if (!alive_) return;
  closing_ = true;
  Json::Value params;
  params["targetId"] = target_;
  engine_->connection().Send("Target.closeTarget", params, "", nullptr);
}

void PageBrowser::MoveWindow(int32_t x, int32_t y, int32_t width, int32_t height) {
  if (!alive_) return;
  win::SetWindowPos(hwnd_, nullptr, x, y, width, height, win::SWP_NOZORDER);
  Json::Value bounds;
  bounds["left"] = x;
  bounds["top"] = y;
  bounds["width"] = width;
  bounds["height"] = height;
  SetWindowBounds(bounds);
}

void PageBrowser::AddHandler(const char*, HandlerCreator*) {}

void PageBrowser::RemoveHandler(const char*) {}

std::string PageBrowser::url() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return index_ >= 0 ? history_[index_] : std::string();
}

bool PageBrowser::CanGoBack() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return index_ > 0;
}

TnString* PageBrowser::GetUrl() {
  const std::string current = url();
  return current.empty()
             ? nullptr
             : allocStringFromUTF8(current.data(), static_cast<int32_t>(current.size()));
}

void PageBrowser::LoadUrl(const char* url) {
  if (!alive_ || !url) return;
  ++navigations_;
  Json::Value params;
  params["url"] = Engine::ToEngineUrl(url);
  engine_->connection().Send("Page.navigate", params, session_, nullptr);
}

void PageBrowser::SetTitle(const char16_t* title) {
  tnbase::TnStringPtr t(allocStringFromWideChars(title));
  std::lock_guard<std::mutex> lock(mutex_);
  title_ = t->ToUTF8();
}

void PageBrowser::SetInitialData(const char*) {}

void PageBrowser::SetCookie(TnString* address, TnString* name, TnString* value, TnString*) {
  if (!alive_) return;
  Json::Value params;
  params["url"] = Engine::ToEngineUrl(Utf8(address));
  params["name"] = Utf8(name);
  params["value"] = Utf8(value);
  engine_->connection().Send("Network.setCookie", params, session_, nullptr);
}

void PageBrowser::DeleteCookie(TnString* address, TnString* name, TnString*) {
  if (!alive_) return;
  Connection* connection = &engine_->connection();
  const std::string cookie = Utf8(name);
  const std::string site = Utf8(address);
  const std::string session = session_;
  if (!site.empty()) {
    Json::Value params;
    params["name"] = cookie;
    params["url"] = Engine::ToEngineUrl(site);
    connection->Send("Network.deleteCookies", params, session, nullptr);
    return;
  }
  // No address: the cookie of this name goes from every site of the space.
  Json::Value query;
  query["browserContextId"] = context_;
  connection->Send("Storage.getCookies", query, "",
                   [connection, cookie, session](const Json::Value& result, const Json::Value&) {
                     for (const Json::Value& c : result["cookies"]) {
                       if (c["name"].asString() != cookie) continue;
                       Json::Value params;
                       params["name"] = cookie;
                       params["domain"] = c["domain"];
                       params["path"] = c["path"];
                       connection->Send("Network.deleteCookies", params, session, nullptr);
                     }
                   });
}

void PageBrowser::ExecuteJavaScript(CefRefPtr<CefBrowser>, CefRefPtr<CefFrame> frame,
                                    const char16_t* script) {
  if (!alive_ || !script) return;
  tnbase::TnStringPtr text(allocStringFromWideChars(script));
  Json::Value params;
  params["expression"] = text->ToUTF8();
  // A cross-site frame's script runs in its own target; any other in the page.
  auto* own = dynamic_cast<Frame*>(frame.get());
  const bool attached = own && frames_.count(own->session) != 0;
  engine_->connection().Send("Runtime.evaluate", params, attached ? own->session : session_,
                             nullptr);
}

std::vector<std::string> PageBrowser::frame_sessions() const {
  std::vector<std::string> sessions;
  for (const auto& [session, frame] : frames_) sessions.push_back(session);
  return sessions;
}

bool PageBrowser::Evaluate(const std::string& expression, Json::Value* value, int timeoutMs,
                           const std::string& session) {
  Json::Value params, result;
  params["expression"] = expression;
  params["returnByValue"] = true;
  params["awaitPromise"] = true;
  if (!engine_->connection().Call("Runtime.evaluate", params, session.empty() ? session_ : session,
                                  &result, nullptr, timeoutMs)) {
    return false;
  }
  if (value) *value = result["result"]["value"];
  return !result.isMember("exceptionDetails");
}

bool PageBrowser::CaptureScreenshot(std::string* png) {
  Json::Value params, result;
  params["format"] = "png";
  if (!engine_->connection().Call("Page.captureScreenshot", params, session_, &result))
    return false;
  const QByteArray data =
      QByteArray::fromBase64(QByteArray::fromStdString(result["data"].asString()));
  png->assign(data.constData(), static_cast<std::size_t>(data.size()));
  return true;
}

}  // namespace xhav::cdp
