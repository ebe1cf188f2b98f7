// The demo's shared helpers.

#include <dlfcn.h>
#include <json/writer.h>
#include <limits.h>
#include <stdarg.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "cef/inproc_v8.h"
#include "demo.h"
#include "hav/handler_table.h"
#include "tnbase/logger.h"
#include "tnmainui/inproc_host.h"
#include "win/paint.h"
#include "win/user.h"
#include "win/window.h"

namespace demo {

const char* g_library = "./libTnWebUI.so";
bool g_failed = false;
const char* g_who = "";

void Say(const char* format, ...) {
  char line[4096];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  std::printf("%s%s\n", g_who, line);
  std::fflush(stdout);
}

Module Load() {
  void* lib = dlopen(g_library, RTLD_NOW | RTLD_LOCAL);
  if (!lib) {
    std::fprintf(stderr, "dlopen failed: %s\n", dlerror());
    std::_Exit(1);
  }
  Module m;
  m.createModule = reinterpret_cast<CreateTavrinModuleFn>(dlsym(lib, "CreateTavrinModule"));
  m.createInterface = reinterpret_cast<CreateInterfaceFn>(dlsym(lib, "CreateInterface"));
  if (!m.createModule || !m.createInterface) {
    std::fprintf(stderr, "the module lacks its exports\n");
    std::_Exit(1);
  }
  return m;
}

ITnWebUI* StartModule(const Module& m, ModuleHost* host) {
  TavrinModule* module = m.createModule(host);
  module->OnModuleLoaded(0);
  module->OnProcessInited(0);  // starts the render side where the engine reports one
  ITnWebUI* factory = nullptr;
  m.createInterface(&IID_ITnWebUI, reinterpret_cast<void**>(&factory));
  return factory;
}

// Shows the module's log lines as they are written, from `level` up.
void ShowLog(int level) {
  tnbase::SetLogSink([level](const tnbase::LogRecord& r) {
    if (r.level >= level) Say("  [log %d] %s: %s", r.level, r.function.c_str(), r.message.c_str());
  });
}

std::string Describe(const CefRefPtr<CefV8Value>& v) {
  if (!v) return "(nothing)";
  if (v->IsBool()) return v->GetBoolValue() ? "true" : "false";
  if (v->IsInt()) return std::to_string(v->GetIntValue());
  if (v->IsString()) return "'" + v->GetStringValue().ToString() + "'";
  if (v->IsUndefined()) return "undefined";
  return "[object]";
}

std::string DescribeList(const CefRefPtr<CefListValue>& list) {
  std::string out = "[";
  for (size_t i = 0; i < list->GetSize(); ++i) {
    if (i) out += ", ";
    switch (list->GetType(i)) {
      case VTYPE_STRING:
        out += "\"" + list->GetString(i).ToString() + "\"";
        break;
      case VTYPE_INT:
        out += std::to_string(list->GetInt(i));
        break;
      case VTYPE_LIST:
        out += DescribeList(list->GetList(i));
        break;
      case VTYPE_BINARY:
        out += "<" + std::to_string(list->GetBinary(i)->GetSize()) + " bytes>";
        break;
      default:
        out += "?";
        break;
    }
  }
  return out + "]";
}

std::string Utf8(const std::u16string& text) {
  return tnbase::TnStringPtr(allocStringFromWideChars(text.c_str()))->ToUTF8();
}

// "business/action for callback id", as the trace names a business call.
std::string DescribeCall(const tnmainui::BusinessCall& call) {
  return Utf8(call.business) + "/" + Utf8(call.action) + " for callback " + Utf8(call.callbackId);
}

std::string Compact(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

std::string Status(HRESULT hr) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(hr));
  return text;
}

std::string Window(HWND hwnd) {
  if (!win::IsWindow(hwnd)) return "no window";
  const win::WindowState s = win::GetWindowState(hwnd);
  std::string text = s.visible ? "visible" : "hidden";
  if (s.minimized) text += ", minimised";
  if (win::GetForegroundWindow() == hwnd) text += ", in front";
  return text;
}

