#pragma once

// The in-process engine: both sides of the process border in one process, for tests and the
// demo. Work runs on two named task runners (the browser UI thread and the render main
// thread) that a test pumps by hand or backs with threads; process messages cross through a
// swappable transport.

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "cef/cef_process_message.h"
#include "cef/cef_task.h"
#include "cef/inproc_v8.h"
#include "hav/handler_table.h"
#include "hav/hav.h"

namespace xhav {
class WindowNews;
}

namespace xhav::inproc {

// What the browser side tells a render process that lives apart from it. Other engines may use
// kinds of their own from 3 up.
struct Control {
  enum Kind : uint8_t { kOpenPage = 1, kClosePage = 2 };
  Kind kind = kOpenPage;
  int browserId = 0;
  std::string text;  // the page's address, or what the kind carries
};

// Carries process messages between the two sides. The receiver of a side runs on that side's
// task runner.
class HAV_API Transport {
 public:
  using Receiver = std::function<void(int browserId, CefRefPtr<CefProcessMessage> message)>;
  using ControlReceiver = std::function<void(const Control& control)>;
  virtual ~Transport() = default;
  virtual void SetReceiver(CefProcessId side, Receiver receiver) = 0;
  // False if the other side can no longer be reached.
  virtual bool Send(CefProcessId target, int browserId, CefRefPtr<CefProcessMessage> message) = 0;
  // Pages of a render process in another process: the browser side opens and closes them.
  virtual void SendControl(const Control&) {}
  virtual void SetControlReceiver(ControlReceiver) {}
};

// The default transport: a copy of the message is queued on the target side's runner.
HAV_API std::unique_ptr<Transport> CreateQueueTransport(cef_inproc::TaskRunner* browserSide,
                                                        cef_inproc::TaskRunner* renderSide);

// A transport between two processes over a connected stream socket, which it takes and closes
// at its end: this process is the `local` side, whose receiver runs on `runner` (null: on the
// transport's reader thread, in the order the frames came, the first ones waiting until their
// receiver is set). Every element type
// of a message list crosses exactly. `onClosed` runs (on the reader's thread) when the other
// process goes away.
HAV_API std::unique_ptr<Transport> CreateSocketTransport(int fd, CefProcessId local,
                                                         cef_inproc::TaskRunner* runner,
                                                         std::function<void()> onClosed);

// The wire form of a message, and back; false for bytes that aren't one.
HAV_API std::string EncodeProcessMessage(CefProcessId target, int browserId,
                                         CefRefPtr<CefProcessMessage> message);
HAV_API bool DecodeProcessMessage(const std::string& bytes, CefProcessId* target, int* browserId,
                                  CefRefPtr<CefProcessMessage>* message);

// A function that one thread may set while others call it; unset, a call does nothing.
template <typename Signature>
class TracerSlot;
template <typename... Args>
class TracerSlot<void(Args...)> {
 public:
  using Tracer = std::function<void(Args...)>;
  void Set(Tracer tracer) {
    std::lock_guard<std::mutex> lock(mutex_);
    tracer_ = std::move(tracer);
  }
  void operator()(const Args&... args) {
    Tracer tracer;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      tracer = tracer_;
    }
    if (tracer) tracer(args...);
  }

 private:
  std::mutex mutex_;
  Tracer tracer_;
};

// Sees every process message as it leaves one side ("send") and reaches the other
// ("deliver"); for a demo's trace. Set from any thread.
using MessageTracer = TracerSlot<void(const char* hop, CefProcessId target, int browserId,
                                      CefRefPtr<CefProcessMessage> message)>;
// Sees every script the browser side runs in a page (its browser's id, the UTF-8 text).
using ScriptTracer = TracerSlot<void(int browserId, const std::string& script)>;
// Sees every request a page sends to an address the window serves: the browser's id, the
// address, and what its handler wrote (each Write, in order).
using RequestTracer = TracerSlot<void(int browserId, const std::string& address,
                                      const std::vector<std::string>& writes)>;

