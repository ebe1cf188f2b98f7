// The factory: creating, finding and closing views, and what it hands to hav.

#include <gmock/gmock.h>

#include "browser_view_setting.h"
#include "tnbase/files.h"
#include "view_fixture.h"
#include "win/window.h"

using ::testing::ElementsAre;

using BrowserFactory = ViewFixture;

TEST_F(BrowserFactory, SettingsComeFromTheFactory) {
  EXPECT_EQ(factory->CreateBrowserViewSetting(nullptr), E_INVALIDARG);
  IBrowserViewSetting* s = nullptr;
  ASSERT_EQ(factory->CreateBrowserViewSetting(&s), S_OK);
  EXPECT_EQ(RefCount(s), 1u);
  s->Release();
}

TEST_F(BrowserFactory, CreateBrowserViewFillsTheParametersInOrder) {
  IBrowserViewSetting* s = Settings(u"TnMain", 4, "{\"isopenmax\":true}");
  s->SetRect({10, 20, 410, 320});
  s->SetHideOnClose(1);
  s->SetResizable(7);
  IBrowserView* view = Create(s, "https://a.test/page");
  ASSERT_NE(view, nullptr);
  auto* browser = BrowserOf(view);
  ASSERT_NE(browser, nullptr);
  const auto& p = browser->param();
  EXPECT_THAT(p.calls, ElementsAre("SetShowTitleBar", "SetName", "SetStartHidden", "SetHavFlagA",
                                   "SetResizable", "SetViewType", "SetHavFlagB", "SetParentWindow",
                                   "SetHideOnClose", "SetTopCenter", "SetOpenMaximized", "SetWidth",
                                   "SetHeight", "SetLeft", "SetTop", "SetScaledSize", "SetTitle",
                                   "SetCookieSpace"));
  EXPECT_TRUE(p.showTitleBar);
  EXPECT_TRUE(p.openMaximized);
  EXPECT_TRUE(p.resizable);
  EXPECT_TRUE(p.hideOnClose);
  EXPECT_TRUE(p.startHidden);
  EXPECT_EQ(p.name, "TnMain");
  EXPECT_EQ(p.width, 400);
  EXPECT_EQ(p.height, 300);
  EXPECT_EQ(p.left, 10);
  EXPECT_EQ(p.scaledWidth, 400);  // 96 dots per inch: unchanged
  EXPECT_EQ(p.title, "Tavrin");
  EXPECT_EQ(p.cookieSpace, tnbase::md5String("org-1account-1"));
  EXPECT_EQ(browser->url(), "https://a.test/page");
  EXPECT_EQ(browser->initialData(), "{\"isopenmax\":true}");
  // Init copies the settings' text over what SetInitData made of it.
  EXPECT_EQ(std::string(view->GetInitData()), "{\"isopenmax\":true}");
  // The caller's reference and the list's.
  EXPECT_EQ(RefCount(view), 2u);
  EXPECT_EQ(factory->size(), 1u);
  view->Release();
}

TEST_F(BrowserFactory, OpenMaximizedReadsOddValuesWithoutThrowing) {
  const std::pair<const char*, bool> cases[] = {
      {"{\"isopenmax\":\"yes\"}", false},
      {"{\"isopenmax\":[1]}", false},
      {"{\"isopenmax\":{}}", false},
      {"{\"isopenmax\":1}", true},
      {"{\"isopenmax\":0.5}", true},
      {"{\"isopenmax\":null}", false},
      {"{}", false},
  };
  int i = 0;
  for (const auto& [json, expected] : cases) {
    IBrowserView* view = Create(Settings(u"v" + std::u16string(1, u'a' + i++), 0, json));
    ASSERT_NE(view, nullptr) << json;
    EXPECT_EQ(BrowserOf(view)->param().openMaximized, expected) << json;
    view->Release();
  }
  // Initial data that isn't an object sets nothing.
  IBrowserView* view = Create(Settings(u"arr", 0, "[true]"));
  const auto& calls = BrowserOf(view)->param().calls;
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetOpenMaximized"), 0);
  view->Release();
}

TEST_F(BrowserFactory, ASecondCreateOfTheSameNameBringsTheFirstViewForward) {
  IBrowserView* first = Create(Settings(u"TnMain", 0, "{\"n\":1}"));
  HWND hwnd = first->GetHwnd();
  win::ShowWindow(hwnd, win::SW_MINIMIZE);
  IBrowserView* again = Create(Settings(u"tnmain", 0, "{\"n\":2}"));
  EXPECT_EQ(again, first);
  EXPECT_EQ(engine.browsers().size(), 1u);
  EXPECT_EQ(factory->size(), 1u);
  EXPECT_EQ(RefCount(first), 3u);  // two callers and the list
  EXPECT_EQ(std::string(first->GetInitData()), "{\"n\":2,\"osType\":0}\n");
  const win::WindowState state = win::GetWindowState(hwnd);
  EXPECT_FALSE(state.minimized);
  EXPECT_TRUE(state.visible);
  EXPECT_EQ(win::GetForegroundWindow(), hwnd);
  EXPECT_EQ(win::GetActiveWindow(), hwnd);
  again->Release();
  first->Release();
}

