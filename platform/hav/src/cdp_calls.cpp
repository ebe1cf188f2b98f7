// The pages' synchronous calls: a request to the reserved call origin that Chromium's fetch
// interception holds, or a prompt where the page's policy refuses that request; each answered
// within the call, by the render side, or by the watchdog when the UI thread is late.

#include <chrono>
#include <cstring>
#include <optional>

#include "arg_list.h"
#include "cdp_engine_internal.h"
#include "cdp_render_side.h"
#include "json_text.h"

namespace xhav::cdp {

namespace {

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

}  // namespace

bool Engine::TakeCallOnReader(const std::string& method, const Json::Value& params,
                              const std::string& session) {
  if (method == "Page.javascriptDialogOpening") return DialogFromReader(session, params);
  if (method != "Fetch.requestPaused" || !params["requestId"].isString() ||
      !IsCallUrl(params["request"]["url"])) {
    return false;
  }
  const std::string requestId = params["requestId"].asString();
  if (params["request"]["url"] == kPingUrl) {
    answers_->Fulfil(session, requestId, "");
    return true;
  }
  watchdog_->Watch(requestId, session);
  return params["request"]["url"] == kCallUrl &&
         CallFromReader(session, RequestBody(params["request"]), requestId);
}

bool Engine::ServeDialogCall(const std::string& session) {
  std::optional<std::pair<bool, std::string>> call;
  {
    std::lock_guard<std::mutex> lock(dialogMutex_);
    auto it = dialogCalls_.find(session);
    if (it == dialogCalls_.end()) return false;  // a dialog of the page's own
    call = std::move(it->second);
    dialogCalls_.erase(it);
  }
  ServeCall(session, call->first, call->second, kDialogRequest + session);
  return true;
}

void Engine::ServeCall(const std::string& session, bool hello, const std::string& body,
                       const Json::Value& requestId) {
  int seq = 0, context = 0;
  if (hello || !ReadCallOrder(body, &seq, &context)) {
    ServeCallInTurn(session, hello, body, requestId);
    return;
  }
  order_->InTurn({session, context}, seq, [this, session, body, requestId] {
    ServeCallInTurn(session, false, body, requestId);
  });
}

void Engine::ServeCallInTurn(const std::string& session, bool hello, const std::string& body,
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
  // A call whose turn has not come goes the UI thread's way, where it waits for it.
  int seq = 0, context = 0;
  if (ReadCallOrder(body, &seq, &context) && !order_->TakeTurn({session, context}, seq)) {
    return false;
  }
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
      TracedCall(browser, body, "reader",
                 [watchdog, answers, session, requestId, body](const std::string& reply) {
                   if (watchdog->Claim(requestId)) {
                     answers->Fulfil(session, requestId, reply);
                   } else {
                     // The watchdog answered first: the page functions due within the call
                     // run now.
                     answers->RunDeferred(session, body, reply);
                   }
                 }));
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

}  // namespace xhav::cdp
