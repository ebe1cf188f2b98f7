#pragma once

// The engine over Debian's Chromium: hav's Core and Browser on real pages, driven through the
// DevTools protocol. A browser is a page target; each cookie space is a browser context of its
// own. The client's resource roots ("file://tavrin5main/", "file://tavrin5/",
// "file://tavrin4/") are served from a folder of page files under a reserved https origin, and
// addresses are translated at this boundary, so the module sees only the file:// forms.
//
// Protocol events run on the engine's browser UI thread (`ui()`), as hav's notifications do.

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "cef/cef_v8.h"
#include "hav/cdp_connection.h"
#include "hav/handler_table.h"
#include "hav/hav.h"
#include "hav/inproc_engine.h"

namespace xhav {
class WindowNews;
enum class NavigationAnswer;
}  // namespace xhav

namespace xhav::cdp {

struct EngineOptions {
  LaunchOptions launch;
  std::string pagesDir;  // the folder with one subfolder a resource root
  // A page's synchronous call that the UI thread has not answered by then is answered empty.
  int syncCallLimitMs = 5000;
  // A render host program and its arguments: the engine starts it and the render side of the
  // pages lives there (see cdp_render_host.h). Empty: the render side runs in this process, on
  // the UI thread, and `Engine::render_host()` is its host.
  std::vector<std::string> renderHost;
  // The company's web domain: main-frame navigations to "https://<domain>/" are the client's
  // to open (the view hands them over), and don't load in the view.
  std::string clientWebDomain;
  // Scripts of a tool that watches the pages (tnwebui-run's checks), run in every document of
  // the main world after the client's own.
  std::vector<std::string> toolScripts;
  // Page targets kept ready before windows ask for them: made, attached, their sessions set up
  // and parked on about:blank (a renderer that no site has taken yet), one for each of the
  // cookie spaces whose windows were shown last. 0: every window's target is made when it is
  // asked for.
  int warmTargets = 1;
};

class Engine;
class PageBrowser;
class CallOrder;
struct CallHead;
struct DocumentId;
class PromptCalls;
class LogBudget;
class RenderSide;

class HAV_API PageBrowser final : public Browser {
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
  void Animate(int32_t, int32_t, int32_t, int32_t, int32_t) override {}
  void AddHandler(const char* address, HandlerCreator* creator) override;
  void RemoveHandler(const char* address) override;
  int32_t GetId() override { return id_; }
  TnString* GetUrl() override;
  void LoadUrl(const char* url) override;
  void SetTitle(const char16_t* title) override;
  void SetInitialData(const char* json) override;
  void Attach() override {}
  void SetCookie(TnString* address, TnString* name, TnString* value, TnString* space) override;
  // With an empty address, the cookie of this name goes from every site of the space.
  void DeleteCookie(TnString* address, TnString* name, TnString* space) override;
  void ExecuteJavaScript(CefRefPtr<CefBrowser> browser, CefRefPtr<CefFrame> frame,
                         const char16_t* script) override;
  void GoBack() override { GoInHistory(-1); }
  // A new document of the same address.
  void Reload() override;

