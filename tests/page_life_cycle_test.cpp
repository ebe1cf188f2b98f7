// A view through its page's life: loading, navigation, activation, layout, dragging, crashes
// and the end of its browser.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "coretnmedia.pb.h"
#include "light/web_title_child_window.h"
#include "scratch_dir.h"
#include "view_fixture.h"
#include "win/shell.h"
#include "win/window.h"

namespace {
tnbase::TnStringPtr Text(const std::string& s) { return tnbase::TnStringPtr::FromUTF8(s); }
}  // namespace

using PageLifeCycle = ViewFixture;

TEST_F(PageLifeCycle, TheLoadingPageMovesOnToTheRealAddress) {
  IBrowserView* view = Create(Settings(u"v", 0, R"({"url":"https://real.test/app"})"),
                              "file://tavrin4/loading.html");
  EXPECT_EQ(BrowserOf(view)->url(), "https://real.test/app");
  IBrowserView* stays = Create(Settings(u"w", 0, R"({"url":7})"), "file://tavrin4/loading.html");
  EXPECT_EQ(BrowserOf(stays)->url(), "file://tavrin4/loading.html");
  view->Release();
  stays->Release();
}

TEST_F(PageLifeCycle, TheCompanysAddressesOpenInTheClient) {
  host.clientInfo.webDomain = "intra.example.com";
  IBrowserView* view = Create(Settings(u"v"), "https://foreign.test/");
  auto* browser = BrowserOf(view);
  for (const char* url :
       {"https://intra.example.com/docs?id=1", "zd480courier://chat/9", "https://other.test/",
        "http://intra.example.com/x", "file://tavrin5/x.html"}) {
    browser->Navigate(url);
  }
  engine.RunUntilIdle();
  const auto calls = core->calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].business, u"OpenUrl");
  EXPECT_EQ(calls[0].action, u"");
  EXPECT_EQ(calls[0].json, u"zd480courier://docs?id=1");
  EXPECT_EQ(calls[1].json, u"zd480courier://chat/9");
  EXPECT_EQ(calls[0].param, u"0");
  view->Release();
}

TEST_F(PageLifeCycle, ResidentWindowsHideInsteadOfClosing) {
  IBrowserView* resident = Create(Settings(u"r", 1));
  IBrowserView* plain = Create(Settings(u"p", 0));
  auto* plainBrowser = BrowserOf(plain);
  win::ShowWindow(resident->GetHwnd(), win::SW_SHOWWINDOW);
  win::PostMessageW(resident->GetHwnd(), win::WM_CLOSE, 0, 0);
  win::PostMessageW(plain->GetHwnd(), win::WM_CLOSE, 0, 0);
  engine.RunUntilIdle();
  EXPECT_TRUE(BrowserOf(resident)->alive());
  EXPECT_FALSE(win::GetWindowState(resident->GetHwnd()).visible);
  EXPECT_FALSE(plainBrowser->alive());
  resident->Release();
  plain->Release();
}

TEST_F(PageLifeCycle, ActivationReachesPagesThatWaitForIt) {
  IBrowserView* view = Create(Settings(u"v"));
  auto page = BrowserOf(view)->page();
  PageFunction f;
  page->Call("tnpc.exebusinessaction",
             {Str("regcallback"), Str("updateactivestate"), Str(""), Str(""), Int(0), f.value});
  Pb(view)->OnActiveChanged(true);
  Pb(view)->OnActiveChanged(false);
  engine.RunUntilIdle();
  ASSERT_EQ(f.calls->size(), 2u);
  EXPECT_EQ((*f.calls)[0][1]->GetStringValue().ToString(), "active");
  EXPECT_EQ((*f.calls)[1][1]->GetStringValue().ToString(), "inactive");
  EXPECT_EQ((*f.calls)[1][2]->GetStringValue().ToString(), "0");
  view->Release();
}

