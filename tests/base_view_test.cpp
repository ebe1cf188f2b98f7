// The base view: window commands from pages, initial data, the shadow and the view's end.

#include <gmock/gmock.h>

#include <thread>

#include "view_fixture.h"
#include "win/window.h"

using ::testing::ElementsAre;

using BaseView = ViewFixture;

namespace {

tnbase::TnStringPtr Text(const char* s) { return tnbase::TnStringPtr::FromUTF8(s); }

}  // namespace

TEST_F(BaseView, APagesWindowCommandsReachItsWindow) {
  IBrowserView* view = Create(Settings(u"page"));
  auto* browser = BrowserOf(view);
  auto page = browser->page();
  page->Call("tnpc.maxwnd");
  engine.RunUntilIdle();
  EXPECT_TRUE(win::GetWindowState(view->GetHwnd()).maximized);
  page->Call("tnpc.minwnd");
  engine.RunUntilIdle();
  EXPECT_TRUE(win::IsIconic(view->GetHwnd()));
  page->Call("tnpc.restorewnd");
  engine.RunUntilIdle();
  EXPECT_FALSE(win::IsIconic(view->GetHwnd()));
  EXPECT_THAT(browser->calls(), testing::IsSupersetOf({"Maximize", "Minimize", "Restore"}));
  page->Call("tnpc.closewnd");
  engine.RunUntilIdle();
  EXPECT_FALSE(browser->alive());
  EXPECT_EQ(factory->size(), 0u);
  EXPECT_EQ(log.Count("TnBrowserAdaptUI::ProcessJsCommand:[closewnd]", 2,
                      "TnBrowserAdaptUI::ProcessJsCommand"),
            1);
  view->Release();
}

TEST_F(BaseView, CloseHidesAWindowThatHidesOnClose) {
  IBrowserViewSetting* s = Settings(u"hide");
  s->SetHideOnClose(1);
  IBrowserView* view = Create(s);
  auto* browser = BrowserOf(view);
  win::ShowWindow(view->GetHwnd(), win::SW_SHOWWINDOW);
  EXPECT_TRUE(view->ProcessJsCommand(Text("CloseWnd").get()));
  engine.RunUntilIdle();
  EXPECT_TRUE(browser->alive());
  EXPECT_FALSE(win::GetWindowState(view->GetHwnd()).visible);
  // "forceclosewnd" never asks.
  EXPECT_TRUE(view->ProcessJsCommand(Text("forceclosewnd").get()));
  engine.RunUntilIdle();
  EXPECT_FALSE(browser->alive());
  EXPECT_THAT(browser->calls(), testing::Contains("Close(0)"));
  EXPECT_FALSE(view->ProcessJsCommand(Text("").get()));
  EXPECT_TRUE(view->ProcessJsCommand(Text("minwnd").get()));  // no window left: still a hit
  view->Release();
}

TEST_F(BaseView, MessagesAreSortedByTheirCountOfTexts) {
  IBrowserView* view = Create(Settings(u"m"));
  auto name = Text("anything");
  const std::vector<std::u16string> five(5, u"x");
  EXPECT_TRUE(view->ProcessMessage(nullptr, 0, name.get(), five));
  EXPECT_FALSE(view->ProcessMessage(nullptr, 0, name.get(), {}));  // unknown command
  EXPECT_TRUE(view->ProcessMessage(nullptr, 0, Text("MINWND").get(), {}));
  EXPECT_FALSE(view->ProcessMessage(nullptr, 0, Text("minwnd").get(), {u"a"}));
  EXPECT_FALSE(view->ProcessMessage(nullptr, 0, name.get(), std::vector<std::u16string>(4)));
  view->Release();
}

TEST_F(BaseView, InitialDataGetsTheOsTypeOnlyWhenItIsAnObject) {
  IBrowserView* view = Create(Settings(u"i"));
  view->SetInitData("{\"b\":[1],\"a\":\"x\"}", 0);
  EXPECT_EQ(std::string(view->GetInitData()), "{\"a\":\"x\",\"b\":[1],\"osType\":0}\n");
  view->SetInitData("just text", 1);
  EXPECT_EQ(std::string(view->GetInitData()), "just text");
  view->SetInitData(nullptr, 1);
  EXPECT_EQ(std::string(view->GetInitData()), "");
  view->Release();
}