  // The render side of this page: each new document (named by the session of its frame and
  // its execution context) gets the native object; page calls come by a binding or as
  // synchronous requests.
  // `mainFrame`: the document of the page's main frame (its address is the page's).
  void OnNewDocument(const std::string& session, int executionContextId, bool mainFrame = false);
  void OnDocumentGone(const std::string& session, int executionContextId);
  void OnPageCall(const std::string& session, const Json::Value& params);
  // The page's bridge hands over its queued messages: the view gets "havFetchJSMessage", when
  // they come from the window's main document or a document of its origin.
  void OnFetchJSMessage(const std::string& session, const Json::Value& params);
  // A drag of files entering the main frame's document, or dropped on it (cdp_drag.cpp).
  void OnDragMessage(const Json::Value& params);
  void ReadDroppedFiles(int context, int count);
  // Puts the drag's script, in its world, into every frame's document that lacks it, then runs
  // `done` (UI thread). A document gets it with the first drag over its window: the world
  // costs a context a document, which the windows that never see a drag don't carry.
  void ArmDrag(std::function<void()> done);
  // Makes the drag's world in `frame` of `session` and runs its script there; then `finish`.
  void ArmFrame(const std::string& session, const std::string& frame, std::function<void()> finish);
  void DispatchDrag(const std::vector<std::string>& files, bool drop);
  void NextDrag();
  // A new document's request for its native object, from `frame` (its id; empty when not
  // told); `answer` gets the names and its context.
  void OnHelloRequest(const std::string& session, const std::string& frame, const std::string& body,
                      std::function<void(const std::string&)> answer);
  // The session that serves frame `frameId`: a frame of another site has its own; the main
  // frame and the frames in its process are `session`'s. `session` when the frame is unknown.
  std::string SessionOfFrame(const std::string& frameId, const std::string& session) const;
  // Runs page function `handle` of the document in `executionContextId` with `args` (the
  // page's value form) without waiting for the page.
  void RunPageFunction(const std::string& session, int executionContextId, int handle,
                       const std::string& args);

  const std::string& session() const { return session_; }
  const std::string& target() const { return target_; }
  bool alive() const { return alive_; }
  // Whether the page has its target yet (the view hears OnBrowserCreated then).
  bool bound() const { return bound_; }
  std::string url() const;
  bool CanGoBack() const;
  // A step through the history.
  void GoInHistory(int offset);
  // The native window of the engine's browser inside the window: its size is the page's
  // viewport.
  HWND host_window() const { return hostWindow_; }
  // Evaluates `expression` in the page, or in the cross-site frame of `session`, and waits for
  // its value (tests and the demo).
  bool Evaluate(const std::string& expression, Json::Value* value, int timeoutMs = 10000,
                const std::string& session = std::string());
  // The same without waiting: `done` runs on the UI thread with the value (a host whose UI
  // thread must stay free while its pages call it).
  void EvaluateLater(const std::string& expression,
                     std::function<void(bool ok, const Json::Value& value)> done);
  // The sessions of the page's cross-site frames.
  std::vector<std::string> frame_sessions() const;
  // Whether the main frame has begun a navigation that has neither committed nor ended (UI
  // thread; for tests).
  bool navigating() const { return navigating_; }
  // The page's viewport as PNG bytes; with `wholePage`, its whole document.
  bool CaptureScreenshot(std::string* png, bool wholePage = false);
  // The same without waiting: `done` gets the PNG bytes (empty when there is no picture) on
  // the UI thread. A picture can't be taken while the page waits within a call for the UI
  // thread; this one is taken when the page is free.
  void CaptureScreenshotLater(std::function<void(std::string png)> done);
  // A click of the left mouse button at (x, y) of the page's viewport, as a user's.
  bool Click(double x, double y);
  // Text typed by a user into the focused element of the page.
  bool Type(const std::string& text);
  // A key pressed and released by a user: "Enter", "Backspace", "Tab", "Escape", "Delete",
  // "ArrowLeft", "ArrowRight", "ArrowUp", "ArrowDown"; false for another.
  bool PressKey(const std::string& key);
  // A person drags `files` (full paths) from the desktop to the middle of the page and drops
  // them, or lets go elsewhere, as Chromium's input takes a drag (cdp_drag.cpp).
  void DragFiles(const std::vector<std::string>& files, bool drop);
  // Makes the page's renderer crash, as a fault would (tests).
  void CrashRenderer();