struct Extension {
  std::string name;
  std::string script;
  CefRefPtr<CefV8Handler> handler;
};

// What came of a page's request to a registered address.
struct RequestResult {
  bool served = false;              // some creator serves the address; false: a network error
  std::vector<std::string> writes;  // each Write of its handler, in order
};

struct RecordedMessage {
  int browserId = 0;
  CefRefPtr<CefProcessMessage> message;
};

class Engine;
class Page;

struct BrowserParamRecord;
// What was set on a parameter object that CreateHavObject made; defaults for any other.
HAV_API BrowserParamRecord ReadBrowserParam(BrowserParam* param);
// Makes CreateHavObject refuse objects of `kind` (or make them again): a hav without them.
HAV_API void RefuseHavObjects(int kind, bool refuse);
// Places a new browser's native window as its settings say. A web window (view type 4) is
// sized in device-independent units: its scaled size when one was set, else its size scaled to
// the screen's pixels per inch.
HAV_API void PlaceBrowserWindow(HWND hwnd, const BrowserParamRecord& param);
// A parameter object holding `record` (a browser's settings, GetProperty(19)); Destroy frees it.
HAV_API BrowserParam* NewBrowserParamFrom(const BrowserParamRecord& record);

// What the factory set on a BrowserParam, in the order it was set.
struct BrowserParamRecord {
  std::vector<std::string> calls;  // setter names in order
  int32_t popupOption = -1, width = 0, height = 0, scaledWidth = 0, scaledHeight = 0;
  int32_t left = 0, top = 0, viewType = 0;
  bool showTitleBar = false, startHidden = false, havFlagA = false, havFlagB = false;
  bool topCenter = false, resizable = false, openMaximized = false, hideOnClose = false;
  bool placed = false, animation = false;
  HWND parent = nullptr;
  std::string title, cookieSpace, name;
  bool destroyed = false;
};

// A browser window of the in-process engine. It records what is done to it; the test or the
// demo raises its notifications.
class HAV_API BrowserImpl final : public Browser {
 public:
  bool GetProperty(int32_t id, void** out) override;
  void Show(bool show) override;
  void Minimize() override;
  void Maximize() override;
  void Restore() override;
  void SetTopMost(bool topMost) override;
  void Close(int32_t force) override;
  HWND GetWindowHandle() override { return hwnd_; }
  void MoveWindow(int32_t x, int32_t y, int32_t width, int32_t height) override;
  void Animate(int32_t a, int32_t b, int32_t c, int32_t d, int32_t e) override;
  void AddHandler(const char* address, HandlerCreator* creator) override;
  void RemoveHandler(const char* address) override;
  int32_t GetId() override { return id_; }
  TnString* GetUrl() override;
  void LoadUrl(const char* url) override;
  void SetTitle(const char16_t* title) override;
  void SetInitialData(const char* json) override;
  void Attach() override;
  void SetCookie(TnString* address, TnString* name, TnString* value, TnString* space) override;
  void DeleteCookie(TnString* address, TnString* name, TnString* space) override;
  void ExecuteJavaScript(CefRefPtr<CefBrowser> browser, CefRefPtr<CefFrame> frame,
                         const char16_t* script) override;
  void GoBack() override;
  void Reload() override;

  // A navigation of the page itself (a link, a form, `location`): hav asks the view first, then
  // loads (see navigation_rule.h).
  void Navigate(const std::string& url);
  // A person drags `files` (full paths) from the desktop onto the page and drops them, or lets
  // go elsewhere: the view hears what the Chromium engine tells it (see cdp_drag.cpp).
  void DragFiles(const FileList& files, bool drop);

