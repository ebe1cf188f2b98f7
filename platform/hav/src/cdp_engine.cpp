// The Chromium engine: launches the browser, makes a page target for each browser of hav,
// sets up each session and hands events to the page they belong to. The pages' calls are in
// cdp_calls.cpp, the client's page files in cdp_resources.cpp, a page's browser in
// cdp_page_browser.cpp.

#include "hav/cdp_engine.h"

#include "arg_list.h"
#include "cdp_engine_internal.h"
#include "cdp_render_side.h"
#include "cef/cef_task.h"
#include "cef/inproc_v8.h"
#include "hav/handler_table.h"
#include "hav/json_text.h"
#include "host_browser.h"
#include "window_news.h"

namespace xhav::cdp {

void EngineLog(int level, const char* function, const std::string& text) {
  logger_write(level, __FILE__, __LINE__, function, text.data(), text.size());
}

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
    explicit Registry(Engine* engine) : engine_(engine) {}
    void AddHandler(const char* address, HandlerCreator* creator) override {
      table.Add(address, creator);
      engine_->Intercept(address ? address : "");
    }
    void RemoveHandler(const char* address) override { table.Remove(address); }
    HandlerTable table;

   private:
    Engine* engine_;
  };
  Engine* engine_;
  const int processType_;

 public:
  Registry registry_{engine_};
};

Engine::Engine(EngineOptions options, int processType)
    : options_(std::move(options)), core_(std::make_unique<CoreImpl>(this, processType)) {
  cef_inproc::SetTaskRunner(TID_UI, &ui_);
  ui_.SetDisplayPriority();  // the browser's UI thread, when the engine gives it its own
  // Messages posted to windows run on the UI thread, as the system's message loop runs them.
  win::SetMessagePoster([this](std::function<void()> task) { ui_.PostTask(std::move(task)); });
  warmLimit_ = std::max(0, options_.warmTargets);
  order_ = std::make_unique<CallOrder>();
  prompts_ = std::make_unique<PromptCalls>();
  watchdog_ = std::make_unique<SyncWatchdog>(
      options_.syncCallLimitMs, [this](const std::string& session, const std::string& request) {
        FulfilCall(session, request, "{\"handled\":false}");
      });
  if (!Connect()) return;
  if (!StartRenderSide()) {
    answers_->Close();
    live_.store(nullptr);
    connections_.clear();
  }
}

bool Engine::Connect() {
  std::unique_ptr<Connection> fresh = Connection::Launch(options_.launch, &error_);
  if (!fresh) return false;
  Connection* connection = fresh.get();
  connection->SetRunner(&ui_);
  // Targets that pages open (popups) and the end of every target are told on the browser's
  // own session.
  Json::Value discover;
  discover["discover"] = true;
  connection->Call("Target.setDiscoverTargets", discover, "", nullptr);
  if (answers_) {
    answers_->Reset(connection);
  } else {
    answers_ = std::make_shared<CallAnswers>(connection);
  }
  connection->SetReaderHook(
      [this](const std::string& method, const Json::Value& params, const std::string& session) {
        return TakeCallOnReader(method, params, session);
      },
      // Only a page's calls are taken there: its requests to the call origin and its dialogs.
      [](const std::string& method, const std::string& text) {
        return method == "Page.javascriptDialogOpening" ||
               (method == "Fetch.requestPaused" && text.find(kCallHost) != std::string::npos);
      });
  connection->SetEventHandler(
      [this](const std::string& method, const Json::Value& params, const std::string& session) {
        OnEvent(method, params, session);
      });
  connection->SetLostHandler(
      [this, connection] { ui_.PostTask([this, connection] { OnConnectionLost(connection); }); });
  connections_.push_back(std::move(fresh));
  live_.store(connection);
  return true;
}

void Engine::OnConnectionLost(Connection* connection) {
  if (connection != live_.load()) return;
  // Every window of the lost browser has gone with it: each view hears that its page ended
  // and that its browser closed. The next window starts Chromium anew.
  EngineLog(kTnLogError, "Engine::OnConnectionLost",
            "Chromium has gone: its windows are closed, the next one starts it anew");
  lost_ = true;
  answers_->Close();
  ForgetWarmTargets();  // they went with the browser
  for (PageBrowser* page : browsers()) {
    if (!page->alive()) continue;
    if (page->notify_) page->notify_->OnRenderProcessTemerate(0, 0);
    page->FinishClose();
  }
}