 private:
  friend class Engine;
  PageBrowser(Engine* engine, int id, BrowserNotify* notify, const inproc::BrowserParamRecord& p);
  ~PageBrowser() override;
  void OnEvent(const std::string& method, const Json::Value& params, const std::string& session);
  // A frame of another site, a target of its own: it gets the same set-up as the page.
  void OnFrameAttached(const std::string& session, const std::string& targetId);
  // That frame has gone.
  void OnFrameDetached(const std::string& session);
  // Every document of `session` has gone.
  void ForgetDocuments(const std::string& session);
  void ForgetContexts(const std::string& session);
  // After a load: the history as the browser keeps it, then the view's notifications.
  void OnHistory(const Json::Value& result, int navigations, int withinDocument, bool loaded);
  void FinishClose();
  void SetWindowState(const char* state);
  void SetWindowBounds(const Json::Value& bounds);
  // Chromium's window to the window model's place and size.
  void MatchChromiumWindow();
  // A console call, an uncaught exception or a policy's refusal: to the page message tracer.
  bool OnPageMessage(const std::string& method, const Json::Value& params);
  void TellPageMessage(const char* kind, const std::string& level, const std::string& text,
                       const std::string& where);

  Engine* engine_;
  const int id_;
  BrowserNotify* notify_;
  inproc::BrowserParamRecord param_;
  std::string target_, session_, context_;
  class Frame;
  std::map<std::string, CefRefPtr<Frame>> frames_;  // cross-site frames by their session
  // The addresses (client form) of the frames in the page's own process, by frame id.
  std::map<std::string, std::string> childFrames_;
  // Whether a request of `frameId` in `session` comes from the page's main frame or a frame of
  // the client's pages: the frames that desktop commands serve.
  bool IsTrustedFrame(const std::string& session, const std::string& frameId) const;
  HWND hwnd_ = nullptr;
  HWND hostWindow_ = nullptr;
  BrowserParam* settings_ = nullptr;  // made on first request
  bool placed_ = false;
  // The page's viewport follows the browser's child window.
  void SetViewport(int width, int height);
  // Asks the view whether its main frame may go to `url` (client form), and logs a refusal.
  // `pageStarted`: the page started this navigation (see navigation_rule.h).
  NavigationAnswer AskBeforeNavigating(const std::string& url, bool pageStarted);
  // The window's size, its system commands and its close.
  void OnWindowMessage(const win::PostedMessage& m);
  std::atomic<bool> alive_{true};
  bool closing_ = false;  // UI thread
  // The page's target comes after CreateBrowser has returned: until it is there, what the view
  // asks of the page waits, in order (UI thread).
  std::atomic<bool> bound_{false};
  std::vector<std::function<void()>> whenBound_;
  // True when `work` waits for the target (the caller returns); false when the page has it.
  bool Waits(std::function<void()> work);
  // Sends a command to the page's session, once it has one.
  void SendToPage(const char* method, Json::Value params, Connection::Callback callback = nullptr);
  void DeleteCookie(const std::string& site, const std::string& cookie);
  // Tells the engine's step tracer of the page's own steps (its commit, document, paint, load).
  void TraceStep(const std::string& method, const Json::Value& params);
  bool shown_ = false;  // the window's first page has loaded (the engine has been told)
  mutable std::mutex mutex_;
  std::vector<std::string> history_;  // main-frame addresses, client form, without about:blank
  int index_ = -1;
  // Navigations begun or committed so far: a history read before one is stale.
  std::atomic<int> navigations_{0};
  int withinDocument_ = 0;  // the main frame's navigations within its document (UI thread)
  std::string title_;
  CefRefPtr<CefBrowser> hostBrowser_;  // the engine's browser on this side
  // The documents that the render side has, by (session, context), with their native
  // object's function names once the render side has told them.
  struct Document {
    bool named = false;
    bool business = false;  // it may act for the window (see DocumentActsForTheWindow)
    std::vector<std::string> names;
    std::string key;         // the document's own: its calls carry it
    bool toldLost = false;   // the log has said that it reaches no synchronous channel
    bool installed = false;  // its hello was answered: its shim made the object itself
  };
  std::map<std::pair<std::string, int>, Document> documents_;
  // Every document's origin as Chromium states it ("://" for an opaque one), by (session,
  // context), and the frame that holds it; and the origin of the main frame's document.
  struct Context {
    std::string frame, origin;
  };
  std::map<std::pair<std::string, int>, Context> contexts_;
  // Each frame's number, as the render side names a document's frame (never reused).
  std::map<std::string, int64_t> frameNumbers_;
  int64_t lastFrameNumber_ = 0;
  std::string mainOrigin_;
  // Whether the document of `context` in `session` is the main frame's, or one of its origin.
  bool OfTheWindowsOrigin(const std::string& session, int context) const;
  // Whether the page's address has `origin` (the origin a main-frame document had when it was
  // admitted; empty for a frame's document, which its proof judged).
  bool KeepsOrigin(const std::string& origin) const;
  // Whether a message that a native function sent while it ran for `from` is the page's: its
  // document is known and the page's address still has its origin.
  bool SentByThePage(const DocumentId& from) const;
  // Whether that document may act for the window: the business functions, the window's
  // commands and its cookies, title and events.
  bool DocumentActsForTheWindow(const std::string& session, int context, bool mainFrame) const;
  HandlerTable handlers_;  // this browser's own registrations
  // A document's first request, named by its token: it waits for the document's execution
  // context (from the binding) and its object's names.
  struct Hello {
    std::string session;  // the binding's: the document that made the hello
    int context = 0;
    std::string requestSession, requestFrame;  // where the request came from
    std::function<void(const std::string&)> answer;
  };
  std::map<std::string, Hello> hellos_;
  // Whether the hello's request came from the document whose binding made it.
  bool HelloOfOneDocument(const Hello& hello) const;
  // Page functions due, by document, as one script each (UI thread).
  std::map<std::pair<std::string, int>, std::string> runs_;
  void OnHelloBinding(const std::string& token, const std::string& session, int context);
  // Whether the hello `token` may wait (there is room for it); logged when not.
  bool RoomForHello(const std::string& token);
  void AnswerHellos();
  void AnswerHellosOfALeavingDocument();
  // The hello of `token`, unless its document has made itself known by now.
  void AnswerHelloOfALeavingDocument(const std::string& token);
  // Answers to the page's paused requests, at most kAnswersInFlight of them unacknowledged at
  // a time: Chromium takes commands in the order they came, so a page that floods waits for
  // its own answers, and other windows' commands do not queue behind thousands of its (UI
  // thread).
  static constexpr int kAnswersInFlight = 8;
  void AnswerRequest(const char* method, Json::Value params, const std::string& session);
  void SendAnswers();
  std::deque<std::tuple<std::string, Json::Value, std::string>> answersWaiting_;
  int answersInFlight_ = 0;
  bool navigating_ = false;  // the main frame has begun a navigation that has not committed
  bool begun_ = false;       // the main frame has begun a navigation of the window's
  bool committed_ = false;   // a main-frame document of the window's has committed
  // The address of the host's latest load of the main frame (LoadUrl, a reload, a step in the
  // history) until its document is requested (under mutex_), and the requests of the host's
  // loads with their redirects (UI thread): every other main-frame document is the page's own.
  std::string hostLoad_;
  std::set<std::string> hostRequests_;
  void HostLoads(const std::string& url);
  bool HostStarted(const Json::Value& params, const std::string& url);
  bool dragTakenByPage_ = false;  // the view's answer to the drag that entered last
  // The drag's worlds that stand, by (session, execution context): their frame (UI thread).
  std::map<std::pair<std::string, int>, std::string> dragWorlds_;
  std::deque<std::function<void()>> dragsWaiting_;  // the drags asked for, the first arming
  std::unique_ptr<WindowNews> news_;                // what the window tells the view (UI thread)
  std::unique_ptr<LogBudget> dropLog_;              // the lines of this page's dropped calls
  // Tells the render side the page's history.
  void ReportState();
  RenderSide* render();
};

class HAV_API Engine {
 public:
  explicit Engine(EngineOptions options, int processType = kProcessTypeBrowser);
  ~Engine();

