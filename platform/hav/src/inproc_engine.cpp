#include "hav/inproc_engine.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>

#include "arg_list.h"
#include "hav/handler_table.h"
#include "host_browser.h"
#include "inproc_browser_param.h"
#include "system_command.h"
#include "window_news.h"

namespace xhav::inproc {

// ---------------------------------------------------------------------------------------------
// Transport

namespace {

class QueueTransport final : public Transport {
 public:
  QueueTransport(cef_inproc::TaskRunner* browserSide, cef_inproc::TaskRunner* renderSide)
      : runners_{browserSide, renderSide} {}

  void SetReceiver(CefProcessId side, Receiver receiver) override {
    std::lock_guard<std::mutex> lock(mutex_);
    receivers_[side] = std::move(receiver);
  }

  bool Send(CefProcessId target, int browserId, CefRefPtr<CefProcessMessage> message) override {
    // A spent message (sent before) is refused.
    if (!message || !message->IsValid() || (target != PID_BROWSER && target != PID_RENDERER)) {
      return false;
    }
    // The message crosses the border as the engine's own sends do: its arguments move to the
    // receiver and the sender's message is left spent.
    CefRefPtr<CefProcessMessage> sent = message->Transfer();
    runners_[target]->PostTask([this, target, browserId, sent] {
      Receiver receiver;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        receiver = receivers_[target];
      }
      if (receiver) receiver(browserId, sent);
    });
    return true;
  }

 private:
  cef_inproc::TaskRunner* runners_[2];
  std::mutex mutex_;
  Receiver receivers_[2];
};

}  // namespace

std::unique_ptr<Transport> CreateQueueTransport(cef_inproc::TaskRunner* browserSide,
                                                cef_inproc::TaskRunner* renderSide) {
  return std::make_unique<QueueTransport>(browserSide, renderSide);
}

// ---------------------------------------------------------------------------------------------
// Core, registry and render host

class Engine::RegistryImpl final : public HandlerRegistry {
 public:
  void AddHandler(const char* address, HandlerCreator* creator) override {
    table.Add(address, creator);
  }
  void RemoveHandler(const char* address) override { table.Remove(address); }
  HandlerTable table;
};

class Engine::CoreImpl final : public Core {
 public:
  explicit CoreImpl(int processType) : processType_(processType) {}
  int GetProcessType() override { return processType_; }
  HandlerRegistry* GetHandlerRegistry() override { return &registry_; }
  bool CreateBrowser(const char* url, BrowserParam* param, BrowserNotify* notify,
                     Browser** out) override {
    return engine_->CreateBrowser(url, param, notify, out);
  }
  RegistryImpl registry_;
  Engine* engine_ = nullptr;

 private:
  const int processType_;
};

class Engine::RenderHostImpl final : public RenderHost {
 public:
  void RegisterExtension(const char* name, const char* script,
                         CefRefPtr<CefV8Handler> handler) override {
    std::lock_guard<std::mutex> lock(mutex_);
    extensions_.push_back({name ? name : "", script ? script : "", handler});
  }
  void SetRenderNotify(RenderNotify* notify) override {
    std::lock_guard<std::mutex> lock(mutex_);
    notify_ = notify;
  }
  RenderNotify* notify() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return notify_;
  }
  std::vector<Extension> extensions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return extensions_;
  }
  void Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    extensions_.clear();
  }

 private:
  mutable std::mutex mutex_;
  RenderNotify* notify_ = nullptr;
  std::vector<Extension> extensions_;
};

// ---------------------------------------------------------------------------------------------
// Page

class Page::Browser final : public CefBrowser {
 public:
  Browser(Engine* engine, int id) : engine_(engine), id_(id) {}

