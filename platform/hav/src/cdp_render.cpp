// The render side over real pages: each new document gets a script context for the render
// notify object, and the page's calls of the native object it builds run there. Page functions
// given to native calls are handles in a page-side table of their document; native code runs
// them without waiting for the page.

#include <QByteArray>
#include <cmath>
#include <regex>

#include "arg_list.h"
#include "cdp_engine_internal.h"
#include "cdp_render_side.h"
#include "cef/inproc_v8.h"
#include "hav/json_text.h"

namespace xhav::cdp {

namespace {

std::string Base64(const void* data, std::size_t size) {
  const QByteArray b =
      QByteArray::fromRawData(static_cast<const char*>(data), static_cast<int>(size)).toBase64();
  return std::string(b.constData(), static_cast<std::size_t>(b.size()));
}

bool HasLoneSurrogate(const std::u16string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      ++i;  // a pair
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      return true;
    }
  }
  return false;
}

Json::Value Encode(const CefRefPtr<CefV8Value>& v) {
  Json::Value out;
  if (!v || v->IsUndefined()) {
    out["t"] = "u";
  } else if (v->IsNull()) {
    out["t"] = "n";
  } else if (v->IsBool()) {
    out["t"] = "b";
    out["v"] = v->GetBoolValue();
  } else if (v->IsInt()) {
    out["t"] = "i";
    out["v"] = v->GetIntValue();
  } else if (v->IsDouble()) {
    const double d = v->GetDoubleValue();
    if (std::isnan(d) || std::isinf(d) || (d == 0 && std::signbit(d))) {
      out["t"] = "x";
      out["v"] = std::isnan(d) ? "NaN" : std::isinf(d) ? (d > 0 ? "Infinity" : "-Infinity") : "-0";
    } else {
      out["t"] = "d";
      out["v"] = d;
    }
  } else if (v->IsString()) {
    const std::u16string text = v->GetStringValue().ToString16();
    if (HasLoneSurrogate(text)) {
      out["t"] = "w";
      out["v"] = Json::Value(Json::arrayValue);
      for (char16_t unit : text) out["v"].append(static_cast<int>(unit));
    } else {
      out["t"] = "s";
      out["v"] = v->GetStringValue().ToString();
    }
  } else if (v->IsArrayBuffer()) {
    out["t"] = "ab";
    out["v"] = Base64(v->GetArrayBufferData(), v->GetArrayBufferByteLength());
  } else {
    out["t"] = "u";
  }
  return out;
}

bool ParseCall(const std::string& payload, Json::Value* call) {
  return ParsePageJson(payload, call) && call->isObject() && (*call)["fn"].isString() &&
         (*call)["args"].isArray();
}

}  // namespace

// ---------------------------------------------------------------------------------------------

void RenderHostImpl::RegisterExtension(const char*, const char* script,
                                       CefRefPtr<CefV8Handler> handler) {
  static const std::regex native(R"(native function (\w+)\(\);)");
  const std::string page =
      std::regex_replace(script ? script : "", native,
                         "function $1() { return window.__tnpcShim ? "
                         "window.__tnpcShim.native('$1', arguments) : undefined; }");
  std::lock_guard<std::mutex> lock(mutex_);
  extensions_.push_back({page, handler});
}

void RenderHostImpl::SetRenderNotify(RenderNotify* notify) {
  std::lock_guard<std::mutex> lock(mutex_);
  notify_ = notify;
}

std::vector<RenderHostImpl::Extension> RenderHostImpl::extensions() {
  std::lock_guard<std::mutex> lock(mutex_);
  return extensions_;
}

RenderNotify* RenderHostImpl::notify() {
  std::lock_guard<std::mutex> lock(mutex_);
  return notify_;
}

// ---------------------------------------------------------------------------------------------