  bool ok() const { return live_.load() != nullptr; }
  const std::string& error() const { return error_; }
  // The bytes of prompted calls' parts that the engine holds (for tests).
  std::size_t prompt_bytes_held() const;
  Core* core();
  // The render host process (EngineOptions::renderHost), or -1.
  pid_t render_process() const;
  // The render side's host: the script extension and the notify object.
  RenderHost* render_host();
  tnbase::TaskQueue& ui() { return ui_; }
  // The connection to the Chromium that runs now; one that was lost stays valid, closed, until
  // the engine ends, so a thread that holds it meets no freed memory.
  Connection& connection() { return *live_.load(); }
  std::vector<PageBrowser*> browsers() const;

  // Calls of page bindings other than the render side's own, as (page, name, payload); they
  // run on the UI thread. For tools that measure or drive pages.
  using BindingHandler =
      std::function<void(PageBrowser* page, const std::string& name, const std::string& payload)>;
  void SetBindingHandler(BindingHandler handler);
  // Sees every process message as the browser side sends it ("send") and as it reaches the
  // browser side ("deliver"); for a demo's trace.
  using Tracer = inproc::MessageTracer::Tracer;
  void SetTracer(Tracer tracer) { trace_.Set(std::move(tracer)); }

  // Sees every script that the host runs in a page (browser id, UTF-8 script); for a demo's
  // trace. Set before the pages open.
  using ScriptTracer = std::function<void(int browserId, const std::string& script)>;
  void SetScriptTracer(ScriptTracer tracer) {
    std::lock_guard<std::mutex> lock(mutex_);
    scriptTracer_ = std::move(tracer);
  }

