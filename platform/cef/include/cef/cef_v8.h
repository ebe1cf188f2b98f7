#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "cef/cef_base.h"
#include "cef/cef_browser.h"
#include "cef/cef_string.h"

class CefV8Value;
class CefV8Context;

using CefV8ValueList = std::vector<CefRefPtr<CefV8Value>>;

enum cef_v8_propertyattribute_t {
  V8_PROPERTY_ATTRIBUTE_NONE = 0,
  V8_PROPERTY_ATTRIBUTE_READONLY = 1 << 0,
  V8_PROPERTY_ATTRIBUTE_DONTENUM = 1 << 1,
  V8_PROPERTY_ATTRIBUTE_DONTDELETE = 1 << 2,
};
using CefV8PropertyAttribute = cef_v8_propertyattribute_t;

// Native code behind script functions made with CefV8Value::CreateFunction.
class CEF_API CefV8Handler : public virtual CefBaseRefCounted {
 public:
  // Returns true if the call was handled; `retval` may then carry the result.
  virtual bool Execute(const CefString& name, CefRefPtr<CefV8Value> object,
                       const CefV8ValueList& arguments, CefRefPtr<CefV8Value>& retval,
                       CefString& exception) = 0;
};

// Accessor of an object's named properties.
class CEF_API CefV8Accessor : public virtual CefBaseRefCounted {
 public:
  virtual bool Get(const CefString& name, const CefRefPtr<CefV8Value> object,
                   CefRefPtr<CefV8Value>& retval, CefString& exception) = 0;
  virtual bool Set(const CefString& name, const CefRefPtr<CefV8Value> object,
                   const CefRefPtr<CefV8Value> value, CefString& exception) = 0;
};

// Frees the memory of an ArrayBuffer once script no longer holds it.
class CEF_API CefV8ArrayBufferReleaseCallback : public virtual CefBaseRefCounted {
 public:
  virtual void ReleaseBuffer(void* buffer) = 0;
};

// A script context: the global object of one frame at one time. Contexts are entered and
// exited per thread; the current context is the one entered last on the calling thread.
class CEF_API CefV8Context : public virtual CefBaseRefCounted {
 public:
  static CefRefPtr<CefV8Context> GetCurrentContext();
  static CefRefPtr<CefV8Context> GetEnteredContext();
  static bool InContext();

  virtual bool IsValid() = 0;
  virtual CefRefPtr<CefBrowser> GetBrowser() = 0;
  virtual CefRefPtr<CefFrame> GetFrame() = 0;
  virtual CefRefPtr<CefV8Value> GetGlobal() = 0;
  virtual bool Enter() = 0;
  virtual bool Exit() = 0;
  virtual bool IsSame(CefRefPtr<CefV8Context> that) = 0;
};

// A script value. The Create functions make values that the engine copies into a page as
// needed; an engine may give page-owned values (objects, functions) its own implementation.
class CEF_API CefV8Value : public virtual CefBaseRefCounted {
 public:
  static CefRefPtr<CefV8Value> CreateUndefined();
  static CefRefPtr<CefV8Value> CreateNull();
  static CefRefPtr<CefV8Value> CreateBool(bool value);
  static CefRefPtr<CefV8Value> CreateInt(int32_t value);
  static CefRefPtr<CefV8Value> CreateUInt(uint32_t value);
  static CefRefPtr<CefV8Value> CreateDouble(double value);
  static CefRefPtr<CefV8Value> CreateString(const CefString& value);
  static CefRefPtr<CefV8Value> CreateObject(CefRefPtr<CefV8Accessor> accessor);
  static CefRefPtr<CefV8Value> CreateArray(int length);
  // The value owns `buffer` and hands it to `release_callback` when it is collected.
  static CefRefPtr<CefV8Value> CreateArrayBuffer(
      void* buffer, std::size_t length,
      CefRefPtr<CefV8ArrayBufferReleaseCallback> release_callback);
  static CefRefPtr<CefV8Value> CreateFunction(const CefString& name,
                                              CefRefPtr<CefV8Handler> handler);

  virtual bool IsValid() = 0;
  virtual bool IsUndefined() = 0;
  virtual bool IsNull() = 0;
  virtual bool IsBool() = 0;
  virtual bool IsInt() = 0;
  virtual bool IsUInt() = 0;
  virtual bool IsDouble() = 0;
  virtual bool IsString() = 0;
  virtual bool IsObject() = 0;
  virtual bool IsArray() = 0;
  virtual bool IsArrayBuffer() = 0;
  virtual bool IsFunction() = 0;
  virtual bool IsSame(CefRefPtr<CefV8Value> that) = 0;

  virtual bool GetBoolValue() = 0;
  virtual int32_t GetIntValue() = 0;
  virtual uint32_t GetUIntValue() = 0;
  virtual double GetDoubleValue() = 0;
  virtual CefString GetStringValue() = 0;

  virtual bool HasValue(const CefString& key) = 0;
  virtual bool DeleteValue(const CefString& key) = 0;
  virtual CefRefPtr<CefV8Value> GetValue(const CefString& key) = 0;
  virtual CefRefPtr<CefV8Value> GetValue(int index) = 0;
  virtual bool SetValue(const CefString& key, CefRefPtr<CefV8Value> value,
                        CefV8PropertyAttribute attribute) = 0;
  virtual bool SetValue(int index, CefRefPtr<CefV8Value> value) = 0;
  virtual bool GetKeys(std::vector<CefString>& keys) = 0;
  virtual int GetArrayLength() = 0;

  virtual CefRefPtr<CefV8ArrayBufferReleaseCallback> GetArrayBufferReleaseCallback() = 0;
  virtual std::size_t GetArrayBufferByteLength() = 0;
  virtual void* GetArrayBufferData() = 0;

  virtual CefString GetFunctionName() = 0;
  virtual CefRefPtr<CefV8Handler> GetFunctionHandler() = 0;
  // Runs the function in the current context. Returns an empty reference if it failed.
  virtual CefRefPtr<CefV8Value> ExecuteFunction(CefRefPtr<CefV8Value> object,
                                                const CefV8ValueList& arguments) = 0;
  // Runs the function in `context`. Returns an empty reference if the context is gone or the
  // function threw.
  virtual CefRefPtr<CefV8Value> ExecuteFunctionWithContext(CefRefPtr<CefV8Context> context,
                                                           CefRefPtr<CefV8Value> object,
                                                           const CefV8ValueList& arguments) = 0;
};
