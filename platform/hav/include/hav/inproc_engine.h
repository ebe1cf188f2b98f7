#pragma once

// The in-process engine: both sides of the process border in one process, for tests and the
// demo. Work runs on two named task runners (the browser UI thread and the render main
// thread) that a test pumps by hand or backs with threads; process messages cross through a
// swappable transport.

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "cef/cef_process_message.h"
#include "cef/cef_task.h"
#include "cef/inproc_v8.h"
#include "hav/hav.h"

namespace xhav::inproc {

// Carries process messages between the two sides. The receiver of a side runs on that side's
// task runner.
class HAV_API Transport {
 public:
  using Receiver = std::function<void(int browserId, CefRefPtr<CefProcessMessage> message)>;
  virtual ~Transport() = default;
  virtual void SetReceiver(CefProcessId side, Receiver receiver) = 0;
  // False if the other side can no longer be reached.
  virtual bool Send(CefProcessId target, int browserId, CefRefPtr<CefProcessMessage> message) = 0;
};

// The default transport: a copy of the message is queued on the target side's runner.
HAV_API std::unique_ptr<Transport> CreateQueueTransport(cef_inproc::TaskRunner* browserSide,
                                                        cef_inproc::TaskRunner* renderSide);

struct Extension {
  std::string name;
  std::string script;
  CefRefPtr<CefV8Handler> handler;
};

struct RecordedMessage {
  int browserId = 0;
  CefRefPtr<CefProcessMessage> message;
};

class Engine;

// One page of a render process: its browser, its frame and its current script context.
class HAV_API Page {
 public:
  ~Page();
  int id() const { return id_; }
  CefRefPtr<CefBrowser> browser() const;
  CefRefPtr<CefV8Context> context() const { return context_; }
  CefRefPtr<CefV8Value> global() const { return context_ ? context_->GetGlobal() : nullptr; }

  // The value at a dotted path from the global object ("tnpc.cangoback"), or empty.
  CefRefPtr<CefV8Value> Get(const std::string& path) const;
  // Calls the function at `path` as the page's script would.
  cef_inproc::ScriptCallResult Call(const std::string& path, const CefV8ValueList& args = {});

  // A new document: the old context is gone and the render side hears of a new one.
  void Reload();
  void SetHistory(bool canGoBack, bool canGoForward);
  // Makes the page's render process unreachable: its sends fail from now on.
  void SetGone(bool gone);

  int reloads() const;
  int backs() const;
  int forwards() const;

 private:
  friend class Engine;
  class Browser;
  Page(Engine* engine, int id, bool enableBusiness);
  void NewContext();

  Engine* engine_;
  const int id_;
  const bool enableBusiness_;
  CefRefPtr<Browser> browser_;
  CefRefPtr<CefV8Context> context_;
};

class HAV_API Engine {
 public:
  explicit Engine(int processType = kProcessTypeRender);
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  Core* core();
  RenderHost* render_host();
  cef_inproc::TaskRunner& ui() { return ui_; }
  cef_inproc::TaskRunner& renderer() { return renderer_; }
  // Runs both runners until neither has work left.
  void RunUntilIdle();

  void SetTransport(std::unique_ptr<Transport> transport);

  // Opens a page in the render process; the context notification is queued on the renderer.
  std::shared_ptr<Page> OpenPage(bool enableBusiness = true);
  std::shared_ptr<Page> FindPage(int browserId) const;

  // Browser side: sends a message to the render process of `browserId`.
  bool SendToRenderer(int browserId, CefRefPtr<CefProcessMessage> message);
  // Browser side: where render-to-browser messages go. By default they are recorded.
  void SetBrowserReceiver(Transport::Receiver receiver);
  std::vector<RecordedMessage> TakeBrowserMessages();

  // What the render side registered.
  std::vector<Extension> extensions() const;
  RenderNotify* render_notify() const;
  // Results of OnHavMessage, in order of delivery.
  std::vector<bool> TakeHavResults();
  // Registered addresses, in order of registration (repeats included).
  std::vector<std::pair<std::string, HandlerCreator*>> registrations() const;

 private:
  friend class Page;
  class CoreImpl;
  class RenderHostImpl;
  class RegistryImpl;

  void DeliverToRenderer(int browserId, CefRefPtr<CefProcessMessage> message);
  bool SendFromPage(int browserId, CefRefPtr<CefProcessMessage> message);

  cef_inproc::TaskRunner ui_{"TID_UI"};
  cef_inproc::TaskRunner renderer_{"TID_RENDERER"};
  std::unique_ptr<CoreImpl> core_;
  std::unique_ptr<RenderHostImpl> renderHost_;
  std::unique_ptr<Transport> transport_;

  mutable std::mutex mutex_;
  int nextId_ = 1;
  std::vector<std::weak_ptr<Page>> pages_;
  std::vector<int> gone_;
  Transport::Receiver browserReceiver_;
  std::vector<RecordedMessage> browserMessages_;
  std::vector<bool> havResults_;
};

}  // namespace xhav::inproc
