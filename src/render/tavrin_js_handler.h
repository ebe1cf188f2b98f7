#pragma once

// The one native function handler of a render process: every function of the page's `tnpc`
// object ends in Execute, told apart by name. It also keeps the registry of page callbacks,
// keyed by browser and callback key, so that answers from the browser process find them.

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "cef/cef_v8.h"
#include "cef/cef_values.h"
#include "hav/hav.h"

namespace tnwebui {

// One registered page function with the context it was given in. Filled before the registry
// publishes it and never written after, so it can be read without the registry's lock.
class CJsCallbackWrap : public CefBaseRefCounted {
 public:
  int isJsSdk = 0;  // 1: answers are wrapped as SDK responses (also set for subscriptions)
  CefRefPtr<CefV8Value> callback;
  CefRefPtr<CefV8Context> context;
  std::string meta;
  int64_t frame = -1;  // the identifier of the context's frame; -1 when it names none
  // Answers still due to the document that registered the key by a call. The one field written
  // after publication, under the registry's lock only.
  int owed = 0;

  IMPLEMENT_REFCOUNTING(CJsCallbackWrap);
};

// Frees the memory of an ArrayBuffer handed to a page.
class CCefV8ArrayBufferReleaseCallback : public CefV8ArrayBufferReleaseCallback {
 public:
  void ReleaseBuffer(void* buffer) override;

  IMPLEMENT_REFCOUNTING(CCefV8ArrayBufferReleaseCallback);
};

// The accessor of the `tnpc` object: it has no accessor properties.
class CCefV8AccessorHandler : public CefV8Accessor {
 public:
  bool Get(const CefString&, const CefRefPtr<CefV8Value>, CefRefPtr<CefV8Value>&,
           CefString&) override {
    return false;
  }
  bool Set(const CefString&, const CefRefPtr<CefV8Value>, const CefRefPtr<CefV8Value>,
           CefString&) override {
    return false;
  }

  IMPLEMENT_REFCOUNTING(CCefV8AccessorHandler);
};

class CCefV8HandlerImpl : public CefV8Handler {
 public:
  bool Execute(const CefString& name, CefRefPtr<CefV8Value> object, const CefV8ValueList& arguments,
               CefRefPtr<CefV8Value>& retval, CefString& exception) override;

  // The callback registry. The lock is taken for the maps only, never while script runs.
  // `asks`: the registration comes with a call whose answer is due to this document. A key
  // that another live document waits on an answer for is not given away: false, and the
  // registration is dropped (the last registration wins otherwise). Without a browser nothing
  // is registered, and nothing refused.
  bool AddJsFunCallback(CefRefPtr<CefBrowser> browser, const std::string& key,
                        const CefRefPtr<CefV8Value>& callback,
                        const CefRefPtr<CefV8Context>& context, const std::string& meta,
                        int isJsSdk, bool asks = false);
  CefRefPtr<CJsCallbackWrap> FindJsCallback(CefRefPtr<CefBrowser> browser, const std::string& key);
  // FindJsCallback for an answer to a call: one answer fewer is due to the key's document.
  CefRefPtr<CJsCallbackWrap> TakeAnswer(CefRefPtr<CefBrowser> browser, const std::string& key);
  // `payload` stays in the engine's UTF-16 from the message to the page.
  void ExecuteCallback(CefRefPtr<CefBrowser> browser, const std::string& key, int code,
                       const CefString& text, const CefString& format, const CefString& payload);
  void ExecuteCallbackWithBinary(CefRefPtr<CefBrowser> browser, const std::string& key, int code,
                                 const std::string& text, const std::string& format,
                                 const xhav::Binary* binary);
  // "%s_%s_%s" of business, action and the lower-cased callback id.
  static std::string MakeCallbackKey(const std::string& business, const std::string& action,
                                     const std::string& callbackId);

  // Runs the page function that waits for a business action's result.
  void ExecuteBusinessActionCallback(CefRefPtr<CefBrowser> browser, const CefString& business,
                                     const CefString& action, CefRefPtr<CefListValue> list);
  // The same answer as the render process receives it: no list to read.
  void ExecuteBusinessResult(CefRefPtr<CefBrowser> browser, const std::string& business,
                             const std::string& action, const CefString& id, int code,
                             const CefString& data);

  // The SDK form of exebusinessaction: one JSON request ("api", "meta", "payload").
  static void MapJsApiName(const std::string& api, std::string& business, std::string& action);
  void NewJsApiRequestAdapter(const std::string& json, std::string& business, std::string& action,
                              std::string& meta, std::string& request);
  // Answers the page's callback at once, inside its call, with an error envelope.
  void ReturnJsApiErrorMessage(int code, const std::string& message,
                               CefRefPtr<CefV8Value> callback);

  // The application identity that a successful `config` of the document of `context` set.
  // (One per document, not one per process: a render process may serve the documents of many
  // windows and sites, and an identity that an app's page configured must not let another
  // page pass as that app.)
  std::string GetImplId(const CefRefPtr<CefV8Context>& context);
  void SetImplId(const CefRefPtr<CefV8Context>& context, const std::string& implId);
  bool HasImplId(const CefRefPtr<CefV8Context>& context);

  // Page events.
  void RegisterEvent(CefRefPtr<CefV8Value> names, CefRefPtr<CefV8Value> callback,
                     const std::string& tag);
  void UnregisterEvent(CefRefPtr<CefV8Value> names, CefRefPtr<CefV8Value> tag);
  bool SendEvent(CefRefPtr<CefV8Value> type, CefRefPtr<CefV8Value> name,
                 CefRefPtr<CefV8Value> format, CefRefPtr<CefV8Value> payload);

 private:
  // Both doors of a business action's result end here.
  void RunBusinessCallback(CefRefPtr<CefBrowser> browser, const std::string& business,
                           const std::string& action, const CefString& id, int code,
                           const CefString& data);
  bool ExecuteBusinessAction(CefRefPtr<CefBrowser> browser, const CefV8ValueList& arguments);
  bool ExecuteJsApiRequest(CefRefPtr<CefBrowser> browser, const CefV8ValueList& arguments);
  // The SDK envelope of an answer; a "config" answer's "appIdImplId" is kept, not shown.
  std::string SdkResponse(const std::string& business, const std::string& action, int code,
                          const std::string& data, const std::string& meta,
                          const CefRefPtr<CefV8Context>& context);
  void ExecuteBrowserCommand(CefRefPtr<CefBrowser> browser, const std::string& name,
                             CefRefPtr<CefV8Value>& retval);

  std::mutex lock_;
  // The key's entry; `answer`: one answer fewer is due to it.
  CefRefPtr<CJsCallbackWrap> Lookup(CefRefPtr<CefBrowser> browser, const std::string& key,
                                    bool answer);
  std::map<int, std::map<std::string, CefRefPtr<CJsCallbackWrap>>> callbacks_;
  // The identities by document; entries of documents that have gone are dropped as new ones
  // come.
  std::vector<std::pair<CefRefPtr<CefV8Context>, std::string>> implIds_;
  std::string* ImplIdOf(const CefRefPtr<CefV8Context>& context);  // under lock_

  IMPLEMENT_REFCOUNTING(CCefV8HandlerImpl);
};

// ASCII letters to lower case, byte by byte.
std::string AsciiLower(std::string text);

}  // namespace tnwebui