  int GetIdentifier() override { return id_; }
  bool IsSame(CefRefPtr<CefBrowser> that) override { return that && that->GetIdentifier() == id_; }
  void Reload() override { ++reloads_; }
  void GoBack() override { ++backs_; }
  void GoForward() override { ++forwards_; }
  bool CanGoBack() override { return canGoBack_; }
  bool CanGoForward() override { return canGoForward_; }
  CefRefPtr<CefFrame> GetMainFrame() override { return nullptr; }
  bool SendProcessMessage(CefProcessId target, CefRefPtr<CefProcessMessage> message) override {
    if (target != PID_BROWSER || !message) return false;
    Engine* engine = engine_.load();
    return engine && engine->SendFromPage(id_, message);
  }

  void Detach() { engine_.store(nullptr); }

  std::atomic<Engine*> engine_;
  const int id_;
  std::atomic<int> reloads_{0}, backs_{0}, forwards_{0};
  std::atomic<bool> canGoBack_{false}, canGoForward_{false};
  IMPLEMENT_REFCOUNTING(Browser);
};

Page::Page(Engine* engine, int id, bool enableBusiness, std::string url)
    : engine_(engine),
      id_(id),
      enableBusiness_(enableBusiness),
      url_(std::move(url)),
      browser_(new Browser(engine, id)) {}

Page::~Page() {
  browser_->Detach();
  if (context_) cef_inproc::InvalidateContext(context_);
}

CefRefPtr<CefBrowser> Page::browser() const { return browser_; }

void Page::NewContext() {
  if (context_) cef_inproc::InvalidateContext(context_);
  context_ = cef_inproc::CreateContext(browser_, nullptr);
  CefRefPtr<CefV8Context> context = context_;
  CefRefPtr<CefBrowser> browser = browser_;
  Engine* engine = engine_;
  const bool enableBusiness = enableBusiness_;
  engine_->renderer().PostTask([engine, browser, context, enableBusiness] {
    if (RenderNotify* notify = engine->render_notify()) {
      notify->OnContextCreated(browser, nullptr, context, enableBusiness);
    }
  });
}

CefRefPtr<CefV8Value> Page::Get(const std::string& path) const {
  CefRefPtr<CefV8Value> value = global();
  std::size_t begin = 0;
  while (value && begin < path.size()) {
    const std::size_t dot = std::min(path.find('.', begin), path.size());
    value = value->GetValue(CefString(path.substr(begin, dot - begin)));
    begin = dot + 1;
  }
  return value;
}

cef_inproc::ScriptCallResult Page::Call(const std::string& path, const CefV8ValueList& args) {
  CefRefPtr<CefV8Value> function = Get(path);
  if (!function || !function->IsFunction()) return {};
  return cef_inproc::CallFromScript(context_, function, args);
}

void Page::Reload() {
  SetGone(false);
  NewContext();
}

bool Page::FetchJSMessage(const std::string& messages) {
  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create(kFetchJSMessage);
  message->GetArgumentList()->SetString(0, messages);
  return browser_->SendProcessMessage(PID_BROWSER, message);
}

void Page::SetHistory(bool canGoBack, bool canGoForward) {
  browser_->canGoBack_ = canGoBack;
  browser_->canGoForward_ = canGoForward;
}

void Page::SetGone(bool gone) {
  std::lock_guard<std::mutex> lock(engine_->mutex_);
  auto& list = engine_->gone_;
  list.erase(std::remove(list.begin(), list.end(), id_), list.end());
  if (gone) list.push_back(id_);
}

int Page::reloads() const { return browser_->reloads_; }
int Page::backs() const { return browser_->backs_; }
int Page::forwards() const { return browser_->forwards_; }

// ---------------------------------------------------------------------------------------------
// Engine

Engine::Engine(int processType, Sides sides)
    : core_(std::make_unique<CoreImpl>(processType)),
      renderHost_(std::make_unique<RenderHostImpl>()),
      sides_(sides) {
  core_->engine_ = this;
  cef_inproc::SetTaskRunner(TID_UI, &ui_);
  cef_inproc::SetTaskRunner(TID_RENDERER, &renderer_);
  win::SetMessagePoster([this](std::function<void()> task) { ui_.PostTask(std::move(task)); });
  SetTransport(CreateQueueTransport(&ui_, &renderer_));
}

