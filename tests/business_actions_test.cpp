// Business actions in the view: the page's rights, the inner actions, the core and the way
// back to the page's function.

#include <gmock/gmock.h>

#include "base/CommonFunc.h"
#include "cef/inproc_v8.h"
#include "render_fixture.h"
#include "view_fixture.h"
#include "win/window.h"

namespace {

constexpr char kClientPage[] = "file://tavrin5main/index.html";
constexpr char kForeignPage[] = "https://foreign.example.org/app";

tnbase::TnStringPtr Text(const char* s) { return tnbase::TnStringPtr::FromUTF8(s); }

// One call of a page function, as the page saw it.
struct Answer {
  int code = 0;
  std::string data, id;
};

}  // namespace

class BusinessActions : public ViewFixture {
 protected:
  // A view showing `url`, whose page function `f` collects the classic answers.
  IBrowserView* Open(const char* url, const std::u16string& name = u"page") {
    IBrowserView* view = Create(Settings(name, 0, "{\"user\":\"ann\"}"), url);
    page = BrowserOf(view)->page();
    return view;
  }
  // The page calls tnpc.exebusinessaction(business, action, param, json, id, f).
  void PageCalls(const std::string& business, const std::string& action,
                 const std::string& json = "", const std::string& id = "cb") {
    page->Call("tnpc.exebusinessaction",
               {Str(business), Str(action), Str(""), Str(json), Str(id), f.value});
    engine.RunUntilIdle();
  }
  std::vector<Answer> Answers() {
    std::vector<Answer> out;
    for (const auto& args : *f.calls) {
      out.push_back({args[0]->GetIntValue(), args[1]->GetStringValue().ToString(),
                     args[2]->GetStringValue().ToString()});
    }
    return out;
  }
  bool Check(IBrowserView* view, const char* business, const char* action) {
    return Pb(view)->CheckAuth(Text(business).get(), Text(action).get());
  }

  std::shared_ptr<xhav::inproc::Page> page;
  PageFunction f{"onAnswer"};
};

TEST_F(BusinessActions, TheClientsOwnPagesMayRunAnything) {
  for (const char* url :
       {"file://tavrin5main/a.html", "file://tavrin5/b.html", "file://tavrin4/c.html"}) {
    IBrowserView* view = Open(url, tnwebui::Utf8ToWide(url));
    EXPECT_TRUE(Check(view, "Contact", "anything")) << url;
    view->Release();
  }
}

TEST_F(BusinessActions, ForeignPagesGetOnlyTheOpenBusinesses) {
  IBrowserView* view = Open(kForeignPage);
  EXPECT_TRUE(Check(view, "COMMON", "whatever"));
  EXPECT_TRUE(Check(view, "openurl", ""));
  EXPECT_TRUE(Check(view, "OpenUrl", "OpenSaveAsWnd"));
  EXPECT_FALSE(Check(view, "openurl", "opensaveaswnd"));  // the action compares exactly
  EXPECT_TRUE(Check(view, "extendapp", "x"));
  EXPECT_TRUE(Check(view, "MyFavorite", "x"));
  EXPECT_FALSE(Check(view, "myfavorite", "x"));  // so does this business
  EXPECT_FALSE(Check(view, "contact", "getuserinfo"));
  host.accessOverride.allowAnyPage = true;
  EXPECT_TRUE(Check(view, "contact", "getuserinfo"));
  view->Release();
}

TEST_F(BusinessActions, ARefusedPageIsLoggedAndNotAnswered) {
  IBrowserView* view = Open(kForeignPage);
  PageCalls("Contact", "GetUserInfo");
  EXPECT_TRUE(core->calls().empty());
  EXPECT_TRUE(f.calls->empty());
  EXPECT_EQ(log.Count("check auth fail for action = contact, action = getuserinfo", 4,
                      "TnBrowserAdaptUI::ExecuteBusinessAction"),
            1);
  view->Release();
}

TEST_F(BusinessActions, TheCoreAnswersThroughTheCallback) {
  core->SetHandler([](const tnmainui::BusinessCall& call) {
    call.callback->OnBusinessResult(u"Contact", u"GetUserInfo", call.callbackId.c_str(), 0,
                                    u"{\"name\":\"Ann\"}");
    return S_OK;
  });
  IBrowserView* view = Open(kClientPage);
  PageCalls("Contact", "GetUserInfo", "{\"uid\":7}");
  ASSERT_EQ(core->calls().size(), 1u);
  const auto call = core->calls()[0];
  EXPECT_EQ(call.business, u"contact");
  EXPECT_EQ(call.action, u"getuserinfo");
  EXPECT_EQ(call.json, u"{\"uid\":7}");
  EXPECT_EQ(call.callbackId, u"cb");
  EXPECT_EQ(call.callback, view->GetCallback());
  ASSERT_EQ(Answers().size(), 1u);
  EXPECT_EQ(Answers()[0].data, "{\"name\":\"Ann\"}");
  EXPECT_EQ(Answers()[0].id, "cb");
  view->Release();
}

