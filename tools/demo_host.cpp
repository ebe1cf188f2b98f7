// The demo host: plays the client's processes against the in-process engine and prints a
// readable trace. Each part runs in processes of its own, and every process loads the module
// with dlopen and uses only its two exports and the public headers.

#include <dlfcn.h>
#include <json/writer.h>
#include <limits.h>
#include <stdarg.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "cef/inproc_v8.h"
#include "hav/cdp_engine.h"
#include "hav/inproc_engine.h"
#include "tnbase/logger.h"
#include "tnmainui/business_core.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"
#include "tnwebui/tnwebui.h"
#include "win/window.h"

namespace {

const char* g_library = "./libTnWebUI.so";
bool g_failed = false;   // a part of this process saw a page or a step fail
const char* g_who = "";  // the prefix of this process's lines

void Say(const char* format, ...) __attribute__((format(printf, 1, 2)));
void Say(const char* format, ...) {
  char line[4096];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  std::printf("%s%s\n", g_who, line);
  std::fflush(stdout);
}

struct Module {
  CreateTavrinModuleFn createModule = nullptr;
  CreateInterfaceFn createInterface = nullptr;
};

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

// Runs `part` in a process of its own and waits for it.
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
bool WaitFor(const std::function<bool()>& done, int ms = 10000) {
  for (int i = 0; i < ms && !done(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return done();
}

// Opens the view `name` at `url` through the host's factory; `core` and `initData` may be null.
HRESULT OpenView(ITnWebUI* factory, const char16_t* name, const char* url, BusinessCore* core,
                 const char* initData, IBrowserView** view) {
  IBrowserViewSetting* settings = nullptr;
  factory->CreateBrowserViewSetting(&settings);
  settings->SetName(name);
  if (core) settings->SetBusinessCore(core);
  if (initData) settings->SetInitData(initData);
  *view = nullptr;
  const HRESULT hr = factory->CreateBrowserView(url, settings, view);
  settings->Release();
  return hr;
}

// ---------------------------------------------------------------------------------------------
// Part 1: a render process starts and a page makes its first calls.

void PageFirstCalls() {
  ShowLog(2);
  Module m = Load();
  xhav::inproc::Engine engine(xhav::kProcessTypeRender);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  engine.SetTracer(
      [](const char* hop, CefProcessId target, int id, CefRefPtr<CefProcessMessage> message) {
        if (std::string(hop) == "deliver" && target == PID_BROWSER) {
          Say("  -> the browser process receives \"%s\" %s from browser %d",
              message->GetName().ToString().c_str(),
              DescribeList(message->GetArgumentList()).c_str(), id);
        }
      });

  Say("== a render process starts");
  TavrinModule* module = m.createModule(&host);
  Say("CreateTavrinModule -> module %s", module ? "made" : "missing");
  module->OnModuleLoaded(0);
  for (const auto& [address, creator] : engine.registrations()) {
    Say("  desktop command registered: %s", address.c_str());
  }
  module->OnProcessInited(0);
  for (const auto& ext : engine.extensions()) {
    Say("  extension \"%s\": %s", ext.name.c_str(), ext.script.c_str());
  }

  Say("== a page opens");
  auto page = engine.OpenPage(/*enableBusiness=*/true);
  engine.RunUntilIdle();
  page->SetHistory(/*canGoBack=*/true, /*canGoForward=*/false);
  Say("window.tnpc === window.Tavrin: %s",
      page->Get("tnpc")->IsSame(page->Get("Tavrin")) ? "true" : "false");

  Say("== tnpc.cangoback()");
  auto r = page->Call("tnpc.cangoback");
  Say("  returns %s, answered in the render process", Describe(r.value).c_str());
  engine.RunUntilIdle();

  Say("== tnpc.minwnd()");
  page->Call("tnpc.minwnd");
  engine.RunUntilIdle();

  Say("== tnpc.exebusinessaction('Common', 'GetUserInfo', '', '{\"uid\":7}', 'me', onUser)");
  auto onUser = ScriptFunction("onUser", [](const CefV8ValueList& args) {
    Say("  page function onUser(code=%s, data=%s, id=%s)", Describe(args[0]).c_str(),
        Describe(args[1]).c_str(), Describe(args[2]).c_str());
  });
  r = page->Call("tnpc.exebusinessaction",
                 {CefV8Value::CreateString("Common"), CefV8Value::CreateString("GetUserInfo"),
                  CefV8Value::CreateString(""), CefV8Value::CreateString("{\"uid\":7}"),
                  CefV8Value::CreateString("me"), onUser});
  Say("  handled: %s", r.handled ? "true" : "false");
  engine.RunUntilIdle();

  Say("== the browser process answers with \"ExeBusinessActionCallback\"");
  auto answer = CefProcessMessage::Create("ExeBusinessActionCallback");
  auto result = CefListValue::Create();
  result->SetString(0, "me");
  result->SetInt(1, 0);
  result->SetString(2, "{\"name\":\"Ann\"}");
  answer->GetArgumentList()->SetString(0, "common");
  answer->GetArgumentList()->SetString(1, "getuserinfo");
  answer->GetArgumentList()->SetList(2, result);
  engine.SendToRenderer(page->id(), answer);
  engine.RunUntilIdle();
  page.reset();
}

// ---------------------------------------------------------------------------------------------
// Part 2: the host opens windows through the factory, finds one again by name and closes an
// organisation's windows.

void HostOpensWindows() {
  Module m = Load();
  xhav::inproc::Engine engine(xhav::kProcessTypeBrowser);
  engine.ui().BindCurrentThread();
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  m.createModule(&host)->OnModuleLoaded(0);

  Say("== the host opens windows through ITnWebUI");
  ITnWebUI* factory = nullptr;
  HRESULT hr = m.createInterface(&IID_ITnWebUI, reinterpret_cast<void**>(&factory));
  Say("CreateInterface(ITnWebUI) -> %s", Status(hr).c_str());
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");

  auto open = [&](const char16_t* name, int type, const char* initData) {
    IBrowserViewSetting* settings = nullptr;
    HRESULT hr = factory->CreateBrowserViewSetting(&settings);
    Say("ITnWebUI::CreateBrowserViewSetting -> %s", Status(hr).c_str());
    settings->SetName(name);
    settings->SetViewType(type);
    settings->SetBusinessCore(core);
    settings->SetStartHidden(0);
    settings->SetInitData(initData);
    settings->SetRect({100, 100, 900, 700});
    IBrowserView* view = nullptr;
    hr = factory->CreateBrowserView("https://intra.example.com/main", settings, &view);
    settings->Release();
    engine.RunUntilIdle();
    Say("ITnWebUI::CreateBrowserView(name=\"%s\", type %d, initData %s) -> %s, window: %s",
        tnbase::TnStringPtr(allocStringFromWideChars(name))->ToUTF8().c_str(), type, initData,
        Status(hr).c_str(), Window(view ? view->GetHwnd() : nullptr).c_str());
    return view;
  };

  IBrowserView* main = open(u"TnMain", 0, "{\"step\":1}");
  IBrowserView* resident = open(u"TnResident", 1, "{}");
  win::ShowWindow(main->GetHwnd(), win::SW_MINIMIZE);
  Say("  the user minimises TnMain: %s", Window(main->GetHwnd()).c_str());
  IBrowserView* again = open(u"TnMain", 0, "{\"step\":2}");
  Say("  the same view again: %s; its initial data now %s", again == main ? "yes" : "no",
      again->GetInitData());
  again->Release();

  IBrowserView* found = nullptr;
  hr = factory->FindBrowserView(u"tnmain", &found);
  Say("ITnWebUI::FindBrowserView(\"tnmain\") -> %s, %s", Status(hr).c_str(),
      found == main ? "the TnMain view" : "another view");
  if (found) found->Release();

  HWND mainWindow = main->GetHwnd();
  hr = factory->CloseBrowsersOfName(u"org-7");
  engine.RunUntilIdle();
  Say("ITnWebUI::CloseBrowsersOfName(\"org-7\") -> %s; TnMain: %s; TnResident (resident): %s",
      Status(hr).c_str(), Window(mainWindow).c_str(), Window(resident->GetHwnd()).c_str());
  found = nullptr;
  hr = factory->FindBrowserView(u"TnMain", &found);
  Say("ITnWebUI::FindBrowserView(\"TnMain\") -> %s", Status(hr).c_str());
  main->Release();
  resident->Release();
  factory->Release();
  core->Release();
}

// ---------------------------------------------------------------------------------------------
// Part 3: a view's page from the loading page to its real address, with the session's cookies
// and the watermark.

void ViewLifeCycle() {
  Module m = Load();
  xhav::inproc::Engine engine(xhav::kProcessTypeBrowser);
  engine.ui().BindCurrentThread();
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  m.createModule(&host)->OnModuleLoaded(0);
  ITnWebUI* factory = nullptr;
  m.createInterface(&IID_ITnWebUI, reinterpret_cast<void**>(&factory));
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");

  const char* initData =
      R"({"url":"https://intra.example.com/news","cookie":"[{\"Set-Cookie\":\"sid=s-991; Path=/; HttpOnly\"},{\"Set-Cookie\":\"lang=en\"}]",)"
      R"("showWatermark":1,"name":"Ann Lee","mobile":"13800001234","watermark_modes":["1"]})";
  Say("== a view opens \"file://tavrin4/loading.html\" with initial data %s", initData);
  IBrowserView* view = nullptr;
  HRESULT hr = OpenView(factory, u"TnNews", "file://tavrin4/loading.html", core, initData, &view);
  engine.RunUntilIdle();
  Say("ITnWebUI::CreateBrowserView -> %s", Status(hr).c_str());
  xhav::inproc::BrowserImpl* browser = engine.browsers().back();
  for (const std::string& call : browser->calls()) {
    if (call.rfind("LoadUrl", 0) == 0) Say("  the view moves on: %s", call.c_str());
  }
  Say("  the page shows %s", browser->url().c_str());
  for (const auto& [space, jar] : browser->cookies()) {
    Say("  cookie space %s (MD5 of organisation and account keys):", space.c_str());
    for (const auto& [key, value] : jar) Say("    %s = %s", key.c_str(), value.c_str());
  }
  for (const std::string& script : browser->scripts()) {
    if (script.size() > 160) {
      Say("  runs in the page: the watermark script (%zu bytes)", script.size());
    } else {
      Say("  runs in the page: %s", script.c_str());
    }
  }
  browser->FinishClose();
  view->Release();
  factory->Release();
  core->Release();
}

// ---------------------------------------------------------------------------------------------
// Part 4: a page subscribes to a client event, which is raised once in each format.

void PageEvents() {
  Module m = Load();
  // Both sides of the process border in this process: the engine reports a render process, so
  // the module starts its render side, and the host's factory makes the view.
  xhav::inproc::Engine engine(xhav::kProcessTypeRender);
  engine.ui().BindCurrentThread();
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::InProcessEventBus bus([&](std::function<void()> task) { engine.ui().PostTask(task); });
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  TavrinModule* module = m.createModule(&host);
  module->OnModuleLoaded(0);
  module->OnProcessInited(0);
  ITnWebUI* factory = nullptr;
  m.createInterface(&IID_ITnWebUI, reinterpret_cast<void**>(&factory));
  IBrowserView* view = nullptr;
  OpenView(factory, u"TnEvents", "https://events.example.com/", nullptr, nullptr, &view);
  engine.RunUntilIdle();
  auto page = engine.browsers().back()->page();

  Say("== the page calls tnpc.registerEvent(['tn.demo'], onEvent, 'demo')");
  auto onEvent = ScriptFunction("onEvent", [](const CefV8ValueList& args) {
    std::string payload = Describe(args[3]);
    if (args[3]->IsArrayBuffer()) {
      payload = "ArrayBuffer of " + std::to_string(args[3]->GetArrayBufferByteLength()) + " bytes";
    }
    Say("  page function onEvent(type=%s, name=%s, format=%s, payload=%s)",
        Describe(args[0]).c_str(), Describe(args[1]).c_str(), Describe(args[2]).c_str(),
        payload.c_str());
  });
  CefRefPtr<CefV8Value> names = CefV8Value::CreateArray(1);
  names->SetValue(0, CefV8Value::CreateString("tn.demo"));
  page->Call("tnpc.registerEvent", {names, onEvent, CefV8Value::CreateString("demo")});
  engine.RunUntilIdle();

  const std::string json = "{\"unread\":3}";
  const std::string bytes("\x08\x03\x12\x02hi", 6);
  for (const auto& [format, payload] :
       std::vector<std::pair<std::string, std::string>>{{"json", json},
                                                        {"base64", bytes},
                                                        {"pbtext", bytes},
                                                        {"binary", bytes},
                                                        {"pb", bytes}}) {
    Say("== the client raises tn.demo (type 12) in format \"%s\" with %zu bytes", format.c_str(),
        payload.size());
    bus.Raise(12, "tn.demo", format, payload);
    engine.RunUntilIdle();
  }
  engine.browsers().back()->FinishClose();
  engine.RunUntilIdle();
  view->Release();
  factory->Release();
  page.reset();
}

// Prints each process message as it crosses between the host and a render process.
template <typename Engine>
void TraceMessages(Engine& engine) {
  engine.SetTracer([](const char* hop, CefProcessId target, int id,
                      CefRefPtr<CefProcessMessage> message) {
    const bool sending = std::string(hop) == "send";
    Say("  %s \"%s\" %s %s browser %d", sending ? "sends" : "receives",
        message->GetName().ToString().c_str(), DescribeList(message->GetArgumentList()).c_str(),
        sending ? (target == PID_BROWSER ? "to the host process for" : "to the render process for")
                : "for",
        id);
  });
}

// ---------------------------------------------------------------------------------------------
// Part 5: the same view over a real page in Debian's Chromium.

void RealPage() {
  g_who = "[host]   ";
  ShowLog(1);
  Module m = Load();
  xhav::cdp::EngineOptions options;
  options.pagesDir = TNWEBUI_PAGES_DIR;
  // As in the client, the pages' render side lives in a render process of its own, which
  // loads the module too and prints its log lines with its own prefix.
  char library[PATH_MAX];
  if (!realpath(g_library, library)) std::snprintf(library, sizeof library, "%s", g_library);
  options.renderHost = {TNWEBUI_RENDER_HOST, std::string("--module=") + library, "--log=1",
                        "--prefix=[render] "};
  xhav::cdp::Engine engine(options);
  TraceMessages(engine);
  if (!engine.ok()) {
    Say("== Chromium is not available (%s)", engine.error().c_str());
    Fail("the real pages could not run");
    return;
  }
  engine.ui().BindCurrentThread();
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::InProcessEventBus bus([&](std::function<void()> task) { engine.ui().PostTask(task); });
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  TavrinModule* module = m.createModule(&host);
  module->OnModuleLoaded(0);
  module->OnProcessInited(0);
  ITnWebUI* factory = nullptr;
  m.createInterface(&IID_ITnWebUI, reinterpret_cast<void**>(&factory));
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");
  core->SetHandler([](const tnmainui::BusinessCall& call) {
    Say("  the business core takes %s", DescribeCall(call).c_str());
    const std::u16string data = call.action == u"getuserinfo" ? u"{\"name\":\"Ann\"}"
                                : call.action == u"config"    ? u"{\"appIdImplId\":\"demo-app\"}"
                                                              : u"again";
    call.callback->OnBusinessResult(call.business.c_str(), call.action.c_str(),
                                    call.callbackId.c_str(), 0, data.c_str());
    return S_OK;
  });

  // Runs the engine's UI thread until `done`. A page may be waiting in a call for this very
  // thread: evaluations in it give up quickly and the loop runs the thread's work.
  auto pumpUntil = [&](const std::function<bool()>& done) {
    return WaitFor([&] {
      engine.ui().RunUntilIdle();
      return done();
    });
  };
  auto results = [&](xhav::cdp::PageBrowser* page) {
    Json::Value r;
    page->Evaluate("window.results", &r, 300);
    return r;
  };
  // Opens `url` behind the loading page with the watermark and a session cookie, waits until
  // the page's own script reports success (`ready` first, if given) and saves its screenshot.
  auto runPage = [&](const char16_t* name, const char* url, const char* shot,
                     const std::function<void(xhav::cdp::PageBrowser*)>& ready) {
    const std::string initData =
        std::string(R"({"url":")") + url +
        R"(","showWatermark":1,"name":"Ann Lee","mobile":"13800001234","watermark_modes":["1"],)"
        R"("cookie":"[{\"Set-Cookie\":\"sid=s-991; Path=/\"}]"})";
    Say("== in Chromium: a view opens \"file://tavrin4/loading.html\", then %s", url);
    IBrowserView* view = nullptr;
    const HRESULT hr =
        OpenView(factory, name, "file://tavrin4/loading.html", core, initData.c_str(), &view);
    Say("ITnWebUI::CreateBrowserView -> %s", Status(hr).c_str());
    xhav::cdp::PageBrowser* page = engine.browsers().back();
    Json::Value marked;
    pumpUntil([&] {
      return page->url() == url &&
             page->Evaluate("!!document.querySelector('div.tavrin-watermark')", &marked, 300) &&
             marked.asBool();
    });
    if (ready) ready(page);
    pumpUntil([&] { return results(page)["success"].asBool(); });
    Json::Value cookie, info;
    page->Evaluate("document.cookie", &cookie, 1000);
    page->Evaluate("JSON.stringify(window.watermarkInfo)", &info, 1000);
    Say("  the page moved on to %s (back to the loading page: %s)", page->url().c_str(),
        page->CanGoBack() ? "yes" : "no");
    Say("  document.cookie in its cookie space: %s", cookie.asString().c_str());
    Say("  window.watermarkInfo = %s; the watermark layer is on the page: %s",
        info.asString().c_str(), marked.asBool() ? "yes" : "no");
    const Json::Value r = results(page);
    Say("  the page's own script reports: %s", Compact(r).c_str());
    if (!r["success"].asBool()) Fail("the page's own script did not report success");
    std::string png;
    const std::string path = std::string(TNWEBUI_BUILD_DIR) + "/" + shot;
    if (page->CaptureScreenshot(&png)) {
      if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(png.data(), 1, png.size(), f);
        std::fclose(f);
        Say("  screenshot: %s", path.c_str());
      }
    }
    page->Close(0);
    pumpUntil([&] { return !page->alive(); });
    view->Release();
  };

  runPage(u"TnMain", "file://tavrin5main/index.html", "demo-tnmain.png", nullptr);
  // A light app: it subscribes to an event before its answer's function calls again, and one
  // page's messages keep their order, so once the core has that call the view holds the
  // subscription and the events can go.
  runPage(u"LightApp", "file://tavrin5main/lightapp.html", "demo-lightapp.png",
          [&](xhav::cdp::PageBrowser*) {
            pumpUntil([&] {
              const auto calls = core->calls();
              return std::any_of(calls.begin(), calls.end(), [](const tnmainui::BusinessCall& c) {
                return c.action == u"again";
              });
            });
            for (const char* format : {"json", "base64", "pbtext", "binary", "pb"}) {
              bus.Raise(12, "tn.demo", format, std::string("{\"unread\":3}"));
            }
          });

  // A page of another site asks for a business action: the view refuses it.
  Say("== in Chromium: a page of another site, https://tavrin5.frames.invalid/foreign.html");
  IBrowserView* view = nullptr;
  OpenView(factory, u"Foreign", "https://tavrin5.frames.invalid/foreign.html", core, nullptr,
           &view);
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  pumpUntil([&] { return results(page)["success"].asBool(); });
  Say("  the page's own script reports: %s", Compact(results(page)).c_str());
  if (!results(page)["success"].asBool()) Fail("the foreign page was not refused");
  page->Close(0);
  pumpUntil([&] { return !page->alive(); });
  view->Release();
  factory->Release();
  core->Release();
}

// ---------------------------------------------------------------------------------------------
// Part 6: one typical request, from a page in a render process through the view in the host
// process to the business core and back; the two processes talk over a socket.

void HostProcess(int fd) {
  g_who = "[host]   ";
  ShowLog(1);
  Module m = Load();
  xhav::inproc::Engine engine(xhav::kProcessTypeBrowser, xhav::inproc::Engine::Sides::kBrowserOnly);
  engine.ui().StartThread();
  engine.SetTransport(xhav::inproc::CreateSocketTransport(fd, PID_BROWSER, &engine.ui(), nullptr));
  TraceMessages(engine);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");
  core->AnswerOnOwnThread(
      0, u"{\"name\":\"Ann\",\"uid\":7}", [](const tnmainui::BusinessCall& call) {
        Say("  the business core answers %s on a thread of its own", DescribeCall(call).c_str());
      });

  TavrinModule* module = m.createModule(&host);
  module->OnModuleLoaded(0);
  module->OnProcessInited(0);  // the host process: nothing to start
  ITnWebUI* factory = nullptr;
  m.createInterface(&IID_ITnWebUI, reinterpret_cast<void**>(&factory));

  auto openAndWait = [&](const char16_t* name, const char* url) {
    Say("== the host opens %s", url);
    IBrowserView* view = nullptr;
    int id = 0;
    auto onUi = [&](std::function<void()> task) {
      engine.ui().PostTask(std::move(task));
      engine.ui().Flush();
    };
    onUi([&] {
      OpenView(factory, name, url, core, nullptr, &view);
      id = engine.browsers().back()->GetId();
    });
    // The page closes its window when it is done.
    WaitFor([&] { return !engine.FindBrowser(id)->alive(); });
    onUi([&] { view->Release(); });
  };
  openAndWait(u"TnMain", "file://tavrin5main/index.html");
  openAndWait(u"Foreign", "https://foreign.example.org/app");

  engine.ui().PostTask([&] { factory->Release(); });
  engine.ui().Flush();
  core->FlushAnswers();
  core->Release();
}

void RenderProcess(int fd) {
  g_who = "[render] ";
  ShowLog(1);
  Module m = Load();
  xhav::inproc::Engine engine(xhav::kProcessTypeRender, xhav::inproc::Engine::Sides::kRenderOnly);
  std::mutex mutex;
  std::condition_variable cv;
  bool hostGone = false;
  engine.renderer().StartThread();
  engine.SetTransport(
      xhav::inproc::CreateSocketTransport(fd, PID_RENDERER, &engine.renderer(), [&] {
        std::lock_guard<std::mutex> lock(mutex);
        hostGone = true;
        cv.notify_all();
      }));
  TraceMessages(engine);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  TavrinModule* module = m.createModule(&host);
  module->OnModuleLoaded(0);
  module->OnProcessInited(0);

  // The pages' own script.
  engine.SetPageObserver([](std::shared_ptr<xhav::inproc::Page> page) {
    const bool client = page->url().rfind("file://tavrin5main/", 0) == 0;
    std::weak_ptr<xhav::inproc::Page> weak = page;
    auto onUser = ScriptFunction("onUser", [weak](const CefV8ValueList& args) {
      Say("  page function onUser(code=%s, data=%s, id=%s) runs; the page closes its window",
          Describe(args[0]).c_str(), Describe(args[1]).c_str(), Describe(args[2]).c_str());
      if (auto p = weak.lock()) p->Call("tnpc.closewnd");
    });
    Say("== the page %s calls tnpc.exebusinessaction('Contact', 'GetUserInfo', '', "
        "'{\"uid\":7}', 1, onUser)",
        page->url().c_str());
    page->Call("tnpc.exebusinessaction",
               {CefV8Value::CreateString("Contact"), CefV8Value::CreateString("GetUserInfo"),
                CefV8Value::CreateString(""), CefV8Value::CreateString("{\"uid\":7}"),
                CefV8Value::CreateInt(1), onUser});
    if (!client) {
      Say("  no answer is coming for a foreign page; it closes its window");
      page->Call("tnpc.closewnd");
    }
  });

  std::unique_lock<std::mutex> lock(mutex);
  cv.wait_for(lock, std::chrono::seconds(30), [&] { return hostGone; });
}

void TypicalRequest() {
  int fds[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) return;
  std::fflush(stdout);
  const pid_t render = fork();
  if (render == 0) {
    close(fds[0]);
    RenderProcess(fds[1]);
    std::fflush(stdout);
    std::_Exit(0);
  }
  close(fds[1]);
  InChild([&] { HostProcess(fds[0]); });
  close(fds[0]);
  int status = 0;
  waitpid(render, &status, 0);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) g_library = argv[1];
  setvbuf(stdout, nullptr, _IOLBF, 0);
  std::printf("== TnWebUI demo, module %s\n\n", g_library);
  bool ok = InChild(PageFirstCalls);
  std::printf("\n");
  ok = InChild(HostOpensWindows) && ok;
  std::printf("\n");
  ok = InChild(ViewLifeCycle) && ok;
  std::printf("\n");
  ok = InChild(PageEvents) && ok;
  std::printf("\n");
  ok = InChild(RealPage) && ok;
  std::printf("\n== one typical request, over two processes\n");
  TypicalRequest();
  std::printf("\n== %s\n", ok ? "every part succeeded" : "a part FAILED");
  return ok ? 0 : 1;
}
