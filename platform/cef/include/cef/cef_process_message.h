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

  // False once the message was sent: sending moves its arguments away.
  bool IsValid() const { return valid_; }
  CefString GetName() const { return name_; }
  CefRefPtr<CefListValue> GetArgumentList() const { return args_; }
  CefRefPtr<CefProcessMessage> Copy() const;

  // For the engine's transports, which move a sent message rather than copy it: a message with
  // this one's name and arguments, which this one gives up (it is left invalid with an empty
  // list). A nested list that something else still holds is copied, so the receiver's is its
  // own.
  CefRefPtr<CefProcessMessage> Transfer();

 private:
  CefString name_;
  CefRefPtr<CefListValue> args_;
  bool valid_ = true;
  IMPLEMENT_REFCOUNTING(CefProcessMessage);
};
