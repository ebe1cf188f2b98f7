#pragma once

// The frame of every JS SDK function: one short-lived object per call from a light app's page.
// The dispatcher fills it, runs Execute, and the object answers the page by script, now or
// when the host or the business core answers it. How it ends is its class's rule:
//   - one-shot (IsOneShot true): the dispatcher deletes it right after Execute;
//   - DeleteLater when it is done: its answer comes inside a callback of its own, so the
//     deletion waits on the global task queue until that stack is clear;
//   - its last Release, for classes that give the host a callback (JsSdkCallback) and stay
//     until the host lets go of it.

#include <json/value.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "base/live_count.h"
#include "base/view_callback.h"
#include "hav/hav.h"
#include "tnwebui/module.h"
#include "tnwebui/view.h"

namespace tnwebui {

class JsSdkFunction : public LiveCounted<JsSdkFunction> {
 public:
  JsSdkFunction() = default;
  JsSdkFunction(const JsSdkFunction&) = delete;
  JsSdkFunction& operator=(const JsSdkFunction&) = delete;

  virtual ~JsSdkFunction() = default;
  virtual bool IsOneShot() { return true; }
  virtual void SetCallbackId(const std::string& id) { callbackId = id; }
  // `params`: the call's `data`, or the answer's `responseData`.
  virtual void Execute(const std::string& handlerName, const Json::Value& params) = 0;

  // What the dispatcher gives every function before Execute.
  void Fill(int32_t org, const std::string& appId, xhav::Browser* view, HWND window,
            ModuleHost* host) {
    orgId = org;
    appIdImplId = appId;
    browser = view;
    hwnd = window;
    module = host;
  }

  // "res://local/" and the path with "/" for "\".
  static std::string ToLocalId(std::string path);
  // The text from character 12 on when it holds "res://local/" anywhere; else empty.
  static std::string FromLocalId(const std::string& id);
  // printf into at most 1,024 bytes.
  static void FormatText(std::string& out, const char* format, ...)
      __attribute__((format(printf, 2, 3)));
  // The same over wide text, at most 1,024 characters; "%s" takes wide text (std::u16string
  // or const char16_t*), as in the host's own formats.
  template <typename... Args>
  static void FormatWide(std::u16string& out, const char16_t* format, const Args&... args);
  // The call's `payload` when it is an object; else null.
  static const Json::Value* PayloadOf(const Json::Value& params);
  // Shows `text` for `milliseconds` on a thread of its own.
  static void ShowTimedTip(const std::u16string& text, int milliseconds = 2000);

 protected:
  // The answer to the page's call: TavrinJsBridge._handleMessageFromObjC with `json` as the
  // call's `responseData`. Dropped once the function's window is gone.
  void SendResponse(const std::string& json);
  // A call of the page's handler `handlerName` with `json` as its `data`, under this call's
  // id. Sent whatever became of the window.
  void SendEvent(const std::string& json, const std::string& handlerName);
  // The answer of template `envelope` (one with a code only) filled with `code`.
  void SendCode(int envelope, int32_t code);
  // The answer of template `envelope` with a piece of JSON: its head filled with `code`, then
  // `json` without its closing line feed, then its tail.
  void SendWithJson(int envelope, int32_t code, std::string json);
  // Deletes this object later on the global task queue: the last thing a function does.
  void DeleteLater();
  // Keeps `function` reachable for the rest of the process: for functions that stop without an
  // answer and that nothing will ever delete.
  static void KeepForProcess(std::shared_ptr<JsSdkFunction> function);
  // This function stays without an answer: nothing holds it and nothing will delete it.
  void Keep() { KeepForProcess(std::shared_ptr<JsSdkFunction>(this)); }

  // The host's business channel of the function's browser, or null.
  xhav::BusinessChannel* HostChannel();
  // Sends business, action, "0", `json`, "0" through `channel` with `callback` (may be null).
  static void ExecuteBusiness(xhav::BusinessChannel* channel, const char16_t* business,
                              const char16_t* action, const std::string& json,
                              IBrowserViewCallback* callback);
  // A host service by its identifier, or null.
  template <typename Service>
  Service* QueryService(const GUID& id) {
    return module ? static_cast<Service*>(module->QueryService(id)) : nullptr;
  }

  int32_t orgId = 0;
  ModuleHost* module = nullptr;
  std::string callbackId;
  xhav::Browser* browser = nullptr;  // not owned; hav keeps it
  std::string appIdImplId;
  HWND hwnd = nullptr;

  // Runs `script` in the page, whatever became of the window.
  void RunScript(const std::string& script);

 private:
  static void FormatWideList(std::u16string& out, const char16_t* format, ...);
  static const wchar_t* WideArg(const std::wstring& text) { return text.c_str(); }
  template <typename T>
  static T WideArg(T value) {
    return value;
  }
  static std::wstring Widen(const std::u16string& text);
  static std::wstring Widen(const char16_t* text) {
    return Widen(std::u16string(text ? text : u""));
  }
  template <typename T>
  static T Widen(T value) {
    return value;
  }
};

template <typename... Args>
void JsSdkFunction::FormatWide(std::u16string& out, const char16_t* format, const Args&... args) {
  FormatWideList(out, format, WideArg(Widen(args))...);
}

// The answer object that a function gives the host: the last Release deletes the whole
// function.
using JsSdkCallback = ViewCallbackBase;

// A function that asks the host and answers from the host's results: it stays until the host's
// last Release.
class JsSdkHostFunction : public JsSdkFunction, public JsSdkCallback {
 public:
  bool IsOneShot() override { return false; }

 protected:
  // The end of a function that the host may still hold: it goes at the host's last Release or
  // when the global task queue has run, whichever comes later.
  void DeleteLater();
};

// A function that holds itself from its question (or its registration) on, and whose end lets
// go of that hold on the global task queue, so the host may keep its own reference for as long
// as it likes.
class JsSdkHeldFunction : public JsSdkHostFunction {
 protected:
  void Hold() { AddRef(); }
  // Holds itself and sends business, action, "0", `json`, "0" with itself as the callback.
  // False, and nothing sent, without the host's channel: the function then stays, answering
  // nothing.
  bool Ask(const char16_t* business, const char16_t* action, const std::string& json);
  // The end of the function, from its answer: the last thing it does. Only the first end lets
  // go of the hold, so a host that answers twice meets the function alive the second time.
  void DeleteLater();
  // An answer after which the function doesn't end: it stays, holding itself, for the process.
  void Stay();

 private:
  std::atomic<bool> ended_{false};
};

// The host's result as JSON: false when it is no JSON, or JSON null (a null result counts as
// an empty text).
bool ParseHostResult(const char16_t* result, Json::Value& out);

}  // namespace tnwebui