// The page as the render side sees it: its history as the engine last reported it, its
// operations and messages through the link.
class LocalRenderSide::Browser final : public CefBrowser {
 public:
  Browser(PageLink* link, int id) : link_(link), id_(id) {}
  int GetIdentifier() override { return id_; }
  bool IsSame(CefRefPtr<CefBrowser> that) override { return that && that->GetIdentifier() == id_; }
  void Reload() override {
    if (MayAct("reload")) link_->Navigate(id_, "reload");
  }
  void GoBack() override {
    if (MayAct("goback")) link_->Navigate(id_, "back");
  }
  void GoForward() override {
    if (MayAct("goforward")) link_->Navigate(id_, "forward");
  }
  bool CanGoBack() override { return canGoBack_; }
  bool CanGoForward() override { return canGoForward_; }
  CefRefPtr<CefFrame> GetMainFrame() override { return nullptr; }
  bool SendProcessMessage(CefProcessId target, CefRefPtr<CefProcessMessage> message) override {
    if (target != PID_BROWSER || !message || !message->IsValid() || closed_) return false;
    if (!MayAct(message->GetName().ToString())) return false;
    // The arguments move to the link; the sender's message is left spent.
    link_->SendToBrowser(id_, message->Transfer(), acting_);
    return true;
  }
  void SetState(bool canGoBack, bool canGoForward) {
    canGoBack_ = canGoBack;
    canGoForward_ = canGoForward;
  }
  void SetClosed() { closed_ = true; }
  // While a document without its window's rights runs a native function, what the function
  // would have the window do is dropped (its object has the window's functions, by the
  // render process's contract, but they do not act for it).
  void SetActingWithoutRights(bool without) { withoutRights_ = without; }
  // The document whose native function runs now: its messages are sent as its own.
  void SetActing(const DocumentId& document) { acting_ = document; }

 private:
  bool MayAct(const std::string& what) {
    if (!withoutRights_) return true;
    EngineLog(kTnLogInfo, "RenderSide::Browser",
              "browser " + std::to_string(id_) +
                  ": a frame without its window's rights may not act on it: " + what);
    return false;
  }
  bool withoutRights_ = false;
  DocumentId acting_;
  PageLink* link_;
  const int id_;
  bool canGoBack_ = false, canGoForward_ = false;
  bool closed_ = false;
  IMPLEMENT_REFCOUNTING(Browser);
};

// A document's frame as its context names it: the module tells a new document of a frame apart
// from a document of another frame by it.
class LocalRenderSide::Frame final : public CefFrame {
 public:
  explicit Frame(const DocumentFrame& frame) : frame_(frame) {}
  bool IsMain() override { return frame_.main; }
  int64_t GetIdentifier() override { return frame_.id; }
  CefString GetURL() override { return CefString(); }

 private:
  const DocumentFrame frame_;
  IMPLEMENT_REFCOUNTING(Frame);
};

LocalRenderSide::LocalRenderSide(PageLink* link) : link_(link) {}

LocalRenderSide::~LocalRenderSide() {
  for (auto& [id, document] : documents_) cef_inproc::InvalidateContext(document.script);
}

std::vector<std::string> LocalRenderSide::ExtensionScripts() {
  std::vector<std::string> scripts;
  for (const auto& extension : host_.extensions()) scripts.push_back(extension.script);
  return scripts;
}

CefRefPtr<LocalRenderSide::Browser> LocalRenderSide::BrowserFor(int id) {
  CefRefPtr<Browser>& browser = browsers_[id];
  if (!browser) browser = new Browser(link_, id);
  return browser;
}

void LocalRenderSide::PageState(int browser, bool canGoBack, bool canGoForward) {
  BrowserFor(browser)->SetState(canGoBack, canGoForward);
}

void LocalRenderSide::PageClosed(int browser) {
  auto it = browsers_.find(browser);
  if (it == browsers_.end()) return;
  it->second->SetClosed();
  browsers_.erase(it);
  for (auto doc = documents_.begin(); doc != documents_.end();) {
    if (doc->first.browser == browser) {
      cef_inproc::InvalidateContext(doc->second.script);
      doc = documents_.erase(doc);
    } else {
      ++doc;
    }
  }
}

