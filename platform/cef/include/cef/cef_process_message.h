#pragma once

#include "cef/cef_base.h"
#include "cef/cef_string.h"
#include "cef/cef_values.h"

enum CefProcessId {
  PID_BROWSER = 0,
  PID_RENDERER = 1,
};

// A named message with an argument list, sent between the browser and a render process.
class CEF_API CefProcessMessage : public virtual CefBaseRefCounted {
 public:
  static CefRefPtr<CefProcessMessage> Create(const CefString& name);

  bool IsValid() const { return true; }
  CefString GetName() const { return name_; }
  CefRefPtr<CefListValue> GetArgumentList() const { return args_; }
  CefRefPtr<CefProcessMessage> Copy() const;

 private:
  CefString name_;
  CefRefPtr<CefListValue> args_;
  IMPLEMENT_REFCOUNTING(CefProcessMessage);
};