Engine::~Engine() {
  ui_.Stop();
  renderer_.Stop();
  // Tasks still queued hold references into the pages' script objects; run them off here so
  // that nothing outlives the engine.
  RunUntilIdle();
  win::SetMessagePoster(nullptr);
  for (BrowserImpl* b : browsers_) delete b;
  cef_inproc::SetTaskRunner(TID_UI, nullptr);
  cef_inproc::SetTaskRunner(TID_RENDERER, nullptr);
}

BrowserParamRecord ReadBrowserParam(BrowserParam* param) {
  auto* record = dynamic_cast<BrowserParamImpl*>(param);
  return record ? record->record() : BrowserParamRecord();
}

bool Engine::CreateBrowser(const char* url, BrowserParam* param, BrowserNotify* notify,
                           Browser** out) {
  if (out) *out = nullptr;
  const BrowserParamRecord settings = ReadBrowserParam(param);
  BrowserImpl* browser;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    browser = new BrowserImpl(this, nextId_++, url ? url : "", settings, notify);
    browsers_.push_back(browser);
    if (sides_ == Sides::kBoth) {
      browser->page_.reset(new Page(this, browser->id_, true, browser->url_));
      pages_.push_back(browser->page_);
    }
  }
  if (browser->page_) {
    browser->page_->NewContext();
  } else {
    // The render process lives apart: it opens the page itself.
    transport_->SendControl({Control::kOpenPage, browser->id_, browser->url_});
  }
  ui_.PostTask([browser] {
    if (!browser->alive_ || !browser->notify_) return;
    browser->notify_->OnBrowserCreated();
    if (browser->alive_) browser->news_->Created(browser->notify_, browser->hwnd_);
  });
  if (!browser->url_.empty()) browser->Go(browser->url_, false);
  if (out) *out = browser;
  return true;
}

void Engine::SetClientWebDomain(const std::string& domain) {
  std::lock_guard<std::mutex> lock(mutex_);
  clientWebDomain_ = domain;
}

std::string Engine::client_web_domain() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return clientWebDomain_;
}

std::vector<BrowserImpl*> Engine::browsers() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return browsers_;
}

void Engine::ForgetClosedBrowsers() {
  RunUntilIdle();  // nothing queued may still reach a window that goes
  std::vector<BrowserImpl*> closed;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto gone = std::stable_partition(browsers_.begin(), browsers_.end(),
                                      [](BrowserImpl* b) { return b->alive_.load(); });
    closed.assign(gone, browsers_.end());
    browsers_.erase(gone, browsers_.end());
  }
  for (BrowserImpl* b : closed) delete b;
  std::lock_guard<std::mutex> lock(mutex_);
  pages_.erase(std::remove_if(pages_.begin(), pages_.end(),
                              [](const std::weak_ptr<Page>& page) { return page.expired(); }),
               pages_.end());
}

void Engine::RenderProcessGone(int status) {
  std::vector<std::shared_ptr<Page>> pages;
  std::vector<BrowserImpl*> browsers;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& weak : pages_) {
      if (auto page = weak.lock()) pages.push_back(page);
    }
    browsers = browsers_;
  }
  for (const auto& page : pages) {
    page->SetGone(true);
    if (page->context_) cef_inproc::InvalidateContext(page->context_);
  }
  for (BrowserImpl* b : browsers) {
    if (b->alive_ && b->notify_) b->notify_->OnRenderProcessTemerate(0, status);
  }
}

BrowserImpl* Engine::FindBrowser(int id) const {
  std::lock_guard<std::mutex> lock(mutex_);
  for (BrowserImpl* b : browsers_) {
    if (b->id_ == id) return b;
  }
  return nullptr;
}

