// Demo part: the host opens windows through the factory, finds one again by name and closes an
// organisation's windows.

#include "demo.h"
#include "hav/inproc_engine.h"
#include "tnmainui/inproc_host.h"
#include "win/window.h"

namespace demo {

void HostOpensWindows() {
  Module m = Load();
  xhav::inproc::Engine engine(xhav::kProcessTypeBrowser);
  TraceMessagesQuietly(engine);
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

}  // namespace demo