void LocalRenderSide::NewDocument(const DocumentId& id, const DocumentFrame& frame, bool business,
                                  std::function<void(const Names&)> done) {
  EndLeftDocuments();
  Names names;
  RenderNotify* notify = host_.notify();
  if (notify) {
    CefRefPtr<Browser> browser = BrowserFor(id.browser);
    Document document;
    document.business = business;
    CefRefPtr<CefFrame> named = frame.id ? new Frame(frame) : nullptr;
    document.script = cef_inproc::CreateContext(browser.get(), named);
    notify->OnContextCreated(browser.get(), named, document.script, business);
    document.object = document.script->GetGlobal()->GetValue("tnpc");
    // A renderer that replaced the frame's numbers its contexts anew: a document that left
    // under the same number ends now.
    auto [slot, added] = documents_.emplace(id, document);
    if (!added) {
      cef_inproc::InvalidateContext(slot->second.script);
      slot->second = document;
    }
    if (document.object) {
      std::vector<CefString> keys;
      document.object->GetKeys(keys);
      for (const CefString& key : keys) names.push_back(key.ToString());
    }
  }
  done(names);
}

void LocalRenderSide::DocumentGone(const DocumentId& id) {
  EndLeftDocuments();
  auto it = documents_.find(id);
  if (it != documents_.end() && !it->second.left)
    it->second.left = std::chrono::steady_clock::now();
}

void LocalRenderSide::EndLeftDocuments() {
  // Long enough for a beacon sent while the page went away to arrive.
  constexpr std::chrono::seconds kGrace(2);
  const auto now = std::chrono::steady_clock::now();
  for (auto it = documents_.begin(); it != documents_.end();) {
    if (it->second.left && now - *it->second.left >= kGrace) {
      cef_inproc::InvalidateContext(it->second.script);
      it = documents_.erase(it);
    } else {
      ++it;
    }
  }
}

void LocalRenderSide::Call(const DocumentId& document, const std::string& body, bool answerWithin,
                           std::function<void(const std::string&)> done) {
  done(CallNative(document, body, answerWithin));
}

void LocalRenderSide::Deliver(int browser, CefRefPtr<CefProcessMessage> message) {
  RenderNotify* notify = host_.notify();
  auto it = browsers_.find(browser);
  if (!notify || !message || it == browsers_.end()) return;
  tnbase::TnStringPtr name(allocStringFromText(message->GetName().text()));
  inproc::ListArgs list(message->GetArgumentList());
  notify->OnHavMessage(it->second.get(), PID_BROWSER, name.get(), &list);
}

