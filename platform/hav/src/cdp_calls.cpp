// The pages' synchronous calls: a request to the reserved call origin that Chromium's fetch
// interception holds, or a prompt where the page's policy refuses that request; each answered
// within the call, by the render side, or by the watchdog when the UI thread is late.

#include <chrono>
#include <cstring>
#include <optional>

#include "arg_list.h"
#include "cdp_engine_internal.h"
#include "cdp_render_side.h"
#include "hav/json_text.h"

namespace xhav::cdp {

namespace {

// Calls that came as prompts are answered through the dialog: their request identifiers say so.
constexpr char kDialogRequest[] = "dialog:";
bool IsDialogRequest(const std::string& requestId) {
  return requestId.rfind(kDialogRequest, 0) == 0;
}

}  // namespace

bool Engine::TakeCallOnReader(const std::string& method, const Json::Value& params,
                              const std::string& session) {
  if (method == "Page.javascriptDialogOpening") return DialogFromReader(session, params);
  if (method != "Fetch.requestPaused" || !params["requestId"].isString() ||
      !params["request"].isObject() || !IsCallUrl(params["request"]["url"])) {
    return false;
  }
  const std::string requestId = params["requestId"].asString();
  if (params["request"]["url"] == kPingUrl) {
    answers_->Fulfil(session, requestId, "");
    return true;
  }
  // A document's hello waits for the render side to know the document, which a render host
  // that is still starting (its first page, a cold disk) may take seconds to: it may wait four
  // limits, since a page without its object at its first line is broken for its whole life.
  watchdog_->Watch(requestId, session, params["request"]["url"] == kHelloUrl ? 4 : 1);
  return params["request"]["url"] == kCallUrl &&
         CallFromReader(session, RequestBody(params["request"]), requestId);
}

bool Engine::ServeDialogCall(const std::string& session) {
  std::optional<DialogCall> call;
  {
    std::lock_guard<std::mutex> lock(dialogMutex_);
    auto it = dialogCalls_.find(session);
    if (it == dialogCalls_.end()) return false;  // a dialog of the page's own
    call = std::move(it->second);
    dialogCalls_.erase(it);
  }
  // The dialog is the page's, whichever frame raised it, and is answered on the page's session
  // (its request id says which); the call is the frame's, served on the frame's own session.
  PageBrowser* page = PageOf(session);
  const std::string frameSession = page ? page->SessionOfFrame(call->frame, session) : session;
  ServeCall(frameSession, call->hello, call->body, kDialogRequest + session, call->frame);
  return true;
}

void Engine::ServeCall(const std::string& session, bool hello, const std::string& body,
                       const Json::Value& requestId, const std::string& frame) {
  if (hello) {
    ServeCallInTurn(session, true, body, requestId, 0, frame);
    return;
  }
  CallHead head;
  bool gone = false;
  PageBrowser* page = PageOf(session);
  if (ProveCall(session, body, 0, &head, &gone) &&
      InTurn({session, head.context}, head.seq,
             [this, session, body, requestId, context = head.context] {
               ServeCallInTurn(session, false, body, requestId, context);
             })) {
    return;
  }
  if (page) DropUnproven(page, IsDialogRequest(requestId.asString()) ? "prompt" : "request");
  if (watchdog_->Claim(requestId.asString())) FulfilCall(session, requestId, "{\"handled\":false}");
}

bool Engine::ProveCall(const std::string& session, const std::string& body, int bindingContext,
                       CallHead* head, bool* gone) {
  bool left = false;
  std::string origin;
  if (!ReadCallHead(body, head) || (bindingContext != 0 && head->context != bindingContext) ||
      !order_->Proves({session, head->context}, head->key, &left, &origin))
    return false;
  if (gone) *gone = left;
  if (!left) return true;
  if (!gone) return false;
  // A document that has left runs its late calls (a beacon) only while the page's address
  // keeps its origin.
  PageBrowser* page = PageOf(session);
  return !page || page->KeepsOrigin(origin);
}

PageBrowser* Engine::PageOf(const std::string& session) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = bySession_.find(session);
  return it == bySession_.end() ? nullptr : it->second;
}