// The render process dies while the core still owes the page its answer: the view's crash
// path runs, the late answer goes nowhere, and the reloaded page's calls work again.
TEST_F(BusinessActions, ARenderProcessThatDiesMidCallLeavesTheHostWorking) {
  std::vector<tnmainui::BusinessCall> owed;
  core->SetHandler([&owed](const tnmainui::BusinessCall& call) {
    owed.push_back(call);
    return S_OK;
  });
  IBrowserView* view = Open(kClientPage);
  PageCalls("Contact", "GetUserInfo");
  ASSERT_EQ(owed.size(), 1u);
  engine.RenderProcessGone(2);
  EXPECT_EQ(log.Count("TS_PROCESS_CRASHED", 4), 1);
  owed[0].callback->OnBusinessResult(u"Contact", u"GetUserInfo", owed[0].callbackId.c_str(), 0,
                                     u"late");
  engine.RunUntilIdle();
  EXPECT_TRUE(Answers().empty());
  page->Reload();
  engine.RunUntilIdle();
  PageCalls("Contact", "GetUserInfo", "", "again");
  ASSERT_EQ(owed.size(), 2u);
  owed[1].callback->OnBusinessResult(u"Contact", u"GetUserInfo", owed[1].callbackId.c_str(), 0,
                                     u"fine");
  engine.RunUntilIdle();
  ASSERT_EQ(Answers().size(), 1u);
  EXPECT_EQ(Answers()[0].data, "fine");
  EXPECT_EQ(Answers()[0].id, "again");
  view->Release();
}

TEST_F(BusinessActions, ARefusedCoreCallIsAnsweredWithTheSignedStatus) {
  core->SetHandler([](const tnmainui::BusinessCall&) { return static_cast<HRESULT>(0x8000FFFF); });
  IBrowserView* view = Open(kClientPage);
  PageCalls("Contact", "GetUserInfo");
  ASSERT_EQ(Answers().size(), 1u);
  EXPECT_EQ(Answers()[0].code, static_cast<int>(0x8000FFFF));
  EXPECT_EQ(Answers()[0].data, "");
  EXPECT_EQ(log.Count("call tnbusiness return fail [0x8000FFFF]\n", 1), 1);
  view->Release();
}

TEST_F(BusinessActions, WithoutCoreOnlyAnEmbeddedPageReachesItsHost) {
  RecordingPageHost pageHost;
  pageHost.status = -2;
  IBrowserView* plain = Create(Settings(u"plain", 0, "", false), kClientPage);
  plain->SetPageHost(&pageHost);
  page = BrowserOf(plain)->page();
  PageCalls("Contact", "Get");
  EXPECT_EQ(pageHost.calls, 0);
  EXPECT_TRUE(f.calls->empty());  // dropped without a word

  IBrowserView* embedded = Create(Settings(u"emb", 2, "", false), kClientPage);
  embedded->SetPageHost(&pageHost);
  page = BrowserOf(embedded)->page();
  PageCalls("Contact", "Get");
  EXPECT_EQ(pageHost.calls, 1);
  ASSERT_EQ(Answers().size(), 1u);
  EXPECT_EQ(Answers()[0].code, -2);
  EXPECT_EQ(log.CountPrefix("call tnbusiness return fail"), 0);
  BrowserOf(plain)->FinishClose();  // the windows go while their page host is there
  BrowserOf(embedded)->FinishClose();
  plain->Release();
  embedded->Release();
}

TEST_F(BusinessActions, InnerActionsAreServedInTheViewInThePagesLowerCase) {
  IBrowserView* view = Open(kForeignPage);
  PageCalls("common", "GetInitData");
  PageCalls("Common", "ModifyWindowTitle", "{\"title\":\"Hello\"}");
  PageCalls("Common", "ModifyWindowTitle", "{\"title\":7}");
  PageCalls("Common", "SetAlwaysTop", "{\"top\":true}");
  PageCalls("Common", "SetAlwaysTop", "[1]");
  PageCalls("Common", "SetAlwaysTop", "5");
  PageCalls("Common", "SetAlwaysTop", "{\"top\":1}");
  EXPECT_TRUE(core->calls().empty());
  ASSERT_EQ(Answers().size(), 1u);
  EXPECT_EQ(Answers()[0].data, "{\"user\":\"ann\"}");
  const auto calls = BrowserOf(view)->calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetTitle(Hello)"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetTopMost(1)"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetTopMost(0)"), 0);
  view->Release();
}

