// The render side over a real page: each new document gets a script context for the render
// notify object, the native object built there is installed into the page, and the page's
// calls come back through a binding. Page functions given to native calls are handles in a
// page-side table of that document; native code runs them without waiting for the page.

#include <json/reader.h>
#include <json/writer.h>

#include <QByteArray>
#include <cmath>

#include "arg_list.h"
#include "cdp_render_host.h"
#include "cef/inproc_v8.h"
#include "host_browser.h"

namespace xhav::cdp {

namespace {

constexpr char kBinding[] = "__tnpcNative";

// The page-side part: the table of handles and the encoding of values both ways.
constexpr char kShim[] = R"JS(
(function () {
  if (window.__tnpcShim) return;
  var handles = [];
  var send = window.__tnpcNative;
  // Captured at document start: pages may patch them.
  var stringify = JSON.stringify, parse = JSON.parse, XHR = window.XMLHttpRequest;
  var context = 0;
  // A call waits for its answer (a synchronous request to the reserved origin); functions that
  // native code runs within it come back with the answer and run before the call returns.
  // Where synchronous requests are forbidden (unload), the binding carries the call.
  function call(name, args) {
    var body = stringify({ctx: context, fn: name, args: args});
    var reply;
    try {
      var x = new XHR();
      x.open('POST', 'https://tnpc-call.pages.invalid/call', false);
      x.setRequestHeader('Content-Type', 'text/plain');
      x.send(body);
      reply = parse(x.responseText);
    } catch (e) {
      send(body);
      return undefined;
    }
    (reply.deferred || []).forEach(function (d) { window.__tnpcShim.run(d.h, d.a); });
    return reply.handled ? decode(reply.ret) : undefined;
  }
  // A string with a lone surrogate is no valid UTF-8 on the way: it travels as code units.
  var loneSurrogate = /[\ud800-\udbff](?![\udc00-\udfff])|(?:[^\ud800-\udbff]|^)[\udc00-\udfff]/;
  function encode(v) {
    if (typeof v === 'string') {
      if (!loneSurrogate.test(v)) return {t: 's', v: v};
      var units = [];
      for (var i = 0; i < v.length; i++) units.push(v.charCodeAt(i));
      return {t: 'w', v: units};
    }
    if (typeof v === 'number') {
      if ((v | 0) === v && !Object.is(v, -0)) return {t: 'i', v: v};
      // JSON has no -0, NaN or infinities: they travel as words.
      if (Object.is(v, -0) || v !== v || v === Infinity || v === -Infinity) return {t: 'x', v: String(v === 0 ? '-0' : v)};
      return {t: 'd', v: v};
    }
    if (typeof v === 'boolean') return {t: 'b', v: v};
    if (v === null) return {t: 'n'};
    if (typeof v === 'undefined') return {t: 'u'};
    if (typeof v === 'function') { handles.push(v); return {t: 'f', h: handles.length - 1, n: v.name || ''}; }
    if (Array.isArray(v)) return {t: 'a', v: v.map(encode)};
    return {t: 'o'};
  }
  function decode(v) {
    if (v.t === 'ab') {
      var bin = atob(v.v), bytes = new Uint8Array(bin.length);
      for (var i = 0; i < bin.length; i++) bytes[i] = bin.charCodeAt(i);
      return bytes.buffer;
    }
    if (v.t === 'w') {
      var text = '';
      for (var j = 0; j < v.v.length; j++) text += String.fromCharCode(v.v[j]);
      return text;
    }
    if (v.t === 'u') return undefined;
    if (v.t === 'x') return v.v === '-0' ? -0 : Number(v.v);
    if (v.t === 'n') return null;
    return v.v;
  }
  window.__tnpcShim = {
    install: function (names, ctx) {
      var object = {};
      context = ctx;
      names.forEach(function (name) {
        object[name] = function () {
          return call(name, Array.prototype.map.call(arguments, encode));
        };
      });
      window.tnpc = window.Tavrin = object;
    },
    // A function that an extension declares as native: its handler answers within the call.
    native: function (name, args) {
      return call('native:' + name, Array.prototype.map.call(args, encode));
    },
    run: function (handle, args) {
      var f = handles[handle];
      if (typeof f === 'function') f.apply(null, args.map(decode));
    }
  };
  // The native side may have come first in this document.
  if (window.__tnpcNames) window.__tnpcShim.install(window.__tnpcNames, window.__tnpcContext);
})();
)JS";

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

std::string Write(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

// The page as the render side sees it.
class RenderBrowser final : public CefBrowser {
 public:
  RenderBrowser(PageBrowser* page, int id, std::function<void(CefRefPtr<CefProcessMessage>)> send)
      : page_(page), id_(id), send_(std::move(send)) {}
  int GetIdentifier() override { return id_; }
  bool IsSame(CefRefPtr<CefBrowser> that) override { return that && that->GetIdentifier() == id_; }
  void Reload() override { page_->LoadUrl(page_->url().c_str()); }
  void GoBack() override { page_->ExecuteJavaScript(nullptr, nullptr, u"history.back()"); }
  void GoForward() override { page_->ExecuteJavaScript(nullptr, nullptr, u"history.forward()"); }
  bool CanGoBack() override { return page_->CanGoBack(); }
  bool CanGoForward() override { return false; }
  CefRefPtr<CefFrame> GetMainFrame() override { return nullptr; }
  bool SendProcessMessage(CefProcessId target, CefRefPtr<CefProcessMessage> message) override {
    if (target != PID_BROWSER || !message || !page_->alive()) return false;
    send_(message->Copy());
    return true;
  }

 private:
  PageBrowser* page_;
  const int id_;
  std::function<void(CefRefPtr<CefProcessMessage>)> send_;
  IMPLEMENT_REFCOUNTING(RenderBrowser);
};

}  // namespace

RenderHost* Engine::render_host() {
  if (!renderHost_) renderHost_ = std::make_unique<RenderHostImpl>();
  return renderHost_.get();
}

std::string ShimScript() { return kShim; }

void SetUpRenderSide(Engine* engine, PageBrowser* page);

void PageBrowser::OnNewDocument(const std::string& session, int executionContextId) {
  auto* host = static_cast<Engine::RenderHostImpl*>(engine_->render_host());
  RenderNotify* notify = host ? host->notify() : nullptr;
  if (!notify) return;
  Document document;
  document.script = cef_inproc::CreateContext(renderBrowser_, nullptr);
  notify->OnContextCreated(renderBrowser_, nullptr, document.script, true);
  document.object = document.script->GetGlobal()->GetValue("tnpc");
  documents_[{session, executionContextId}] = document;
  if (!document.object) return;
  std::vector<CefString> keys;
  document.object->GetKeys(keys);
  Json::Value names(Json::arrayValue);
  for (const CefString& key : keys) names.append(key.ToString());
  Json::Value params;
  // The shim normally stands in the document from its start; should the page have been faster
  // than its registration, it comes with the object (it is made only once per document).
  params["expression"] = "window.__tnpcNames = " + Write(names) +
                         "; window.__tnpcContext = " + std::to_string(executionContextId) + ";" +
                         kShim + "; window.__tnpcShim.install(window.__tnpcNames, " +
                         std::to_string(executionContextId) + ")";
  params["contextId"] = executionContextId;
  engine_->connection().Send("Runtime.evaluate", params, session, nullptr);
}

void PageBrowser::OnDocumentGone(const std::string& session, int executionContextId) {
  auto it = documents_.find({session, executionContextId});
  if (it == documents_.end()) return;
  cef_inproc::InvalidateContext(it->second.script);
  documents_.erase(it);
}

void PageBrowser::OnPageCall(const std::string& session, const Json::Value& params) {
  if (params["name"].asString() != kBinding) return;
  Json::Value call;
  if (!ParseCall(params["payload"].asString(), &call)) return;
  CallNative(session, params["executionContextId"].asInt(), call);
}

bool PageBrowser::ParseCall(const std::string& payload, Json::Value* call) {
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  return reader->parse(payload.data(), payload.data() + payload.size(), call, &errors) &&
         call->isObject() && (*call)["fn"].isString() && (*call)["args"].isArray();
}

Json::Value PageBrowser::CallNative(const std::string& session, int contextId,
                                    const Json::Value& call) {
  Json::Value reply;
  reply["handled"] = false;
  auto doc = documents_.find({session, contextId});
  if (doc == documents_.end() || !doc->second.object) return reply;  // a document that is gone
  const Document document = doc->second;
  const std::string fn = call["fn"].asString();
  CefRefPtr<CefV8Value> function;
  if (fn.rfind("native:", 0) == 0) {
    // An extension's native function: a function of its handler, told apart by name.
    auto* host = static_cast<Engine::RenderHostImpl*>(engine_->render_host());
    for (const auto& extension : host->extensions()) {
      if (extension.handler) function = CefV8Value::CreateFunction(fn.substr(7), extension.handler);
    }
  } else {
    function = document.object->GetValue(fn);
  }
  if (!function || !function->IsFunction()) return reply;
  std::function<CefRefPtr<CefV8Value>(const Json::Value&)> decode =
      [&](const Json::Value& v) -> CefRefPtr<CefV8Value> {
    // The page's text: every member is checked for its type before it is read.
    const Json::Value none;
    const std::string t = v.isObject() && v["t"].isString() ? v["t"].asString() : "u";
    const Json::Value& value = v.isObject() ? v["v"] : none;
    if (t == "s" && value.isString()) return CefV8Value::CreateString(value.asString());
    if (t == "w" && value.isArray()) {
      std::u16string text;
      for (const Json::Value& unit : value) {
        text.push_back(unit.isUInt() && unit.asUInt() <= 0xFFFF
                           ? static_cast<char16_t>(unit.asUInt())
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
        array->SetValue(static_cast<int>(i), decode(value[i]));
      }
      return array;
    }
    if (t == "f" && v["h"].isInt()) {
      const int handle = v["h"].asInt();
      return cef_inproc::CreateScriptFunction(
          v["n"].isString() ? v["n"].asString() : std::string(),
          cef_inproc::ScriptFunction(
              [this, session, contextId, handle](const CefV8ValueList& args) {
                RunPageFunction(session, contextId, handle, args);
                return CefV8Value::CreateUndefined();
              }));
    }
    if (t == "o") return CefV8Value::CreateObject(nullptr);
    return CefV8Value::CreateUndefined();
  };
  CefV8ValueList args;
  for (const Json::Value& v : call["args"]) args.push_back(decode(v));
  const cef_inproc::ScriptCallResult result =
      cef_inproc::CallFromScript(document.script, function, args);
  reply["handled"] = result.handled;
  reply["ret"] = Encode(result.value);
  return reply;
}

std::string PageBrowser::OnSyncCall(const std::string& session, const std::string& body,
                                    bool answerWithin) {
  Json::Value call;
  Json::Value reply;
  if (ParseCall(body, &call) && call["ctx"].isInt()) {
    // Page functions due within the call go back with its answer.
    const int contextId = call["ctx"].asInt();
    if (answerWithin) syncDocument_ = {session, contextId};
    deferred_ = Json::Value(Json::arrayValue);
    reply = CallNative(session, contextId, call);
    reply["deferred"] = deferred_;
    syncDocument_ = {};
  } else {
    reply["handled"] = false;
  }
  return Write(reply);
}

void PageBrowser::RunPageFunction(const std::string& session, int executionContextId, int handle,
                                  const CefV8ValueList& args) {
  // A handle of a document that is gone fails silently, as a stale context does.
  if (!alive_ || documents_.count({session, executionContextId}) == 0) return;
  Json::Value encoded(Json::arrayValue);
  for (const auto& a : args) encoded.append(Encode(a));
  if (syncDocument_ == std::make_pair(session, executionContextId)) {
    Json::Value deferred;
    deferred["h"] = handle;
    deferred["a"] = encoded;
    deferred_.append(deferred);
    return;
  }
  Json::Value params;
  params["expression"] = "window.__tnpcShim && window.__tnpcShim.run(" + std::to_string(handle) +
                         ", " + Write(encoded) + ")";
  params["contextId"] = executionContextId;
  engine_->connection().Send("Runtime.evaluate", params, session, nullptr);
}

void SetUpRenderSide(Engine* engine, PageBrowser* page) {
  tnbase::TaskQueue* ui = &engine->ui();
  page->renderBrowser_ =
      new RenderBrowser(page, page->id_, [engine, page, ui](CefRefPtr<CefProcessMessage> m) {
        ui->PostTask([engine, page, m] {
          if (!page->alive() || !page->notify_) return;
          inproc::DeliverToView(page->notify_, page->hostBrowser_, m);
          (void)engine;
        });
      });
  page->hostBrowser_ =
      new inproc::HostBrowser(page->id_, [engine, page, ui](CefRefPtr<CefProcessMessage> m) {
        if (!page->alive()) return false;
        // The sender may change its message once this returns: the render side gets a copy.
        ui->PostTask([engine, page, m = m->Copy()] {
          auto* host = static_cast<Engine::RenderHostImpl*>(engine->render_host());
          RenderNotify* notify = host ? host->notify() : nullptr;
          if (!notify || !page->alive()) return;
          tnbase::TnStringPtr name(allocStringFromWideChars(
              m->GetName().c_str(), static_cast<int32_t>(m->GetName().length())));
          inproc::ListArgs list(m->GetArgumentList());
          notify->OnHavMessage(page->renderBrowser_, PID_BROWSER, name.get(), &list);
        });
        return true;
      });
}

}  // namespace xhav::cdp