bool Engine::Reconnect() {
  if (!lost_) return ok();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    contexts_.clear();  // the cookie spaces of the browser that has gone
  }
  lost_ = !Connect();  // the lost one stays, closed, until the engine ends
  return !lost_;
}

Engine::~Engine() {
  SetWarmTargets(0);  // no kept target outlives the engine
  win::SetMessagePoster(nullptr);
  {
    std::lock_guard<std::mutex> lock(directMutex_);
    direct_ = false;  // the reader no longer hands calls to the render side
  }
  ui_.Stop();
  if (watchdog_) watchdog_->Stop();  // it writes to the connection
  if (answers_) answers_->Close();
  live_.store(nullptr);
  connections_.clear();  // ends Chromium
  ui_.RunUntilIdle();
  renderSide_.reset();  // ends a render host process
  ui_.RunUntilIdle();
  for (PageBrowser* b : browsers_) delete b;
  cef_inproc::SetTaskRunner(TID_UI, nullptr);
}

Core* Engine::core() { return core_.get(); }

std::size_t Engine::prompt_bytes_held() const { return prompts_ ? prompts_->held() : 0; }

RenderHost* Engine::render_host() { return renderHost_; }

pid_t Engine::render_process() const { return renderSide_ ? renderSide_->process() : -1; }