TEST_F(BrowserFactory, FindingByName) {
  IBrowserView* out = nullptr;
  EXPECT_EQ(factory->FindBrowserView(nullptr, &out), E_INVALIDARG);
  EXPECT_EQ(factory->FindBrowserView(u"x", nullptr), E_INVALIDARG);
  EXPECT_EQ(factory->FindBrowserView(u"", &out), E_NOINTERFACE);
  IBrowserView* unnamed = Create(Settings(u""));
  IBrowserView* named = Create(Settings(u"Named"));
  ASSERT_EQ(factory->FindBrowserView(u"", &out), S_OK);  // an empty name matches an empty name
  EXPECT_EQ(out, unnamed);
  out->Release();
  ASSERT_EQ(factory->FindBrowserView(u"NAMED", &out), S_OK);
  EXPECT_EQ(out, named);
  out->Release();
  EXPECT_EQ(factory->FindLightBrowserByName(""), nullptr);
  EXPECT_EQ(factory->FindLightBrowserByName("Named"), nullptr);  // Pb views are passed over
  // The short form has an empty name, which matches nothing: each call makes a window.
  const HRESULT first =
      factory->CreateLightBrowser(1, "https://l.test/", static_cast<xhav::BrowserParam*>(nullptr));
  const HRESULT second =
      factory->CreateLightBrowser(1, "https://l.test/", static_cast<xhav::BrowserParam*>(nullptr));
  EXPECT_GT(first, 0);
  EXPECT_NE(first, second);
  EXPECT_NE(factory->FindLightBrowserById(second), nullptr);
  unnamed->Release();
  named->Release();
}

TEST_F(BrowserFactory, AZeroSizedRectangleLeavesSizeToTheEngine) {
  IBrowserViewSetting* s = Settings(u"z", 4);
  s->SetRect({10, 10, 10, 500});
  IBrowserView* view = Create(s);
  const auto& calls = BrowserOf(view)->param().calls;
  for (const char* setter : {"SetWidth", "SetHeight", "SetLeft", "SetTop", "SetScaledSize"}) {
    EXPECT_EQ(std::count(calls.begin(), calls.end(), setter), 0) << setter;
  }
  view->Release();
}

TEST_F(BrowserFactory, ScaledSizeOnlyForFramedWindows) {
  IBrowserViewSetting* s = Settings(u"plain", 0);
  s->SetRect({0, 0, 200, 100});
  IBrowserView* view = Create(s);
  const auto& calls = BrowserOf(view)->param().calls;
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetScaledSize"), 0);
  EXPECT_EQ(BrowserOf(view)->param().width, 200);
  view->Release();
}

TEST_F(BrowserFactory, CookieSpaceIsEmptyWithoutCoreOrKeys) {
  IBrowserView* noCore = Create(Settings(u"a", 0, "", false));
  EXPECT_EQ(BrowserOf(noCore)->param().cookieSpace, "");
  auto* blank = new tnmainui::ScriptedBusinessCore(u"", "");
  IBrowserViewSetting* s = Settings(u"b");
  s->SetBusinessCore(blank);
  IBrowserView* blankCore = Create(s);
  EXPECT_EQ(BrowserOf(blankCore)->param().cookieSpace, "");
  noCore->Release();
  blankCore->Release();
  blank->Release();
}

TEST_F(BrowserFactory, ExtendFrameTakesItsAddressFromTheInitialData) {
  const int views = tnwebui::TnBrowserUI::Live();
  IBrowserView* out = reinterpret_cast<IBrowserView*>(0x1);
  IBrowserViewSetting* bad = Settings(u"ext", 0, "not json");
  EXPECT_EQ(factory->CreateBrowserView("file://tavrin4/extendframe.html", bad, &out), S_OK);
  EXPECT_EQ(out, nullptr);
  bad->SetInitData("[\"https://x.test/\"]");
  EXPECT_EQ(factory->CreateBrowserView("file://tavrin4/extendframe.html", bad, &out), S_OK);
  EXPECT_EQ(out, nullptr);
  bad->Release();
  EXPECT_TRUE(engine.browsers().empty());
  EXPECT_EQ(tnwebui::TnBrowserUI::Live(), views);

  IBrowserView* view = Create(Settings(u"ext", 0, "{\"url\":\"https://real.test/x\"}"),
                              "file://tavrin4/extendframe.html");
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(BrowserOf(view)->url(), "https://real.test/x");
  view->Release();
  // Only the exact address is an extended frame.
  view = Create(Settings(u"ext2", 0, "bad"), "file://tavrin4/extendframe.html?x");
  ASSERT_NE(view, nullptr);
  view->Release();
}