void Engine::DeliverToBrowser(int browserId, CefRefPtr<CefProcessMessage> message) {
  trace_("deliver", PID_BROWSER, browserId, message);
  BrowserImpl* browser = FindBrowser(browserId);
  Transport::Receiver receiver;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!browser || !browser->alive_ || !browser->notify_) {
      if (!browserReceiver_) {
        browserMessages_.push_back({browserId, message});
        return;
      }
      receiver = browserReceiver_;
    }
  }
  if (receiver) {
    receiver(browserId, message);
    return;
  }
  DeliverToView(browser->notify_, browser->host_, message);
}

Core* Engine::core() { return core_.get(); }

RenderHost* Engine::render_host() { return renderHost_.get(); }

RequestResult Engine::SendRequest(int browserId, const std::string& address,
                                  const std::vector<std::string>* body) {
  BrowserImpl* browser = FindBrowser(browserId);
  HandlerCreator* creator =
      FindServing(browser ? &browser->handlers_ : nullptr, core_->registry_.table, address);
  ServedRequest served = ServeRequest(creator, address, body);
  if (served.served) requestTrace_(browserId, address, served.writes);
  return {served.served, std::move(served.writes)};
}

void Engine::RunUntilIdle() {
  while (ui_.RunUntilIdle() + renderer_.RunUntilIdle() > 0) {
  }
}

void Engine::SetTransport(std::unique_ptr<Transport> transport) {
  transport_ = std::move(transport);
  transport_->SetReceiver(PID_RENDERER, [this](int id, CefRefPtr<CefProcessMessage> message) {
    DeliverToRenderer(id, message);
  });
  transport_->SetReceiver(PID_BROWSER, [this](int id, CefRefPtr<CefProcessMessage> message) {
    DeliverToBrowser(id, message);
  });
  transport_->SetControlReceiver([this](const Control& control) { OnControl(control); });
}

void Engine::SetPageObserver(std::function<void(std::shared_ptr<Page>)> observer) {
  std::lock_guard<std::mutex> lock(mutex_);
  pageObserver_ = std::move(observer);
}

void Engine::OnControl(const Control& control) {
  if (control.kind == Control::kClosePage) {
    std::shared_ptr<Page> closing;
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = remotePages_.find(control.browserId);
    if (it == remotePages_.end()) return;
    closing = std::move(it->second);
    remotePages_.erase(it);
    return;
  }
  std::shared_ptr<Page> page;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    page.reset(new Page(this, control.browserId, true, control.text));
    pages_.push_back(page);
    remotePages_[control.browserId] = page;
  }
  page->NewContext();
  // Behind the context's creation on the same runner: the page's script may run.
  renderer_.PostTask([this, page] {
    std::function<void(std::shared_ptr<Page>)> observer;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      observer = pageObserver_;
    }
    if (observer) observer(page);
  });
}

std::shared_ptr<Page> Engine::OpenPage(bool enableBusiness) {
  std::shared_ptr<Page> page;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    page.reset(new Page(this, nextId_++, enableBusiness));
    pages_.push_back(page);
  }
  page->NewContext();
  return page;
}

std::shared_ptr<Page> Engine::FindPage(int browserId) const {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& weak : pages_) {
    if (auto page = weak.lock(); page && page->id() == browserId) return page;
  }
  return nullptr;
}

bool Engine::SendToRenderer(int browserId, CefRefPtr<CefProcessMessage> message) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (std::count(gone_.begin(), gone_.end(), browserId)) return false;
  }
  trace_("send", PID_RENDERER, browserId, message);
  return transport_->Send(PID_RENDERER, browserId, message);
}

bool Engine::SendFromPage(int browserId, CefRefPtr<CefProcessMessage> message) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (std::count(gone_.begin(), gone_.end(), browserId)) return false;
  }
  trace_("send", PID_BROWSER, browserId, message);
  return transport_->Send(PID_BROWSER, browserId, message);
}