// The render side's way to the pages. In this process it runs on the UI thread; the link to a
// render host process calls it there too.
class Engine::Link final : public PageLink {
 public:
  explicit Link(Engine* engine) : engine_(engine) {}
  void SendToBrowser(int browser, CefRefPtr<CefProcessMessage> message,
                     const DocumentId& from) override {
    // A process message arrives later, as one from another process would.
    engine_->ui_.PostTask([this, browser, message, from] {
      PageBrowser* page = Find(browser);
      engine_->trace_("deliver", PID_BROWSER, browser, message);
      if (!page || !page->alive() || !page->notify_) return;
      // The view judges a message by the page's address as it is when the message arrives: a
      // message of a document that has since left that address's origin is not the page's.
      if (from.context != 0 && !page->SentByThePage(from)) {
        EngineLog(kTnLogInfo, "Engine::Link",
                  "browser " + std::to_string(browser) +
                      ": a message of a document that the page's address no longer names is "
                      "dropped: " +
                      message->GetName().ToString());
        return;
      }
      inproc::DeliverToView(page->notify_, page->hostBrowser_, message);
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
  if (!connection().Call("Target.createBrowserContext", Json::Value(), "", &result)) return "";
  const std::string id = result["browserContextId"].asString();
  std::lock_guard<std::mutex> lock(mutex_);
  contexts_[space] = id;
  return id;
}

void Engine::PostDelayed(int ms, std::function<void()> task) {
  if (!watchdog_) return;
  watchdog_->After(ms, [this, task = std::move(task)] { ui_.PostTask(task); });
}

std::vector<std::pair<std::string, Json::Value>> Engine::SessionSetUp() {
  Json::Value binding;
  binding["name"] = "__tnpcNative";
  // hav's own channel for light apps' bridges: window.havFetchJSMessage(text).
  Json::Value fetchMessages;
  fetchMessages["name"] = kFetchJSMessage;
  Json::Value shim;
  shim["source"] = ShimScript();
  Json::Value attach;
  attach["autoAttach"] = true;
  attach["waitForDebuggerOnStart"] = true;
  attach["flatten"] = true;
  std::vector<std::pair<std::string, Json::Value>> steps = {
      {"Page.enable", Json::Value()},
      {"Runtime.enable", Json::Value()},
      {"Inspector.enable", Json::Value()}};  // a renderer's crash
  {
    // The log's entries (policies' refusals) only for a tracer of the pages' messages.
    std::lock_guard<std::mutex> lock(mutex_);
    if (pageMessageTracer_) steps.emplace_back("Log.enable", Json::Value());
    // The paints of a page (its first one) only for a tracer of the windows' steps.
    if (stepTracer_) {
      Json::Value lifecycle;
      lifecycle["enabled"] = true;
      steps.emplace_back("Page.setLifecycleEventsEnabled", lifecycle);
    }
  }
  Json::Value drag;
  drag["name"] = kDragBinding;
  drag["executionContextName"] = kDragWorld;  // its script comes with a drag (cdp_drag.cpp)
  steps.emplace_back("Runtime.addBinding", binding);
  steps.emplace_back("Runtime.addBinding", fetchMessages);
  steps.emplace_back("Runtime.addBinding", drag);
  steps.emplace_back("Page.addScriptToEvaluateOnNewDocument", shim);
  for (const std::string& extension : renderSide_->ExtensionScripts()) {
    Json::Value script;
    script["source"] = extension;
    steps.emplace_back("Page.addScriptToEvaluateOnNewDocument", script);
  }
  for (const std::string& tool : options_.toolScripts) {
    Json::Value script;
    script["source"] = tool;
    steps.emplace_back("Page.addScriptToEvaluateOnNewDocument", script);
  }
  steps.emplace_back("Fetch.enable", FetchPatterns());
  // Frames of other sites are targets of their own: they are attached and set up the same way.
  steps.emplace_back("Target.setAutoAttach", attach);
  return steps;
}

void Engine::SetUpFrameSession(const std::string& session, int browser) {
  // Chromium runs a session's commands in order, and the frame waits for the last one: the
  // steps are sent without waiting for their answers, so no frame ever holds the UI thread.
  for (auto& [method, params] : SessionSetUp()) {
    Connection::Callback failed;
    if (method == "Fetch.enable") {
      failed = [browser](const Json::Value&, const Json::Value& error) {
        if (error.isNull()) return;
        EngineLog(kTnLogError, "Engine::SetUpFrameSession",
                  "browser " + std::to_string(browser) +
                      ": a frame's requests cannot be served: " + WriteJson(error));
      };
    }
    connection().Send(method, params, session, std::move(failed));
  }
  connection().Send("Runtime.runIfWaitingForDebugger", Json::Value(), session, nullptr);
}

Json::Value Engine::FetchPatterns() {
  Json::Value fetch;
  // Every document request: a main frame's navigation is the view's to allow first.
  Json::Value documents;
  documents["urlPattern"] = "*";
  documents["resourceType"] = "Document";
  fetch["patterns"].append(documents);
  for (const char* host : {kPagesHost, kFramesHost}) {
    Json::Value pattern;
    pattern["urlPattern"] = std::string("https://*") + host + "/*";
    fetch["patterns"].append(pattern);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  for (const std::string& host : interceptHosts_) {
    Json::Value pattern;
    pattern["urlPattern"] = "https://" + host + "/*";
    fetch["patterns"].append(pattern);
  }
  return fetch;
}

void Engine::Intercept(const std::string& address) {
  const std::string host = HostOf(address);
  std::vector<std::string> sessions;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (host.empty() || !interceptHosts_.insert(host).second) return;
    for (const auto& [session, browser] : bySession_) sessions.push_back(session);
  }
  // Sessions that exist already take the new host too.
  if (!ok()) return;
  const Json::Value fetch = FetchPatterns();
  for (const std::string& session : sessions)
    connection().Send("Fetch.enable", fetch, session, nullptr);
  SetUpChanged();  // kept targets were set up without it
}

HandlerCreator* Engine::FindCreator(PageBrowser* page, const std::string& url) {
  return FindServing(page ? &page->handlers_ : nullptr, core_->registry_.table, url);
}

bool Engine::IsIntercepted(const std::string& url) {
  std::lock_guard<std::mutex> lock(mutex_);
  return interceptHosts_.count(HostOf(url)) != 0;
}

void Engine::OnEvent(const std::string& method, const Json::Value& params,
                     const std::string& session) {
  if (!ok()) return;  // the engine is ending: what Chromium said last is not answered
  if (method == "Fetch.requestPaused") {
    ServeResource(session, params);
    return;
  }
  if (method == "Page.javascriptDialogOpening" && ServeDialogCall(session)) return;
  PageBrowser* browser = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string key = session;
    if (key.empty() && params.isMember("sessionId")) key = params["sessionId"].asString();
    auto it = bySession_.find(key);
    if (it != bySession_.end()) browser = it->second;
  }
  if (session.empty() && OnBrowserTargetEvent(method, params)) return;
  if (!browser) {
    // A kept target's empty document has loaded: it is ready.
    auto parked = parking_.find(session);
    if (parked == parking_.end()) return;
    if (method == "Page.frameNavigated" && params["frame"].isObject() &&
        !params["frame"].isMember("parentId") && params["frame"]["url"].isString() &&
        IsParkingUrl(params["frame"]["url"].asString()))
      parked->second.committed = true;
    if (method == "Page.frameStoppedLoading" && parked->second.committed) {
      auto ready = std::move(parked->second.ready);
      parking_.erase(parked);
      ready();
    }
    return;
  }
  if (method == "Target.attachedToTarget" && !session.empty()) {
    const std::string child = params["sessionId"].isString() ? params["sessionId"].asString() : "";
    // Frames of other sites get the page's set-up; workers get nothing of the page's (no
    // native object) and are left to run on their own.
    if (params["targetInfo"]["type"] != "iframe") {
      Json::Value detach;
      detach["sessionId"] = child;
      connection().Send("Runtime.runIfWaitingForDebugger", Json::Value(), child, nullptr);
      connection().Send("Target.detachFromTarget", detach, session, nullptr);
      return;
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      bySession_[child] = browser;
    }
    browser->OnFrameAttached(child, params["targetInfo"]["targetId"].asString());
    return;
  }
  if (method == "Target.detachedFromTarget" && !session.empty() && params["sessionId"].isString()) {
    // A frame of another site has gone: its session and documents with it.
    const std::string child = params["sessionId"].asString();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto it = bySession_.find(child);
      if (it == bySession_.end() || it->second != browser || child == browser->session_) return;
      bySession_.erase(it);
    }
    browser->OnFrameDetached(child);
    return;
  }
  browser->OnEvent(method, params, session.empty() ? browser->session_ : session);
}

}  // namespace xhav::cdp

