#include "watch.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "hav/json_text.h"
#include "page_checks.h"
#include "sdk_declarations.h"

namespace run {
namespace {

constexpr std::size_t kLongest = 200;  // characters of a value shown in a line

bool Parse(const std::string& text, Json::Value* value) { return xhav::ParseJson(text, value); }

std::string Compact(const Json::Value& value) {
  static const Json::StreamWriterBuilder builder = [] {
    Json::StreamWriterBuilder b;
    b["indentation"] = "";
    b["emitUTF8"] = true;
    return b;
  }();
  return Json::writeString(builder, value);
}

std::string Shorten(std::string text) {
  if (text.size() > kLongest) text = text.substr(0, kLongest) + "...";
  return text;
}

std::string Text(const Json::Value& value) {
  return value.isString() ? value.asString() : Compact(value);
}

// The JSON between "(‘" and the last "')" of a bridge script; false for another script.
bool BridgeMessage(const std::string& script, Json::Value* message) {
  static const std::string kCall = "TavrinJsBridge._handleMessageFromObjC('";
  const std::size_t begin = script.find(kCall);
  const std::size_t end = script.rfind("')");
  if (begin == std::string::npos || end == std::string::npos || end < begin + kCall.size())
    return false;
  const std::string text = script.substr(begin + kCall.size(), end - begin - kCall.size());
  if (!Parse(text, message) || !message->isObject()) *message = Json::Value(text);
  return true;
}

// A transfer's figures: bytes below a KiB, else KiB with one decimal.
std::string Size(double bytes) {
  char text[32];
  if (bytes < 1024) {
    std::snprintf(text, sizeof text, "%.0f B", bytes);
  } else {
    std::snprintf(text, sizeof text, "%.1f KiB", bytes / 1024);
  }
  return text;
}

}  // namespace

Json::Value ArgsOf(const CefRefPtr<CefListValue>& list) {
  Json::Value args(Json::arrayValue);
  if (!list) return args;
  for (std::size_t i = 0; i < list->GetSize(); ++i) {
    switch (list->GetType(i)) {
      case VTYPE_STRING:
        args.append(list->GetString(i).ToString());
        break;
      case VTYPE_INT:
        args.append(list->GetInt(i));
        break;
      case VTYPE_DOUBLE:
        args.append(list->GetDouble(i));
        break;
      case VTYPE_BOOL:
        args.append(list->GetBool(i));
        break;
      case VTYPE_LIST:
        args.append(ArgsOf(list->GetList(i)));
        break;
      case VTYPE_BINARY:
        args.append("<" + std::to_string(list->GetBinary(i)->GetSize()) + " bytes>");
        break;
      default:
        args.append(Json::Value());
    }
  }
  return args;
}

Watch::Watch(Print print) : print_(std::move(print)) {}

double Watch::Seconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void Watch::Say(const char* kind, const std::string& text) {
  const double seconds = Seconds();
  char head[48];
  std::snprintf(head, sizeof head, "%8.3f  %-9s", seconds, kind);
  print_(head + text);
}

void Watch::Count(const std::string& name) {
  ++callCounts_[name];
  ++callCounts_[std::string()];
}

int Watch::Calls(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = callCounts_.find(name);
  return it == callCounts_.end() ? 0 : it->second;
}

void Watch::Found(const std::string& kind, const std::string& detail) {
  mistakes_.push_back({kind, detail});
}

void Watch::OnMessage(bool toHost, int browser, const std::string& name, const Json::Value& args) {
  (void)browser;
  std::lock_guard<std::mutex> lock(mutex_);
  auto arg = [&args](Json::ArrayIndex i) {
    return args.isArray() && i < args.size() ? args[i] : Json::Value();
  };
  if (toHost && name != "havFetchJSMessage") Count(name);
  if (toHost && name == "havFetchJSMessage") {
    Json::Value messages;
    if (!Parse(Text(arg(0)), &messages) || !messages.isArray()) {
      Say("sdk", "a message the client can't read: " + Shorten(Text(arg(0))));
      Found("unreadable bridge message", Shorten(Text(arg(0))));
      return;
    }
    for (const Json::Value& message : messages) OnSdkMessage(message);
  } else if (toHost && name == "exebusinessaction") {
    Say("action", Text(arg(0)) + "/" + Text(arg(1)) + " " + Shorten(Text(arg(3))));
    if (!Text(arg(4)).empty()) actionCallbacks_[Text(arg(0)) + "/" + Text(arg(1))] = Text(arg(4));
  } else if (!toHost && name == "ExeBusinessActionCallback") {
    const Json::Value result = arg(2);
    Say("result", Text(arg(0)) + "/" + Text(arg(1)) + " " + Shorten(Compact(result)));
  } else if (!toHost && name == "push_notify") {
    Say("event", Text(arg(2)) + " (" + Text(arg(3)) + ") " + Shorten(Text(arg(4))));
  } else if (toHost && (name == "registerEvent" || name == "unregisterEvent")) {
    Say("tnpc", name + " " + Compact(arg(0)));
  } else if (toHost) {
    Say("tnpc", name + " " + Shorten(Compact(args)));
    static const char* const kWindowFunctions[] = {"minwnd", "maxwnd", "restorewnd", "closewnd",
                                                   "forceclosewnd"};
    for (const char* function : kWindowFunctions) {
      if (!lightWindow_ || name != function) continue;
      Found("never served", "tnpc." + name +
                                "(): a light window serves none of tnpc's window functions, so "
                                "nothing happens; a light app closes its window with the SDK's "
                                "ui.closeWindow, and its bar's buttons do the rest");
    }
  }
}

void Watch::OnSdkMessage(const Json::Value& message) {
  if (!message.isObject() || !message["handlerName"].isString()) {
    Say("sdk", "a message without a handler name: " + Shorten(Compact(message)));
    Found("unreadable bridge message", Shorten(Compact(message)));
    return;
  }
  const std::string name = message["handlerName"].asString();
  if (message.isMember("responseId")) {
    const Json::Value& answer = message["responseData"];
    Say("page", "answers the client's " + name + ": " + Shorten(Compact(answer)));
    const Json::Value& data = answer.isObject() ? answer["data"] : Json::Value::nullSingleton();
    const bool shaped = data.isObject() && data["result"].isBool();
    if (name == "ui.onHistoryBack" && !shaped) {
      Found("back answer refused",
            "ui.onHistoryBack answered " + Shorten(Compact(answer)) +
                ": the client goes back only on {data: {result: true}} and stays on "
                "{data: {result: false}}; this answer leaves the page where it is");
    }
    return;
  }
  Count(name);
  Say("sdk", name + " " + Shorten(Compact(message["data"])));
  const SdkName* declared = FindSdkName(name);
  if (!declared) {
    Found("unknown SDK name", name);
  } else {
    for (const std::string& refused : RefusedPayload(*declared, message["data"]))
      Found("payload refused", name + ": " + refused);
  }
  // A call without a callback is answered all the same, under an empty id: its name waits
  // for that answer.
  if (!message["callbackId"].isString() || message["callbackId"].asString().empty())
    unnamed_.push_back(name);
  if (message["callbackId"].isString()) {
    Call& call = calls_[message["callbackId"].asString()];
    call.name = name;
    call.waits = !declared || declared->answered == Answered::kAlways;
  }
}

void Watch::OnScript(int browser, const std::string& script) {
  (void)browser;
  std::lock_guard<std::mutex> lock(mutex_);
  Json::Value message;
  if (BridgeMessage(script, &message)) return OnBridgeScript(message);
  Say("script", Shorten(script));
}

void Watch::OnBridgeScript(const Json::Value& message) {
  if (!message.isObject()) {
    Say("answer", "a text the page's bridge can't parse: " + Shorten(message.asString()));
    return;
  }
  if (message["responseId"].isString()) {
    auto it = calls_.find(message["responseId"].asString());
    std::string name = it == calls_.end() ? message["responseId"].asString() : it->second.name;
    if (it == calls_.end() && message["responseId"].asString().empty() && !unnamed_.empty()) {
      name = unnamed_.front() + " (no callback)";
      unnamed_.pop_front();
    }
    if (it != calls_.end()) it->second.waits = false;
    const Json::Value& data = message["responseData"];
    const Json::Value& status = data.isObject() ? data["status"] : Json::Value::nullSingleton();
    if (!status.isObject()) return Say("answer", name + " " + Shorten(Compact(data)));
    Say("answer", name + " " + Text(status["code"]) + " " + Text(status["message"]) + " " +
                      Shorten(Compact(data["data"])));
    return;
  }
  const std::string name = Text(message["handlerName"]);
  auto it = calls_.find(Text(message["callbackId"]));
  if ((name == "utils.onDownloadProgress" || name == "utils.onUploadProgress") &&
      it != calls_.end()) {
    return OnProgress(it->second.name, it->second, message["data"]["payload"]);
  }
  if (name == "ui.onHistoryBack") {
    Say("command", "the back button asks the page's ui.onHistoryBack");
    return;
  }
  Say("event", name + " " + Shorten(Compact(message["data"])));
}

void Watch::OnProgress(const std::string& name, Call& call, const Json::Value& payload) {
  const double total = payload["total"].isNumeric() ? payload["total"].asDouble() : 0;
  const double loaded = payload["loaded"].isNumeric() ? payload["loaded"].asDouble() : 0;
  // One line a quarter of the way, and one at the end.
  const int quarter = total > 0 ? static_cast<int>(4 * loaded / total) : 0;
  if (quarter <= call.lastQuarter) return;
  call.lastQuarter = quarter;
  Say("progress", name + " " + Size(loaded) + " of " + Size(total) + " (" +
                      std::to_string(total > 0 ? static_cast<int>(100 * loaded / total) : 0) +
                      "%)");
}

void Watch::OnRequest(int browser, const std::string& path, const std::string& codes) {
  (void)browser;
  std::lock_guard<std::mutex> lock(mutex_);
  Say("desktop", path + " " + codes);
}

void Watch::OnHost(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  Say("host", Shorten(text));
}

void Watch::OnStep(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  Say("step", text);
}

void Watch::OnMistake(const std::string& kind, const std::string& detail) {
  std::lock_guard<std::mutex> lock(mutex_);
  Say("mistake", kind + ": " + Shorten(detail));
  Found(kind, detail);
}

void Watch::OnActionUnanswered(const std::string& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = actionCallbacks_.find(name);
  if (it == actionCallbacks_.end()) return;
  Found("never answered",
        "tnpc.exebusinessaction(" + name + ") with callback " + it->second +
            ": a light window's classic business actions get no answer, so the callback never "
            "runs; a light app asks the client through the JS SDK (TavrinJsBridge.callHandler)");
  actionCallbacks_.erase(it);
}

void Watch::OnLog(int level, const std::string& function, const std::string& text) {
  static const std::string kRefused = "check auth fail for action = ";
  std::lock_guard<std::mutex> lock(mutex_);
  if (text.rfind(kRefused, 0) == 0) {
    // "check auth fail for action = contact, action = hello"
    std::string action = text.substr(kRefused.size());
    const std::size_t comma = action.find(", action = ");
    if (comma != std::string::npos) action.replace(comma, 11, "/");
    Say("refused", action + ": the rights rule lets no business action run for this page");
    Found("business action refused", action);
    return;
  }
  if (level >= 4) Say("log", "[" + std::to_string(level) + "] " + function + ": " + text);
}

void Watch::OnPageMessage(int browser, const std::string& kind, const std::string& level,
                          const std::string& text, const std::string& where) {
  (void)browser;
  std::lock_guard<std::mutex> lock(mutex_);
  const std::string at = where.empty() ? std::string() : " (" + where + ")";
  if (kind == "console" && level == "error" && text.rfind(kPageCheckMark, 0) == 0) {
    const std::string check = text.substr(std::strlen(kPageCheckMark));
    Say("check", Shorten(check) + at);
    Found("wrong argument", check + at);
  } else if (kind == "console") {
    Say("console", (level == "log" ? std::string() : level + ": ") + Shorten(text) + at);
    // A framework's caught error is written to the console: the app failed all the same.
    if (level == "error") Found("console error", Shorten(text) + at);
  } else if (kind == "error") {
    Say("error", Shorten(text) + at);
    Found("page error", Shorten(text) + at);
  } else if (kind == "load") {
    // The icon Chromium asks for by itself is no file of the app's.
    static const std::string kIcon = "/favicon.ico";
    if (where.size() > kIcon.size() &&
        where.compare(where.size() - kIcon.size(), kIcon.size(), kIcon) == 0)
      return;
    Say("load", Shorten(text) + at);
    Found("not loaded", where + ": " + Shorten(text));
    if (where == mainAddress_) mainFailed_ = true;
  } else {
    const std::string place = PlaceOfRefusal(text, where);
    const std::string in = place.empty() ? std::string() : " (" + place + ")";
    Say("csp", Shorten(text) + in);
    Found("CSP violation", Shorten(text) + in);
  }
}

void Watch::SetMainAddress(const std::string& address) {
  std::lock_guard<std::mutex> lock(mutex_);
  mainAddress_ = address;
}

bool Watch::MainFailed() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return mainFailed_;
}

