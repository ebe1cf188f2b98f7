// Light windows: made by the factory with their shadow, title bar and desktop addresses; laid
// out on a change of size; closed by the page's answer to "tn.onclose"; and ended with the
// factory's list.

#include <gmock/gmock.h>

#include "jsapi.pb.h"
#include "light/desktop_origin.h"
#include "light/window_tavrin_browser_ui.h"
#include "presentation.pb.h"
#include "tnmainui/business_service.h"
#include "view_fixture.h"
#include "win/user.h"

namespace {

using tnwebui::WindowTavrinBrowserUI;

// The texts of a render command.
class Texts final : public xhav::ArgList {
 public:
  explicit Texts(std::vector<std::string> texts) : texts_(std::move(texts)) {}
  std::size_t GetCount() const override { return texts_.size(); }
  int GetInt(std::size_t) const override { return 0; }
  TnString* GetString(std::size_t i) const override {
    return allocStringFromUTF8(i < texts_.size() ? texts_[i].c_str() : "");
  }
  const ArgList* GetList(std::size_t) const override { return nullptr; }
  xhav::Binary* GetBinary(std::size_t) const override { return nullptr; }

 private:
  std::vector<std::string> texts_;
};

class LightWindows : public ViewFixture {
 protected:
  LightWindows() {
    module->SetAppFolder(TNWEBUI_BUILD_DIR);  // where the ornaments library is built
    host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
    service.SetBusinessCore(kOrg, core);
  }
  ~LightWindows() override { host.SetService(SID_BusinessCoreService, nullptr); }

  struct Options {
    bool titleBar = true;
    int viewType = 4;
    bool startHidden = false;
    int width = 800, height = 600;
  };
  // Opens a light window through the factory and lets its creation run.
  WindowTavrinBrowserUI* Open(const std::string& name, const Options& o) {
    xhav::BrowserParam* param = tnwebui::NewBrowserParam();
    param->SetShowTitleBar(o.titleBar);
    param->SetViewType(o.viewType);
    param->SetStartHidden(o.startHidden);
    param->SetTitle(tnbase::TnStringPtr::FromUTF8("Expenses").get());
    param->SetWidth(o.width);
    param->SetHeight(o.height);
    interdata::WindowProperty property;
    property.set_title("Expenses");
    const HRESULT id =
        factory->CreateLightBrowser(kOrg, name.c_str(), "https://app.test/", param, &property);
    param->Destroy();
    engine.RunUntilIdle();
    auto* window = dynamic_cast<WindowTavrinBrowserUI*>(factory->FindLightBrowserById(id));
    EXPECT_NE(window, nullptr);
    return window;
  }
  WindowTavrinBrowserUI* Open(const std::string& name) { return Open(name, Options()); }
  xhav::inproc::BrowserImpl* BrowserOf(WindowTavrinBrowserUI* window) {
    return engine.FindBrowser(window->GetId());
  }
  static tnmainui::RecordingShadow* ShadowOf(WindowTavrinBrowserUI* window) {
    return static_cast<tnmainui::RecordingShadow*>(window->shadow());
  }
  xhav::inproc::RequestResult Send(WindowTavrinBrowserUI* window, const char* path) {
    const std::vector<std::string> body{interdata::ParamList().SerializeAsString()};
    const auto result = engine.SendRequest(window->GetId(), tnwebui::DesktopAddress(path), &body);
    engine.RunUntilIdle();
    return result;
  }
  static HWND ChildOfClass(HWND parent, const std::string& className) {
    for (HWND child : win::GetChildren(parent)) {
      if (win::GetWindowState(child).className == className) return child;
    }
    return nullptr;
  }