void Engine::DeliverToRenderer(int browserId, CefRefPtr<CefProcessMessage> message) {
  trace_("deliver", PID_RENDERER, browserId, message);
  std::shared_ptr<Page> page = FindPage(browserId);
  RenderNotify* notify = render_notify();
  if (!page || !notify) return;
  tnbase::TnStringPtr name(allocStringFromText(message->GetName().text()));
  ListArgs args(message->GetArgumentList());
  const bool taken = notify->OnHavMessage(page->browser(), PID_BROWSER, name.get(), &args);
  std::lock_guard<std::mutex> lock(mutex_);
  havResults_.push_back(taken);
}

void Engine::SetBrowserReceiver(Transport::Receiver receiver) {
  std::lock_guard<std::mutex> lock(mutex_);
  browserReceiver_ = std::move(receiver);
}

std::vector<RecordedMessage> Engine::TakeBrowserMessages() {
  std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(browserMessages_, {});
}

std::vector<Extension> Engine::extensions() const { return renderHost_->extensions(); }

RenderNotify* Engine::render_notify() const { return renderHost_->notify(); }

std::vector<bool> Engine::TakeHavResults() {
  std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(havResults_, {});
}

std::vector<std::pair<std::string, HandlerCreator*>> Engine::registrations() const {
  return core_->registry_.table.entries();
}

}  // namespace xhav::inproc

namespace xhav::inproc {
namespace {

// Kind 3 of CreateHavObject: posts to whatever runs the user-interface thread (either engine).
class UiTaskRunner final : public TaskRunner {
 public:
  void Destroy() override { delete this; }
  int32_t Reserved() override { return 0; }
  int32_t PostTask(int32_t id, CefRefPtr<CefTask> task) override {
    if (!task) return -1;
    const int32_t handle = next_++;
    {
      std::lock_guard<std::mutex> lock(state_->mutex);
      state_->posted.emplace(handle, Posting{id, false});
    }
    std::shared_ptr<State> state = state_;
    const bool posted = CefPostTask(TID_UI, [state, handle, task] {
      {
        std::lock_guard<std::mutex> lock(state->mutex);
        auto it = state->posted.find(handle);
        if (it != state->posted.end()) it->second.started = true;
      }
      task->Execute();
    });
    if (posted) return handle;
    std::lock_guard<std::mutex> lock(state_->mutex);
    state_->posted.erase(handle);
    return -1;
  }
  void RemoveTask(int32_t id) override {
    std::lock_guard<std::mutex> lock(state_->mutex);
    for (auto it = state_->posted.begin(); it != state_->posted.end();) {
      it = it->second.id == id && it->second.started ? state_->posted.erase(it) : std::next(it);
    }
  }

 private:
  ~UiTaskRunner() override = default;
  struct Posting {
    int32_t id;
    bool started;
  };
  // Shared with the posted tasks, which may run after the runner is gone.
  struct State {
    std::mutex mutex;
    std::map<int32_t, Posting> posted;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
  std::atomic<int32_t> next_{1};
};

}  // namespace
}  // namespace xhav::inproc

namespace xhav::inproc {
namespace {
std::atomic<uint32_t> refusedKinds{0};
}  // namespace

void RefuseHavObjects(int kind, bool refuse) {
  const uint32_t bit = 1u << (kind & 31);
  if (refuse) {
    refusedKinds |= bit;
  } else {
    refusedKinds &= ~bit;
  }
}
}  // namespace xhav::inproc

extern "C" bool CreateHavObject(int kind, void** out) {
  if (!out) return false;
  *out = nullptr;
  if (xhav::inproc::refusedKinds & (1u << (kind & 31))) return false;
  if (kind == xhav::kHavObjectTaskRunner) {
    *out = static_cast<xhav::TaskRunner*>(new xhav::inproc::UiTaskRunner());
    return true;
  }
  if (kind != xhav::kHavObjectBrowserParam) return false;
  *out = static_cast<xhav::BrowserParam*>(new xhav::inproc::BrowserParamImpl());
  return true;
}
