// The in-process script engine behind the CefV8 API: values are local objects, a page's
// functions are C++ callables, and contexts are entered per thread.

#include "cef/cef_v8.h"

#include <atomic>
#include <cmath>
#include <limits>
#include <map>
#include <vector>

#include "cef/inproc_v8.h"

namespace {

thread_local std::vector<CefRefPtr<CefV8Context>> t_entered;

class LocalValue : public CefV8Value {
 public:
  enum class Kind {
    kUndefined,
    kNull,
    kBool,
    kNumber,
    kString,
    kObject,
    kArray,
    kArrayBuffer,
    kFunction
  };

  explicit LocalValue(Kind kind) : kind_(kind) {}
  ~LocalValue() override {
    if (kind_ == Kind::kArrayBuffer && release_) release_->ReleaseBuffer(buffer_);
  }

  static CefRefPtr<LocalValue> Number(double v) {
    CefRefPtr<LocalValue> value = new LocalValue(Kind::kNumber);
    value->number_ = v;
    return value;
  }

  bool IsValid() override { return true; }
  bool IsUndefined() override { return kind_ == Kind::kUndefined; }
  bool IsNull() override { return kind_ == Kind::kNull; }
  bool IsBool() override { return kind_ == Kind::kBool; }
  bool IsInt() override {
    return IsIntegral() && number_ >= std::numeric_limits<int32_t>::min() &&
           number_ <= std::numeric_limits<int32_t>::max();
  }
  bool IsUInt() override {
    return IsIntegral() && number_ >= 0 && number_ <= std::numeric_limits<uint32_t>::max();
  }
  bool IsDouble() override { return kind_ == Kind::kNumber; }
  bool IsString() override { return kind_ == Kind::kString; }
  bool IsObject() override {
    return kind_ == Kind::kObject || kind_ == Kind::kArray || kind_ == Kind::kArrayBuffer ||
           kind_ == Kind::kFunction;
  }
  bool IsArray() override { return kind_ == Kind::kArray; }
  bool IsArrayBuffer() override { return kind_ == Kind::kArrayBuffer; }
  bool IsFunction() override { return kind_ == Kind::kFunction; }
  bool IsSame(CefRefPtr<CefV8Value> that) override { return that.get() == this; }

  bool GetBoolValue() override { return kind_ == Kind::kBool && bool_; }
  int32_t GetIntValue() override { return IsInt() ? static_cast<int32_t>(number_) : 0; }
  uint32_t GetUIntValue() override { return IsUInt() ? static_cast<uint32_t>(number_) : 0; }
  double GetDoubleValue() override { return kind_ == Kind::kNumber ? number_ : 0; }
  CefString GetStringValue() override { return kind_ == Kind::kString ? string_ : CefString(); }

  bool HasValue(const CefString& key) override { return props_.count(key) != 0; }
  bool DeleteValue(const CefString& key) override { return props_.erase(key) != 0; }
  CefRefPtr<CefV8Value> GetValue(const CefString& key) override {
    auto it = props_.find(key);
    return it == props_.end() ? nullptr : it->second;
  }
  CefRefPtr<CefV8Value> GetValue(int index) override {
    if (kind_ != Kind::kArray || index < 0 || index >= static_cast<int>(elements_.size()))
      return nullptr;
    return elements_[index];
  }
  bool SetValue(const CefString& key, CefRefPtr<CefV8Value> value,
                CefV8PropertyAttribute) override {
    if (!IsObject() || !value) return false;
    props_[key] = value;
    return true;
  }
  bool SetValue(int index, CefRefPtr<CefV8Value> value) override {
    if (kind_ != Kind::kArray || index < 0 || !value) return false;
    if (index >= static_cast<int>(elements_.size())) {
      elements_.resize(index + 1, CefV8Value::CreateUndefined());
    }
    elements_[index] = value;
    return true;
  }
  bool GetKeys(std::vector<CefString>& keys) override {
    keys.clear();
    for (const auto& p : props_) keys.push_back(p.first);
    return IsObject();
  }
  int GetArrayLength() override {
    return kind_ == Kind::kArray ? static_cast<int>(elements_.size()) : 0;
  }

  CefRefPtr<CefV8ArrayBufferReleaseCallback> GetArrayBufferReleaseCallback() override {
    return release_;
  }
  std::size_t GetArrayBufferByteLength() override { return length_; }
  void* GetArrayBufferData() override { return buffer_; }

