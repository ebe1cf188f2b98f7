// The demo host: plays the client's start sequence against the in-process engine and prints a
// readable trace of a page's first calls. It loads the module with dlopen and uses only its two
// exports and the public headers.

#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "cef/inproc_v8.h"
#include "hav/inproc_engine.h"
#include "tnbase/logger.h"
#include "tnmainui/business_core.h"
#include "tnmainui/inproc_host.h"
#include "tnwebui/tnwebui.h"
#include "win/window.h"

namespace {

std::string Describe(const CefRefPtr<CefV8Value>& v) {
  if (!v) return "(nothing)";
  if (v->IsBool()) return v->GetBoolValue() ? "true" : "false";
  if (v->IsInt()) return std::to_string(v->GetIntValue());
  if (v->IsString()) return "\"" + v->GetStringValue().ToString() + "\"";
  if (v->IsArrayBuffer())
    return "ArrayBuffer(" + std::to_string(v->GetArrayBufferByteLength()) + ")";
  if (v->IsUndefined()) return "undefined";
  if (v->IsNull()) return "null";
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
      default:
        out += "?";
        break;
    }
  }
  return out + "]";
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

// The host opens windows through the factory, finds one again by name and closes an
// organisation's windows.
void HostOpensWindows(xhav::inproc::Engine& engine, CreateInterfaceFn createInterface) {
  std::printf("== the host opens windows through ITnWebUI\n");
  ITnWebUI* factory = nullptr;
  HRESULT hr = createInterface(&IID_ITnWebUI, reinterpret_cast<void**>(&factory));
  std::printf("CreateInterface(ITnWebUI) -> %s\n", Status(hr).c_str());
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");

  auto open = [&](const char16_t* name, int type, const char* initData) {
    IBrowserViewSetting* settings = nullptr;
    HRESULT hr = factory->CreateBrowserViewSetting(&settings);
    std::printf("ITnWebUI::CreateBrowserViewSetting -> %s\n", Status(hr).c_str());
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
    std::printf(
        "ITnWebUI::CreateBrowserView(name=\"%s\", type %d, initData %s) -> %s, view %p, "
        "window: %s\n",
        tnbase::TnStringPtr(allocStringFromWideChars(name))->ToUTF8().c_str(), type, initData,
        Status(hr).c_str(), static_cast<void*>(view),
        Window(view ? view->GetHwnd() : nullptr).c_str());
    return view;
  };

  IBrowserView* main = open(u"TnMain", 0, "{\"step\":1}");
  IBrowserView* resident = open(u"TnResident", 1, "{}");
  win::ShowWindow(main->GetHwnd(), win::SW_MINIMIZE);
  std::printf("  the user minimises TnMain: %s\n", Window(main->GetHwnd()).c_str());
  IBrowserView* again = open(u"TnMain", 0, "{\"step\":2}");
  std::printf("  the same view again: %s; its initial data now %s", again == main ? "yes" : "no",
              again->GetInitData());
  again->Release();

  IBrowserView* found = nullptr;
  hr = factory->FindBrowserView(u"tnmain", &found);
  std::printf("ITnWebUI::FindBrowserView(\"tnmain\") -> %s, view %p\n", Status(hr).c_str(),
              static_cast<void*>(found));
  if (found) found->Release();

  HWND mainWindow = main->GetHwnd();
  hr = factory->CloseBrowsersOfName(u"org-7");
  engine.RunUntilIdle();
  std::printf(
      "ITnWebUI::CloseBrowsersOfName(\"org-7\") -> %s; TnMain: %s; TnResident (resident): "
      "%s\n",
      Status(hr).c_str(), Window(mainWindow).c_str(), Window(resident->GetHwnd()).c_str());
  found = nullptr;
  hr = factory->FindBrowserView(u"TnMain", &found);
  std::printf("ITnWebUI::FindBrowserView(\"TnMain\") -> %s\n", Status(hr).c_str());

  main->Release();
  resident->Release();
  factory->Release();
  core->Release();
}

