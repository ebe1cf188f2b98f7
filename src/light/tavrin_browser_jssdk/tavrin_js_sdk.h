#pragma once

// The browser-process end of the JS bridge of light apps. The page's bridge queues its
// messages and hands them over with the browser call "havFetchJSMessage" (a JSON array of
// message objects); each message makes one JsSdkFunction, which answers by script. No table of
// pending calls exists here: a function holds its call's id, and the host's or the core's
// answer reaches that same object.

#include <json/value.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "cef/cef_process_message.h"
#include "hav/hav.h"
#include "tnbase/tn_string.h"
#include "tnwebui/module.h"

namespace tnwebui {

class JsSdkFunction;

// The application id that a `config` call leaves, with the origin of the page that made the
// call. Functions that write it share it with the SDK; the lock keeps it whole whichever thread
// writes. Stricter than "the last config decides" for every later call of the view: a page of
// another origin that the window has gone to carries none of it, as an identity belongs to the
// document that configured it.
class SharedAppId {
 public:
  // The id, for a page of `origin`; empty for a page of any other.
  std::string Get(const std::string& origin) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return origin == origin_ ? text_ : std::string();
  }
  void Set(std::string text, std::string origin) {
    std::lock_guard<std::mutex> lock(mutex_);
    text_ = std::move(text);
    origin_ = std::move(origin);
  }

 private:
  mutable std::mutex mutex_;
  std::string text_, origin_;
};

class TavrinJsSDK {
 public:
  TavrinJsSDK(int32_t orgId, ModuleHost* module);
  TavrinJsSDK(const TavrinJsSDK&) = delete;
  TavrinJsSDK& operator=(const TavrinJsSDK&) = delete;

  void SetBrowser(xhav::Browser* browser) { browser_ = browser; }
  void SetOrgId(int32_t orgId) { orgId_ = orgId; }
  // True for "havFetchJSMessage", whose messages it serves; false leaves the call unclaimed.
  bool OnBrowserCall(TnString* name, CefRefPtr<CefProcessMessage> message);
  // Keeps the view's parameter; its "appid" becomes the application id of the next call.
  void SetViewParam(const std::string& json);
  // The view's back command, offered to the page's handler of "ui.onHistoryBack" first.
  bool GoBack();
  // A new function for `handlerName` (case-sensitive); unknown names get JSNotImplFunction.
  JsSdkFunction* CreateFunction(const std::string& handlerName);

  bool fetched() const { return fetched_; }
  const std::string& app_id_impl_id() const { return appIdImplId_; }

 private:
  void onJsCall(const std::string& message);

  std::atomic<int32_t> orgId_;  // the host may give new settings on a thread of its own
  ModuleHost* module_;
  xhav::Browser* browser_ = nullptr;  // not owned
  std::shared_ptr<SharedAppId> sharedAppId_;
  bool fetched_ = false;
  std::string viewParam_;
  std::string appIdImplId_;
};

}  // namespace tnwebui