TEST_F(BaseView, TheShadowStartsOnceFromTheCoreOrThePageHost) {
  IBrowserView* view = Create(Settings(u"s"));
  RecordingPageHost pageHost;
  pageHost.givesShadow = true;
  view->SetPageHost(&pageHost);  // the core's shadow is there already
  EXPECT_EQ(pageHost.shadows, 0);
  BrowserOf(view)->FinishClose();  // the window goes while its page host is there
  view->Release();

  core->SetGivesShadow(false);
  view = Create(Settings(u"t"));
  view->SetPageHost(&pageHost);
  EXPECT_EQ(pageHost.shadows, 1);
  view->SetPageHost(&pageHost);
  EXPECT_EQ(pageHost.shadows, 1);
  BrowserOf(view)->FinishClose();
  view->Release();
}

TEST_F(BaseView, ShadowWorkFromAnotherThreadIsPostedToTheWindowsThread) {
  IBrowserView* view = Create(Settings(u"x", 0, "", false));
  const int before = tnmainui::RecordingShadow::Live();
  std::thread([&] { view->SetBusinessCore(core); }).join();
  EXPECT_EQ(tnmainui::RecordingShadow::Live(), before);  // not yet: it waits for the UI thread
  engine.RunUntilIdle();
  EXPECT_EQ(tnmainui::RecordingShadow::Live(), before + 1);
  EXPECT_EQ(BrowserOf(view)->calls().back(), "Show(1)");
  EXPECT_EQ(std::u16string(view->GetOrgKey()), u"org-1");
  view->Release();
}

TEST_F(BaseView, AViewWithoutSettingsOrBrowserAnswersEmpty) {
  auto* view = new tnwebui::TnBrowserPbUI(nullptr);
  view->AddRef();
  EXPECT_EQ(std::u16string(view->GetName()), u"");
  EXPECT_EQ(view->GetViewType(), 0);
  EXPECT_EQ(std::u16string(view->GetOrgKey()), u"");
  EXPECT_EQ(view->GetHwnd(), nullptr);
  EXPECT_EQ(view->GetBusinessVersion(), 0);
  EXPECT_EQ(view->IsReady(), 1);
  EXPECT_EQ(view->Reserved2(), E_NOTIMPL);
  view->Show(1);
  view->SetAlwaysTop(1);
  IBrowserViewCallback* callback = view->GetCallback();
  EXPECT_EQ(callback->GetView(), view);
  callback->AddRef();
  log.Clear();
  view->Release();
  EXPECT_EQ(callback->GetView(), nullptr);  // the view detached it on its way out
  callback->Release();
  std::vector<std::string> lines;
  for (const auto& r : log.records()) lines.push_back(r.function + ": " + r.message);
  EXPECT_THAT(lines, ElementsAre("TnBrowserAdaptUI::~TnBrowserAdaptUI: TnBrowserAdaptUI deleted",
                                 "TnBrowserUI::~TnBrowserUI: TnBrowserUI deleted",
                                 "TnBrowserAdaptCallback::~TnBrowserAdaptCallback: "
                                 "TnBrowserAdaptCallback deleted"));
}

TEST_F(BaseView, QueryInterfaceOfViewAndCallback) {
  IBrowserView* view = Create(Settings(u"q"));
  void* out = nullptr;
  EXPECT_EQ(view->QueryInterface(IID_IBrowserView, &out), S_OK);
  EXPECT_EQ(out, view);
  view->Release();
  EXPECT_EQ(view->QueryInterface(IID_ITnWebUI, &out), E_NOINTERFACE);
  IBrowserViewCallback* callback = view->GetCallback();
  EXPECT_EQ(callback->QueryInterface(IID_IBrowserViewCallback, &out), S_OK);
  EXPECT_EQ(out, callback);
  callback->Release();
  EXPECT_EQ(callback->Reserved3(1, 2, 3, 4, 5), E_NOTIMPL);
  view->Release();
}