  CefString GetFunctionName() override { return name_; }
  CefRefPtr<CefV8Handler> GetFunctionHandler() override { return handler_; }

  CefRefPtr<CefV8Value> ExecuteFunction(CefRefPtr<CefV8Value> object,
                                        const CefV8ValueList& arguments) override {
    return ExecuteFunctionWithContext(CefV8Context::GetCurrentContext(), object, arguments);
  }
  CefRefPtr<CefV8Value> ExecuteFunctionWithContext(CefRefPtr<CefV8Context> context,
                                                   CefRefPtr<CefV8Value> object,
                                                   const CefV8ValueList& arguments) override {
    return Invoke(context, object, arguments).value;
  }

  // Runs the function with `context` entered. `value` is empty when the call failed.
  cef_inproc::ScriptCallResult Invoke(CefRefPtr<CefV8Context> context, CefRefPtr<CefV8Value> object,
                                      const CefV8ValueList& arguments) {
    cef_inproc::ScriptCallResult result;
    if (kind_ != Kind::kFunction || !context || !context->IsValid()) return result;
    context->Enter();
    if (handler_) {
      CefRefPtr<CefV8Value> retval;
      CefString exception;
      result.handled = handler_->Execute(name_, object ? object : CefV8Value::CreateUndefined(),
                                         arguments, retval, exception);
      if (exception.empty()) result.value = retval ? retval : CefV8Value::CreateUndefined();
    } else if (script_) {
      result.handled = true;
      result.value = script_(arguments);
    }
    context->Exit();
    return result;
  }

  void ClearProperties() {
    props_.clear();
    elements_.clear();
  }

  bool bool_ = false;
  double number_ = 0;
  CefString string_;
  CefString name_;
  CefRefPtr<CefV8Handler> handler_;
  cef_inproc::ScriptFunction script_;
  CefRefPtr<CefV8Accessor> accessor_;
  void* buffer_ = nullptr;
  std::size_t length_ = 0;
  CefRefPtr<CefV8ArrayBufferReleaseCallback> release_;

 private:
  // As in V8, -0 is no integer: it would lose its sign.
  bool IsIntegral() const {
    return kind_ == Kind::kNumber && std::trunc(number_) == number_ &&
           !(number_ == 0 && std::signbit(number_));
  }

  const Kind kind_;
  std::map<CefString, CefRefPtr<CefV8Value>> props_;
  std::vector<CefRefPtr<CefV8Value>> elements_;
  IMPLEMENT_REFCOUNTING(LocalValue);
};

class LocalContext : public CefV8Context {
 public:
  LocalContext(CefRefPtr<CefBrowser> browser, CefRefPtr<CefFrame> frame)
      : browser_(browser), frame_(frame), global_(new LocalValue(LocalValue::Kind::kObject)) {}

  bool IsValid() override { return valid_; }
  CefRefPtr<CefBrowser> GetBrowser() override { return browser_; }
  CefRefPtr<CefFrame> GetFrame() override { return frame_; }
  CefRefPtr<CefV8Value> GetGlobal() override { return global_; }
  bool Enter() override {
    t_entered.push_back(this);
    return true;
  }
  bool Exit() override {
    if (t_entered.empty() || t_entered.back().get() != this) return false;
    t_entered.pop_back();
    return true;
  }
  bool IsSame(CefRefPtr<CefV8Context> that) override { return that.get() == this; }

  // A context that is gone keeps nothing alive: this also breaks the cycles that a page's
  // objects form through the native handler.
  void Invalidate() {
    valid_ = false;
    global_->ClearProperties();
    browser_ = nullptr;
    frame_ = nullptr;
  }

 private:
  std::atomic<bool> valid_{true};  // asked from any thread (the module's registry)
  CefRefPtr<CefBrowser> browser_;
  CefRefPtr<CefFrame> frame_;
  CefRefPtr<LocalValue> global_;
  IMPLEMENT_REFCOUNTING(LocalContext);
};

}  // namespace

CefRefPtr<CefV8Context> CefV8Context::GetCurrentContext() {
  return t_entered.empty() ? nullptr : t_entered.back();
}

CefRefPtr<CefV8Context> CefV8Context::GetEnteredContext() { return GetCurrentContext(); }