TEST_F(PageLifeCycle, FramedWindowsLayOutTheTitleAboveTheBrowser) {
  IBrowserViewSetting* s = Settings(u"framed", 4, R"({"id":""})");
  s->SetRect({0, 0, 800, 600});
  IBrowserView* view = Create(s);
  auto* title = static_cast<tnwebui::CWebTitleChildWindowWin*>(Pb(view)->title_window());
  ASSERT_NE(title, nullptr);
  EXPECT_EQ(win::GetWindowState(title->GetWindowHandle()).className, "TN_WEB_TITLE");
  EXPECT_EQ(title->browser(), Pb(view)->browser());
  // The engine laid the view out when its browser was made; moved away, only state 3 lays it
  // out again.
  EXPECT_EQ(win::GetWindowState(BrowserOf(view)->host_window()).y, 36);
  win::SetWindowPos(BrowserOf(view)->host_window(), nullptr, 0, 0, 800, 600, 0);
  Pb(view)->OnStateChanged(2);
  EXPECT_EQ(win::GetWindowState(BrowserOf(view)->host_window()).y, 0);
  Pb(view)->OnStateChanged(3);
  const win::WindowState host = win::GetWindowState(BrowserOf(view)->host_window());
  EXPECT_EQ(host.y, 36);
  EXPECT_EQ(host.width, 800);
  EXPECT_EQ(host.height, 564);
  EXPECT_EQ(win::GetWindowState(title->GetWindowHandle()).width, 800);

  Pb(view)->OnNavigationState(1, 2);
  EXPECT_FALSE(title->back_enabled());
  Pb(view)->OnNavigationState(2, 3);
  EXPECT_TRUE(title->back_enabled());
  Pb(view)->OnNavigationState(2, 0);  // no entries: unchanged
  EXPECT_TRUE(title->back_enabled());
  view->Release();
}

// hav takes a Pb view's dispatcher once and listens to its state changes: the layout of a
// minimised window is skipped, and restoring it lays it out again.
TEST_F(PageLifeCycle, AMinimisedPbWindowIsNotLaidOut) {
  IBrowserViewSetting* s = Settings(u"framed", 4, R"({"id":""})");
  s->SetRect({0, 0, 800, 600});
  IBrowserView* view = Create(s);
  auto* title = static_cast<tnwebui::CWebTitleChildWindowWin*>(Pb(view)->title_window());
  ASSERT_NE(title, nullptr);
  HWND hwnd = view->GetHwnd();
  win::SetWindowPos(hwnd, nullptr, 0, 0, 820, 600, win::SWP_NOZORDER);
  EXPECT_EQ(win::GetWindowState(title->GetWindowHandle()).width, 820);
  BrowserOf(view)->Minimize();
  engine.RunUntilIdle();
  win::SetWindowPos(hwnd, nullptr, 0, 0, 900, 600, win::SWP_NOZORDER);
  EXPECT_EQ(win::GetWindowState(title->GetWindowHandle()).width, 820);
  BrowserOf(view)->Restore();
  engine.RunUntilIdle();
  EXPECT_EQ(win::GetWindowState(title->GetWindowHandle()).width, 900);
  view->Release();
}

TEST_F(PageLifeCycle, AlwaysOnTopComesFromTheInitialData) {
  IBrowserView* top = Create(Settings(u"t", 0, R"({"alwaysOnTop":true})"));
  IBrowserView* odd = Create(Settings(u"o", 0, R"({"alwaysOnTop":"yes"})"));
  IBrowserView* arr = Create(Settings(u"a", 0, R"([true])"));
  EXPECT_TRUE(win::GetWindowState(top->GetHwnd()).topmost);
  EXPECT_FALSE(win::GetWindowState(odd->GetHwnd()).topmost);
  EXPECT_FALSE(win::GetWindowState(arr->GetHwnd()).topmost);
  top->Release();
  odd->Release();
  arr->Release();
}

