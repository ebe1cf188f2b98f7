#pragma once

// The interfaces of hav, the client's host library round the browser engine, as the module
// sees them. Virtual operations stand in the order of their slots.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "cef/cef_browser.h"
#include "cef/cef_v8.h"
#include "tnbase/tn_string.h"

#define HAV_API __attribute__((visibility("default")))

namespace xhav {

// GetProcessType() of a render process.
constexpr int kProcessTypeBrowser = 1;
constexpr int kProcessTypeRender = 2;

class Browser;
class BrowserParam;
class BrowserNotify;
class Request;

// A block of bytes handed out by an argument list; the receiver releases it.
class HAV_API Binary {
 public:
  virtual std::size_t GetSize() const = 0;
  virtual const void* GetData() const = 0;
  virtual void Release() = 0;

 protected:
  virtual ~Binary() = default;
};

// The argument list of a process message, as hav hands it to the render side. Reading an
// element as the wrong type gives the type's empty value.
class HAV_API ArgList {
 public:
  virtual std::size_t GetCount() const = 0;
  virtual int GetInt(std::size_t index) const = 0;
  // A new text object, which the caller releases; never null.
  virtual TnString* GetString(std::size_t index) const = 0;
  // The nested list, owned by this list; null if the element is not a list.
  virtual const ArgList* GetList(std::size_t index) const = 0;
  // A new byte object, which the caller releases; null if the element holds no bytes.
  virtual Binary* GetBinary(std::size_t index) const = 0;

 protected:
  virtual ~ArgList() = default;
};

// A handler of one request to a registered address.
class HAV_API CustomizeHandler {
 public:
  virtual void OnRequest(Request* request) = 0;
  virtual void OnFinish() = 0;

 protected:
  virtual ~CustomizeHandler() = default;
};

class HAV_API HandlerCreator {
 public:
  virtual std::shared_ptr<CustomizeHandler> CreateHandler() = 0;
  virtual void DeleteCreator() = 0;

 protected:
  virtual ~HandlerCreator() = default;
};

class HAV_API HandlerRegistry {
 public:
  // Serves `address` (a full UTF-8 address) with handlers of `creator`, which stays the
  // caller's. A second registration of an address replaces the first.
  virtual void AddHandler(const char* address, HandlerCreator* creator) = 0;
  virtual void RemoveHandler(const char* address) = 0;

 protected:
  virtual ~HandlerRegistry() = default;
};

// The notifications of the render side.
class HAV_API RenderNotify {
 public:
  virtual void OnContextCreated(CefRefPtr<CefBrowser> browser, CefRefPtr<CefFrame> frame,
                                CefRefPtr<CefV8Context> context, bool enableBusiness) = 0;
  virtual bool OnHavMessage(CefRefPtr<CefBrowser> browser, int source, TnString* name,
                            const ArgList* args) = 0;

 protected:
  virtual ~RenderNotify() = default;
};

// The render-side object of hav: script extensions and the notify object.
class HAV_API RenderHost {
 public:
  virtual void RegisterExtension(const char* name, const char* script,
                                 CefRefPtr<CefV8Handler> handler) = 0;
  virtual void SetRenderNotify(RenderNotify* notify) = 0;

 protected:
  virtual ~RenderHost() = default;
};

// The entry into hav.
class HAV_API Core {
 public:
  virtual int GetProcessType() = 0;
  virtual HandlerRegistry* GetHandlerRegistry() = 0;
  virtual bool CreateBrowser(const char* url, BrowserParam* param, BrowserNotify* notify,
                             Browser** out) = 0;

 protected:
  virtual ~Core() = default;
};

}  // namespace xhav