TEST_F(BrowserFactory, CloseBrowsersOfNameClosesOnlyTheOrganisationsPlainWindows) {
  EXPECT_EQ(factory->CloseBrowsersOfName(u"org-1"), S_OK);  // no window at all
  IBrowserView* resident = Create(Settings(u"res", 1));
  IBrowserView* embedded = Create(Settings(u"emb", 2));
  IBrowserView* plain = Create(Settings(u"plain", 0));
  auto* other = new tnmainui::ScriptedBusinessCore(u"org-2", "x");
  IBrowserViewSetting* s = Settings(u"other");
  s->SetBusinessCore(other);
  IBrowserView* foreign = Create(s);

  EXPECT_EQ(factory->CloseBrowsersOfName(u"nobody"), E_NOTIMPL);  // windows, none matched
  EXPECT_EQ(factory->size(), 4u);
  EXPECT_EQ(factory->CloseBrowsersOfName(u"ORG-1"), E_NOTIMPL);
  EXPECT_EQ(factory->size(), 3u);
  auto* closed = BrowserOf(plain);
  EXPECT_EQ(win::GetWindowState(plain->GetHwnd()).posted.size(), 1u);
  engine.RunUntilIdle();  // the posted close arrives and the window goes
  EXPECT_FALSE(closed->alive());
  EXPECT_TRUE(BrowserOf(resident)->alive());
  EXPECT_TRUE(BrowserOf(embedded)->alive());
  EXPECT_TRUE(BrowserOf(foreign)->alive());
  // The view left the list before its window went, so the list's reference stays with it.
  EXPECT_EQ(RefCount(plain), 2u);
  plain->Release();
  plain->Release();
  resident->Release();
  embedded->Release();
  foreign->Release();
  other->Release();
}

TEST_F(BrowserFactory, AWindowMayCallBackIntoTheFactoryDuringAWalk) {
  IBrowserView* a = Create(Settings(u"a"));
  IBrowserView* b = Create(Settings(u"b"));
  int reentered = 0;
  core->SetOrgKeyHook([&] {
    if (reentered++ > 4) return;
    IBrowserView* found = nullptr;
    if (factory->FindBrowserView(u"b", &found) == S_OK) found->Release();
    factory->CloseBrowsersOfName(u"none");
  });
  EXPECT_EQ(factory->CloseBrowsersOfName(u"org-1"), E_NOTIMPL);
  EXPECT_GT(reentered, 0);
  core->SetOrgKeyHook(nullptr);
  engine.RunUntilIdle();
  a->Release();
  b->Release();
  a->Release();  // both were taken out of the list; their list references stay with them
  b->Release();
}

TEST_F(BrowserFactory, ClosingThroughTheEngineEndsTheListsHold) {
  IBrowserView* view = Create(Settings(u"v"));
  auto* browser = BrowserOf(view);
  browser->Close(0);
  engine.RunUntilIdle();
  EXPECT_EQ(factory->size(), 0u);
  EXPECT_EQ(RefCount(view), 1u);
  EXPECT_EQ(view->GetHwnd(), nullptr);
  const std::size_t calls = browser->calls().size();
  view->Show(1);  // the window is gone: nothing happens
  EXPECT_EQ(browser->calls().size(), calls);
  factory->RemoveBrowser(browser->GetId());  // already gone: nothing to do
  view->Release();
}

TEST_F(BrowserFactory, ThousandCyclesLeaveNothingBehind) {
  const int views = tnwebui::TnBrowserUI::Live();
  const int settings = tnwebui::CBrowserViewSettingImpl::Live();
  const int shadows = tnmainui::RecordingShadow::Live();
  for (int i = 0; i < 1000; ++i) {
    IBrowserView* view = Create(Settings(u"cycle", i % 3 == 0 ? 4 : 0, "{\"k\":1}"));
    BrowserOf(view)->FinishClose();
    view->Release();
  }
  EXPECT_EQ(tnwebui::TnBrowserUI::Live(), views);
  EXPECT_EQ(tnwebui::CBrowserViewSettingImpl::Live(), settings);
  EXPECT_EQ(tnmainui::RecordingShadow::Live(), shadows);
  EXPECT_EQ(factory->size(), 0u);
  EXPECT_EQ(core->refs(), 1u);
}

TEST_F(BrowserFactory, APopupViewJoinsTheList) {
  tnwebui::TnBrowserPbUI* popup = factory->CreatePopupView(0, "https://pop.test/", nullptr);
  ASSERT_NE(popup, nullptr);
  EXPECT_EQ(factory->size(), 1u);
  EXPECT_TRUE(popup->IsPbView());
  EXPECT_EQ(popup->tavrin_browser()->GetHavBrowser(), popup->browser());
  EXPECT_EQ(engine.FindBrowser(popup->tavrin_browser()->GetId())->url(), "https://pop.test/");
}