TEST_F(BusinessActions, InitFinishedKeepsTheFirstCallerForLaterData) {
  IBrowserView* view = Open(kClientPage);
  PageCalls("Common", "InitFinished", "", "first");
  PageCalls("Common", "InitFinished", "", "second");
  ASSERT_EQ(Answers().size(), 2u);
  EXPECT_EQ(Answers()[1].id, "second");
  view->SetInitData("{\"user\":\"bob\"}", 1);
  engine.RunUntilIdle();
  ASSERT_EQ(Answers().size(), 3u);
  EXPECT_EQ(Answers()[2].id, "first");
  EXPECT_EQ(Answers()[2].data, "{\"osType\":0,\"user\":\"bob\"}\n");
  view->Release();
}

TEST_F(BusinessActions, TheDelayFlagSwallowsOnlyTheFirstShow) {
  IBrowserViewSetting* s = Settings(u"delay");
  s->SetDelayShow(1);
  IBrowserView* view = Create(s, kClientPage);
  page = BrowserOf(view)->page();
  HWND hwnd = view->GetHwnd();
  PageCalls("Common", "ShowWindow");
  EXPECT_FALSE(win::GetWindowState(hwnd).visible);
  PageCalls("Common", "ShowWindow");
  EXPECT_TRUE(win::GetWindowState(hwnd).visible);
  view->Release();
}

TEST_F(BusinessActions, DraggedFilesAreDescribedAndTheWindowComesUp) {
  IBrowserView* view = Open(kClientPage);
  PageCalls("Common", "GetDragFileNames");
  ASSERT_EQ(Answers().size(), 1u);
  EXPECT_EQ(Answers()[0].data, "[]\n");
  EXPECT_EQ(BrowserOf(view)->calls().back(), "Show(1)");
  view->Release();
}

TEST_F(BusinessActions, AWrongArgumentListIsLogged) {
  IBrowserView* view = Open(kClientPage);
  auto list = CefListValue::Create();
  list->SetString(0, std::string("a"));
  list->SetString(1, std::string("b"));
  Pb(view)->ExecuteBusinessAction(Text("Common").get(), Text("GetInitData").get(), list);
  list->SetInt(2, 3);
  Pb(view)->ExecuteBusinessAction(Text("Common").get(), Text("GetInitData").get(), list);
  EXPECT_EQ(log.Count("execute business action argument invalid size 2", 1), 1);
  EXPECT_EQ(log.Count("execute business action argument invalid size 3", 1), 1);
  view->Release();
}

TEST_F(BusinessActions, ResultsTheCoreSendsForDownloadsAndFavouritesNeverReachThePage) {
  IBrowserView* view = Open(kClientPage);
  IBrowserViewCallback* callback = view->GetCallback();
  callback->OnBusinessResult(u"OpenUrl", u"Download", u"cb", 0, u"{}");
  callback->OnBusinessResult(u"MyFavorite", u"CreateFavorite", u"cb", 0, u"{}");
  engine.RunUntilIdle();
  EXPECT_TRUE(f.calls->empty());
  view->Release();
}

TEST_F(BusinessActions, InnerBusinessGoesToTheCoreUnchecked) {
  core->SetHandler([](const tnmainui::BusinessCall&) { return -1; });
  IBrowserView* view = Open(kForeignPage);
  // Parked for an answer the page didn't ask for by a call.
  page->Call("tnpc.exebusinessaction",
             {Str("Contact"), Str("Secret"), Str(""), Str(""), Str("x"), f.value});
  Pb(view)->ProcessInnerBusiness({u"contact", u"secret", u"0", u"{}", u"x"}, nullptr);
  engine.RunUntilIdle();
  ASSERT_EQ(core->calls().size(), 1u);
  EXPECT_EQ(core->calls()[0].callback, view->GetCallback());
  ASSERT_EQ(Answers().size(), 1u);
  EXPECT_EQ(Answers()[0].code, -1);
  EXPECT_EQ(log.Count("call tnbusiness return fail [0xFFFFFFFF]\n", 1,
                      "TnBrowserAdaptUI::ProcessInnerBusiness"),
            1);
  view->Release();
}

TEST_F(BusinessActions, AnAnswerAfterTheViewIsGoneGoesNowhere) {
  IBrowserView* view = Open(kClientPage);
  IBrowserViewCallback* callback = view->GetCallback();
  callback->AddRef();
  BrowserOf(view)->FinishClose();
  view->Release();
  EXPECT_EQ(callback->GetView(), nullptr);
  callback->OnBusinessResult(u"a", u"b", u"c", 0, u"");
  callback->Release();
}
