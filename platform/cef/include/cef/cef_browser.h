#pragma once

#include <cstdint>

#include "cef/cef_base.h"
#include "cef/cef_process_message.h"
#include "cef/cef_string.h"

// A frame of a page, as the render side sees it.
class CEF_API CefFrame : public virtual CefBaseRefCounted {
 public:
  virtual bool IsMain() = 0;
  virtual int64_t GetIdentifier() = 0;
  virtual CefString GetURL() = 0;
};

struct HWND__;

// The browser's host on the browser side: its native window.
class CEF_API CefBrowserHost : public virtual CefBaseRefCounted {
 public:
  virtual HWND__* GetWindowHandle() = 0;
};

// A browser. Implemented by the engine, on each side of the process border.
class CEF_API CefBrowser : public virtual CefBaseRefCounted {
 public:
  virtual int GetIdentifier() = 0;
  virtual bool IsSame(CefRefPtr<CefBrowser> that) = 0;
  virtual void Reload() = 0;
  virtual void GoBack() = 0;
  virtual void GoForward() = 0;
  virtual bool CanGoBack() = 0;
  virtual bool CanGoForward() = 0;
  virtual CefRefPtr<CefFrame> GetMainFrame() = 0;
  // The browser side's host; null on the render side.
  virtual CefRefPtr<CefBrowserHost> GetHost() { return nullptr; }
  // Sends `message` to the other side of the process border. Callable from any thread.
  virtual bool SendProcessMessage(CefProcessId target, CefRefPtr<CefProcessMessage> message) = 0;
};