bool CefV8Context::InContext() { return !t_entered.empty(); }

namespace {

// undefined and null are one value each for the whole process, as in the engine: a function's
// result or an array's hole costs no allocation. Neither can take a property.
LocalValue* Singleton(LocalValue::Kind kind) {
  auto* value = new LocalValue(kind);
  value->AddRef();  // held for the process's life
  return value;
}

}  // namespace

CefRefPtr<CefV8Value> CefV8Value::CreateUndefined() {
  static LocalValue* const undefined = Singleton(LocalValue::Kind::kUndefined);
  return undefined;
}

CefRefPtr<CefV8Value> CefV8Value::CreateNull() {
  static LocalValue* const null = Singleton(LocalValue::Kind::kNull);
  return null;
}

CefRefPtr<CefV8Value> CefV8Value::CreateBool(bool value) {
  CefRefPtr<LocalValue> v = new LocalValue(LocalValue::Kind::kBool);
  v->bool_ = value;
  return v;
}

CefRefPtr<CefV8Value> CefV8Value::CreateInt(int32_t value) { return LocalValue::Number(value); }

CefRefPtr<CefV8Value> CefV8Value::CreateUInt(uint32_t value) { return LocalValue::Number(value); }

CefRefPtr<CefV8Value> CefV8Value::CreateDouble(double value) { return LocalValue::Number(value); }

CefRefPtr<CefV8Value> CefV8Value::CreateString(const CefString& value) {
  CefRefPtr<LocalValue> v = new LocalValue(LocalValue::Kind::kString);
  v->string_ = value;
  return v;
}

CefRefPtr<CefV8Value> CefV8Value::CreateObject(CefRefPtr<CefV8Accessor> accessor) {
  CefRefPtr<LocalValue> v = new LocalValue(LocalValue::Kind::kObject);
  v->accessor_ = accessor;
  return v;
}

CefRefPtr<CefV8Value> CefV8Value::CreateArray(int length) {
  CefRefPtr<LocalValue> v = new LocalValue(LocalValue::Kind::kArray);
  for (int i = 0; i < length; ++i) v->SetValue(i, CreateUndefined());
  return v;
}

CefRefPtr<CefV8Value> CefV8Value::CreateArrayBuffer(
    void* buffer, std::size_t length, CefRefPtr<CefV8ArrayBufferReleaseCallback> release_callback) {
  CefRefPtr<LocalValue> v = new LocalValue(LocalValue::Kind::kArrayBuffer);
  v->buffer_ = buffer;
  v->length_ = length;
  v->release_ = release_callback;
  return v;
}

CefRefPtr<CefV8Value> CefV8Value::CreateFunction(const CefString& name,
                                                 CefRefPtr<CefV8Handler> handler) {
  if (!handler) return nullptr;
  CefRefPtr<LocalValue> v = new LocalValue(LocalValue::Kind::kFunction);
  v->name_ = name;
  v->handler_ = handler;
  return v;
}

namespace cef_inproc {

CefRefPtr<CefV8Value> CreateScriptFunction(const CefString& name, ScriptFunction body) {
  CefRefPtr<LocalValue> v = new LocalValue(LocalValue::Kind::kFunction);
  v->name_ = name;
  v->script_ = std::move(body);
  return v;
}

CefRefPtr<CefV8Value> CreateScriptFunction(const CefString& name,
                                           std::function<void(const CefV8ValueList&)> body) {
  return CreateScriptFunction(name, ScriptFunction([body](const CefV8ValueList& args) {
                                if (body) body(args);
                                return CefV8Value::CreateUndefined();
                              }));
}

CefRefPtr<CefV8Context> CreateContext(CefRefPtr<CefBrowser> browser, CefRefPtr<CefFrame> frame) {
  return new LocalContext(browser, frame);
}

void InvalidateContext(CefRefPtr<CefV8Context> context) {
  if (auto* local = dynamic_cast<LocalContext*>(context.get())) local->Invalidate();
}

ScriptCallResult CallFromScript(CefRefPtr<CefV8Context> context, CefRefPtr<CefV8Value> function,
                                const CefV8ValueList& arguments) {
  auto* local = dynamic_cast<LocalValue*>(function.get());
  if (!local) return {};
  return local->Invoke(context, nullptr, arguments);
}

}  // namespace cef_inproc
