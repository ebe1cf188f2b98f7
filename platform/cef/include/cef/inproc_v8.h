#pragma once

// The in-process script engine: what a test or demo uses to play a page's script against the
// engine API. A page function here is a named C++ callable.

#include <functional>

#include "cef/cef_v8.h"

namespace cef_inproc {

// Returns the function's result, or an empty reference to mean that the function threw.
using ScriptFunction = std::function<CefRefPtr<CefV8Value>(const CefV8ValueList& args)>;

CEF_API CefRefPtr<CefV8Value> CreateScriptFunction(const CefString& name, ScriptFunction body);
// A page function that returns undefined.
CEF_API CefRefPtr<CefV8Value> CreateScriptFunction(
    const CefString& name, std::function<void(const CefV8ValueList& args)> body);

// A fresh context with an empty global object.
CEF_API CefRefPtr<CefV8Context> CreateContext(CefRefPtr<CefBrowser> browser,
                                              CefRefPtr<CefFrame> frame);
// Marks a context as gone (its page navigated away): functions no longer run in it.
CEF_API void InvalidateContext(CefRefPtr<CefV8Context> context);

struct ScriptCallResult {
  bool handled = false;         // a native handler's answer; true for script functions
  CefRefPtr<CefV8Value> value;  // the returned value, empty when nothing was returned
};

// Calls `function` from page script running in `context`, as a page's own call would.
CEF_API ScriptCallResult CallFromScript(CefRefPtr<CefV8Context> context,
                                        CefRefPtr<CefV8Value> function,
                                        const CefV8ValueList& arguments);

}  // namespace cef_inproc