void PrintBrowserMessages(xhav::inproc::Engine& engine) {
  engine.RunUntilIdle();
  for (const auto& m : engine.TakeBrowserMessages()) {
    std::printf("  -> browser process receives \"%s\" %s from browser %d\n",
                m.message->GetName().ToString().c_str(),
                DescribeList(m.message->GetArgumentList()).c_str(), m.browserId);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "./libTnWebUI.so";
  tnbase::SetLogSink([](const tnbase::LogRecord& r) {
    if (r.level >= 2)
      std::printf("  [log %d] %s: %s\n", r.level, r.function.c_str(), r.message.c_str());
  });

  std::printf("== load %s\n", path);
  void* lib = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!lib) {
    std::fprintf(stderr, "dlopen failed: %s\n", dlerror());
    return 1;
  }
  auto createModule = reinterpret_cast<CreateTavrinModuleFn>(dlsym(lib, "CreateTavrinModule"));
  auto createInterface = reinterpret_cast<CreateInterfaceFn>(dlsym(lib, "CreateInterface"));
  if (!createModule || !createInterface) {
    std::fprintf(stderr, "the module lacks its exports\n");
    return 1;
  }

  // A render process of the browser engine, as hav reports it.
  xhav::inproc::Engine engine(xhav::kProcessTypeRender);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());

  std::printf("== start sequence\n");
  TavrinModule* module = createModule(&host);
  std::printf("CreateTavrinModule -> module %s\n", module ? "made" : "missing");
  module->OnModuleLoaded(0);
  for (const auto& [address, creator] : engine.registrations()) {
    std::printf("  desktop command registered: %s\n", address.c_str());
  }
  module->OnProcessInited(0);
  for (const auto& ext : engine.extensions()) {
    std::printf("  extension \"%s\": %s\n", ext.name.c_str(), ext.script.c_str());
  }
  void* factory = nullptr;
  const HRESULT hr = createInterface(&IID_ITnWebUI, &factory);
  std::printf("CreateInterface(ITnWebUI) -> 0x%08x\n", static_cast<unsigned>(hr));
  if (factory) static_cast<ITnWebUI*>(factory)->Release();

  std::printf("== a page opens\n");
  auto page = engine.OpenPage(/*enableBusiness=*/true);
  engine.RunUntilIdle();
  page->SetHistory(/*canGoBack=*/true, /*canGoForward=*/false);
  std::printf("window.tnpc === window.Tavrin: %s\n",
              page->Get("tnpc")->IsSame(page->Get("Tavrin")) ? "true" : "false");

  std::printf("== tnpc.cangoback()\n");
  auto r = page->Call("tnpc.cangoback");
  std::printf("  returns %s, answered in the render process\n", Describe(r.value).c_str());
  PrintBrowserMessages(engine);

  std::printf("== tnpc.minwnd()\n");
  page->Call("tnpc.minwnd");
  PrintBrowserMessages(engine);

  std::printf(
      "== tnpc.exebusinessaction('Common', 'GetUserInfo', '', '{\"uid\":7}', 'me', onUser)\n");
  auto onUser = cef_inproc::CreateScriptFunction(
      "onUser", std::function<void(const CefV8ValueList&)>([](const CefV8ValueList& args) {
        std::printf("  page function onUser(code=%s, data=%s, id=%s)\n", Describe(args[0]).c_str(),
                    Describe(args[1]).c_str(), Describe(args[2]).c_str());
      }));
  r = page->Call("tnpc.exebusinessaction",
                 {CefV8Value::CreateString("Common"), CefV8Value::CreateString("GetUserInfo"),
                  CefV8Value::CreateString(""), CefV8Value::CreateString("{\"uid\":7}"),
                  CefV8Value::CreateString("me"), onUser});
  std::printf("  handled: %s\n", r.handled ? "true" : "false");
  PrintBrowserMessages(engine);

  std::printf("== the browser process answers with \"ExeBusinessActionCallback\"\n");
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

  HostOpensWindows(engine, createInterface);
  page.reset();
  return 0;
}
