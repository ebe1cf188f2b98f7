#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <mutex>
#include <vector>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/unknown_impl.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "tnbase/task_queue.h"
#include "win/timed_tip.h"
#include "win/window.h"

namespace tnwebui {
namespace {

constexpr char kResponseHead[] =
    R"(TavrinJsBridge._handleMessageFromObjC('{"responseId":"%s","responseData":)";
constexpr char kResponseClose[] = "}');";
constexpr char kEventHead[] = R"(TavrinJsBridge._handleMessageFromObjC('{"callbackId":")";
constexpr char kEventData[] = R"(","data":)";
constexpr char kEventName[] = R"(,"handlerName": ")";
constexpr char kEventClose[] = R"("}');)";
constexpr char kLocalPrefix[] = "res://local/";
constexpr std::size_t kFormatLimit = 1024;

// Appends `text` as it must stand between the single quotes of the answer's script so that the
// string the page's bridge receives is `text` itself: a quote, a backslash or a line break that
// a page or the core put in an id, an answer or a name stays text and never becomes script.
// (The answer's framing is kept as it is; only what goes between its quotes is escaped. Before,
// a call id such as `x'+f()+'` ran f in the window's main document.)
void AppendLiteral(std::string& out, const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    switch (c) {
      case '\\':
        out += "\\\\";
        break;
      case '\'':
        out += "\\'";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      default:
        // U+2028 and U+2029 end a line in a script's string literal too.
        if (c == '\xE2' && i + 2 < text.size() && text[i + 1] == '\x80' &&
            (text[i + 2] == '\xA8' || text[i + 2] == '\xA9')) {
          out += text[i + 2] == '\xA8' ? "\\u2028" : "\\u2029";
          i += 2;
        } else {
          out += c;
        }
    }
  }
}

std::string Literal(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  AppendLiteral(out, text);
  return out;
}

}  // namespace

std::string JsSdkFunction::ToLocalId(std::string path) {
  for (char& c : path) {
    if (c == '\\') c = '/';
  }
  return kLocalPrefix + path;
}

std::string JsSdkFunction::FromLocalId(const std::string& id) {
  // The prefix may stand anywhere; the id is always taken from character 12 on.
  if (id.find(kLocalPrefix) == std::string::npos) return std::string();
  return id.substr(sizeof kLocalPrefix - 1);
}

void JsSdkFunction::FormatText(std::string& out, const char* format, ...) {
  char buffer[kFormatLimit + 1] = {};
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  out = buffer;
}

void JsSdkFunction::FormatWideList(std::u16string& out, const char16_t* format, ...) {
  // The host's wide formats take wide text for "%s"; the C library wants "%ls" for that.
  std::wstring wideFormat;
  for (const char16_t* p = format; p && *p; ++p) {
    wideFormat.push_back(static_cast<wchar_t>(*p));
    if (*p != u'%') continue;
    for (++p; *p && std::wcschr(L"-+ #0123456789.*hlLqjzt", static_cast<wchar_t>(*p)); ++p) {
      wideFormat.push_back(static_cast<wchar_t>(*p));
    }
    if (!*p) break;
    if (*p == u's') wideFormat.push_back(L'l');
    wideFormat.push_back(static_cast<wchar_t>(*p));
  }
  wchar_t buffer[kFormatLimit + 1] = {};
  va_list args;
  va_start(args, format);
  // A result that doesn't fit is cut: the buffer then holds its first 1,024 characters.
  std::vswprintf(buffer, kFormatLimit + 1, wideFormat.c_str(), args);
  va_end(args);
  buffer[kFormatLimit] = L'\0';
  out.clear();
  for (const wchar_t* p = buffer; *p; ++p) {
    const auto c = static_cast<char32_t>(*p);
    if (c < 0x10000) {
      out.push_back(static_cast<char16_t>(c));
    } else {
      out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    }
  }
}

std::wstring JsSdkFunction::Widen(const std::u16string& text) {
  std::wstring out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    }
    out.push_back(static_cast<wchar_t>(c));
  }
  return out;
}

const Json::Value* JsSdkFunction::PayloadOf(const Json::Value& params) {
  if (!params.isObject()) return nullptr;
  const Json::Value& payload = params["payload"];
  return payload.isObject() ? &payload : nullptr;
}

