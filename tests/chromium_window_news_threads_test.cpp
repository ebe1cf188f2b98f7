// What a window and a person cause on real pages: navigations asked of the view, a window's
// state and activation, files dragged from the desktop. Each is driven as a page or a person
// would (a click on a link, a title-bar button, a drag through Chromium's input), never by
// calling the view's notification.

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>

#include "chromium_fixture.h"
#include "coretnmedia.pb.h"
#include "scratch_dir.h"
#include "win/user.h"

namespace {

namespace fs = std::filesystem;

Json::Value Texts(std::initializer_list<const char*> texts) {
  Json::Value array(Json::arrayValue);
  for (const char* text : texts) array.append(text);
  return array;
}

class ChromiumWindowNews : public ChromiumPages {
 protected:
  // Opens `url` in a view of org-1 whose settings `tweak` may change; waits for its results.
  xhav::cdp::PageBrowser* OpenReady(const std::u16string& name, const char* url,
                                    const std::function<void(IBrowserViewSetting*)>& tweak = {}) {
    auto* page = Open(name, u"org-1", url, "{}", tweak);
    Json::Value results;
    if (!page ||
        !PumpResults(page, &results, [](const Json::Value& r) { return r["ready"].asBool(); }))
      return nullptr;
    return page;
  }
  Json::Value Results(xhav::cdp::PageBrowser* page) {
    Json::Value results;
    EvaluatePumping(page, "window.results", &results);
    return results;
  }
  std::string Location(xhav::cdp::PageBrowser* page) {
    Json::Value href;
    EvaluatePumping(page, "location.href", &href);
    return href.asString();
  }
  void ClickLink(xhav::cdp::PageBrowser* page, const char* id) {
    Json::Value ignored;
    EvaluatePumping(page, std::string("document.getElementById('") + id + "').click()", &ignored);
  }
  std::vector<std::u16string> OpenUrlTargets() {
    std::vector<std::u16string> targets;
    for (const auto& call : cores.back()->calls()) {
      if (call.business == u"OpenUrl") targets.push_back(call.json);
    }
    return targets;
  }
};

// A page's own navigations and the host's loads are asked of the view before a byte of the new
// document is fetched: the company's addresses and the client's scheme go to the client and the
// view stays; a filtering view keeps a page from going to another site, and one that doesn't
// filter lets it go.
TEST_F(ChromiumWindowNews, NavigationsAreAskedOfTheViewFirst) {
  auto* page = OpenReady(u"Nav", "file://tavrin5main/notices.html");
  ASSERT_NE(page, nullptr);
  const std::string home = Location(page);
  // One after the other: a second click before the first navigation asked would cancel it.
  ClickLink(page, "company");
  ASSERT_TRUE(Pump([&] { return OpenUrlTargets().size() == 1; }));
  ClickLink(page, "courier");
  ASSERT_TRUE(Pump([&] { return OpenUrlTargets().size() == 2; }));
  EXPECT_EQ(OpenUrlTargets()[0], u"zd480courier://docs?id=7");
  EXPECT_EQ(OpenUrlTargets()[1], u"zd480courier://chat/9");
  ClickLink(page, "foreign");
  ASSERT_TRUE(Pump([&] { return Stayed("is filtered by the view") == 1; }))
      << "the filtered navigation was not logged";
  PumpFor(300);
  EXPECT_EQ(Location(page), home);
  EXPECT_TRUE(Results(page)["ready"].asBool()) << "the page was reloaded or left";
  EXPECT_EQ(Stayed("is the client's to open"), 2);

  // The host's own load of another site isn't filtered; the same link in a view that doesn't
  // filter loads.
  auto* open = OpenReady(u"Open", "file://tavrin5main/notices.html",
                         [](IBrowserViewSetting* s) { s->SetFilterUrl(0); });
  ASSERT_NE(open, nullptr);
  ClickLink(open, "foreign");
  EXPECT_TRUE(Pump([&] { return Results(open)["landed"].asBool(); }));
  page->LoadUrl("https://tavrin5main.frames.invalid/landed.html");
  EXPECT_TRUE(Pump([&] { return Results(page)["landed"].asBool(); }));
}

// A window's state and activation as the window model raises them: the title bar's maximise,
// restore and minimise reach a light app as "tn.onwindowChange" (restored 0, minimised 1,
// maximised 2), and a page hears "updateactivestate" as another window takes the focus.
TEST_F(ChromiumWindowNews, StateAndActivationReachThePage) {
  module.SetAppFolder(TNWEBUI_BUILD_DIR);
  // The page's subscriptions reach the host a moment after its script made them.
  auto subscriptions = std::make_shared<std::atomic<int>>(0);
  engine.SetTracer(
      [subscriptions](const char* hop, CefProcessId, int, CefRefPtr<CefProcessMessage> m) {
        if (std::string(hop) == "deliver" && m->GetName() == "registerEvent") ++*subscriptions;
      });
  xhav::BrowserParam* param = tnwebui::NewBrowserParam();
  param->SetShowTitleBar(true);
  param->SetViewType(4);
  param->SetWidth(800);
  param->SetHeight(600);
  factory->CreateLightBrowser(9, "light", "file://tavrin5main/light.html", param, nullptr);
  param->Destroy();
  xhav::cdp::PageBrowser* light = engine.browsers().back();
  Json::Value results;
  ASSERT_TRUE(
      PumpResults(light, &results, [](const Json::Value& r) { return r["ready"].asBool(); }));
  ASSERT_TRUE(Pump([&] { return *subscriptions >= 2; }));
  HWND bar = nullptr;
  for (HWND child : win::GetChildren(light->GetWindowHandle())) {
    if (win::GetWindowState(child).className == "TN_WEB_TITLE") bar = child;
  }
  ASSERT_NE(bar, nullptr);
  const std::vector<HWND> buttons = win::GetChildren(bar);  // close, maximise, minimise
  ASSERT_GE(buttons.size(), 3u);
  auto press = [](HWND button) {
    win::SendMessageW(button, win::WM_LBUTTONDOWN, 0, win::MAKELPARAM(10, 10));
    win::SendMessageW(button, win::WM_LBUTTONUP, 0, win::MAKELPARAM(10, 10));
  };
  auto changes = [&] {
    Json::Value r = Results(light);
    return r["windowChanges"];
  };
  press(buttons[1]);  // maximise
  ASSERT_TRUE(Pump([&] { return changes().size() == 1; })) << changes().toStyledString();
  EXPECT_TRUE(win::IsZoomed(light->GetWindowHandle()));
  press(buttons[1]);  // the same button restores
  press(buttons[2]);  // minimise
  ASSERT_TRUE(Pump([&] { return changes().size() == 3; })) << changes().toStyledString();
  EXPECT_EQ(changes(), Texts({"2", "0", "1"}));
  win::ShowWindow(light->GetWindowHandle(), win::SW_RESTORE);

  // Activation: the view's window, active since it was shown, loses it to another window and
  // gets it back. (A page hears changes from its first line on; what came before, it can ask.)
  auto* page = OpenReady(u"Active", "file://tavrin5main/notices.html");
  ASSERT_NE(page, nullptr);
  auto heard = [&] { return Results(page)["active"]; };
  win::SetForegroundWindow(light->GetWindowHandle());
  win::SetForegroundWindow(page->GetWindowHandle());
  win::SetForegroundWindow(light->GetWindowHandle());
  ASSERT_TRUE(Pump([&] { return heard().size() == 2; })) << heard().toStyledString();
  EXPECT_EQ(heard(), Texts({"active", "inactive"}));
  light->Close(1);
  EXPECT_TRUE(Pump([&] { return !light->alive(); }));
}

// Files and a folder dragged from the desktop reach the client as "tn.ondragfile" with their
// full paths, sizes and kinds; the page's own drop handler sees their names only. A page's
// forged drop reaches nobody, and a drag that is let go elsewhere drops nothing.
TEST_F(ChromiumWindowNews, DroppedFilesReachTheClientWithTheirPaths) {
  ScratchDir dir("drop");
  const std::string file = dir.path() + "/report.txt";
  std::ofstream(file) << "twelve bytes";
  const std::string folder = dir.path() + "/photos";
  fs::create_directory(folder);
  auto* page = OpenReady(u"Drop", "file://tavrin5main/notices.html");
  ASSERT_NE(page, nullptr);

  Json::Value ignored;
  EvaluatePumping(page,
                  "document.getElementById('drop').dispatchEvent(new DragEvent('drop', "
                  "{bubbles: true, dataTransfer: new DataTransfer()})); 0",
                  &ignored);
  page->DragFiles({file}, false);
  PumpFor(300);
  auto dropEvents = [&] {
    std::vector<tnmainui::PostedEvent> found;
    for (const auto& e : bus.posted()) {
      if (e.name == "tn.ondragfile") found.push_back(e);
    }
    return found;
  };
  EXPECT_TRUE(dropEvents().empty());

  page->DragFiles({file, folder}, true);
  ASSERT_TRUE(Pump([&] { return dropEvents().size() == 1; }));
  interdata::CoreMediaInfoList list;
  ASSERT_TRUE(list.ParseFromString(dropEvents()[0].data));
  ASSERT_EQ(list.infos_size(), 2);
  EXPECT_EQ(list.infos(0).localpath(), file);
  EXPECT_EQ(list.infos(0).name(), "report.txt");
  EXPECT_EQ(list.infos(0).size(), 12);
  EXPECT_EQ(list.infos(0).type(), interdata::GENERICFILE);
  EXPECT_EQ(list.infos(1).localpath(), folder);
  EXPECT_EQ(list.infos(1).type(), interdata::DIR);
  EXPECT_EQ(list.infos(1).size(), 0);
  EXPECT_EQ(dropEvents()[0].type, page->GetId());
  const Json::Value r = Results(page);
  EXPECT_EQ(r["pageDrops"].asInt(), 2);  // the forged one and the real one
  EXPECT_EQ(r["dropped"], Texts({"report.txt", "photos"}));
  // The dropped file opened nowhere: the page is still there, and no window was made.
  EXPECT_EQ(Location(page), "https://tavrin5main.pages.invalid/notices.html");
  EXPECT_EQ(engine.browsers().size(), 1u);

  // The same document takes the next drop once; the document that reloads it too.
  page->DragFiles({file}, true);
  ASSERT_TRUE(Pump([&] { return dropEvents().size() == 2; }));
  const Json::Value since = Results(page)["since"];
  page->Reload();
  ASSERT_TRUE(Pump([&] {
    const Json::Value r = Results(page);
    return r["since"] != since && r["ready"].asBool();
  }));
  page->DragFiles({folder}, true);
  ASSERT_TRUE(Pump([&] { return dropEvents().size() == 3; }));
  PumpFor(300);
  ASSERT_EQ(dropEvents().size(), 3u);
  ASSERT_TRUE(list.ParseFromString(dropEvents()[2].data));
  ASSERT_EQ(list.infos_size(), 1);
  EXPECT_EQ(list.infos(0).localpath(), folder);
  EXPECT_EQ(Results(page)["dropped"], Texts({"photos"}));
}

// A file dropped on a frame of another site opens nowhere: not in the frame, not in the window,
// not in a window of its own; and the client hears of no drop (only the main frame's document
// tells of one).
TEST_F(ChromiumWindowNews, AFileDroppedOnAFrameOfAnotherSiteOpensNowhere) {
  ScratchDir dir("drop-frame");
  const std::string file = dir.path() + "/report.txt";
  std::ofstream(file) << "twelve bytes";
  auto* page = OpenReady(u"Framed", "file://tavrin5main/drop-over-frame.html");
  ASSERT_NE(page, nullptr);
  page->DragFiles({file}, true);
  PumpFor(500);
  for (const auto& e : bus.posted()) EXPECT_NE(e.name, "tn.ondragfile");
  Json::Value frame;
  ASSERT_TRUE(EvaluatePumping(page, "document.getElementById('frame').src", &frame));
  EXPECT_EQ(frame.asString(), "https://tavrin5main.frames.invalid/plain.html");
  EXPECT_EQ(Location(page), "https://tavrin5main.pages.invalid/drop-over-frame.html");
  EXPECT_EQ(engine.browsers().size(), 1u);
  Json::Value targets;
  engine.connection().Call("Target.getTargets", Json::Value(), "", &targets);
  for (const Json::Value& info : targets["targetInfos"])
    EXPECT_EQ(info["url"].asString().find("report.txt"), std::string::npos) << info["url"].asString();
}

}  // namespace