  BrowserNotify* notify() const { return notify_; }
  // The scripts run in the page, in order (UTF-8).
  std::vector<std::string> scripts() const;
  // The native window of the engine's browser inside the window.
  HWND host_window() const { return hostWindow_; }
  const BrowserParamRecord& param() const { return param_; }
  // The addresses registered with this browser, in order (tests).
  std::vector<std::string> handler_addresses() const {
    std::vector<std::string> out;
    for (const auto& entry : handlers_.entries()) out.push_back(entry.first);
    return out;
  }
  std::shared_ptr<Page> page() const { return page_; }
  bool alive() const { return alive_; }
  // The operations done on this browser, in order ("Minimize", "Close(0)", "LoadUrl(u)").
  std::vector<std::string> calls() const;
  std::string url() const;
  std::string title() const;
  std::string initialData() const;
  // Cookies by space, then "address name" to value.
  std::map<std::string, std::map<std::string, std::string>> cookies() const;

  // The window goes away now, as hav's close would make it: OnBeforeBrowserClose, the
  // window destroyed, OnBrowserDestroyed.
  void FinishClose();

 private:
  friend class Engine;
  BrowserImpl(Engine* engine, int id, std::string url, const BrowserParamRecord& param,
              BrowserNotify* notify);
  ~BrowserImpl() override;
  void Record(std::string call);
  // Loads `url` on the UI thread: the page-loaded and navigation-state notifications follow.
  void Load(const std::string& url);
  // Asks the view on the UI thread, then loads or stays.
  void Go(const std::string& url, bool pageStarted);

  Engine* engine_;
  const int id_;
  BrowserParamRecord param_;
  BrowserParam* settings_ = nullptr;  // made on first request
  bool placed_ = false;
  BrowserNotify* notify_;
  std::unique_ptr<WindowNews> news_;  // what the window tells the view
  HWND hwnd_ = nullptr;
  HWND hostWindow_ = nullptr;
  std::vector<std::string> history_;
  std::vector<std::string> scripts_;
  std::shared_ptr<Page> page_;
  CefRefPtr<CefBrowser> host_;  // the engine's browser object on this side
  std::atomic<bool> alive_{true};
  bool closing_ = false;
  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::string url_, title_, initialData_;
  std::map<std::string, std::map<std::string, std::string>> cookies_;
  HandlerTable handlers_;
};

// One page of a render process: its browser, its frame and its current script context.
class HAV_API Page {
 public:
  ~Page();
  int id() const { return id_; }
  const std::string& url() const { return url_; }
  CefRefPtr<CefBrowser> browser() const;
  CefRefPtr<CefV8Context> context() const { return context_; }
  CefRefPtr<CefV8Value> global() const { return context_ ? context_->GetGlobal() : nullptr; }

  // The value at a dotted path from the global object ("tnpc.cangoback"), or empty.
  CefRefPtr<CefV8Value> Get(const std::string& path) const;
  // Calls the function at `path` as the page's script would.
  cef_inproc::ScriptCallResult Call(const std::string& path, const CefV8ValueList& args = {});

  // A new document: the old context is gone and the render side hears of a new one. After its
  // render process died, the page comes back in a new one.
  void Reload();
  // hav's own channel from the page's bridge: the view gets the process message
  // "havFetchJSMessage" with `messages` (a JSON array of bridge messages) as its one string.
  bool FetchJSMessage(const std::string& messages);
  void SetHistory(bool canGoBack, bool canGoForward);
  // Makes the page's render process unreachable: its sends fail from now on.
  void SetGone(bool gone);

  int reloads() const;
  int backs() const;
  int forwards() const;

 private:
  friend class Engine;
  class Browser;
  Page(Engine* engine, int id, bool enableBusiness, std::string url = "");
  void NewContext();

  Engine* engine_;
  const int id_;
  const bool enableBusiness_;
  const std::string url_;
  CefRefPtr<Browser> browser_;
  CefRefPtr<CefV8Context> context_;
};

class HAV_API Engine {
 public:
  // Which sides of the process border live in this process.
  enum class Sides { kBoth, kBrowserOnly, kRenderOnly };