CefRefPtr<CefV8Value> ScriptFunction(const char* name,
                                     std::function<void(const CefV8ValueList&)> body) {
  return cef_inproc::CreateScriptFunction(name, std::move(body));
}

// Runs `part` in a process of its own and waits for it; true if it succeeded.
bool InChild(const std::function<void()>& part) {
  std::fflush(stdout);
  const pid_t pid = fork();
  if (pid == 0) {
    part();
    std::fflush(stdout);
    std::_Exit(g_failed ? 1 : 0);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void Fail(const char* what) {
  g_failed = true;
  Say("  FAILED: %s", what);
}

// Waits up to `ms` milliseconds (ten seconds unless told) for `done`.
bool WaitFor(const std::function<bool()>& done, int ms) {
  for (int i = 0; i < ms && !done(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return done();
}

bool EvaluateOnUi(xhav::cdp::Engine& engine, xhav::cdp::PageBrowser* page,
                  const std::string& expression, Json::Value* value) {
  struct Answer {
    bool came = false, ok = false;
    Json::Value value;
  };
  auto answer = std::make_shared<Answer>();
  page->EvaluateLater(expression, [answer](bool ok, const Json::Value& v) {
    answer->came = true;
    answer->ok = ok;
    answer->value = v;
  });
  WaitFor(
      [&] {
        engine.ui().RunUntilIdle();
        return answer->came;
      },
      2000);
  if (value) *value = answer->value;
  return answer->came && answer->ok;
}

// Opens the view `name` at `url` through the host's factory; `core` and `initData` may be null.
HRESULT OpenView(ITnWebUI* factory, const char16_t* name, const char* url, BusinessCore* core,
                 const char* initData, IBrowserView** view, int filterUrl) {
  IBrowserViewSetting* settings = nullptr;
  factory->CreateBrowserViewSetting(&settings);
  settings->SetName(name);
  if (filterUrl >= 0) settings->SetFilterUrl(filterUrl);
  if (core) settings->SetBusinessCore(core);
  if (initData) settings->SetInitData(initData);
  *view = nullptr;
  const HRESULT hr = factory->CreateBrowserView(url, settings, view);
  settings->Release();
  return hr;
}

xhav::cdp::PageBrowser* OpenFramedPage(xhav::cdp::Engine& engine, ITnWebUI* factory,
                                       const char16_t* name, const char* url, BusinessCore* core,
                                       RECT rect, IBrowserView** view) {
  IBrowserViewSetting* settings = nullptr;
  factory->CreateBrowserViewSetting(&settings);
  settings->SetName(name);
  settings->SetViewType(4);
  settings->SetBusinessCore(core);
  settings->SetInitData("{}");
  settings->SetRect(rect);
  *view = nullptr;
  factory->CreateBrowserView(url, settings, view);
  settings->Release();
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  page->MoveWindow(rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
  return page;
}

xhav::cdp::EngineOptions ChromiumOptions() {
  xhav::cdp::EngineOptions options;
  options.pagesDir = TNWEBUI_PAGES_DIR;
  options.clientWebDomain = tnmainui::kDefaultWebDomain;
  char library[PATH_MAX];
  if (!realpath(g_library, library)) std::snprintf(library, sizeof library, "%s", g_library);
  options.renderHost = {TNWEBUI_RENDER_HOST, std::string("--module=") + library, "--log=1",
                        "--prefix=[render] "};
  return options;
}

bool ChromiumReady(xhav::cdp::Engine& engine, const char* what) {
  TraceMessages(engine);
  if (!engine.ok()) {
    Say("== Chromium is not available (%s)", engine.error().c_str());
    Fail(what);
    return false;
  }
  engine.ui().BindCurrentThread();
  TraceCalls(engine);
  TraceScripts(engine, false);
  return true;
}

// The codes of the Responses that a handler wrote (the first field of each, a varint).
std::string ResponseCodes(const std::vector<std::string>& writes) {
  if (writes.empty()) return "nothing written";
  std::string codes;
  for (const std::string& write : writes) {
    long long code = 0;
    if (write.size() > 1 && write[0] == 0x08) {
      int shift = 0;
      for (std::size_t i = 1; i < write.size() && shift < 64; ++i, shift += 7) {
        code |= static_cast<long long>(write[i] & 0x7f) << shift;
        if (!(write[i] & 0x80)) break;
      }
    }
    if (!codes.empty()) codes += ", then ";
    codes += "a Response with code " + std::to_string(static_cast<int32_t>(code)) + " (" +
             std::to_string(write.size()) + " bytes)";
  }
  return codes;
}

void TraceRequests(xhav::cdp::Engine& engine) {
  engine.SetRequestTracer(
      [](int id, const std::string& address, const std::vector<std::string>& writes, double ms) {
        const std::string codes = ResponseCodes(writes);
        Say("  browser %d requests %s: %s", id, xhav::PathOf(address).c_str(), codes.c_str());
        TraceStep("request", id, xhav::PathOf(address), codes, ms);
      });
}

void SaveScreenshot(xhav::cdp::PageBrowser* page, const char* name) {
  if (!name) return;  // a page whose picture the part does not keep
  std::string png;
  const std::string path = std::string(TNWEBUI_BUILD_DIR) + "/" + name;
  if (!page->CaptureScreenshot(&png)) return;
  if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
    std::fwrite(png.data(), 1, png.size(), f);
    std::fclose(f);
    Say("  screenshot: %s", path.c_str());
  }
}

bool SaveWindowPng(xhav::cdp::PageBrowser* page, const std::string& path) {
  std::string png;
  return page->CaptureScreenshot(&png) && SaveWindowWithPage(page, png, path);
}

bool SaveWindowWithPage(xhav::cdp::PageBrowser* page, const std::string& png,
                        const std::string& path) {
  win::SetWindowPicture(page->host_window(), png);
  if (HWND bar = ChildOfClass(page->GetWindowHandle(), "TN_WEB_TITLE")) PaintBar(bar);
  return win::SaveWindowImage(page->GetWindowHandle(), path);
}

void CloseChromiumPart(xhav::cdp::Engine& engine, xhav::cdp::PageBrowser* page, const char* shot,
                       IBrowserView* view, ITnWebUI* factory, BusinessCore* core) {
  SaveScreenshot(page, shot);
  page->Close(0);
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return !page->alive();
  });
  view->Release();
  if (factory) factory->Release();
  if (core) core->Release();
}

void AnswerEveryAction(tnmainui::ScriptedBusinessCore* core, const char* line) {
  core->SetHandler([line](const tnmainui::BusinessCall& call) {
    Say(line, DescribeCall(call).c_str());
    call.callback->OnBusinessResult(call.business.c_str(), call.action.c_str(),
                                    call.callbackId.c_str(), 0, u"{}");
    return S_OK;
  });
}

xhav::cdp::PageBrowser* OpenReadyPage(xhav::cdp::Engine& engine, ITnWebUI* factory,
                                      const char16_t* name, const char* url, BusinessCore* core,
                                      IBrowserView** view, Json::Value* results) {
  OpenView(factory, name, url, core, "{}", view);
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  Json::Value r;
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", &r, 300) && r["ready"].asBool();
  });
  if (results) *results = std::move(r);
  return page;
}

HWND ChildOfClass(HWND parent, const std::string& className) {
  for (HWND child : win::GetChildren(parent)) {
    if (win::GetWindowState(child).className == className) return child;
  }
  return nullptr;
}

bool PressBackButton(HWND window) {
  HWND bar = ChildOfClass(window, "TN_WEB_TITLE");
  if (!bar) return false;
  for (HWND button : win::GetChildren(bar)) {
    const win::WindowState state = win::GetWindowState(button);
    if (state.x != 14 || state.y != 7) continue;  // the back button's place
    win::SendMessageW(button, win::WM_LBUTTONDOWN, 0, win::MAKELPARAM(10, 10));
    win::SendMessageW(button, win::WM_LBUTTONUP, 0, win::MAKELPARAM(10, 10));
    return true;
  }
  return false;
}

// Paints the title bar of `window` and its buttons now.
void PaintBar(HWND bar) {
  win::SendMessageW(bar, win::WM_PAINT, 0, 0);
  for (HWND button : win::GetChildren(bar)) win::UpdateWindow(button);
}

}  // namespace demo
