#pragma once

// What the demo's parts share: the trace, loading the module, waiting, opening views.
// Each part runs in processes of its own, and every process loads the module with dlopen and
// uses only its two exports and the public headers.

#include <json/value.h>

#include <functional>
#include <string>

#include "cef/cef_process_message.h"
#include "cef/cef_v8.h"
#include "cef/cef_values.h"
#include "hav/cdp_engine.h"
#include "open_light_window.h"
#include "tnbase/tn_string.h"
#include "tnmainui/business_core.h"
#include "tnmainui/business_service.h"
#include "tnwebui/tnwebui.h"

namespace demo {

extern const char* g_library;  // the module's path, from the command line
extern bool g_failed;          // a part of this process saw a page or a step fail
extern const char* g_who;      // the prefix of this process's lines

// Prints one line of the trace, after this process's prefix.
void Say(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Marks this process's part as failed, with the reason in the trace.
void Fail(const char* what);

struct Module {
  CreateTavrinModuleFn createModule = nullptr;
  CreateInterfaceFn createInterface = nullptr;
};
// Loads the module with dlopen and finds its two exports; ends the process if it can't.
Module Load();

// Creates the module for `host`, runs its two start slots and takes the factory, with one
// reference for the caller.
ITnWebUI* StartModule(const Module& m, ModuleHost* host);

// Shows the module's log lines as they are written, from `level` up.
void ShowLog(int level);

std::string Describe(const CefRefPtr<CefV8Value>& v);
std::string DescribeList(const CefRefPtr<CefListValue>& list);
std::string Utf8(const std::u16string& text);
// "business/action for callback id", as the trace names a business call.
std::string DescribeCall(const tnmainui::BusinessCall& call);
std::string Compact(const Json::Value& value);
std::string Status(HRESULT hr);
// "visible", "hidden", "minimised", "in front" of a native window.
std::string Window(HWND hwnd);

CefRefPtr<CefV8Value> ScriptFunction(const char* name,
                                     std::function<void(const CefV8ValueList&)> body);

// Runs `part` in a process of its own and waits for it; true if it succeeded.
bool InChild(const std::function<void()>& part);
// Waits up to `ms` milliseconds (ten seconds unless told) for `done`.
bool WaitFor(const std::function<bool()>& done, int ms = 10000);
// Evaluates `expression` in `page` from the engine's UI thread, running the thread's work
// while the answer comes: a page that waits within a call for that thread is served meanwhile.
// False when it threw or no answer came within two seconds.
bool EvaluateOnUi(xhav::cdp::Engine& engine, xhav::cdp::PageBrowser* page,
                  const std::string& expression, Json::Value* value);

// Makes `core` answer every business action with 0 and "{}", saying each with `line` (its "%s":
// the call).
void AnswerEveryAction(tnmainui::ScriptedBusinessCore* core, const char* line);

// Opens the view `name` at `url` through the host's factory; `core` and `initData` may be null.
// `filterUrl`: the settings' address filter (the settings' default, on, unless 0 or 1).
HRESULT OpenView(ITnWebUI* factory, const char16_t* name, const char* url, BusinessCore* core,
                 const char* initData, IBrowserView** view, int filterUrl = -1);

// Opens `url` as the framed view `name` (view type 4: the client's title bar) with `core` and
// "{}" as its initial data, its window at `rect`; the page.
xhav::cdp::PageBrowser* OpenFramedPage(xhav::cdp::Engine& engine, ITnWebUI* factory,
                                       const char16_t* name, const char* url, BusinessCore* core,
                                       RECT rect, IBrowserView** view);

// Opens `url` as the view `name` in Chromium (`core` and "{}" as its initial data) and waits
// until the page's script sets `window.results.ready`; the page, and the view in `view`, and
// the results that were ready in `results` when given.
xhav::cdp::PageBrowser* OpenReadyPage(xhav::cdp::Engine& engine, ITnWebUI* factory,
                                      const char16_t* name, const char* url, BusinessCore* core,
                                      IBrowserView** view, Json::Value* results = nullptr);

// The Chromium engine's options as in the client: the pages' render side lives in a render
// host process, which loads the module too and prints its log lines as "[render]".
xhav::cdp::EngineOptions ChromiumOptions();
// Traces `engine`'s messages, or says that Chromium is not there and fails `what`. On success
// this thread becomes the engine's UI thread.
bool ChromiumReady(xhav::cdp::Engine& engine, const char* what);
// The codes of the Responses that a handler wrote, for the trace.
std::string ResponseCodes(const std::vector<std::string>& writes);
// Traces every request of a page to a registered address, with the handler's answers.
void TraceRequests(xhav::cdp::Engine& engine);
// Saves the page's screenshot as `name` in the build folder and names it in the trace.
void SaveScreenshot(xhav::cdp::PageBrowser* page, const char* name);
// The whole window of `page` as PNG at `path`: its title bar, if it has one, over the page's
// screenshot; false when it can't be saved.
bool SaveWindowPng(xhav::cdp::PageBrowser* page, const std::string& path);
// The same, with `png` the page's picture taken already.
bool SaveWindowWithPage(xhav::cdp::PageBrowser* page, const std::string& png,
                        const std::string& path);
// Saves the page's screenshot (unless `shot` is null), closes it and waits until it is gone,
// then lets go of the view, the factory and the core (either may be null: kept).
void CloseChromiumPart(xhav::cdp::Engine& engine, xhav::cdp::PageBrowser* page, const char* shot,
                       IBrowserView* view, ITnWebUI* factory, BusinessCore* core);

// The session's trace (demo-trace.jsonl in the build folder, one JSON object a line, drawn by
// pages/tavrin5main/timeline.html). StartSessionTrace opens it before the parts start; each part's
// process names its part; every step has its time since the start, process, thread, kind
// ("call", "message", "request", "sdk", "event", "answer", "script"), browser and name.
// `file`: where the trace goes (the build folder's demo-trace.jsonl when empty); false when it
// can't be written.
bool StartSessionTrace(const std::string& file = std::string());
void SetTracePart(const char* part);
void TraceStep(const char* kind, int browser, const std::string& name, const std::string& detail,
               double milliseconds = -1);
void TraceProcessMessage(const char* hop, CefProcessId target, int browser,
                         const CefRefPtr<CefProcessMessage>& message);
// The same, for a message whose name and arguments the caller has described already.
void TraceProcessMessage(const char* hop, CefProcessId target, int browser, const std::string& name,
                         const std::string& arguments);
// The pages' calls of the native object, with the time each took to its reply.
void TraceCalls(xhav::cdp::Engine& engine);
// The scripts the host runs in pages; `say` prints each in the readable trace too.
void TraceScripts(xhav::cdp::Engine& engine, bool say);

// Writes each process message into the session's trace only (the part prints its own lines).
template <typename Engine>
void TraceMessagesQuietly(Engine& engine) {
  engine.SetTracer(
      [](const char* hop, CefProcessId target, int id, CefRefPtr<CefProcessMessage> message) {
        TraceProcessMessage(hop, target, id, message);
      });
}

// Prints each process message as it crosses between the host and a render process.
template <typename Engine>
void TraceMessages(Engine& engine) {
  engine.SetTracer([](const char* hop, CefProcessId target, int id,
                      CefRefPtr<CefProcessMessage> message) {
    const std::string name = message->GetName().ToString();
    const std::string arguments = DescribeList(message->GetArgumentList());
    TraceProcessMessage(hop, target, id, name, arguments);
    const bool sending = std::string(hop) == "send";
    Say("  %s \"%s\" %s %s browser %d", sending ? "sends" : "receives", name.c_str(),
        arguments.c_str(),
        sending ? (target == PID_BROWSER ? "to the host process for" : "to the render process for")
                : "for",
        id);
  });
}

// The parts, one file each, in the order they run.
void PageFirstCalls();     // a render process starts and a page makes its first calls
void HostOpensWindows();   // the host opens, finds and closes windows through the factory
void ViewLifeCycle();      // loading page to address, with cookies and watermark
void PageEvents();         // an event subscription hears one event in each format
void RealPages();          // the same view over real pages in Debian's Chromium
void LightAppSdk();        // a light app's own bridge speaks to the JS SDK in Chromium
void DesktopCommands();    // a page's desktop commands served by the module's handlers
void LightWindow();        // a light window with its title bar, and a framed window
void Transfers();          // a light app downloads, uploads and saves files
void WindowsAndDialogs();  // a page opens light windows and asks the main page for a dialog
void Choosers();           // a light app chooses pictures, a file and a contact
void Conformance();        // the light-app conformance page: all thirty SDK names once
void PageGuests();         // a light app's cross-site frame, worker and dialogs, and their rights
void TypicalRequest();     // one business action over two processes and a socket
void SessionTimeline();    // the timeline page draws the session's own trace
void LightAppWorkbench();  // tnwebui-run checks the sample light apps
void BackButton();         // the title bar's back button and a light app's answer to it
void HostilePages();       // hostile pages try to hurt the client; an honest window goes on
void WindowNews();         // a window's state, activation, dropped files and links on real pages
void WarmWindows();        // a light app opens at once on a target the engine kept ready

// Opens the timeline page and draws `part` of `trace` (JSON lines) in it; the page, its view in
// `view`, and the page's report (`rendered`, `shown`, `parts`) in `drawn`.
xhav::cdp::PageBrowser* DrawTimeline(xhav::cdp::Engine& engine, ITnWebUI* factory,
                                     BusinessCore* core, const std::string& trace, const char* part,
                                     IBrowserView** view, Json::Value* drawn);

// The first child of `parent` of window class `className`, or null.
HWND ChildOfClass(HWND parent, const std::string& className);
// Paints the title bar `bar` and its buttons now.
void PaintBar(HWND bar);
// Clicks the back button of the title bar of `window`; false when it has none.
bool PressBackButton(HWND window);

// The sample business core's identity answers: the config signature (checked against
// kSampleAppSecret), the app's code, the visitor's tokens and session.
extern const char kSampleAppSecret[];
tnmainui::GoAnswer SampleIdentityCore(const tnmainui::GoCall& call);
// The same answers, silently, with signatures checked against `secret`.
tnmainui::GoAnswer IdentityCore(const tnmainui::GoCall& call, const std::string& secret);

}  // namespace demo