bool Engine::InTurn(const CallOrder::Key& key, int seq, std::function<void()> run) {
  bool waits = false;
  if (!order_->InTurn(key, seq, std::move(run), &waits)) return false;
  if (!waits) return true;
  // A call numbered before this one is on its way, by the other way (the binding or a
  // request): it comes within moments. One that was dropped on its way never comes; the calls
  // after it then run without it.
  const int awaited = order_->Awaited(key);
  PostDelayed(kMissingCallMs, [this, key, awaited] {
    if (order_->Awaited(key) != awaited) return;
    EngineLog(kTnLogInfo, "Engine::InTurn",
              "a document's call " + std::to_string(awaited) +
                  " never came: the calls after it run without it");
    order_->SkipMissing(key, awaited);
  });
  return true;
}

void Engine::DropUnproven(PageBrowser* page, const char* way) {
  std::size_t held = 0;
  if (!page->dropLog_->Take(&held)) return;
  EngineLog(kTnLogInfo, "Engine::DropUnproven",
            "browser " + std::to_string(page->id_) + ": a call (" + way +
                ") that names no document of its own is dropped" +
                (held ? " (" + std::to_string(held) + " more before it not logged)" : ""));
}

void Engine::ServeCallInTurn(const std::string& session, bool hello, const std::string& body,
                             const Json::Value& requestId, int context, const std::string& frame) {
  PageBrowser* page = PageOf(session);
  // When the watchdog has answered, the page has gone on: the call runs without a waiting page.
  const bool answerWithin = watchdog_->Claim(requestId.asString());
  if (!page || !page->alive()) {
    if (answerWithin) FulfilCall(session, requestId, "{\"handled\":false}");
    return;
  }
  if (hello) {
    if (!answerWithin) return;  // the page has gone on without its object
    page->OnHelloRequest(session, frame, body,
                         [this, session, requestId](const std::string& reply) {
                           FulfilCall(session, requestId, reply);
                         });
    return;
  }
  renderSide_->Call({page->id_, session, context}, body, answerWithin,
                    TracedCall(page->id_, body, "request",
                               [this, session, requestId, answerWithin](const std::string& reply) {
                                 if (answerWithin) FulfilCall(session, requestId, reply);
                               }));
}

Engine::CallDone Engine::TracedCall(int browser, const std::string& body, const char* way,
                                    CallDone done) {
  CallTracer tracer;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!callTracer_) return done;
    tracer = callTracer_;
  }
  const auto start = std::chrono::steady_clock::now();
  return [tracer = std::move(tracer), browser, body, way, start,
          done = std::move(done)](const std::string& reply) {
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    tracer(browser, body, way, took.count());
    done(reply);
  };
}

bool Engine::CallFromReader(const std::string& session, const std::string& body,
                            const std::string& requestId) {
  std::lock_guard<std::mutex> lock(directMutex_);
  if (!direct_) return false;
  // A call that does not prove its document, or has left it, or whose turn has not come goes
  // the UI thread's way, where it is dropped or waits for its turn.
  CallHead head;
  if (!ProveCall(session, body, 0, &head, nullptr) ||
      !order_->TakeTurn({session, head.context}, head.seq)) {
    return false;
  }
  PageBrowser* page = PageOf(session);
  if (!page || !page->alive()) return false;
  const int browser = page->id_;
  SyncWatchdog* watchdog = watchdog_.get();
  std::shared_ptr<CallAnswers> answers = answers_;
  return renderSide_->CallFromAnyThread(
      {browser, session, head.context}, body,
      TracedCall(browser, body, "reader",
                 [watchdog, answers, session, requestId,
                  context = head.context](const std::string& reply) {
                   if (watchdog->Claim(requestId)) {
                     answers->Fulfil(session, requestId, reply);
                   } else {
                     // The watchdog answered first: the page functions due within the call
                     // run now, in the document that made it.
                     answers->RunDeferred(session, context, reply);
                   }
                 }));
}

