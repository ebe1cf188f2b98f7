// The browser of one page target: its documents and their native objects, navigation and
// history, frames of other sites. Its window, cookies and script are in cdp_page_window.cpp.

#include <QUrl>
#include <QUuid>

#include "arg_list.h"
#include "cdp_engine_internal.h"
#include "cdp_render_side.h"
#include "cef/cef_task.h"
#include "cef/inproc_v8.h"
#include "hav/json_text.h"
#include "host_browser.h"
#include "navigation_rule.h"
#include "system_command.h"
#include "window_news.h"

namespace xhav::cdp {

namespace {

// How long a hello that came while its page navigates waits for its document to be named.
constexpr int kLeavingHelloMs = 300;
// The hellos that a page's documents may have waiting at once: a document makes one, a page
// with many frames a few dozen. A page that sends more has them refused at once.
constexpr std::size_t kMaxHellos = 128;

}  // namespace

PageBrowser::PageBrowser(Engine* engine, int id, BrowserNotify* notify,
                         const inproc::BrowserParamRecord& p)
    : engine_(engine),
      id_(id),
      notify_(notify),
      param_(p),
      news_(std::make_unique<WindowNews>()),
      dropLog_(std::make_unique<LogBudget>()) {
  hwnd_ = win::CreateWindowModel("HavWindowClassName", p.parent,
                                 [this](HWND, const win::PostedMessage& m) { OnWindowMessage(m); });
  win::SetWindowTextW(hwnd_, tnbase::TnStringPtr::FromUTF8(p.title)->GetData());
  inproc::PlaceBrowserWindow(hwnd_, p);
  hostWindow_ =
      win::CreateWindowModel("HavBrowserHost", hwnd_, [this](HWND h, const win::PostedMessage& m) {
        if (m.message != win::WM_SIZE || !alive_) return;
        int width = 0, height = 0;
        win::GetClientRect(h, &width, &height);
        SetViewport(width, height);
      });
  win::ShowWindow(hostWindow_, win::SW_SHOWWINDOW);
  if (!p.startHidden) win::ShowWindow(hwnd_, win::SW_SHOWWINDOW);
  placed_ = true;
}

PageBrowser::~PageBrowser() {
  if (hwnd_) win::DestroyWindow(hwnd_);
  if (settings_) settings_->Destroy();
}

void PageBrowser::OnWindowMessage(const win::PostedMessage& m) {
  if (!alive_) return;
  switch (m.message) {
    case win::WM_SIZE:
      if (!placed_ || !notify_) return;
      engine_->ui().PostTask([this, state = m.wParam] {
        if (alive_ && notify_) news_->Sized(notify_, state);
      });
      break;
    case win::WM_ACTIVATE:
      if (!notify_) return;
      engine_->ui().PostTask([this, active = m.wParam != win::WA_INACTIVE] {
        if (alive_ && notify_) news_->Activated(notify_, active);
      });
      break;
    case win::WM_SYSCOMMAND:
      RunSystemCommand(this, m.wParam);
      break;
    case win::WM_CLOSE:
      // The user's, the host's or the page's close asks the view first; a window that its
      // settings keep on close hides.
      if (notify_ && notify_->OnClosing()) break;
      if (param_.hideOnClose) {
        Show(false);
      } else {
        Close(1);
      }
      break;
  }
}

void PageBrowser::SetViewport(int width, int height) {
  if (width <= 0 || height <= 0) return;
  Json::Value params;
  params["width"] = width;
  params["height"] = height;
  params["deviceScaleFactor"] = 1;
  params["mobile"] = false;
  SendToPage("Emulation.setDeviceMetricsOverride", params);
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
  HostLoads(Engine::ToEngineUrl(url()));
  ++navigations_;
  SendToPage("Page.reload", Json::Value());
}

void PageBrowser::GoInHistory(int offset) {
  if (!alive_ || Waits([this, offset] { GoInHistory(offset); })) return;
  ++navigations_;
  // The browser's own history, as it stands when the step is taken.
  Connection* connection = &engine_->connection();
  const std::string session = session_;
  connection->Send(
      "Page.getNavigationHistory", Json::Value(), session,
      [this, connection, session, offset](const Json::Value& result, const Json::Value&) {
        const int index =
            result["currentIndex"].isInt() ? result["currentIndex"].asInt() + offset : -1;
        const Json::Value& entries = result["entries"];
        if (!entries.isArray() || index < 0 || index >= static_cast<int>(entries.size()) ||
            !entries[index]["url"].isString() ||
            IsWhereTargetsStart(entries[index]["url"].asString()))
          return;
        if (entries[index]["url"].isString()) HostLoads(entries[index]["url"].asString());
        Json::Value params;
        params["entryId"] = entries[index]["id"];
        connection->Send("Page.navigateToHistoryEntry", params, session, nullptr);
      });
}

void PageBrowser::OnNewDocument(const std::string& session, int executionContextId,
                                bool mainFrame) {
  auto [entry, added] = documents_.emplace(std::make_pair(session, executionContextId), Document());
  if (!added) return;
  // The document's key: only this document learns it, and each of its calls must carry it.
  entry->second.key = QUuid::createUuid().toString(QUuid::Id128).toStdString();
  entry->second.business = DocumentActsForTheWindow(session, executionContextId, mainFrame);
  engine_->order_->Admit({session, executionContextId}, entry->second.key,
                         mainFrame ? OriginOf(url()) : std::string());
  DocumentFrame frame;
  auto context = contexts_.find({session, executionContextId});
  if (context != contexts_.end() && !context->second.frame.empty()) {
    auto [number, fresh] = frameNumbers_.emplace(context->second.frame, lastFrameNumber_ + 1);
    if (fresh) ++lastFrameNumber_;
    frame.id = number->second;
    frame.main = context->second.frame == target_;
  }
  render()->NewDocument({id_, session, executionContextId}, frame, entry->second.business,
                        [this, session, executionContextId](const auto& names) {
                          auto it = documents_.find({session, executionContextId});
                          if (it == documents_.end()) return;
                          it->second.named = true;
                          it->second.names = names;
                          if (session == session_)
                            engine_->Step(id_, "the render side knows the document");
                          AnswerHellos();
                          if (names.empty() || it->second.installed || !alive_ || !engine_->ok())
                            return;
                          Json::Value list(Json::arrayValue);
                          for (const std::string& name : names) list.append(name);
                          const std::string context = std::to_string(executionContextId);
                          // The shim normally stands in the document from its start and makes
                          // the object with its hello's answer; should the page have been faster
                          // than its registration (no hello answered), the shim comes with the
                          // object (it is made once per document, and skips its own hello: the
                          // object is here).
                          Json::Value params;
                          params["expression"] = "window.__tnpcNames = true;" + ShimScript() +
                                                 "; window.__tnpcShim.install(" + WriteJson(list) +
                                                 ", " + context + ", \"" + it->second.key + "\")";
                          params["contextId"] = executionContextId;
                          engine_->connection().Send("Runtime.evaluate", params, session, nullptr);
                        });
}

bool PageBrowser::OfTheWindowsOrigin(const std::string& session, int context) const {
  auto it = contexts_.find({session, context});
  if (it == contexts_.end()) return false;
  if (session == session_ && it->second.frame == target_) return true;  // the main frame's
  return !IsOpaqueOrigin(it->second.origin) && it->second.origin == mainOrigin_;
}

bool PageBrowser::KeepsOrigin(const std::string& origin) const {
  return origin.empty() || origin == OriginOf(url());
}

bool PageBrowser::SentByThePage(const DocumentId& from) const {
  // A main-frame document was admitted with its address's origin: while the page's address
  // keeps it, the document (or the one that reloaded it) is the page's; once the address has
  // another, a message that the document sent on its way out is not. That holds whichever of
  // the commit and the old document's end the engine heard of first.
  std::string origin;
  return engine_->order_->Known({from.session, from.context}, &origin) && KeepsOrigin(origin);
}

bool PageBrowser::DocumentActsForTheWindow(const std::string& session, int context,
                                           bool mainFrame) const {
  // The main frame's document acts for its window: the view judges its business actions by
  // the window's address, which is that document's. A frame acts for it only when it is of
  // the main document's origin or of the client's own pages; any other frame (another site, or
  // an opaque origin, whatever its address) gets the native object without the business
  // functions, and its window commands do nothing.
  if (mainFrame || OfTheWindowsOrigin(session, context)) return true;
  auto it = contexts_.find({session, context});
  return it != contexts_.end() && IsClientOrigin(it->second.origin);
}

void PageBrowser::OnDocumentGone(const std::string& session, int executionContextId) {
  engine_->order_->Forget(session, executionContextId);
  if (documents_.erase({session, executionContextId}) == 0) return;
  for (auto it = hellos_.begin(); it != hellos_.end();) {
    const bool gone = it->second.session == session && it->second.context == executionContextId;
    it = gone ? hellos_.erase(it) : std::next(it);
  }
  render()->DocumentGone({id_, session, executionContextId});
}

bool PageBrowser::RoomForHello(const std::string& token) {
  if (hellos_.size() < kMaxHellos || hellos_.count(token)) return true;
  std::size_t held = 0;
  if (dropLog_->Take(&held))
    EngineLog(kTnLogInfo, "PageBrowser::RoomForHello",
              "browser " + std::to_string(id_) + ": a hello beyond " + std::to_string(kMaxHellos) +
                  " waiting ones is refused" +
                  (held ? " (" + std::to_string(held) + " lines before it not logged)" : ""));
  return false;
}

void PageBrowser::OnHelloBinding(const std::string& token, const std::string& session,
                                 int context) {
  if (!RoomForHello(token)) return;
  Hello& hello = hellos_[token];
  if (hello.context != 0 && (hello.session != session || hello.context != context)) {
    // Two documents name one token: neither learns a key by it.
    EngineLog(kTnLogInfo, "PageBrowser::OnHelloBinding",
              "browser " + std::to_string(id_) + ": a hello named by two documents is refused");
    if (hello.answer) hello.answer("{\"handled\":false}");
    hellos_.erase(token);
    return;
  }
  hello.session = session;
  hello.context = context;
  // A document that the engine has not seen as a page's own (a frame of the same site) is
  // known from its binding: it gets its object too.
  OnNewDocument(session, context);
  AnswerHellos();
}

bool PageBrowser::HelloOfOneDocument(const Hello& hello) const {
  // The request's frame, by its session, must be the binding's document's: a key goes only to
  // the document that made the hello, whichever session the request arrived on.
  if (SessionOfFrame(hello.requestFrame, hello.requestSession) != hello.session) return false;
  if (hello.requestFrame.empty()) return true;
  auto context = contexts_.find({hello.session, hello.context});
  return context == contexts_.end() || context->second.frame.empty() ||
         context->second.frame == hello.requestFrame;
}

void PageBrowser::AnswerHellos() {
  for (auto it = hellos_.begin(); it != hellos_.end();) {
    const Hello& hello = it->second;
    if (hello.answer && hello.context != 0 && !HelloOfOneDocument(hello)) {
      EngineLog(kTnLogInfo, "PageBrowser::AnswerHellos",
                "browser " + std::to_string(id_) +
                    ": a hello whose request is not of the document that made it is refused");
      hello.answer("{\"handled\":false}");
      it = hellos_.erase(it);
      continue;
    }
    auto document = documents_.find({hello.session, hello.context});
    if (!hello.answer || document == documents_.end() || !document->second.named) {
      ++it;
      continue;
    }
    Json::Value reply;
    reply["handled"] = true;
    reply["ctx"] = hello.context;
    reply["key"] = document->second.key;
    reply["names"] = Json::Value(Json::arrayValue);
    for (const std::string& name : document->second.names) reply["names"].append(name);
    if (hello.session == session_) engine_->Step(id_, "the hello answered");
    document->second.installed = true;
    hello.answer(WriteJson(reply));
    it = hellos_.erase(it);
  }
}

void PageBrowser::OnHelloRequest(const std::string& session, const std::string& frame,
                                 const std::string& body,
                                 std::function<void(const std::string&)> answer) {
  Json::Value request;
  if (!ParseJson(body, &request) || !request.isObject() || !request["hello"].isString()) {
    answer("{\"handled\":false}");
    return;
  }
  const std::string token = request["hello"].asString();
  if (!RoomForHello(token)) {
    answer("{\"handled\":false}");
    return;
  }
  Hello& hello = hellos_[token];
  if (hello.answer) {
    answer("{\"handled\":false}");  // a second request for one hello
    return;
  }
  hello.requestSession = session;
  hello.requestFrame = frame;
  hello.answer = std::move(answer);
  AnswerHellos();
  // While the page navigates, a request that no binding call has named yet is the leaving
  // document's (Chromium holds back its events while it waits here), or the new document's
  // that came before Chromium told of its commit (a busy machine). The new one's binding call
  // names it within moments; a hello still unnamed then goes without its object.
  if (session == session_ && navigating_) {
    engine_->PostDelayed(kLeavingHelloMs, [this, token] { AnswerHelloOfALeavingDocument(token); });
  }
}

void PageBrowser::AnswerHelloOfALeavingDocument(const std::string& token) {
  auto it = hellos_.find(token);
  if (it == hellos_.end() || it->second.context != 0 || !it->second.answer) return;
  it->second.answer("{\"handled\":false}");
  hellos_.erase(it);
}

void PageBrowser::AnswerHellosOfALeavingDocument() {
  // A document whose frame is already navigating away may never be reported (Chromium holds
  // back its events while its page waits in the request): it goes without its object rather
  // than holding the page, and the navigation, until the watchdog answers.
  for (auto it = hellos_.begin(); it != hellos_.end();) {
    if (it->second.requestSession == session_ && it->second.context == 0 && it->second.answer) {
      it->second.answer("{\"handled\":false}");
      it = hellos_.erase(it);
    } else {
      ++it;
    }
  }
}

void PageBrowser::OnPageCall(const std::string& session, const Json::Value& params) {
  if (!params["payload"].isString() || !params["executionContextId"].isInt()) return;
  if (params["payload"] == "{\"close\":true}") {
    // The page closes its window by script: only the main frame's document may, and the window
    // closes as the user's close would, asking the view.
    auto context = contexts_.find({session, params["executionContextId"].asInt()});
    if (session == session_ && context != contexts_.end() && context->second.frame == target_)
      win::PostMessageW(hwnd_, win::WM_CLOSE, 0, 0);
    return;
  }
  Json::Value hello;
  if (params["payload"].asString().rfind("{\"hello\":", 0) == 0) {
    if (ParseJson(params["payload"].asString(), &hello) && hello["hello"].isString()) {
      OnHelloBinding(hello["hello"].asString(), session, params["executionContextId"].asInt());
    }
    return;
  }
  const int context = params["executionContextId"].asInt();
  const DocumentId document{id_, session, context};
  std::string body = params["payload"].asString();
  // A document that reaches neither the call origin nor dialogs: its calls come this way
  // without their answers. The log says so once for the document.
  if (body.rfind("{\"lost\":", 0) == 0) {
    auto doc = documents_.find({session, context});
    if (doc != documents_.end() && !doc->second.toldLost) {
      doc->second.toldLost = true;
      EngineLog(kTnLogError, "PageBrowser::OnPageCall",
                "browser " + std::to_string(id_) +
                    ": a document's policy refuses both the call origin and dialogs; its calls "
                    "run without their answers");
    }
    return;
  }
  // The binding names the document that calls: the body must name the same one, with its key.
  CallHead head;
  bool gone = false;
  if (!engine_->ProveCall(session, body, context, &head, &gone)) {
    engine_->DropUnproven(this, "binding");
    return;
  }
  // The calls that need no answer within come this way, each in its turn.
  const bool inTurn =
      engine_->InTurn({session, context}, head.seq, [this, document, body = std::move(body)] {
        if (alive_) {
          render()->Call(document, body, false,
                         engine_->TracedCall(id_, body, "binding", [](const std::string&) {}));
        }
      });
  if (!inTurn) engine_->DropUnproven(this, "binding");
}

void PageBrowser::OnFetchJSMessage(const std::string& session, const Json::Value& params) {
  if (!alive_ || !notify_) return;
  // The SDK answers by script in the main document: only that document, and documents of its
  // origin, may speak to it. A frame of another site gets no answer of the window's SDK.
  if (!params["executionContextId"].isInt() ||
      !OfTheWindowsOrigin(session, params["executionContextId"].asInt())) {
    EngineLog(kTnLogInfo, "PageBrowser::OnFetchJSMessage",
              "browser " + std::to_string(id_) +
                  ": SDK messages of a frame of another origin than its window's are dropped");
    return;
  }
  const Json::Value& payload = params["payload"];
  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create(kFetchJSMessage);
  if (payload.isString()) message->GetArgumentList()->SetString(0, payload.asString());
  engine_->trace_("deliver", PID_BROWSER, id_, message);
  inproc::DeliverToView(notify_, hostBrowser_, message);
}

void PageBrowser::RunPageFunction(const std::string& session, int executionContextId, int handle,
                                  const std::string& args) {
  if (!alive_ || !engine_->ok()) return;
  // The functions due in a document by the time the UI thread is next free run in one
  // evaluation, in the order they came: a page that makes many calls gets its answers in
  // batches rather than one round trip each.
  std::string& batch = runs_[{session, executionContextId}];
  const bool first = batch.empty();
  // Each runs on its own: one that throws does not keep the next from running.
  batch += "try { window.__tnpcShim && window.__tnpcShim.run(" + std::to_string(handle) + ", " +
           args + "); } catch (e) {}";
  if (first)
    engine_->ui().PostTask([this, session, executionContextId] {
      auto it = runs_.find({session, executionContextId});
      if (it == runs_.end()) return;
      Json::Value params;
      params["expression"] = std::move(it->second);
      params["contextId"] = executionContextId;
      runs_.erase(it);
      if (alive_ && engine_->ok())
        engine_->connection().Send("Runtime.evaluate", params, session, nullptr);
    });
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

std::string PageBrowser::SessionOfFrame(const std::string& frameId,
                                        const std::string& session) const {
  if (frameId.empty()) return session;
  if (frameId == target_) return session_;
  for (const auto& [frameSession, frame] : frames_) {
    if (frame->target == frameId) return frameSession;
  }
  return session;
}

bool PageBrowser::IsTrustedFrame(const std::string& session, const std::string& frameId) const {
  if (session == session_) {
    if (frameId == target_) return true;  // the main frame's id is its target's
    auto child = childFrames_.find(frameId);
    return child != childFrames_.end() && IsClientPage(child->second);
  }
  auto frame = frames_.find(session);
  return frame != frames_.end() && frameId == frame->second->target &&
         IsClientPage(frame->second->url);
}

void PageBrowser::OnFrameAttached(const std::string& session, const std::string& targetId) {
  frames_[session] = new Frame(session, targetId, static_cast<int64_t>(frames_.size()) + 1);
  engine_->SetUpFrameSession(session, id_);
}

void PageBrowser::ForgetDocuments(const std::string& session) {
  std::vector<int> ids;
  for (const auto& [key, document] : documents_) {
    if (key.first == session) ids.push_back(key.second);
  }
  for (int id : ids) OnDocumentGone(session, id);
}

bool PageBrowser::OnPageMessage(const std::string& method, const Json::Value& params) {
  const char* kind = nullptr;
  std::string level, text, where;
  if (method == "Runtime.consoleAPICalled") {
    kind = "console";
    level = params["type"].isString() ? params["type"].asString() : "log";
    const Json::Value& args = params["args"];
    for (Json::ArrayIndex i = 0; args.isArray() && i < args.size(); ++i) {
      if (!text.empty()) text += ' ';
      text += ConsoleText(args[i]);
    }
    where = Where(params);
  } else if (method == "Runtime.exceptionThrown") {
    const Json::Value& details = params["exceptionDetails"];
    kind = "error";
    level = "error";
    text = details["text"].isString() ? details["text"].asString() : "Uncaught";
    const std::string thrown = ConsoleText(details["exception"]);
    // An Error's description is its stack: the first line names it.
    if (!thrown.empty()) text += " " + thrown.substr(0, thrown.find('\n'));
    where = Where(details);
  } else if (method == "Log.entryAdded") {
    const Json::Value& entry = params["entry"];
    if (!entry["text"].isString()) return true;
    text = entry["text"].asString();
    level = entry["level"].isString() ? entry["level"].asString() : "error";
    if (entry["source"] == "network" && level == "error" && entry["url"].isString()) {
      // A document, script, style sheet or picture that failed or answered an error status:
      // where is the address that was asked for.
      kind = "load";
      where = Engine::ToClientUrl(entry["url"].asString());
    } else if (entry["source"] == "security" &&
               text.find("Content Security Policy") != std::string::npos) {
      kind = "violation";
      where = Where(entry);
    } else {
      return true;  // other entries the page message tracer does not see
    }
  } else {
    return false;
  }
  TellPageMessage(kind, level, text, where);
  return true;
}

void PageBrowser::TellPageMessage(const char* kind, const std::string& level,
                                  const std::string& text, const std::string& where) {
  Engine::PageMessageTracer tracer;
  {
    std::lock_guard<std::mutex> lock(engine_->mutex_);
    tracer = engine_->pageMessageTracer_;
  }
  if (tracer) tracer(id_, kind, level, text, where);
}

void PageBrowser::ForgetContexts(const std::string& session) {
  contexts_.erase(contexts_.lower_bound({session, INT_MIN}),
                  contexts_.upper_bound({session, INT_MAX}));
  dragWorlds_.erase(dragWorlds_.lower_bound({session, INT_MIN}),
                    dragWorlds_.upper_bound({session, INT_MAX}));
}

void PageBrowser::OnFrameDetached(const std::string& session) {
  if (frames_.count(session) == 0) return;
  ForgetContexts(session);
  ForgetDocuments(session);
  frameNumbers_.erase(frames_[session]->target);
  frames_.erase(session);
  engine_->order_->ForgetSession(session);
}

void PageBrowser::OnEvent(const std::string& method, const Json::Value& params,
                          const std::string& session) {
  if (!alive_) return;
  const bool main = session == session_;
  auto attached = frames_.find(session);
  if (!main && attached == frames_.end()) return;
  const std::string frame = main ? target_ : attached->second->target;
  if (main && engine_->stepTracing_) TraceStep(method, params);
  if (method == "Runtime.executionContextCreated") {
    const Json::Value& context = params["context"];
    const Json::Value& aux = context["auxData"];
    if (!aux["isDefault"].isBool() || !aux["isDefault"].asBool() || !context["id"].isInt() ||
        !aux["frameId"].isString())
      return;
    const int id = context["id"].asInt();
    Context& known = contexts_[{session, id}];
    known.frame = aux["frameId"].asString();
    known.origin = context["origin"].isString() ? context["origin"].asString() : std::string();
    if (main && known.frame == target_) mainOrigin_ = known.origin;
    // The empty document where the target started, before any document of the window's has
    // committed, runs none of the page's script: it gets no object (an embedded browser makes
    // no script context for an initial empty document that runs none). Its making would cost
    // the renderer and the render side work while the window's first document is on its way.
    // A document that the shim stands in says hello, which makes it known in any case.
    if (main && known.frame == target_ && !committed_) return;
    if (known.frame == frame) OnNewDocument(session, id, main);
    return;
  }
  if (method == "Runtime.executionContextDestroyed") {
    if (params["executionContextId"].isInt()) {
      dragWorlds_.erase({session, params["executionContextId"].asInt()});
      auto context = contexts_.find({session, params["executionContextId"].asInt()});
      if (context != contexts_.end()) {
        // The parts of a call that the frame's document began and never ended go with it.
        engine_->prompts_->ForgetFrame(session + "\n" + context->second.frame);
        contexts_.erase(context);
      }
      OnDocumentGone(session, params["executionContextId"].asInt());
    }
    return;
  }
  if (method == "Runtime.executionContextsCleared") {
    engine_->prompts_->Forget(session);
    ForgetContexts(session);
    ForgetDocuments(session);
    return;
  }
  if (OnPageMessage(method, params)) return;
  if (!main && method == "Inspector.detached") {
    OnFrameDetached(session);
    return;
  }
  // The page's renderer died: its documents are gone, and the view hears of the crash. A
  // reload brings a new renderer.
  if (main && method == "Inspector.targetCrashed") {
    ForgetDocuments(session);
    if (notify_) notify_->OnRenderProcessTemerate(0, 2);
    return;
  }
  if (method == "Runtime.bindingCalled") {
    if (params["name"].asString() == "__tnpcNative") {
      OnPageCall(session, params);
      return;
    }
    if (params["name"].asString() == kFetchJSMessage) {
      OnFetchJSMessage(session, params);
      return;
    }
    if (params["name"] == kDragBinding) {
      if (main) OnDragMessage(params);
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
  // A navigation to an address of a program's scheme never makes a document request: the view
  // is asked here (the other navigations are asked when their document is requested).
  if (method == "Page.frameRequestedNavigation") {
    if (!main || params["frameId"] != target_ || !params["url"].isString()) return;
    const std::string url = params["url"].asString();
    if (!IsPageScheme(url)) AskBeforeNavigating(url, true);
    return;
  }
  // A main-frame document has committed: its address is known at once (the page's first calls
  // may come before the load ends), and the history follows when the load does.
  if (method == "Page.frameStartedNavigating" && params["frameId"].asString() == target_ &&
      params["navigationType"] != "sameDocument") {
    navigating_ = true;
    begun_ = true;
    AnswerHellosOfALeavingDocument();
    return;
  }
  if (method == "Page.frameNavigated" && params["frame"].isMember("parentId")) {
    if (params["frame"]["id"].isString() && params["frame"]["url"].isString())
      childFrames_[params["frame"]["id"].asString()] =
          Engine::ToClientUrl(params["frame"]["url"].asString());
    return;
  }
  if (method == "Page.frameDetached" && params["frameId"].isString()) {
    childFrames_.erase(params["frameId"].asString());
    // A frame that moves to a renderer of its own stays the same frame.
    if (params["reason"] != "swap") frameNumbers_.erase(params["frameId"].asString());
    return;
  }
  if (method == "Page.frameNavigated" && params["frame"]["url"].isString()) {
    navigating_ = false;
    committed_ = true;
    hostRequests_.clear();
    // Chromium's error page stands under the address that could not be reached.
    if (params["frame"]["unreachableUrl"].isString()) {
      TellPageMessage("load", "error", "the page could not be reached",
                      Engine::ToClientUrl(params["frame"]["unreachableUrl"].asString()));
    }
    const std::string url = Engine::ToClientUrl(params["frame"]["url"].asString());
    std::unique_lock<std::mutex> lock(mutex_);
    ++navigations_;
    // A step back or forward, or a new entry; the browser's own history settles it at the end
    // of the load.
    const int size = static_cast<int>(history_.size());
    // about:blank, where every page target starts, is no entry; the same address neither. A
    // page sent to about:blank later (by a frame, by script) is one: the view's address
    // follows the main frame's document, and that document is no longer the one before.
    const bool stays =
        (url == "about:blank" && index_ < 0) || (index_ >= 0 && history_[index_] == url);
    // The first page the target shows: the about:blank it started on is forgotten at once,
    // before the page can add entries of its own (a reset after them would drop them).
    if (!stays && index_ < 0)
      engine_->connection().Send("Page.resetNavigationHistory", Json::Value(), session_, nullptr);
    if (stays) {
    } else if (index_ > 0 && history_[index_ - 1] == url) {
      --index_;
    } else if (index_ >= 0 && index_ + 1 < size && history_[index_ + 1] == url) {
      ++index_;
    } else {
      history_.resize(index_ + 1);
      history_.push_back(url);
      index_ = static_cast<int>(history_.size()) - 1;
    }
    const int index = index_, count = static_cast<int>(history_.size());
    lock.unlock();
    ReportState();
    // The view's address is the committed document's before that document runs a line: its
    // first calls are judged by it (the events of its document come after this one).
    if (!stays && notify_) notify_->OnNavigationState(index, count);
    return;
  }
  // The main frame has stopped loading: a document is there. (Its load event can be missed
  // when the navigation moves the page to another renderer process; this one is not.)
  if (method == "Page.frameStoppedLoading" && params["frameId"].asString() == target_) {
    // A navigation that never commits (a download, an empty answer, a refused document) ends
    // here too: the page's document stays.
    navigating_ = false;
    // The window is shown: the engine makes the next window's target ready. (The target's own
    // about:blank can end its load after the window's navigation was sent: that end is not the
    // page's.)
    if (!shown_ && begun_) {
      shown_ = true;
      engine_->Shown(this, true);
    }
    // Chromium drops a close that a navigation overtakes: it is asked again.
    if (closing_) {
      Close(0);
      return;
    }
    // The history is the browser's own; about:blank, where every page target starts, is
    // dropped from it.
    engine_->connection().Send("Page.getNavigationHistory", Json::Value(), session_,
                               [this, navigations = navigations_.load(), within = withinDocument_](
                                   const Json::Value& result, const Json::Value&) {
                                 OnHistory(result, navigations, within, true);
                               });
    return;
  }
  // An entry the page made in its own history (pushState, a fragment): the same document,
  // nothing loaded, but the window can go back to where it was.
  if (method == "Page.navigatedWithinDocument" && params["frameId"] == target_) {
    ++withinDocument_;
    engine_->connection().Send("Page.getNavigationHistory", Json::Value(), session_,
                               [this, navigations = navigations_.load(), within = withinDocument_](
                                   const Json::Value& result, const Json::Value&) {
                                 OnHistory(result, navigations, within, false);
                               });
    return;
  }
  if (method == "Inspector.detached") FinishClose();
}

void PageBrowser::TraceStep(const std::string& method, const Json::Value& params) {
  const char* step = nullptr;
  if (method == "Page.frameNavigated" && !params["frame"].isMember("parentId")) {
    step = "the document committed";
  } else if (method == "Runtime.executionContextCreated" &&
             params["context"]["auxData"]["frameId"] == target_ &&
             params["context"]["auxData"]["isDefault"] == true) {
    step = "the document's context";
  } else if (method == "Page.domContentEventFired") {
    step = "DOMContentLoaded";
  } else if (method == "Page.loadEventFired") {
    step = "load";
  } else if (method == "Page.lifecycleEvent" && params["frameId"] == target_ &&
             (params["name"] == "firstPaint" || params["name"] == "firstContentfulPaint")) {
    step = params["name"] == "firstPaint" ? "first paint" : "first contentful paint";
  } else if (method == "Page.frameStoppedLoading" && params["frameId"] == target_) {
    step = "stopped loading";
  }
  if (step) engine_->Step(id_, step);
}

void PageBrowser::SendToPage(const char* method, Json::Value params,
                             Connection::Callback callback) {
  if (Waits([this, method, params, callback] { SendToPage(method, params, callback); })) return;
  if (!engine_->ok()) return;  // the engine is ending
  engine_->connection().Send(method, params, session_, std::move(callback));
}

void PageBrowser::OnHistory(const Json::Value& result, int navigations, int withinDocument,
                            bool loaded) {
  if (!alive_ || !result["entries"].isArray()) return;
  std::vector<std::string> urls;
  for (const Json::Value& entry : result["entries"]) {
    urls.push_back(Engine::ToClientUrl(entry["url"].asString()));
  }
  int index = result["currentIndex"].asInt();
  // The target's own start (about:blank, a kept target's empty document) is no back entry: the
  // browser forgets it once the first page is the only other entry and no navigation, not even
  // within the page, has begun since the history was read (a reset then would drop the entries
  // it adds).
  bool started = false;
  while (!urls.empty() && IsWhereTargetsStart(urls.front()) && index > 0) {
    urls.erase(urls.begin());
    --index;
    started = true;
  }
  if (started && urls.size() == 1 && navigations == navigations_ &&
      withinDocument == withinDocument_)
    engine_->connection().Send("Page.resetNavigationHistory", Json::Value(), session_, nullptr);
  if (index < 0 || index >= static_cast<int>(urls.size())) return;
  const std::string current = urls[index];
  if (IsWhereTargetsStart(current) && urls.size() == 1) return;  // only where the target started
  const int count = static_cast<int>(urls.size());
  {
    std::lock_guard<std::mutex> lock(mutex_);
    history_ = urls;
    index_ = index;
  }
  ReportState();
  if (!notify_) return;
  if (loaded) {
    tnbase::TnStringPtr text = tnbase::TnStringPtr::FromUTF8(current);
    notify_->OnPageLoaded(nullptr, nullptr, text.get());
  }
  if (alive_) notify_->OnNavigationState(index, count);
}

void PageBrowser::FinishClose() {
  if (!alive_.exchange(false)) return;
  answersWaiting_.clear();
  engine_->order_->ForgetSession(session_);
  engine_->prompts_->Forget(session_);
  for (const auto& [session, frame] : frames_) {
    engine_->order_->ForgetSession(session);
    engine_->prompts_->Forget(session);
  }
  render()->PageClosed(id_);
  if (notify_) notify_->OnBeforeBrowserClose();
  win::DestroyWindow(hwnd_);
  hwnd_ = nullptr;
  news_->Closed();
  if (notify_) notify_->OnBrowserDestroyed();
  engine_->Shown(this, !shown_);
}

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

namespace {

// An address as a document request names it: no fragment, a root path for a bare origin, the
// host in lower case and the rest percent-encoded.
std::string RequestForm(const std::string& url) {
  QUrl u(QString::fromStdString(url));
  if (!u.isValid()) return url;
  u.setFragment(QString());
  if (u.path().isEmpty() && (u.scheme() == "https" || u.scheme() == "http")) u.setPath("/");
  return u.toEncoded().toStdString();
}

}  // namespace

void PageBrowser::HostLoads(const std::string& url) {
  std::lock_guard<std::mutex> lock(mutex_);
  hostLoad_ = RequestForm(url);
}

bool PageBrowser::HostStarted(const Json::Value& params, const std::string& url) {
  const Json::Value& redirectedFrom = params["redirectedRequestId"];
  bool host = false;
  if (redirectedFrom.isString()) {
    host = hostRequests_.count(redirectedFrom.asString()) != 0;
  } else {
    std::lock_guard<std::mutex> lock(mutex_);
    host = !hostLoad_.empty() && hostLoad_ == RequestForm(url);
    if (host) hostLoad_.clear();
  }
  if (host && params["requestId"].isString()) hostRequests_.insert(params["requestId"].asString());
  return host;
}

NavigationAnswer PageBrowser::AskBeforeNavigating(const std::string& url, bool pageStarted) {
  if (!alive_) return NavigationAnswer::kLoad;
  const NavigationAnswer answer =
      xhav::AskBeforeNavigating(notify_, url, pageStarted, engine_->options_.clientWebDomain);
  if (answer != NavigationAnswer::kLoad)
    EngineLog(kTnLogInfo, "PageBrowser::AskBeforeNavigating",
              "browser " + std::to_string(id_) + ": the view stays on its page: " + url + " is " +
                  NavigationAnswerText(answer));
  return answer;
}

void PageBrowser::LoadUrl(const char* url) {
  if (!alive_ || !url) return;
  if (!IsPageScheme(url)) {
    // No page is served under this scheme: Chromium won't load it, the view is still asked.
    engine_->ui().PostTask(
        [this, address = std::string(url)] { AskBeforeNavigating(address, false); });
    return;
  }
  HostLoads(Engine::ToEngineUrl(url));
  ++navigations_;
  Json::Value params;
  params["url"] = Engine::ToEngineUrl(url);
  SendToPage("Page.navigate", params);
}

void PageBrowser::ExecuteJavaScript(CefRefPtr<CefBrowser>, CefRefPtr<CefFrame> frame,
                                    const char16_t* script) {
  if (!alive_ || !script) return;
  tnbase::TnStringPtr text(allocStringFromWideChars(script));
  Json::Value params;
  params["expression"] = text->ToUTF8();
  Engine::ScriptTracer tracer;
  {
    std::lock_guard<std::mutex> lock(engine_->mutex_);
    tracer = engine_->scriptTracer_;
  }
  if (tracer) tracer(id_, params["expression"].asString());
  // A cross-site frame's script runs in its own target; any other in the page.
  auto* own = dynamic_cast<Frame*>(frame.get());
  const bool attached = own && frames_.count(own->session) != 0;
  if (attached) {
    engine_->connection().Send("Runtime.evaluate", params, own->session, nullptr);
  } else {
    SendToPage("Runtime.evaluate", params);
  }
}

}  // namespace xhav::cdp
