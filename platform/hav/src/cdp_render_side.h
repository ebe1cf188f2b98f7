#pragma once

// The render side of the Chromium engine and the line between it and the engine's pages. The
// render side keeps, per document, a script context for the render notify object and runs the
// page's calls of the native object in it; the engine keeps the pages. The two talk only
// through `RenderSide` (engine to render side) and `PageLink` (render side to engine), so the
// render side can live in this process or in a render host process of its own.

#include <json/value.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "cef/cef_process_message.h"
#include "cef/cef_v8.h"
#include "hav/hav.h"
#include "tnbase/task_queue.h"

namespace xhav::cdp {

// A document: the browser's identifier, the DevTools session of its frame, its execution context.
struct DocumentId {
  int browser = 0;
  std::string session;
  int context = 0;
  bool operator<(const DocumentId& o) const {
    return std::tie(browser, session, context) < std::tie(o.browser, o.session, o.context);
  }
  bool operator==(const DocumentId& o) const {
    return browser == o.browser && session == o.session && context == o.context;
  }
};

// The frame a document is in: a number the same for every document of that frame (0 when not
// known), and whether it is the page's main frame.
struct DocumentFrame {
  int64_t id = 0;
  bool main = false;
};

// What the render side asks of the pages. Never waits for a page.
class PageLink {
 public:
  virtual ~PageLink() = default;
  // `from`: the document whose native function sent it (context 0 when none ran).
  virtual void SendToBrowser(int browser, CefRefPtr<CefProcessMessage> message,
                             const DocumentId& from) = 0;
  // Runs page function `handle` of `document` with `args` (the page's value form, JSON text).
  virtual void RunPageFunction(const DocumentId& document, int handle, const std::string& args) = 0;
  // "reload", "back" or "forward".
  virtual void Navigate(int browser, const std::string& how) = 0;
};

// What the engine asks of the render side. Answers come through the callbacks, on the engine's
// UI thread; a render side that is gone answers at once with nothing.
class RenderSide {
 public:
  using Names = std::vector<std::string>;
  virtual ~RenderSide() = default;
  // The script extensions' page text: every document runs it at its start.
  virtual std::vector<std::string> ExtensionScripts() = 0;
  // A page's history as its navigations leave it.
  virtual void PageState(int browser, bool canGoBack, bool canGoForward) = 0;
  virtual void PageClosed(int browser) = 0;
  // A new document: `done` gets the names of the native object's functions (none when the
  // render side puts no object there). `business`: it may act for its window (the business
  // functions; without, its object has the window's functions only, and what they would make
  // the window do is dropped). The document's context names its `frame`.
  virtual void NewDocument(const DocumentId& document, const DocumentFrame& frame, bool business,
                           std::function<void(const Names&)> done) = 0;
  virtual void DocumentGone(const DocumentId& document) = 0;
  // A page's call, `body` as the page sent it. `document.context` 0 takes the context that the
  // body names. `answerWithin` false when the page no longer waits for the reply (its functions
  // then run by the link). `done` gets the reply: the result and the functions due within.
  virtual void Call(const DocumentId& document, const std::string& body, bool answerWithin,
                    std::function<void(const std::string&)> done) = 0;
  // A page's call, from any thread, for a render side that takes them so (it lives in a process
  // of its own and needs nothing of the UI thread); `done` runs on a thread of its choosing.
  // False when the render side takes calls on the UI thread only.
  virtual bool CallFromAnyThread(const DocumentId&, const std::string& /*body*/,
                                 std::function<void(const std::string&)> /*done*/) {
    return false;
  }
  // A process message from the browser side.
  virtual void Deliver(int browser, CefRefPtr<CefProcessMessage> message) = 0;
  // The render host process, or -1 when the render side is in this one.
  virtual pid_t process() const { return -1; }
};

// The render side's host: keeps the render notify object and the script extensions. An
// extension's `native function Name();` becomes a function that calls the extension's handler.
class RenderHostImpl final : public RenderHost {
 public:
  struct Extension {
    std::string script;  // as the page runs it
    CefRefPtr<CefV8Handler> handler;
  };
  void RegisterExtension(const char* name, const char* script,
                         CefRefPtr<CefV8Handler> handler) override;
  void SetRenderNotify(RenderNotify* notify) override;
  std::vector<Extension> extensions();
  RenderNotify* notify();

 private:
  std::mutex mutex_;
  RenderNotify* notify_ = nullptr;
  std::vector<Extension> extensions_;
};

// The render side in this process, on the thread that calls it; `link` outlives it.
class LocalRenderSide final : public RenderSide {
 public:
  explicit LocalRenderSide(PageLink* link);
  ~LocalRenderSide() override;
  RenderHostImpl* host() { return &host_; }

  std::vector<std::string> ExtensionScripts() override;
  void PageState(int browser, bool canGoBack, bool canGoForward) override;
  void PageClosed(int browser) override;
  void NewDocument(const DocumentId& document, const DocumentFrame& frame, bool business,
                   std::function<void(const Names&)> done) override;
  void DocumentGone(const DocumentId& document) override;
  void Call(const DocumentId& document, const std::string& body, bool answerWithin,
            std::function<void(const std::string&)> done) override;
  void Deliver(int browser, CefRefPtr<CefProcessMessage> message) override;

 private:
  class Browser;
  class Frame;
  struct Document {
    CefRefPtr<CefV8Context> script;  // the render side's context of the document
    CefRefPtr<CefV8Value> object;    // its native object
    bool business = false;           // it may act for its window
    // When the page left it. A page's calls while it goes away come after (by a beacon) and
    // still run, for a moment; its functions no longer do.
    std::optional<std::chrono::steady_clock::time_point> left;
  };
  // Ends the documents that were left long enough ago.
  void EndLeftDocuments();
  CefRefPtr<Browser> BrowserFor(int id);
  std::string CallNative(const DocumentId& document, const std::string& body, bool answerWithin);
  CefRefPtr<CefV8Value> Decode(const DocumentId& document, const Json::Value& value);
  void RunPageFunction(const DocumentId& document, int handle, const CefV8ValueList& args);

  PageLink* link_;
  RenderHostImpl host_;
  std::map<int, CefRefPtr<Browser>> browsers_;
  std::map<DocumentId, Document> documents_;
  DocumentId syncDocument_;  // the document whose synchronous call runs now
  Json::Value deferred_;     // page functions due within that call
};

// Starts the render host program `command` (its path and arguments; the engine adds
// "--render-fd=N") and waits for it to report its script extensions. The link's calls and the
// callbacks run on `ui`. Null, with `error` set, when the program does not come up.
std::unique_ptr<RenderSide> ConnectRenderHost(const std::vector<std::string>& command,
                                              PageLink* link, tnbase::TaskQueue* ui,
                                              std::string* error);

}  // namespace xhav::cdp