  explicit Engine(int processType = kProcessTypeRender, Sides sides = Sides::kBoth);
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
  // Render side: runs after a page that the browser side opened has its context.
  void SetPageObserver(std::function<void(std::shared_ptr<Page>)> observer);
  using Tracer = MessageTracer::Tracer;
  void SetTracer(Tracer tracer) { trace_.Set(std::move(tracer)); }
  void SetScriptTracer(ScriptTracer::Tracer tracer) { scriptTrace_.Set(std::move(tracer)); }
  void SetRequestTracer(RequestTracer::Tracer tracer) { requestTrace_.Set(std::move(tracer)); }

  // Opens a page in the render process; the context notification is queued on the renderer.
  std::shared_ptr<Page> OpenPage(bool enableBusiness = true);

  // Browser side: the windows made through Core::CreateBrowser, in order of creation. They
  // live as long as the engine.
  std::vector<BrowserImpl*> browsers() const;
  BrowserImpl* FindBrowser(int id) const;
  // Lets the windows that have closed go, records and all (long runs of many windows).
  void ForgetClosedBrowsers();
  // Browser side, UI thread: the render process has died (`status` as a view hears it; 2 a
  // crash). Every page loses its document, messages to and from it fail, and each window's
  // view is told; a page's Reload brings it back.
  void RenderProcessGone(int status);
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
  // Browser side: the page of `browserId` requests `address` with `body` (its elements; null:
  // no body). The browser's own registrations serve it first, then the registry's. Runs the
  // handler on the calling thread, which stands for the UI thread.
  RequestResult SendRequest(int browserId, const std::string& address,
                            const std::vector<std::string>* body);
  // Registered addresses, in order of registration (repeats included).
  std::vector<std::pair<std::string, HandlerCreator*>> registrations() const;

  // The company's web domain: main-frame navigations to "https://<domain>/" are the client's to
  // open, and don't load in the view (see navigation_rule.h).
  void SetClientWebDomain(const std::string& domain);
  std::string client_web_domain() const;

  // The host's business channel that every browser gives as property 21 (null: none).
  void SetBusinessChannel(BusinessChannel* channel) { channel_.store(channel); }
  BusinessChannel* business_channel() const { return channel_.load(); }

 private:
  friend class Page;
  class CoreImpl;
  class RenderHostImpl;
  class RegistryImpl;

  friend class BrowserImpl;
  bool CreateBrowser(const char* url, BrowserParam* param, BrowserNotify* notify, Browser** out);
  void DeliverToBrowser(int browserId, CefRefPtr<CefProcessMessage> message);
  void DeliverToRenderer(int browserId, CefRefPtr<CefProcessMessage> message);
  void OnControl(const Control& control);
  bool SendFromPage(int browserId, CefRefPtr<CefProcessMessage> message);

  cef_inproc::TaskRunner ui_{"TID_UI"};
  cef_inproc::TaskRunner renderer_{"TID_RENDERER"};
  std::unique_ptr<CoreImpl> core_;
  std::unique_ptr<RenderHostImpl> renderHost_;
  std::unique_ptr<Transport> transport_;
  const Sides sides_;
  std::function<void(std::shared_ptr<Page>)> pageObserver_;
  MessageTracer trace_;
  ScriptTracer scriptTrace_;
  RequestTracer requestTrace_;
  std::atomic<BusinessChannel*> channel_{nullptr};
  std::string clientWebDomain_;  // under mutex_

  mutable std::mutex mutex_;
  int nextId_ = 1;
  std::vector<std::weak_ptr<Page>> pages_;
  std::vector<BrowserImpl*> browsers_;
  std::map<int, std::shared_ptr<Page>> remotePages_;  // pages the browser side opened
  std::vector<int> gone_;
  Transport::Receiver browserReceiver_;
  std::vector<RecordedMessage> browserMessages_;
  std::vector<bool> havResults_;
};

}  // namespace xhav::inproc