namespace xhav::cdp {

bool Engine::OnBrowserTargetEvent(const std::string& method, const Json::Value& params) {
  const Json::Value& info = params["targetInfo"];
  if (method == "Target.targetCreated" && info["type"] == "page" && info["openerId"].isString()) {
    // A page that a page opened (window.open, a link to a new window): the engine made no
    // browser for it, so it gets no native object and the host never sees it. It is closed,
    // and its opener's view hears of the popup (its own popup path).
    PageBrowser* opener = nullptr;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      for (PageBrowser* page : browsers_) {
        if (page->target_ == info["openerId"].asString()) opener = page;
      }
      for (PageBrowser* page : browsers_) {
        if (page->target_ == info["targetId"].asString()) return true;  // one of ours
      }
    }
    if (!opener) return false;
    Json::Value close;
    close["targetId"] = info["targetId"];
    connection().Send("Target.closeTarget", close, "", nullptr);
    EngineLog(kTnLogInfo, "Engine::OnBrowserTargetEvent",
              "browser " + std::to_string(opener->id_) + ": a page it opened is closed (" +
                  (info["url"].isString() ? info["url"].asString() : std::string()) + ")");
    if (opener->alive() && opener->notify_) opener->notify_->OnPopup();
    return true;
  }
  // The end of a page's own target, however it came (a shared worker may keep the page's
  // session from saying so): the page has closed.
  std::string target;
  if (method == "Target.targetDestroyed" && params["targetId"].isString()) {
    target = params["targetId"].asString();
    // A kept target that has gone (its renderer ended) is no longer kept.
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = warm_.begin(); it != warm_.end(); ++it) {
      if (it->target != target) continue;
      warm_.erase(it);
      return true;
    }
  }
  if (method == "Target.detachedFromTarget" && params["sessionId"].isString()) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = bySession_.find(params["sessionId"].asString());
    if (it != bySession_.end() && it->second->session_ == it->first) target = it->second->target_;
  }
  if (target.empty()) return method.rfind("Target.", 0) == 0;
  PageBrowser* page = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (PageBrowser* b : browsers_) {
      if (b->target_ == target) page = b;
    }
  }
  if (page) page->FinishClose();
  return true;
}

}  // namespace xhav::cdp