  // Sees every page request that a registered handler served (browser id, address, each write,
  // the milliseconds the handler took); for a demo's trace.
  using RequestTracer =
      std::function<void(int browserId, const std::string& address,
                         const std::vector<std::string>& writes, double milliseconds)>;
  void SetRequestTracer(RequestTracer tracer) {
    std::lock_guard<std::mutex> lock(mutex_);
    requestTracer_ = std::move(tracer);
  }

  // Sees every call of the native object that a page makes (browser id, the call's body as
  // the page sent it, the way it came: "request", "reader" or "binding", and the milliseconds
  // from its arrival to its reply), on the thread that has the reply; for a demo's trace.
  using CallTracer = std::function<void(int browserId, const std::string& body, const char* way,
                                        double milliseconds)>;
  void SetCallTracer(CallTracer tracer) {
    std::lock_guard<std::mutex> lock(mutex_);
    callTracer_ = std::move(tracer);
  }

  // Sees what a page's documents say for themselves (browser id, kind, level, text, where):
  // "console" for a console call (its level: "log", "warning", "error", ...), "error" for an
  // exception the page did not catch (an unhandled rejection too), "violation" for a load or
  // script that the page's content security policy refused, "load" for a document or a file
  // that failed or answered an error status (where: its address, the main document's among
  // them); for tools that watch a page.
  using PageMessageTracer =
      std::function<void(int browserId, const char* kind, const std::string& level,
                         const std::string& text, const std::string& where)>;
  void SetPageMessageTracer(PageMessageTracer tracer) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      pageMessageTracer_ = std::move(tracer);
    }
    SetUpChanged();  // a session logs only for a tracer
  }

  // Sees a browser on the UI thread just before its window closes, its page still shown (a
  // tool that keeps the window's last picture).
  using CloseTracer = std::function<void(PageBrowser* browser)>;
  void SetCloseTracer(CloseTracer tracer) {
    std::lock_guard<std::mutex> lock(mutex_);
    closeTracer_ = std::move(tracer);
  }

  // Sees the steps of each window's opening as the engine takes them (browser id, step): its
  // target, its session, its navigation, its document and object, its first paint and load;
  // on the UI thread. For a profile; set before the windows open.
  using StepTracer = std::function<void(int browserId, const char* step)>;
  void SetStepTracer(StepTracer tracer);

  // Keeps `count` targets ready (see EngineOptions::warmTargets); 0 closes the ones kept.
  void SetWarmTargets(int count);
  // The targets kept ready now (any thread; for tests and figures).
  int warm_targets() const;
  // Makes targets ready for windows of `cookieSpace` (a host that knows whose window comes
  // next: its account at sign-in); a window shown does the same for its own space.
  void KeepWarm(const std::string& cookieSpace);

  // The host's business channel that every browser gives as property 21 (null: none).
  void SetBusinessChannel(BusinessChannel* channel) { channel_.store(channel); }
  BusinessChannel* business_channel() const { return channel_.load(); }

  // "file://tavrin4/x" <-> "https://tavrin4.pages.invalid/x"; other addresses stay.
  static std::string ToEngineUrl(const std::string& url);
  static std::string ToClientUrl(const std::string& url);

 private:
  friend class PageBrowser;
  class CoreImpl;
  class Link;
  class SyncWatchdog;
  // Answers the pages' call requests from any thread until closed.
  class CallAnswers {
   public:
    explicit CallAnswers(Connection* connection) : connection_(connection) {}
    void Fulfil(const std::string& session, const std::string& requestId, const std::string& reply);
    // Sends a command without waiting for its answer.
    void Send(const std::string& method, const Json::Value& params, const std::string& session);
    // Runs the page functions that `reply` holds for the call `body`, in its document.
    // Runs the page functions that a call's reply holds in the calling document (`context`,
    // the one its head proved).
    void RunDeferred(const std::string& session, int context, const std::string& reply);
    void Close() { Reset(nullptr); }
    void Reset(Connection* connection) {
      std::lock_guard<std::mutex> lock(mutex_);
      connection_ = connection;
    }

   private:
    std::mutex mutex_;
    Connection* connection_;
  };
  // A page's call taken on the connection's reader thread, for a render side that takes calls
  // on any thread; false when it goes the UI thread's way.
  bool CallFromReader(const std::string& session, const std::string& body,
                      const std::string& requestId);
  // A page's call that came as a prompt (see the shim): parts are gathered and answered at
  // once; the last part's body is stashed for the UI thread unless the reader took the call.
  bool DialogFromReader(const std::string& session, const Json::Value& params);
  // The reader thread's look at an event: true when it took a page's call.
  bool TakeCallOnReader(const std::string& method, const Json::Value& params,
                        const std::string& session);
  // Serves, on the UI thread, the prompted call that the reader stashed; false for a dialog of
  // the page's own.
  bool ServeDialogCall(const std::string& session);
  // The render side in this process, or the link to a render host process.
  bool StartRenderSide();
  // Starts Chromium and connects to it (again, after a loss); false with `error_` set.
  bool Connect();
  // Chromium has gone (UI thread): every window closes.
  void OnConnectionLost(Connection* connection);
  // Starts Chromium anew when it was lost; whether there is a connection.
  bool Reconnect();
  bool CreateBrowser(const char* url, BrowserParam* param, BrowserNotify* notify, Browser** out);
  std::string ContextFor(const std::string& space);
  void OnEvent(const std::string& method, const Json::Value& params, const std::string& session);
  // The browser's own target events: popups and pages' ends. True when it took the event.
  bool OnBrowserTargetEvent(const std::string& method, const Json::Value& params);
  void ServeResource(const std::string& session, const Json::Value& params);
  // A request of the client's page files (either reserved site).
  static bool IsServedHere(const std::string& url);
  // For a main frame's document request: the view keeps its page, and the request is answered.
  bool StaysBeforeNavigating(const std::string& session, const Json::Value& params,
                             const std::string& url);
  // `hello`: the document asks for its object; otherwise a call of the render side.
  // `frame`: the id of the frame that made the call (its request's or its prompt's), if told.
  void ServeCall(const std::string& session, bool hello, const std::string& body,
                 const Json::Value& requestId, const std::string& frame);
  void ServeCallInTurn(const std::string& session, bool hello, const std::string& body,
                       const Json::Value& requestId, int context, const std::string& frame = "");
  void FulfilCall(const std::string& session, const Json::Value& requestId,
                  const std::string& reply);
  // `done` as it is, or, with a call tracer set, `done` that tells the tracer of the call first.
  using CallDone = std::function<void(const std::string&)>;
  CallDone TracedCall(int browser, const std::string& body, const char* way, CallDone done);
  // Runs a proven call in its document's turn (see CallOrder); false when it is dropped.
  bool InTurn(const std::pair<std::string, int>& key, int seq, std::function<void()> run);
  // How long a document's later calls wait for one numbered before them.
  static constexpr int kMissingCallMs = 1000;
  // A page's call whose document can't be proven (`way`: how it came), dropped and logged
  // (a few lines at a time).
  void DropUnproven(PageBrowser* page, const char* way);
  // The one rule by which a call's body proves its document: it begins with the number, the
  // context and the key of a document of `session` that the engine knows, the context that
  // of the binding that carried it when one did (`bindingContext` non-zero); a document that
  // has gone proves itself only while the page's address keeps its origin (and never when
  // `gone` is null: the caller takes no late calls). `head` gets what the body names.
  bool ProveCall(const std::string& session, const std::string& body, int bindingContext,
                 CallHead* head, bool* gone);
  // The page whose target (or frame) `session` is, or null.
  PageBrowser* PageOf(const std::string& session);
  // A dialog of a page's own, answered at once on the reader thread with the documented
  // default (alert accepted, confirm false, prompt null, a leave question leaves), and logged.
  void AnswerPageDialog(const std::string& session, const Json::Value& params);
  // Runs `task` on the UI thread after `ms` milliseconds (not once the engine stops).
  void PostDelayed(int ms, std::function<void()> task);
  // The steps that set up a session (the page's or a frame's) for its documents.
  std::vector<std::pair<std::string, Json::Value>> SessionSetUp();
  // A page target of its own: made, attached and its session set up.
  struct Target {
    std::string target, session, context;
    std::string site;  // the origin whose empty document it stands on; empty: about:blank
    int setup = 0;     // the set-up it has (see setup_)
  };
  // Makes a target in browser context `context` (empty: the default one) without waiting;
  // `done` runs on the UI thread with it, or with an empty target when a step failed.
  // `browser`: the window it is for, 0 when it is to be kept (for the step tracer).
  // `site`: an origin whose empty document the target is parked on once set up, so that a
  // page of that site later takes its renderer as it is.
  void MakeTarget(const std::string& context, std::function<void(Target)> done, int browser = 0,
                  const std::string& site = std::string());
  // Gives `browser` its target (UI thread): the view learns of its window, what it asked of
  // the page meanwhile runs, and `url` loads.
  void Bind(PageBrowser* browser, Target target, const std::string& url);
  // A kept target of `context` with the current set-up (kKept, in `out`); or the one being made
  // for `context`, which `bind` then gets (kBeingMade); or none.
  enum class Taken { kNone, kKept, kBeingMade };
  Taken TakeWarm(const std::string& context, Target* out, std::function<void(Target)> bind);
  // A window of `context` is shown (its page of origin `site`): a target of that space is made
  // ready, parked on that site, unless there is one.
  void Refill(const std::string& context, const std::string& site = std::string());
  // The empty document a target is parked on, answered here (a request of no window).
  bool ServeParking(const std::string& session, const Json::Value& params, const std::string& url);
  void CloseTarget(const std::string& target);
  // A window has shown its first page, or closed (`opened`: it had not shown one yet): once
  // no window is opening, a target for the next window of its space and site is made (making
  // one takes Chromium's UI thread for a while: never while a window waits for its page).
  void Shown(PageBrowser* browser, bool opened);
  void RefillWanted();
  int opening_ = 0;  // under mutex_: windows asked for that have not shown their page
  // Targets being parked, by session: what runs once the empty document has loaded (UI thread).
  // Only a load that ends after the empty document committed counts: the target's about:blank
  // may report its own end of loading after the parking navigation was sent.
  struct Parking {
    std::function<void()> ready;
    bool committed = false;
  };
  std::map<std::string, Parking> parking_;
  // A window's own target is its window's at once, its navigation sent with its set-up: its
  // documents' requests wait here, by session, for the set-up's last answer (UI thread), so the
  // renderer starts while the page is asked for and every document still finds the set-up.
  std::map<std::string, std::vector<std::function<void()>>> settingUp_;
  void SetUpAnswered(const std::string& session, const std::string& target, bool ok);
  // Logs that `browser`'s page could not be set up and closes it.
  void CloseNotSetUp(PageBrowser* browser);
  // Under mutex_: the spaces (and sites) of the windows shown last, the latest at the back, one
  // entry a space and as many as targets are kept: the spaces that get one.
  std::deque<std::pair<std::string, std::string>> wanted_;
  void Want(const std::string& context, const std::string& site);  // under mutex_
  // The set-up of sessions changed (a tracer, an intercepted host): kept targets go.
  void SetUpChanged();
  // Chromium has gone (UI thread): the kept targets, and the ones being made, are no more.
  void ForgetWarmTargets();
  void Step(int browser, const char* step);
  std::deque<Target> warm_;            // under mutex_
  int warmMaking_ = 0;                 // under mutex_
  std::string makingContext_;          // under mutex_: the one being made is of this
  std::function<void(Target)> claim_;  // under mutex_: the window it is for, if any
  int warmLimit_ = 0;                  // under mutex_
  int setup_ = 0;                      // under mutex_: bumped when SessionSetUp changes
  StepTracer stepTracer_;
  std::atomic<bool> stepTracing_{false};
  // Sets up a frame's session and lets it run, without waiting.
  void SetUpFrameSession(const std::string& session, int browser);

  EngineOptions options_;
  tnbase::TaskQueue ui_{"TID_UI"};
  std::unique_ptr<SyncWatchdog> watchdog_;
  std::unique_ptr<CallOrder> order_;
  std::shared_ptr<CallAnswers> answers_;
  std::mutex directMutex_;
  bool direct_ = false;  // calls go from the reader thread to the render side
  std::vector<std::unique_ptr<Connection>> connections_;  // every one made, the live one last
  std::atomic<Connection*> live_{nullptr};
  std::atomic<bool> lost_{false};  // Chromium has gone: the next window starts it anew
  std::string error_;
  std::unique_ptr<CoreImpl> core_;
  std::unique_ptr<Link> link_;
  std::unique_ptr<RenderSide> renderSide_;
  RenderHost* renderHost_ = nullptr;  // the host of the render side in this process
  mutable std::mutex mutex_;
  int nextId_ = 1;
  std::vector<PageBrowser*> browsers_;
  std::map<std::string, PageBrowser*> bySession_;
  std::map<std::string, std::string> contexts_;  // cookie space -> browser context
  std::mutex dialogMutex_;
  std::unique_ptr<PromptCalls> prompts_;  // the parts of calls that come as prompts
  // session -> (hello, body) of a prompted call that the UI thread serves
  struct DialogCall {
    bool hello = false;
    std::string body, frame;
  };
  std::map<std::string, DialogCall> dialogCalls_;
  BindingHandler bindingHandler_;
  inproc::MessageTracer trace_;
  std::atomic<BusinessChannel*> channel_{nullptr};
  ScriptTracer scriptTracer_;
  RequestTracer requestTracer_;
  CallTracer callTracer_;
  PageMessageTracer pageMessageTracer_;
  CloseTracer closeTracer_;
  // Hosts of registered addresses: their requests are intercepted and served by handlers.
  std::set<std::string> interceptHosts_;
  // Requests to the host of `address` are intercepted from now on, in every session.
  void Intercept(const std::string& address);
  bool IsIntercepted(const std::string& url);
  Json::Value FetchPatterns();
  // Who serves `url` for `page`: its own registrations first, then the registry's.
  HandlerCreator* FindCreator(PageBrowser* page, const std::string& url);
  // Answers a paused request of `page` (through its share) or of no page (at once).
  void AnswerRequest(PageBrowser* page, const char* method, Json::Value params,
                     const std::string& session);
  // A page's request to an intercepted host: its handler's writes, or a network error.
  void ServeDesktopRequest(const std::string& session, const Json::Value& params);
};

}  // namespace xhav::cdp