bool Engine::DialogFromReader(const std::string& session, const Json::Value& params) {
  const std::string message = params["message"].isString() ? params["message"].asString() : "";
  const std::string frameId = params["frameId"].isString() ? params["frameId"].asString() : "";
  std::string body;
  const PromptCalls::Kind kind = params["type"] == "prompt"
                                     ? prompts_->Take(session + "\n" + frameId, message, &body)
                                     : PromptCalls::Kind::kNone;
  if (kind == PromptCalls::Kind::kNone) {
    AnswerPageDialog(session, params);
    return true;
  }
  if (kind == PromptCalls::Kind::kPart) {
    answers_->Fulfil(session, kDialogRequest + session, "");
    return true;
  }
  const bool hello = kind == PromptCalls::Kind::kHello;
  const std::string requestId = kDialogRequest + session;
  watchdog_->Watch(requestId, session, hello ? 4 : 1);
  // Here only a call of the session's own frame is served: another frame's session is the UI
  // thread's to find.
  PageBrowser* page = PageOf(session);
  const bool ownFrame = frameId.empty() || (page && frameId == page->target());
  if (!hello && ownFrame && CallFromReader(session, body, requestId)) return true;
  std::lock_guard<std::mutex> lock(dialogMutex_);
  dialogCalls_[session] = {hello, std::move(body), frameId};
  return false;
}

void Engine::AnswerPageDialog(const std::string& session, const Json::Value& params) {
  // The page's own dialog has nobody to answer it here: it gets the answer a user who closes
  // it would give, so neither the page nor an evaluation waiting on it hangs.
  const std::string type = params["type"].isString() ? params["type"].asString() : "";
  const bool accept = type == "alert" || type == "beforeunload";
  Json::Value answer;
  answer["accept"] = accept;
  answers_->Send("Page.handleJavaScriptDialog", answer, session);
  std::string message = params["message"].isString() ? params["message"].asString() : "";
  if (message.size() > 200) message = message.substr(0, 200) + "...";
  EngineLog(kTnLogInfo, "Engine::AnswerPageDialog",
            "a page's " + (type.empty() ? std::string("dialog") : type) + " is answered " +
                (type == "prompt" ? "null"
                 : accept         ? "true"
                                  : "false") +
                ": " + message);
}

void Engine::FulfilCall(const std::string& session, const Json::Value& requestId,
                        const std::string& reply) {
  answers_->Fulfil(session, requestId.asString(), reply);
}

void Engine::CallAnswers::Fulfil(const std::string& session, const std::string& requestId,
                                 const std::string& reply) {
  if (IsDialogRequest(requestId)) {
    // On the session that raised the dialog, which a frame's call need not be served on.
    Json::Value answer;
    answer["accept"] = true;
    answer["promptText"] = reply;
    const std::string dialogSession = requestId.substr(std::strlen(kDialogRequest));
    std::lock_guard<std::mutex> lock(mutex_);
    if (connection_)
      connection_->Send("Page.handleJavaScriptDialog", answer, dialogSession, nullptr);
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

void Engine::CallAnswers::Send(const std::string& method, const Json::Value& params,
                               const std::string& session) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (connection_) connection_->Send(method, params, session, nullptr);
}

void Engine::CallAnswers::RunDeferred(const std::string& session, int context,
                                      const std::string& reply) {
  Json::Value answer;
  if (!ParseJson(reply, &answer) || !answer["deferred"].isArray()) return;
  std::lock_guard<std::mutex> lock(mutex_);
  for (const Json::Value& due : answer["deferred"]) {
    if (!connection_ || !due["h"].isInt()) continue;
    Json::Value params;
    params["expression"] = "window.__tnpcShim && window.__tnpcShim.run(" +
                           std::to_string(due["h"].asInt()) + ", " + WriteJson(due["a"]) + ")";
    params["contextId"] = context;
    connection_->Send("Runtime.evaluate", params, session, nullptr);
  }
}

}  // namespace xhav::cdp
