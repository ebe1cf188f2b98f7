// The client's page files, served to Chromium under reserved sites by intercepting their
// requests, with the headers a file carries in "<file>.headers".

#include <QString>
#include <chrono>
#include <fstream>
#include <sstream>

#include "cdp_engine_internal.h"
#include "hav/json_text.h"
#include "navigation_rule.h"

namespace xhav::cdp {

namespace {

std::string ContentType(const std::string& path) {
  const auto dot = path.find_last_of('.');
  const std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
  if (ext == "html" || ext == "htm") return "text/html; charset=utf-8";
  if (ext == "js") return "text/javascript; charset=utf-8";
  if (ext == "css") return "text/css; charset=utf-8";
  if (ext == "png") return "image/png";
  if (ext == "svg") return "image/svg+xml";
  if (ext == "json") return "application/json";
  return "application/octet-stream";
}

bool ReadFile(const std::string& path, std::string* bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream out;
  out << in.rdbuf();
  *bytes = out.str();
  return true;
}

}  // namespace

std::string Engine::ToEngineUrl(const std::string& url) {
  for (const char* root : kRoots) {
    const std::string origin = std::string("file://") + root;
    if (url == origin) return "https://" + std::string(root) + kPagesHost;  // a cookie's address
    if (url.rfind(origin + "/", 0) == 0) {
      return "https://" + std::string(root) + kPagesHost + url.substr(origin.size());
    }
  }
  return url;
}

std::string Engine::ToClientUrl(const std::string& url) {
  for (const char* root : kRoots) {
    const std::string prefix = "https://" + std::string(root) + kPagesHost + "/";
    if (url.rfind(prefix, 0) == 0)
      return std::string("file://") + root + "/" + url.substr(prefix.size());
  }
  return url;
}

DesktopPlan PlanDesktopRequest(const Json::Value& params, const DesktopSender& sender) {
  DesktopPlan plan;
  const Json::Value& request = Member(params, "request");
  if (!request.isObject() || !request["url"].isString()) return plan;
  plan.url = request["url"].asString();
  // The desktop origin answers a page's requests, never a navigation: a document request (a
  // link with target _top in a frame of another site, a form) would run a command that no page
  // of the window asked for. It stays where it is.
  if (params["resourceType"] == "Document") {
    plan.kind = DesktopPlan::kStay;
    return plan;
  }
  // The desktop serves the window's own main frame and frames of the client's pages: a frame
  // of another site, or a worker, can't command the window or read its data.
  if (!sender.trusted) return plan;
  std::string origin;
  if (request["headers"].isObject()) {
    for (const std::string& name : request["headers"].getMemberNames()) {
      if (request["headers"][name].isString() &&
          QString::fromStdString(name).compare("origin", Qt::CaseInsensitive) == 0)
        origin = request["headers"][name].asString();
    }
  }
  // A frame is judged by its origin, not its address: a sandboxed frame of a client page (its
  // origin opaque, "null") is no client page. And by the document that sent the request, not
  // the one the frame holds now: a request that a leaving document sent (a keep-alive fetch from
  // `pagehide`) arrives after its frame went on to another address.
  if (origin == "null" && !sender.mainFrame) return plan;
  if (!origin.empty() && !SentByTheFramesDocument(origin, sender)) return plan;
  // The answers are for the client's pages and for the window's own page, whatever its
  // origin (a light app served from its own site reads its /window/init): only they may read
  // them.
  if (IsClientOrigin(origin) ||
      (!origin.empty() && origin != "null" && origin == sender.windowOrigin)) {
    plan.headers = {{"Access-Control-Allow-Origin", origin},
                    {"Access-Control-Allow-Methods", "POST, GET, OPTIONS"},
                    {"Access-Control-Allow-Headers", "*"}};
  }
  plan.headers.emplace_back("Vary", "Origin");
  if (request["method"] == "OPTIONS") {
    plan.kind = DesktopPlan::kPreflight;
    return plan;
  }
  plan.kind = DesktopPlan::kServe;
  if (request["hasPostData"].isBool() && request["hasPostData"].asBool())
    plan.body.push_back(RequestBytes(request));
  return plan;
}

void Engine::ServeDesktopRequest(const std::string& session, const Json::Value& params) {
  PageBrowser* page = PageOf(session);
  RequestTracer tracer;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    tracer = requestTracer_;
  }
  const std::string frame = params["frameId"].isString() ? params["frameId"].asString() : "";
  DesktopSender sender;
  if (page) {
    sender.trusted = page->IsTrustedFrame(session, frame);
    sender.mainFrame = session == page->session_ && frame == page->target_;
    sender.windowOrigin = page->mainOrigin_;
  }
  DesktopPlan plan = PlanDesktopRequest(params, sender);
  auto fail = [&](const char* reason) {
    Json::Value failed;
    failed["requestId"] = params["requestId"];
    failed["errorReason"] = reason;
    AnswerRequest(page, "Fetch.failRequest", std::move(failed), session);
  };
  if (plan.kind == DesktopPlan::kStay) {
    EngineLog(kTnLogInfo, "Engine::ServeDesktopRequest",
              "browser " + std::to_string(page ? page->id_ : 0) +
                  ": a navigation to the desktop origin is refused: " + PathOf(plan.url));
    Json::Value stay;
    stay["requestId"] = params["requestId"];
    stay["responseCode"] = 204;
    AnswerRequest(page, "Fetch.fulfillRequest", std::move(stay), session);
    return;
  }
  if (plan.kind == DesktopPlan::kRefuse) {
    EngineLog(kTnLogInfo, "Engine::ServeDesktopRequest",
              "browser " + std::to_string(page ? page->id_ : 0) +
                  ": a desktop request of a frame that is not the window's is refused: " +
                  PathOf(plan.url));
    fail("BlockedByClient");
    return;
  }
  Json::Value answer;
  answer["requestId"] = params["requestId"];
  auto header = [&answer](const std::string& name, const std::string& value) {
    Json::Value h;
    h["name"] = name;
    h["value"] = value;
    answer["responseHeaders"].append(h);
  };
  for (const auto& [name, value] : plan.headers) header(name, value);
  if (plan.kind == DesktopPlan::kPreflight) {
    answer["responseCode"] = 204;
    AnswerRequest(page, "Fetch.fulfillRequest", std::move(answer), session);
    return;
  }
  HandlerCreator* creator = FindCreator(page, plan.url);
  if (!creator) {
    fail("NameNotResolved");  // as for any unknown origin: no server answers
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  const ServedRequest served =
      ServeRequest(creator, plan.url, plan.body.empty() ? nullptr : &plan.body);
  if (tracer) {
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    tracer(page->id_, plan.url, served.writes, took.count());
  }
  std::string bytes;
  for (const std::string& write : served.writes) bytes += write;
  header("Content-Type", "application/x-protobuf");
  answer["responseCode"] = 200;
  answer["body"] = Base64(bytes);
  AnswerRequest(page, "Fetch.fulfillRequest", std::move(answer), session);
}

void Engine::ServeResource(const std::string& session, const Json::Value& params) {
  if (!params.isObject() || !params["request"].isObject() || !params["request"]["url"].isString())
    return;
  const std::string url = params["request"]["url"].asString();
  if (ServeParking(session, params, url)) return;
  auto trace = [this, &session](const char* step) {
    if (!stepTracing_) return;
    if (PageBrowser* page = PageOf(session)) Step(page->id_, step);
  };
  // A window's first document waits for its session's set-up.
  auto setUp = settingUp_.find(session);
  if (setUp != settingUp_.end()) {
    trace("a request held for the set-up");
    setUp->second.push_back([this, session, params] { ServeResource(session, params); });
    return;
  }
  trace(params["resourceType"] == "Document" ? "a document asked for" : "a file asked for");
  if (params["resourceType"] == "Document" && StaysBeforeNavigating(session, params, url)) return;
  if (IsIntercepted(url)) {
    ServeDesktopRequest(session, params);
    return;
  }
  if (IsCallUrl(params["request"]["url"])) {
    ServeCall(session, params["request"]["url"] == kHelloUrl, RequestBody(params["request"]),
              params["requestId"],
              params["frameId"].isString() ? params["frameId"].asString() : "");
    return;
  }
  if (!IsServedHere(url)) {
    // A document of another site, paused only to be asked about.
    Json::Value go;
    go["requestId"] = params["requestId"];
    AnswerRequest(PageOf(session), "Fetch.continueRequest", std::move(go), session);
    return;
  }
  std::string path = ToClientUrl(url);
  for (const char* root : kRoots) {
    const std::string frames = "https://" + std::string(root) + kFramesHost + "/";
    if (url.rfind(frames, 0) == 0)
      path = std::string("file://") + root + "/" + url.substr(frames.size());
  }
  path = path.substr(std::min(path.size(), std::string("file://").size()));
  const auto query = path.find_first_of("?#");
  if (query != std::string::npos) path.resize(query);
  std::string body;
  // A missing file answers 404, as a server does; a missing page shows the client's error page
  // under the address that was asked for.
  int status = 200;
  if (path.find("..") != std::string::npos || !ReadFile(options_.pagesDir + "/" + path, &body)) {
    status = 404;
    body.clear();
    if (params["resourceType"] == "Document") {
      ReadFile(options_.pagesDir + "/tavrin4/error.html", &body);
      path = "error.html";
    }
  }
  Json::Value fulfil;
  fulfil["requestId"] = params["requestId"];
  fulfil["responseCode"] = status;
  Json::Value header;
  header["name"] = "Content-Type";
  header["value"] = ContentType(path);
  fulfil["responseHeaders"].append(header);
  // A file may come with headers of its own ("Name: value" lines in "<file>.headers"), as a
  // server would send them: a page's Content Security Policy, say.
  std::string extra;
  if (ReadFile(options_.pagesDir + "/" + path + ".headers", &extra)) {
    std::istringstream lines(extra);
    for (std::string line; std::getline(lines, line);) {
      const auto colon = line.find(':');
      if (colon == std::string::npos) continue;
      Json::Value more;
      more["name"] = line.substr(0, colon);
      const auto value = line.find_first_not_of(' ', colon + 1);
      more["value"] = value == std::string::npos ? "" : line.substr(value);
      fulfil["responseHeaders"].append(more);
    }
  }
  fulfil["body"] = Base64(body);
  AnswerRequest(PageOf(session), "Fetch.fulfillRequest", std::move(fulfil), session);
}

bool Engine::IsServedHere(const std::string& url) {
  for (const char* root : kRoots) {
    for (const char* host : {kPagesHost, kFramesHost}) {
      if (url.rfind("https://" + std::string(root) + host + "/", 0) == 0) return true;
    }
  }
  return false;
}

bool Engine::StaysBeforeNavigating(const std::string& session, const Json::Value& params,
                                   const std::string& url) {
  PageBrowser* page = PageOf(session);
  if (!page || session != page->session_ || params["frameId"] != page->target_) return false;
  if (page->AskBeforeNavigating(ToClientUrl(url), !page->HostStarted(params, url)) ==
      NavigationAnswer::kLoad)
    return false;
  // No Content: the navigation ends where it began, and the page stays as it was.
  Json::Value stay;
  stay["requestId"] = params["requestId"];
  stay["responseCode"] = 204;
  AnswerRequest(page, "Fetch.fulfillRequest", std::move(stay), session);
  return true;
}

void Engine::AnswerRequest(PageBrowser* page, const char* method, Json::Value params,
                           const std::string& session) {
  if (page) {
    page->AnswerRequest(method, std::move(params), session);
  } else {
    connection().Send(method, params, session, nullptr);
  }
}

void PageBrowser::AnswerRequest(const char* method, Json::Value params,
                                const std::string& session) {
  answersWaiting_.emplace_back(method, std::move(params), session);
  SendAnswers();
}

void PageBrowser::SendAnswers() {
  if (!alive_ || !engine_->ok()) return;  // closed, or the engine is ending
  while (answersInFlight_ < kAnswersInFlight && !answersWaiting_.empty()) {
    auto [method, params, session] = std::move(answersWaiting_.front());
    answersWaiting_.pop_front();
    ++answersInFlight_;
    const int sent =
        engine_->connection().Send(method, params, session, [this](const auto&, const auto&) {
          --answersInFlight_;
          SendAnswers();
        });
    if (sent == 0) --answersInFlight_;  // the connection has gone
  }
}

}  // namespace xhav::cdp