void JsSdkFunction::ShowTimedTip(const std::u16string& text, int milliseconds) {
  win::ShowTimedTip(text, milliseconds);
}

void JsSdkFunction::RunScript(const std::string& script) {
  if (!browser) return;
  const std::u16string wide = Utf8ToWide(script);
  browser->ExecuteJavaScript(nullptr, nullptr, wide.c_str());
}

void JsSdkFunction::SendResponse(const std::string& json) {
  if (!win::IsWindow(hwnd)) return;
  std::string script;
  FormatText(script, kResponseHead, Literal(callbackId).c_str());
  script.reserve(script.size() + json.size() + sizeof kResponseClose);
  AppendLiteral(script, json);
  script += kResponseClose;
  RunScript(script);
}

void JsSdkFunction::SendEvent(const std::string& json, const std::string& handlerName) {
  std::string script;
  script.reserve(sizeof kEventHead + callbackId.size() + json.size() + handlerName.size() + 40);
  script += kEventHead;
  AppendLiteral(script, callbackId);
  script += kEventData;
  AppendLiteral(script, json);
  script += kEventName;
  AppendLiteral(script, handlerName);
  script += kEventClose;
  RunScript(script);
}

void JsSdkFunction::SendCode(int envelope, int32_t code) {
  std::string text;
  FormatText(text, sdk::kEnvelopes[envelope].head, code);
  SendResponse(text);
}

void JsSdkFunction::SendWithJson(int envelope, int32_t code, std::string json) {
  std::string text;
  FormatText(text, sdk::kEnvelopes[envelope].head, code);
  if (!json.empty() && json.back() == '\n') json.pop_back();
  SendResponse(text + json + sdk::kEnvelopes[envelope].tail);
}

void JsSdkFunction::DeleteLater() {
  tnbase::postTask(tnbase::globalTaskQueue(0), [this] { delete this; });
}

void JsSdkFunction::KeepForProcess(std::shared_ptr<JsSdkFunction> function) {
  static std::mutex mutex;
  static auto& kept = *new std::vector<std::shared_ptr<JsSdkFunction>>;
  std::lock_guard<std::mutex> guard(mutex);
  kept.push_back(std::move(function));
}

void JsSdkHostFunction::DeleteLater() {
  AddRef();  // the queue's hold, next to the host's
  tnbase::postTask(tnbase::globalTaskQueue(0), [this] { Release(); });
}

bool JsSdkHeldFunction::Ask(const char16_t* business, const char16_t* action,
                            const std::string& json) {
  xhav::BusinessChannel* channel = HostChannel();
  if (!channel) {
    Keep();  // nobody asked, no answer: it stays
    return false;
  }
  Hold();
  ExecuteBusiness(channel, business, action, json, this);
  return true;
}

void JsSdkHeldFunction::DeleteLater() {
  if (ended_.exchange(true)) return;
  tnbase::postTask(tnbase::globalTaskQueue(0), [this] { Release(); });
}

void JsSdkHeldFunction::Stay() {
  // Reachable from the process's list, never deleted by it: the hold keeps the object.
  KeepForProcess(std::shared_ptr<JsSdkFunction>(this, [](JsSdkFunction*) {}));
}

bool ParseHostResult(const char16_t* result, Json::Value& out) {
  return ParseJson(WideToUtf8(result ? result : u""), out) && !out.isNull();
}

xhav::BusinessChannel* JsSdkFunction::HostChannel() {
  void* host = nullptr;
  if (!browser || !browser->GetProperty(xhav::kPropertyBusinessChannel, &host)) return nullptr;
  return static_cast<xhav::BusinessChannel*>(host);
}

void JsSdkFunction::ExecuteBusiness(xhav::BusinessChannel* channel, const char16_t* business,
                                    const char16_t* action, const std::string& json,
                                    IBrowserViewCallback* callback) {
  if (!channel) return;
  const xhav::BusinessParams params{business, action, u"0", Utf8ToWide(json), u"0"};
  channel->ExecuteBusiness(params, callback);
}

}  // namespace tnwebui