  static constexpr int32_t kOrg = 42;
  tnmainui::ScriptedBusinessService service;
};

TEST_F(LightWindows, TheFactoryMakesOneWindowPerNameWithShadowBarAndAddresses) {
  WindowTavrinBrowserUI* window = Open("expenses");
  EXPECT_FALSE(window->IsPbView());
  EXPECT_EQ(window->GetOid(), kOrg);
  EXPECT_EQ(window->GetName(), "expenses");
  EXPECT_EQ(window->GetOpenUrl(), "https://app.test/");
  EXPECT_EQ(window->title(), "Expenses");
  xhav::inproc::BrowserImpl* browser = BrowserOf(window);
  ASSERT_NE(browser, nullptr);
  EXPECT_EQ(window->GetId(), browser->GetId());
  HWND hwnd = browser->GetWindowHandle();
  EXPECT_TRUE(win::GetWindowState(hwnd).visible);

  // A second call for the name gives the open window's identifier and makes nothing.
  const std::size_t windows = engine.browsers().size();
  xhav::BrowserParam* param = tnwebui::NewBrowserParam();
  EXPECT_EQ(factory->CreateLightBrowser(kOrg, "expenses", "https://other.test/", param, nullptr),
            window->GetId());
  param->Destroy();
  EXPECT_EQ(engine.browsers().size(), windows);

  ASSERT_NE(ShadowOf(window), nullptr);
  // The window is laid out once its browser is made: the shadow follows.
  EXPECT_THAT(ShadowOf(window)->calls(), testing::ElementsAre("SetShadowMode(0)", "AttachWindow",
                                                              "ShowShadow(1)", "UpdateShadow"));
  EXPECT_EQ(ShadowOf(window)->window(), hwnd);

  // The bar of a light window: close, maximise and minimise, with the settings' title.
  ASSERT_NE(window->title_window(), nullptr);
  EXPECT_EQ(ChildOfClass(hwnd, "TN_WEB_TITLE"), window->title_window()->GetWindowHandle());
  EXPECT_EQ(window->title_window()->button(tnwebui::CWebTitleChildWindowWin::kBack), nullptr);
  EXPECT_NE(window->title_window()->button(tnwebui::CWebTitleChildWindowWin::kClose), nullptr);
  EXPECT_EQ(window->title_window()->browser(), browser);

  const auto addresses = browser->handler_addresses();
  EXPECT_EQ(addresses.size(), std::size(tnwebui::kLightBrowserPaths));
  EXPECT_EQ(addresses.front(), tnwebui::DesktopAddress("/window/init"));
  EXPECT_TRUE(Send(window, "/window/init").served);
}

TEST_F(LightWindows, AStartHiddenWindowStaysHiddenAndOneWithoutBarHasNone) {
  Options hidden;
  hidden.startHidden = true;
  hidden.titleBar = false;
  WindowTavrinBrowserUI* window = Open("hidden", hidden);
  HWND hwnd = BrowserOf(window)->GetWindowHandle();
  EXPECT_FALSE(win::GetWindowState(hwnd).visible);
  EXPECT_EQ(window->title_window(), nullptr);
  EXPECT_EQ(ChildOfClass(hwnd, "TN_WEB_TITLE"), nullptr);
}

TEST_F(LightWindows, ASizeChangeLaysOutTheBarAndPutsTheBrowserBelowIt) {
  WindowTavrinBrowserUI* window = Open("layout");
  xhav::inproc::BrowserImpl* browser = BrowserOf(window);
  browser->MoveWindow(10, 10, 900, 700);
  const auto bar = win::GetWindowState(window->title_window()->GetWindowHandle());
  EXPECT_EQ(bar.width, 900);
  EXPECT_EQ(bar.height, 36);
  const auto page = win::GetWindowState(browser->host_window());
  EXPECT_EQ(page.y, 36);
  EXPECT_EQ(page.width, 900);
  EXPECT_EQ(page.height, 664);
  EXPECT_THAT(ShadowOf(window)->calls(), testing::Contains("UpdateShadow"));

  // Without a bar, a framed window's browser still starts at 36; other types aren't laid out.
  Options bare;
  bare.titleBar = false;
  WindowTavrinBrowserUI* plain = Open("bare", bare);
  BrowserOf(plain)->MoveWindow(0, 0, 500, 400);
  EXPECT_EQ(win::GetWindowState(BrowserOf(plain)->host_window()).y, 36);
  EXPECT_EQ(win::GetWindowState(BrowserOf(plain)->host_window()).height, 364);
  Options other;
  other.viewType = 0;
  WindowTavrinBrowserUI* untyped = Open("untyped", other);
  BrowserOf(untyped)->MoveWindow(0, 0, 500, 400);
  EXPECT_EQ(win::GetWindowState(BrowserOf(untyped)->host_window()).y, 0);
}

TEST_F(LightWindows, AClosingWindowAsksThePageWhichClosesItWithItsCommand) {
  WindowTavrinBrowserUI* window = Open("closing");
  xhav::inproc::BrowserImpl* browser = BrowserOf(window);
  const int id = window->GetId();
  PageFunction onClose;
  CefRefPtr<CefV8Value> names = CefV8Value::CreateArray(1);
  names->SetValue(0, Str("tn.onclose"));
  ASSERT_TRUE(browser->page()->Call("tnpc.registerEvent", {names, onClose.value}).handled);
  engine.RunUntilIdle();
  tnmainui::RecordingShadow* shadow = ShadowOf(window);
  shadow->AddRef();  // kept past the window's end, to read

  // The user's close: the page hears of it and, not answering, keeps its window.
  win::PostMessageW(browser->GetWindowHandle(), win::WM_CLOSE, 0, 0);
  engine.RunUntilIdle();
  EXPECT_TRUE(browser->alive());
  EXPECT_EQ(onClose.calls->size(), 1u);

  // Its answer closes it: the factory forgets it and the shadow lets go of it.
  EXPECT_TRUE(Send(window, "/window/close").served);
  engine.RunUntilIdle();
  EXPECT_FALSE(browser->alive());
  EXPECT_EQ(factory->FindLightBrowserById(id), nullptr);
  EXPECT_THAT(shadow->calls(), testing::Contains("DetachWindow"));
  shadow->Release();
  // The removal list names the animation addresses differently: those two stay.
  EXPECT_THAT(browser->handler_addresses(),
              testing::UnorderedElementsAre(tnwebui::DesktopAddress("/window/animationstart"),
                                            tnwebui::DesktopAddress("/window/animationstop")));
}

TEST_F(LightWindows, WithoutTheEventBusAWindowClosesByItself) {
  WindowTavrinBrowserUI* window = Open("no-bus");
  xhav::inproc::BrowserImpl* browser = BrowserOf(window);
  host.SetService(SID_EventBus, nullptr);
  win::PostMessageW(browser->GetWindowHandle(), win::WM_CLOSE, 0, 0);
  engine.RunUntilIdle();
  EXPECT_FALSE(browser->alive());
}

TEST_F(LightWindows, WindowChangesReachThePageAsTheirNumber) {
  WindowTavrinBrowserUI* window = Open("changes");
  PageFunction onChange;
  CefRefPtr<CefV8Value> names = CefV8Value::CreateArray(1);
  names->SetValue(0, Str("tn.onwindowChange"));
  BrowserOf(window)->page()->Call("tnpc.registerEvent", {names, onChange.value});
  engine.RunUntilIdle();
  window->OnWindowChange(5);
  engine.RunUntilIdle();
  ASSERT_EQ(onChange.calls->size(), 1u);
  EXPECT_NE(onChange.calls->at(0).back()->GetStringValue().ToString().find('5'), std::string::npos);
}

TEST_F(LightWindows, WithoutTheOrnamentsLibraryTheWindowWorksWithoutShadow) {
  module->SetAppFolder("/nonexistent");
  WindowTavrinBrowserUI* window = Open("no-shadow");
  EXPECT_EQ(window->shadow(), nullptr);
  EXPECT_EQ(log.Count("load TnMainUI.dll failure.", 4, "WindowTavrinBrowserUI::createShadow"), 1);
  EXPECT_NE(window->title_window(), nullptr);
  EXPECT_TRUE(Send(window, "/window/init").served);
}

TEST_F(LightWindows, BusinessRenderCommandsGoToTheOrganisationsCore) {
  WindowTavrinBrowserUI* window = Open("business");
  Texts args({"Notice", "OpenUrl", "0", "{\"url\":\"https://x.test/\"}", "7"});
  tnbase::TnStringPtr name = tnbase::TnStringPtr::FromUTF8("exebusinessaction");
  const std::size_t before = core->calls().size();
  window->OnRenderCommand(nullptr, nullptr, name.get(), &args);
  ASSERT_EQ(core->calls().size(), before + 1);
  const tnmainui::BusinessCall call = core->calls().back();
  EXPECT_EQ(call.business, u"Notice");
  EXPECT_EQ(call.json, u"{\"url\":\"https://x.test/\"}");
  EXPECT_EQ(call.callbackId, u"7");
  EXPECT_EQ(call.callback, nullptr);

  // Another name, or no core for the organisation: nothing.
  tnbase::TnStringPtr other = tnbase::TnStringPtr::FromUTF8("somethingelse");
  window->OnRenderCommand(nullptr, nullptr, other.get(), &args);
  service.SetBusinessCore(kOrg, nullptr);
  window->OnRenderCommand(nullptr, nullptr, name.get(), &args);
  EXPECT_EQ(core->calls().size(), before + 1);
}

}  // namespace