TEST_F(PageLifeCycle, RenderCrashesAreLoggedAndOnlyTheMainPagesReachTheCore) {
  IBrowserView* page = Create(Settings(u"page"));
  Pb(page)->OnRenderProcessTemerate(0, 0);
  Pb(page)->OnRenderProcessTemerate(0, 1);
  Pb(page)->OnRenderProcessTemerate(0, 2);
  Pb(page)->OnRenderProcessTemerate(0, 9);
  EXPECT_EQ(log.Count("TS_ABNORMAL_TERMINATION", 4, "TnBrowserAdaptUI::OnRenderProcessTemerate"),
            1);
  EXPECT_EQ(log.Count("TS_PROCESS_WAS_KILLED", 4), 1);
  EXPECT_EQ(log.Count("TS_PROCESS_CRASHED", 4), 1);
  EXPECT_EQ(log.Count("", 4, "TnBrowserAdaptUI::OnRenderProcessTemerate"), 1);
  EXPECT_EQ(page->IsRenderCrashed(), 1);
  EXPECT_EQ(core->crashes(), 0);

  IBrowserView* main = Create(Settings(u"TnMain"));
  Pb(main)->OnRenderProcessTemerate(0, 1);  // killed: not told now
  EXPECT_EQ(core->crashes(), 0);
  BrowserOf(main)->FinishClose();  // ... but at the end, since it did crash
  EXPECT_EQ(core->crashes(), 1);

  IBrowserView* crashed = Create(Settings(u"TnMain"));
  Pb(crashed)->OnRenderProcessTemerate(0, 2);
  EXPECT_EQ(core->crashes(), 2);
  BrowserOf(crashed)->FinishClose();

  log.Clear();
  IBrowserView* coreless = Create(Settings(u"TnMain", 0, "", false));
  Pb(coreless)->OnRenderProcessTemerate(0, 2);
  EXPECT_EQ(coreless->IsRenderCrashed(), 1);
  EXPECT_EQ(log.CountPrefix("TS_"), 0);
  for (IBrowserView* v : {page, main, crashed, coreless}) v->Release();
}

TEST_F(PageLifeCycle, DroppedFilesAreToldThroughTheEventBus) {
  namespace fs = std::filesystem;
  const ScratchDir scratch("tnwebui-drop");
  const fs::path dir = scratch.path();
  fs::create_directories(dir / "folder");
  std::ofstream(dir / "note.txt") << "12345";
  IBrowserView* view = Create(Settings(u"v"));
  Pb(view)->OnFilesDropped({tnwebui::Utf8ToWide((dir / "folder").string()),
                            tnwebui::Utf8ToWide((dir / "note.txt").string())});
  const auto posted = eventBus.posted();
  ASSERT_EQ(posted.size(), 1u);
  EXPECT_EQ(posted[0].kind, "files");
  EXPECT_EQ(posted[0].name, "tn.ondragfile");
  EXPECT_EQ(posted[0].type, Pb(view)->browser()->GetId());
  interdata::CoreMediaInfoList list;
  ASSERT_TRUE(list.ParseFromString(posted[0].data));
  ASSERT_EQ(list.infos_size(), 2);
  EXPECT_EQ(list.infos(0).name(), "folder");
  EXPECT_EQ(list.infos(0).type(), interdata::DIR);
  EXPECT_EQ(list.infos(0).size(), 0);
  EXPECT_EQ(list.infos(1).type(), interdata::GENERICFILE);
  EXPECT_EQ(list.infos(1).size(), 5);
  EXPECT_EQ(list.infos(1).localpath(), (dir / "note.txt").string());
  EXPECT_EQ(list.infos(1).localstate(), interdata::Prepared);
  view->Release();
}

