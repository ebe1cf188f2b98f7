// What the host and the network hand a view, arbitrary: its initial data (with the watermark,
// the cookies and the shared message read from it), "Set-Cookie" headers, the cookie routes of
// the business actions, and the addresses the view and the SDK take apart. The first byte picks
// the route, the rest is its text (the address and the text split at the first line feed).

#include <google/protobuf/stubs/logging.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "adapt/tn_browser_pb_ui.h"
#include "adapt/watermark.h"
#include "base/CommonFunc.h"
#include "hav/inproc_engine.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"
#include "tn_browser_factory.h"
#include "tn_webui_module.h"
#include "tnbase/logger.h"
#include "tnmainui/business_core.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"

namespace {

struct World {
  World() {
    engine.ui().BindCurrentThread();
    host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
    tnwebui::TnWebUIModule::Install(&module);
    core = new tnmainui::ScriptedBusinessCore(u"org-1", "account-1");
    OpenView();
  }

  // The engine and the sample core record what each window and call asked; a fresh window and
  // core now and then keep those records short.
  void Renew() {
    xhav::Browser* browser = view->browser();
    engine.FindBrowser(browser->GetId())->FinishClose();
    view->Release();
    engine.ForgetClosedBrowsers();
    core->Release();
    core = new tnmainui::ScriptedBusinessCore(u"org-1", "account-1");
    OpenView();
  }

  void OpenView() {
    IBrowserViewSetting* settings = nullptr;
    module.GetOrCreateFactory()->CreateBrowserViewSetting(&settings);
    settings->SetName(u"fuzz");
    settings->SetBusinessCore(core);
    IBrowserView* created = nullptr;
    module.GetOrCreateFactory()->CreateBrowserView("https://a.test/page", settings, &created);
    settings->Release();
    engine.RunUntilIdle();
    view = static_cast<tnwebui::TnBrowserPbUI*>(created);
  }

  xhav::inproc::Engine engine{xhav::kProcessTypeBrowser};
  tnmainui::InProcessHost host{engine.core(), engine.render_host()};
  tnmainui::InProcessEventBus bus{
      [this](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }};
  tnwebui::TnWebUIModule module{&host};
  tnmainui::ScriptedBusinessCore* core = nullptr;
  tnwebui::TnBrowserPbUI* view = nullptr;
};

TnString* Text(const std::string& text) { return allocStringFromUTF8(text.c_str()); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool quiet = (tnbase::SetLogSink([](const tnbase::LogRecord&) {}),
                       google::protobuf::SetLogHandler(nullptr), true);
  (void)quiet;
  static World* world = new World;  // one view at a time, as the client keeps its own
  static int inputs = 0;
  if (++inputs % 20000 == 0) world->Renew();
  if (size < 1) return 0;
  const std::string rest(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::size_t cut = rest.find('\n');
  const std::string address = rest.substr(0, cut);
  const std::string text = cut == std::string::npos ? rest : rest.substr(cut + 1);
  tnwebui::TnBrowserPbUI* view = world->view;
  switch (data[0] % 6) {
    case 0: {  // initial data and what the view reads from it
      view->SetInitData(rest.c_str(), data[0] & 0x80 ? 1 : 0);
      std::u16string watermark;
      tnwebui::BuildWatermarkInfo(rest, &watermark);
      view->ConfigureTitleButtons();
      view->CreateFavorite();
      view->ShareMessage();
      break;
    }
    case 1:
      view->ApplySetCookieHeaders(address, text, "fuzz");
      break;
    case 2:
    case 3: {  // the view's own actions: the cookie routes and the others that read JSON
      static const char* const kActions[] = {"SetCookie",    "DeleteCookie", "ModifyWindowTitle",
                                             "SetAlwaysTop", "GetInitData",  "OpenSaveAsWnd",
                                             "ShowWindow"};
      tnbase::TnStringPtr business(Text("common"));
      tnbase::TnStringPtr action(Text(kActions[(data[0] / 6) % 7]));
      CefRefPtr<CefListValue> arguments = CefListValue::Create();
      arguments->SetString(0, address);
      arguments->SetString(1, text);
      arguments->SetString(2, "7");
      view->ExecuteBusinessAction(business.get(), action.get(), arguments);
      break;
    }
    case 4: {
      std::string scheme, host;
      tnwebui::TnBrowserAdaptUI::SplitUrl(rest, &scheme, &host);
      std::map<std::string, std::string> params;
      tnwebui::CCommonFunc::ParserUrlParams(rest.c_str(), params);
      break;
    }
    default:
      (void)tnwebui::CacheName(rest);
      break;
  }
  world->engine.RunUntilIdle();
  return 0;
}
