#include "hav/inproc_engine.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "arg_list.h"

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
    if (!message || (target != PID_BROWSER && target != PID_RENDERER)) return false;
    // Crossing the border copies the message, as a real process border would.
    CefRefPtr<CefProcessMessage> copy = message->Copy();
    runners_[target]->PostTask([this, target, browserId, copy] {
      Receiver receiver;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        receiver = receivers_[target];
      }
      if (receiver) receiver(browserId, copy);
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
    std::lock_guard<std::mutex> lock(mutex_);
    order_.emplace_back(address ? address : "", creator);
  }
  void RemoveHandler(const char* address) override {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::string a = address ? address : "";
    order_.erase(std::remove_if(order_.begin(), order_.end(),
                                [&](const auto& entry) { return entry.first == a; }),
                 order_.end());
  }
  std::vector<std::pair<std::string, HandlerCreator*>> entries() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return order_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::pair<std::string, HandlerCreator*>> order_;
};

class Engine::CoreImpl final : public Core {
 public:
  explicit CoreImpl(int processType) : processType_(processType) {}
  int GetProcessType() override { return processType_; }
  HandlerRegistry* GetHandlerRegistry() override { return &registry_; }
  bool CreateBrowser(const char*, BrowserParam*, BrowserNotify*, Browser** out) override {
    if (out) *out = nullptr;
    return false;
  }
  RegistryImpl registry_;

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

Page::Page(Engine* engine, int id, bool enableBusiness)
    : engine_(engine),
      id_(id),
      enableBusiness_(enableBusiness),
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
  std::istringstream parts(path);
  std::string part;
  while (value && std::getline(parts, part, '.')) value = value->GetValue(CefString(part));
  return value;
}

cef_inproc::ScriptCallResult Page::Call(const std::string& path, const CefV8ValueList& args) {
  CefRefPtr<CefV8Value> function = Get(path);
  if (!function || !function->IsFunction()) return {};
  return cef_inproc::CallFromScript(context_, function, args);
}

void Page::Reload() { NewContext(); }

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

Engine::Engine(int processType)
    : core_(std::make_unique<CoreImpl>(processType)),
      renderHost_(std::make_unique<RenderHostImpl>()) {
  cef_inproc::SetTaskRunner(TID_UI, &ui_);
  cef_inproc::SetTaskRunner(TID_RENDERER, &renderer_);
  SetTransport(CreateQueueTransport(&ui_, &renderer_));
}

Engine::~Engine() {
  ui_.Stop();
  renderer_.Stop();
  // Tasks still queued hold references into the pages' script objects; run them off here so
  // that nothing outlives the engine.
  RunUntilIdle();
  cef_inproc::SetTaskRunner(TID_UI, nullptr);
  cef_inproc::SetTaskRunner(TID_RENDERER, nullptr);
}

Core* Engine::core() { return core_.get(); }

RenderHost* Engine::render_host() { return renderHost_.get(); }

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
    Transport::Receiver receiver;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (!browserReceiver_) {
        browserMessages_.push_back({id, message});
        return;
      }
      receiver = browserReceiver_;
    }
    receiver(id, message);
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
  return transport_->Send(PID_RENDERER, browserId, message);
}

bool Engine::SendFromPage(int browserId, CefRefPtr<CefProcessMessage> message) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (std::count(gone_.begin(), gone_.end(), browserId)) return false;
  }
  return transport_->Send(PID_BROWSER, browserId, message);
}

void Engine::DeliverToRenderer(int browserId, CefRefPtr<CefProcessMessage> message) {
  std::shared_ptr<Page> page = FindPage(browserId);
  RenderNotify* notify = render_notify();
  if (!page || !notify) return;
  tnbase::TnStringPtr name(allocStringFromWideChars(
      message->GetName().c_str(), static_cast<int32_t>(message->GetName().length())));
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
  return core_->registry_.entries();
}

}  // namespace xhav::inproc