TEST_F(PageLifeCycle, DraggedFilesAreDescribedOnRequest) {
  IBrowserView* view = Create(Settings(u"v"), "file://tavrin5main/index.html");
  Pb(view)->OnFilesDragged({u"/nonexistent/a.png"});
  PageFunction f;
  BrowserOf(view)->page()->Call("tnpc.exebusinessaction", {Str("common"), Str("getdragfilenames"),
                                                           Str(""), Str(""), Str("d"), f.value});
  engine.RunUntilIdle();
  ASSERT_EQ(f.calls->size(), 1u);
  Json::Value files;
  ASSERT_TRUE(tnwebui::ParseJson((*f.calls)[0][1]->GetStringValue().ToString(), files));
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(files[0]["fileName"].asString(), "a.png");
  EXPECT_EQ(files[0]["mimeType"].asString(), "image/png");
  view->Release();
}

TEST_F(PageLifeCycle, FilteringKeepsTheClientsOwnPages) {
  IBrowserView* view = Create(Settings(u"v"));
  EXPECT_TRUE(Pb(view)->IsFilteredUrl(Text("https://x.test/").get()));
  EXPECT_FALSE(Pb(view)->IsFilteredUrl(Text("file://tavrin5main/a.html").get()));
  Pb(view)->settings()->SetFilterUrl(0);
  EXPECT_FALSE(Pb(view)->IsFilteredUrl(Text("https://x.test/").get()));
  view->Release();
}

TEST_F(PageLifeCycle, DownloadsFromTheCoreOpenTheSaveDialogOnTheUiThread) {
  IBrowserView* view = Create(Settings(u"v"));
  IBrowserViewCallback* callback = view->GetCallback();
  std::thread([&] {
    callback->OnBusinessResult(u"OpenUrl", u"Download", u"cb", 0, u"{\"file\":1}");
  }).join();
  EXPECT_TRUE(core->calls().empty());  // waits for the UI thread
  engine.RunUntilIdle();
  const auto calls = core->calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].business, u"openurl");
  EXPECT_EQ(calls[0].action, u"OpenSaveAsWnd");
  EXPECT_EQ(calls[0].param, u"0");
  EXPECT_EQ(calls[0].json, u"{\"file\":1}");
  EXPECT_EQ(calls[0].callbackId, u"0");
  view->Release();
}

TEST_F(PageLifeCycle, PopupsAndRevealedFilesGoThroughThePlatform) {
  IBrowserView* view = Create(Settings(u"v"));
  Pb(view)->OnPopup();
  auto* popup = engine.browsers().back();
  EXPECT_EQ(popup->url(), "file://test/newpage.html");
  EXPECT_EQ(popup->param().popupOption, 20);
  EXPECT_EQ(popup->param().viewType, 4);
  EXPECT_EQ(factory->size(), 2u);

  std::vector<std::string> lines;
  auto previous = win::SetLauncher([&](const std::string& line, const std::vector<std::string>&) {
    lines.push_back(line);
    return true;
  });
  Pb(view)->OnRevealFile(Text("/tmp/report.pdf").get());
  Pb(view)->OnRevealFile(Text("/" + std::string(300, 'x')).get());
  win::SetLauncher(previous);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "/usr/bin/explorer.exe /select, \"/tmp/report.pdf\"");
  EXPECT_EQ(lines[1].substr(0, 35), "/usr/bin/explorer.exe /select, \"\\\\?");
  view->Release();
}

TEST_F(PageLifeCycle, TheEndOfTheBrowserTellsTheCoreAndThePageHost) {
  RecordingPageHost pageHost;
  IBrowserView* view = Create(Settings(u"v"));
  view->SetPageHost(&pageHost);
  const int shadows = tnmainui::RecordingShadow::Live();
  BrowserOf(view)->FinishClose();
  EXPECT_EQ(pageHost.closed, 1);
  EXPECT_EQ(tnmainui::RecordingShadow::Live(), shadows - 1);
  EXPECT_EQ(core->refs(), 2u);  // the settings still hold theirs; the view gave its own back
  view->Release();
}
