// The session trace: what crosses between the pages, the render side and the host, one JSON
// object a line in the build folder's demo-trace.jsonl. pages/tavrin5main/timeline.html
// draws it.
//
// Every process of the demo appends to the one file (opened once by the demo before its parts
// start, inherited by each part's process): a line goes out in one write(2) on a descriptor
// opened with O_APPEND, so lines of different processes never mix.

#include <fcntl.h>
#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>

#include "demo.h"
#include "hav/json_text.h"

namespace demo {

namespace {

int g_traceFile = -1;
std::chrono::steady_clock::time_point g_origin;
const char* g_part = "";
constexpr std::size_t kDetailLimit = 400;

// "main" for a process's first thread (the parts' UI thread), else the thread's name; with its
// id, so that two threads of one name stay apart.
std::string ThreadLabel() {
  const long tid = syscall(SYS_gettid);
  char name[16] = "";
  if (tid == getpid()) {
    std::snprintf(name, sizeof name, "main");
  } else if (pthread_getname_np(pthread_self(), name, sizeof name) != 0) {
    std::snprintf(name, sizeof name, "thread");
  }
  return std::string(name) + "/" + std::to_string(tid);
}

// What kind of step a process message is, for the timeline's rows.
const char* MessageKind(const std::string& name) {
  if (name == "havFetchJSMessage") return "sdk";
  if (name == "push_notify") return "event";
  if (name == "ExeBusinessActionCallback") return "answer";
  return "message";
}

// A script the host runs: an SDK answer, a call of a page's SDK handler, or another script.
const char* ScriptKind(const std::string& script) {
  if (script.find("_handleMessageFromObjC('{\"responseId\"") != std::string::npos) return "answer";
  if (script.find("_handleMessageFromObjC('{\"callbackId\"") != std::string::npos) return "event";
  return "script";
}

bool ParseCall(const std::string& body, Json::Value* call) {
  return xhav::ParseJson(body, call) && call->isObject();
}

}  // namespace

bool StartSessionTrace(const std::string& file) {
  g_origin = std::chrono::steady_clock::now();
  const std::string path =
      file.empty() ? std::string(TNWEBUI_BUILD_DIR) + "/demo-trace.jsonl" : file;
  g_traceFile = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
  return g_traceFile >= 0;
}

void SetTracePart(const char* part) { g_part = part; }

void TraceStep(const char* kind, int browser, const std::string& name, const std::string& detail,
               double milliseconds) {
  if (g_traceFile < 0) return;
  const std::chrono::duration<double, std::milli> at = std::chrono::steady_clock::now() - g_origin;
  Json::Value step;
  step["t"] = at.count();
  step["pid"] = static_cast<int>(getpid());
  step["part"] = g_part;
  step["thread"] = ThreadLabel();
  step["kind"] = kind;
  step["browser"] = browser;
  step["name"] = name;
  step["detail"] = detail.size() > kDetailLimit ? detail.substr(0, kDetailLimit) + "…" : detail;
  if (milliseconds >= 0) step["ms"] = milliseconds;
  static const Json::StreamWriterBuilder writer = [] {
    Json::StreamWriterBuilder w;
    w["indentation"] = "";
    w["emitUTF8"] = true;
    w["precision"] = 3;  // times to the microsecond
    w["precisionType"] = "decimal";
    return w;
  }();
  const std::string line = Json::writeString(writer, step) + "\n";
  if (write(g_traceFile, line.data(), line.size()) < 0) return;  // a trace line is not worth more
}

void TraceProcessMessage(const char* hop, CefProcessId target, int browser, const std::string& name,
                         const std::string& arguments) {
  const bool sending = std::string(hop) == "send";
  const std::string way =
      sending ? (target == PID_BROWSER ? "to the host: " : "to the page: ") : "arrives: ";
  TraceStep(MessageKind(name), browser, name, way + arguments);
}

void TraceProcessMessage(const char* hop, CefProcessId target, int browser,
                         const CefRefPtr<CefProcessMessage>& message) {
  TraceProcessMessage(hop, target, browser, message->GetName().ToString(),
                      DescribeList(message->GetArgumentList()));
}

void TraceScripts(xhav::cdp::Engine& engine, bool say) {
  engine.SetScriptTracer([say](int id, const std::string& script) {
    if (say) Say("  runs in the page of browser %d: %s", id, script.c_str());
    TraceStep(ScriptKind(script), id, "ExecuteJavaScript", script);
  });
}

void TraceCalls(xhav::cdp::Engine& engine) {
  engine.SetCallTracer([](int id, const std::string& body, const char* way, double ms) {
    Json::Value call;
    std::string name = "?";
    std::string args;
    if (ParseCall(body, &call)) {
      if (call["fn"].isString()) name = call["fn"].asString();
      args = Compact(call["args"]);
    }
    TraceStep("call", id, "tnpc." + name, std::string("by ") + way + ": " + args, ms);
  });
}

}  // namespace demo