void Watch::SetSourceFinder(SourceFinder finder) {
  std::lock_guard<std::mutex> lock(mutex_);
  findSource_ = std::move(finder);
}

std::string Watch::PlaceOfRefusal(const std::string& text, const std::string& where) const {
  // "Loading the image 'https://…/logo.png' violates …" at "address:line": the address that was
  // refused is looked for in the document's own file.
  const std::size_t open = text.find('\'');
  const std::size_t close = open == std::string::npos ? open : text.find('\'', open + 1);
  const std::size_t colon = where.rfind(':');
  if (!findSource_ || close == std::string::npos || colon == std::string::npos) return where;
  const std::string document = where.substr(0, colon);
  const int line = findSource_(document, text.substr(open + 1, close - open - 1));
  return line > 0 ? document + ":" + std::to_string(line) : where;
}

void Watch::SetLightWindow(bool light) {
  std::lock_guard<std::mutex> lock(mutex_);
  lightWindow_ = light;
}

void Watch::Finish() {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& [id, call] : calls_) {
    if (call.waits) Found("callback never answered", call.name + " (callback " + id + ")");
  }
  calls_.clear();
}

std::vector<Mistake> Watch::mistakes() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return mistakes_;
}

std::vector<Counted> Watch::Counts() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Counted> seen;
  for (const Mistake& m : mistakes_) {
    auto same = [&m](const Counted& s) {
      return s.mistake.kind == m.kind && s.mistake.detail == m.detail;
    };
    auto it = std::find_if(seen.begin(), seen.end(), same);
    if (it == seen.end()) {
      seen.push_back({m, 1});
    } else {
      ++it->times;
    }
  }
  return seen;
}

std::string Watch::Report() const {
  const std::vector<Counted> seen = Counts();
  std::size_t total = 0;
  for (const Counted& c : seen) total += static_cast<std::size_t>(c.times);
  if (total == 0) return "no mistakes\n";
  std::string report = std::to_string(total) + (total == 1 ? " mistake\n" : " mistakes\n");
  for (const Counted& c : seen) {
    report += "  " + c.mistake.kind + ": " + c.mistake.detail;
    if (c.times > 1) report += " (" + std::to_string(c.times) + " times)";
    report += "\n";
  }
  return report;
}

}  // namespace run