CefRefPtr<CefV8Value> LocalRenderSide::Decode(const DocumentId& document, const Json::Value& v) {
  // The page's text: every member is checked for its type before it is read.
  const Json::Value none;
  const std::string t = v.isObject() && v["t"].isString() ? v["t"].asString() : "u";
  const Json::Value& value = v.isObject() ? v["v"] : none;
  if (t == "s" && value.isString()) return CefV8Value::CreateString(value.asString());
  if (t == "w" && value.isArray()) {
    std::u16string text;
    for (const Json::Value& unit : value) {
      text.push_back(unit.isUInt() && unit.asUInt() <= 0xFFFF ? static_cast<char16_t>(unit.asUInt())
                                                              : u'\uFFFD');
    }
    return CefV8Value::CreateString(CefString(std::move(text)));
  }
  if (t == "i" && value.isInt()) return CefV8Value::CreateInt(value.asInt());
  if (t == "d" && value.isNumeric()) return CefV8Value::CreateDouble(value.asDouble());
  if (t == "x" && value.isString()) {
    const std::string word = value.asString();
    if (word == "-0") return CefV8Value::CreateDouble(-0.0);
    if (word == "NaN") return CefV8Value::CreateDouble(std::nan(""));
    if (word == "Infinity" || word == "-Infinity") {
      return CefV8Value::CreateDouble(word == "Infinity" ? HUGE_VAL : -HUGE_VAL);
    }
  }
  if (t == "b" && value.isBool()) return CefV8Value::CreateBool(value.asBool());
  if (t == "n") return CefV8Value::CreateNull();
  if (t == "a" && value.isArray()) {
    CefRefPtr<CefV8Value> array = CefV8Value::CreateArray(static_cast<int>(value.size()));
    for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
      array->SetValue(static_cast<int>(i), Decode(document, value[i]));
    }
    return array;
  }
  if (t == "f" && v["h"].isInt()) {
    const int handle = v["h"].asInt();
    return cef_inproc::CreateScriptFunction(
        v["n"].isString() ? v["n"].asString() : std::string(),
        cef_inproc::ScriptFunction([this, document, handle](const CefV8ValueList& args) {
          RunPageFunction(document, handle, args);
          return CefV8Value::CreateUndefined();
        }));
  }
  if (t == "o") return CefV8Value::CreateObject(nullptr);
  return CefV8Value::CreateUndefined();
}

std::string LocalRenderSide::CallNative(const DocumentId& target, const std::string& body,
                                        bool answerWithin) {
  Json::Value call;
  Json::Value reply;
  reply["handled"] = false;
  if (!ParseCall(body, &call)) return WriteJson(reply);
  DocumentId id = target;
  if (id.context == 0) {
    if (!call["ctx"].isInt()) return WriteJson(reply);
    id.context = call["ctx"].asInt();
  }
  auto doc = documents_.find(id);
  // A document that is gone, or one without the native object.
  if (doc == documents_.end() || !doc->second.object) return WriteJson(reply);
  const Document document = doc->second;
  const std::string fn = call["fn"].asString();
  CefRefPtr<CefV8Value> function;
  if (fn.rfind("native:", 0) == 0) {
    // An extension's native function: a function of its handler, told apart by name.
    for (const auto& extension : host_.extensions()) {
      if (extension.handler) function = CefV8Value::CreateFunction(fn.substr(7), extension.handler);
    }
  } else {
    function = document.object->GetValue(fn);
  }
  if (!function || !function->IsFunction()) return WriteJson(reply);
  CefV8ValueList args;
  for (const Json::Value& v : call["args"]) args.push_back(Decode(id, v));
  // Page functions due within the call go back with its answer.
  if (answerWithin) syncDocument_ = id;
  deferred_ = Json::Value(Json::arrayValue);
  CefRefPtr<Browser> browser = BrowserFor(id.browser);
  browser->SetActingWithoutRights(!document.business);
  browser->SetActing(id);
  const cef_inproc::ScriptCallResult result =
      cef_inproc::CallFromScript(document.script, function, args);
  browser->SetActingWithoutRights(false);
  browser->SetActing(DocumentId());
  syncDocument_ = DocumentId();
  reply["handled"] = result.handled;
  reply["ret"] = Encode(result.value);
  reply["deferred"] = deferred_;
  return WriteJson(reply);
}

void LocalRenderSide::RunPageFunction(const DocumentId& document, int handle,
                                      const CefV8ValueList& args) {
  // A handle of a document that is gone fails silently, as a stale context does.
  auto it = documents_.find(document);
  if (it == documents_.end() || it->second.left) return;
  Json::Value encoded(Json::arrayValue);
  for (const auto& a : args) encoded.append(Encode(a));
  if (syncDocument_ == document) {
    Json::Value deferred;
    deferred["h"] = handle;
    deferred["a"] = encoded;
    deferred_.append(deferred);
    return;
  }
  link_->RunPageFunction(document, handle, WriteJson(encoded));
}

}  // namespace xhav::cdp
