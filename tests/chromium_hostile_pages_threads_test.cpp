// Hostile and unusual pages on the Chromium engine: frames that write calls as another
// document, navigations between client and foreign pages, frames of other sites at the desktop
// origin, a page's own dialogs, workers, popups and a policy that shuts every channel.

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "chromium_fixture.h"

namespace {

int CallsOf(tnmainui::ScriptedBusinessCore* core, const char16_t* action) {
  const auto calls = core->calls();
  return static_cast<int>(
      std::count_if(calls.begin(), calls.end(), [&](const auto& c) { return c.action == action; }));
}

}  // namespace

TEST_F(ChromiumPages, AFrameCannotCallAsAnotherDocument) {
  Json::Value results;
  auto* page = OpenAnswered(
      u"Forge", "file://tavrin5main/forge.html", u"for the page", &results,
      [](const Json::Value& r) { return r["forgedFrames"].asInt() == 2 && r["mine"].isString(); });
  ASSERT_NE(page, nullptr) << results.toStyledString();
  Pump([] { return false; }, 100);  // beacons and bindings a moment to arrive
  ASSERT_TRUE(EvaluatePumping(page, "window.results", &results));
  EXPECT_EQ(results["mine"].asString(), "for the page");
  EXPECT_EQ(results["hijacked"].asInt(), 0);  // no forged answer ran the page's function
  EXPECT_EQ(CallsOf(cores.back(), u"forged"), 0);
  EXPECT_EQ(CallsOf(cores.back(), u"mine"), 1);
  EXPECT_GT(log.CountPrefix("browser "), 0);
  EXPECT_GT(log.Count("browser " + std::to_string(page->GetId()) +
                          ": a call (request) that names no document of its own is dropped",
                      kTnLogInfo, "Engine::DropUnproven"),
            0);
}

TEST_F(ChromiumPages, RightsFollowTheAddressThatTheMainFrameCommitted) {
  auto* page = Open(u"Rights", u"org-1", "file://tavrin5/rights.html", "{}");
  ASSERT_NE(page, nullptr);
  AnswerEveryCallWith(u"ok");
  ASSERT_TRUE(Pump([&] { return CallsOf(cores.back(), u"onload") == 1; }));
  EXPECT_EQ(CallsOf(cores.back(), u"firstline"), 1);
  // A foreign page reached from the client's: none of its calls has the client's rights.
  page->LoadUrl("https://tavrin5.frames.invalid/rights.html");
  Json::Value results;
  ASSERT_TRUE(PumpResults(page, &results, [](const Json::Value& r) {
    return r["host"] == "tavrin5.frames.invalid" && r["loaded"].asBool();
  })) << results.toStyledString();
  Pump([] { return false; }, 60);
  EXPECT_EQ(CallsOf(cores.back(), u"firstline"), 1);
  EXPECT_EQ(CallsOf(cores.back(), u"onload"), 1);
  // A client page reached from a foreign one: its first line already has them.
  page->LoadUrl("file://tavrin5/rights.html");
  EXPECT_TRUE(Pump([&] { return CallsOf(cores.back(), u"onload") == 2; }));
  EXPECT_EQ(CallsOf(cores.back(), u"firstline"), 2);
}

TEST_F(ChromiumPages, AFrameOfAnotherSiteCannotCommandItsWindow) {
  auto* page = Open(u"Probe", u"org-1", "file://tavrin5main/probe-host.html", "{}");
  ASSERT_NE(page, nullptr);
  Json::Value results;
  ASSERT_TRUE(PumpResults(page, &results, [](const Json::Value& r) {
    return r["own"].isString() && r["frame"].isObject();
  })) << results.toStyledString();
  EXPECT_EQ(results["own"].asString(), "Probe");  // the window's own page reads its data
  EXPECT_EQ(results["frame"]["init"].asString(), "refused");
  EXPECT_EQ(results["frame"]["min"].asString(), "refused");
  EXPECT_EQ(log.Count("browser " + std::to_string(page->GetId()) +
                          ": a desktop request of a frame that is not the window's is refused: "
                          "/window/min",
                      kTnLogInfo, "Engine::ServeDesktopRequest"),
            1);
}

TEST_F(ChromiumPages, APagesOwnDialogsAreAnsweredAndNeverBlockIt) {
  auto* page = Open(u"Dialogs", u"org-1", "file://tavrin5main/dialogs.html", "{}");
  ASSERT_NE(page, nullptr);
  Json::Value results;
  ASSERT_TRUE(PumpResults(page, &results, [](const Json::Value& r) { return r["done"].asBool(); }))
      << results.toStyledString();
  EXPECT_EQ(results["alert"].asString(), "undefined");
  EXPECT_EQ(results["confirm"], false);
  EXPECT_TRUE(results["prompt"].isNull());
  EXPECT_EQ(results["canGoBack"].asString(), "boolean");
  // The host's evaluation on a page in a dialog: answered (this thread is not pumping).
  Json::Value value;
  ASSERT_TRUE(page->Evaluate("setTimeout(function () { alert('later'); }, 0); 1", &value));
  Pump([] { return false; }, 20);
  EXPECT_TRUE(page->Evaluate("2 + 2", &value, 3000));
  EXPECT_EQ(value.asInt(), 4);
  // A question before leaving lets the page go (the click gives it the user's activation).
  ASSERT_TRUE(page->Click(5, 5));
  page->LoadUrl("file://tavrin5main/index.html");
  EXPECT_TRUE(Pump([&] { return page->url() == "file://tavrin5main/index.html"; }));
  EXPECT_EQ(log.Count("a page's confirm is answered false: Go on?", kTnLogInfo,
                      "Engine::AnswerPageDialog"),
            1);
}

TEST_F(ChromiumPages, WorkersGetNothingOfThePageAndASharedWorkerHidesNoEnd) {
  auto* page = Open(u"Workers", u"org-1", "file://tavrin5main/workers.html", "{}");
  ASSERT_NE(page, nullptr);
  Json::Value results;
  ASSERT_TRUE(PumpResults(page, &results, [](const Json::Value& r) {
    return r["workers"].asInt() == 101;
  })) << results.toStyledString();
  EXPECT_EQ(results["native"].asInt(), 0);
  EXPECT_TRUE(page->frame_sessions().empty());
  page->Close(0);
  EXPECT_TRUE(Pump([&] { return factory->size() == 0; }));
  EXPECT_FALSE(page->alive());
}

TEST_F(ChromiumPages, APopupIsClosedAndItsOpenersViewHearsOfIt) {
  auto* page = Open(u"Popup", u"org-1", "file://tavrin5main/popup.html", "{}");
  ASSERT_NE(page, nullptr);
  Json::Value results;
  ASSERT_TRUE(PumpResults(page, &results, [](const Json::Value& r) { return r.isObject(); }));
  const std::size_t before = engine.browsers().size();
  ASSERT_TRUE(page->Click(50, 50));
  ASSERT_TRUE(
      PumpResults(page, &results, [](const Json::Value& r) { return r["opened"].asInt() == 1; }));
  // The view's own popup path made a browser of the engine's; the page's popup is gone.
  ASSERT_TRUE(Pump([&] { return engine.browsers().size() == before + 1; }));
  auto popups = [&] {
    Json::Value targets;
    int count = 0;
    if (!engine.connection().Call("Target.getTargets", Json::Value(), "", &targets)) return -1;
    for (const Json::Value& t : targets["targetInfos"]) count += t["openerId"] == page->target();
    return count;
  };
  EXPECT_TRUE(Pump([&] { return popups() == 0; }));
  xhav::cdp::PageBrowser* popupView = engine.browsers().back();
  popupView->Close(0);
  EXPECT_TRUE(Pump([&] { return !popupView->alive(); }));
  EXPECT_EQ(
      log.CountPrefix("browser " + std::to_string(page->GetId()) + ": a page it opened is closed"),
      1);
}

TEST_F(ChromiumPages, APolicyThatShutsEveryChannelIsToldOnceAndOthersSeeNoRefusal) {
  auto* page = Open(u"Sandbox", u"org-1", "file://tavrin5main/csp-sandbox.html", "{}");
  ASSERT_NE(page, nullptr);
  Json::Value results;
  ASSERT_TRUE(PumpResults(page, &results, [](const Json::Value& r) { return r["done"].asBool(); }))
      << results.toStyledString();
  EXPECT_EQ(results["back0"].asString(), "undefined");
  EXPECT_TRUE(Pump([&] {
    return log.CountPrefix("browser " + std::to_string(page->GetId()) +
                           ": a document's policy refuses both") == 1;
  }));
  // Under a policy that refuses the call origin, the engine's channel is no violation of it.
  auto* strict = Open(u"Strict", u"org-1", "file://tavrin5main/csp-connect-none.html", "{}");
  ASSERT_NE(strict, nullptr);
  ASSERT_TRUE(
      PumpResults(strict, &results, [](const Json::Value& r) { return r["done"].asBool(); }));
  EXPECT_EQ(results["canGoBack"].asString(), "boolean");
  for (const Json::Value& v : results["violations"])
    EXPECT_EQ(v.asString().find("tnpc-call"), std::string::npos) << v.asString();
}

// A client app with three widgets: a frame of another site, a sandboxed frame of the app's
// own address and a frame of the app's origin. Only the last acts for the window: business
// actions, window commands, the SDK and the window's data; a call id written to break out of
// the SDK's answer stays text; a link in a widget that navigates the window to the desktop
// origin leaves it where it is.
TEST_F(ChromiumPages, OnlyDocumentsOfTheWindowsOriginActForIt) {
  Json::Value results;
  // A view that lets its pages go to other sites: only the desktop origin keeps the window here.
  auto* page = OpenAnswered(
      u"Widgets", "file://tavrin5main/widgets.html", u"the app's data", &results,
      [](const Json::Value& r) {
        return r["widgets"].size() == 3 && r["mine"].isString() && r["answered"].size() >= 1;
      },
      [](IBrowserViewSetting* s) { s->SetFilterUrl(0); });
  ASSERT_NE(page, nullptr) << results.toStyledString();
  const Json::Value& foreign = results["widgets"]["foreign"];
  const Json::Value& sandboxed = results["widgets"]["sandboxed"];
  const Json::Value& same = results["widgets"]["same"];
  for (const Json::Value* w : {&foreign, &sandboxed}) {
    EXPECT_EQ((*w)["object"], "object") << w->toStyledString();
    EXPECT_EQ((*w)["minwnd"], "function");  // the window's functions are there, and do nothing
    EXPECT_EQ((*w)["business"], "undefined");
    EXPECT_EQ((*w)["events"], "undefined");
    EXPECT_EQ((*w)["init"], "refused");
  }
  EXPECT_EQ(same["business"], "function");
  EXPECT_EQ(same["events"], "function");
  EXPECT_EQ(same["init"], "answered");
  EXPECT_EQ(results["mine"], "the app's data");
  EXPECT_EQ(CallsOf(cores.back(), u"steal"), 1);  // the same-origin widget's
  Pump([] { return false; }, 60);
  ASSERT_TRUE(EvaluatePumping(page, "window.results", &results));
  ASSERT_EQ(results["answered"].size(), 1u) << results.toStyledString();
  EXPECT_EQ(results["answered"][0], "same-cb'+(top.results.injected=1)+'");
  EXPECT_FALSE(results.isMember("injected"));
  EXPECT_FALSE(win::IsIconic(page->GetWindowHandle()));
  const std::string browser = "browser " + std::to_string(page->GetId());
  EXPECT_EQ(log.Count(browser + ": a frame without its window's rights may not act on it: minwnd",
                      kTnLogInfo, "RenderSide::Browser"),
            2);
  EXPECT_EQ(log.Count(browser + ": SDK messages of a frame of another origin than its window's are "
                                "dropped",
                      kTnLogInfo, "PageBrowser::OnFetchJSMessage"),
            2);
  // The foreign widget's link to the desktop, clicked (again while a loaded machine has not yet
  // laid the frame out under the pointer): the window stays on its page.
  const auto refused = [&] {
    return log.Count(browser + ": a navigation to the desktop origin is refused: /window/min",
                     kTnLogInfo, "Engine::ServeDesktopRequest");
  };
  for (int i = 0; i < 40 && refused() == 0; ++i) {
    ASSERT_TRUE(page->Click(100, 50));
    PumpUntil([&] { return refused() > 0; }, 500);
  }
  EXPECT_GE(refused(), 1);
  Pump([] { return false; }, 60);
  EXPECT_FALSE(win::IsIconic(page->GetWindowHandle()));
  EXPECT_EQ(page->url(), "file://tavrin5main/widgets.html");
}

namespace {

// A client window (its initial data the user's) with a sign-in frame of another site that, once
// clicked, sends the window's main frame to `to`. The app reads its own data first; the frame is
// then clicked. Null when any step fails.
// `filter`: the view's settings filter addresses (the default); the window then stays on the
// app's page, which is returned once a click has been refused.
xhav::cdp::PageBrowser* BreakOutOf(ChromiumPages* test, const char* to, bool filter = false) {
  const std::string url = std::string("file://tavrin5main/breakout.html?to=") + to;
  auto* page =
      test->OpenView(u"Breakout", url.c_str(), R"({"name":"the user","token":"session"})",
                     [filter](IBrowserViewSetting* s) { s->SetFilterUrl(filter ? 1 : 0); });
  Json::Value results;
  if (!page || !test->PumpResultsOf(page, &results, [](const Json::Value& r) {
        return r["signin"].asBool() && r["app"].isString() &&
               r["app"].asString().find("the user") != std::string::npos;
      }))
    return nullptr;
  // The frame tells it is there before its link can take a click: clicked until the window
  // leaves the app's page.
  const std::string app = page->url();
  for (int i = 0; i < 40; ++i) {
    if (!page->Click(100, 50)) return nullptr;
    if (test->PumpUntil([&] { return page->url() != app; }, 250)) return page;
    if (filter && test->Stayed("is filtered by the view") > 0) return page;
  }
  return nullptr;
}

}  // namespace

// A frame that broke out of its app holds the window; its pages read none of the window's data,
// by the business action or the desktop, and the window's address follows them.
TEST_F(ChromiumPages, APageThatTookTheWindowReadsNoneOfItsData) {
  auto* page = BreakOutOf(this, "foreign");
  ASSERT_NE(page, nullptr);
  Json::Value results;
  ASSERT_TRUE(PumpResults(page, &results, [](const Json::Value& r) {
    return r["landed"].asBool() && r["desktop"].isString();
  })) << results.toStyledString();
  Pump([] { return false; }, 100);
  ASSERT_TRUE(EvaluatePumping(page, "window.results", &results));
  EXPECT_TRUE(results["init"].isNull()) << results.toStyledString();
  EXPECT_EQ(results["desktop"].asString().find("the user"), std::string::npos);
  EXPECT_EQ(page->url(), "https://tavrin5main.frames.invalid/landed.html");
  EXPECT_EQ(log.Count("the initial data is kept from a page of another origin: "
                      "https://tavrin5main.frames.invalid/landed.html",
                      kTnLogError, "TnBrowserAdaptUI::SendInitData"),
            1);
}

// In a view that filters addresses (the settings' default) the frame's click is refused before
// the other site's document is fetched: the window stays on the app, whose page goes on.
TEST_F(ChromiumPages, AFilteringViewKeepsItsWindowFromAFrameThatBreaksOut) {
  auto* page = BreakOutOf(this, "foreign", true);
  ASSERT_NE(page, nullptr);
  EXPECT_GE(Stayed("is filtered by the view"), 1);
  Pump([] { return false; }, 300);
  EXPECT_EQ(page->url(), "file://tavrin5main/breakout.html?to=foreign");
  Json::Value results;
  ASSERT_TRUE(EvaluatePumping(page, "window.results", &results));
  EXPECT_TRUE(results["signin"].asBool()) << results.toStyledString();
}

// The same frame sends the window to about:blank, whose document the frame's site may script:
// the window's address is about:blank, and a call from there is no client page's.
TEST_F(ChromiumPages, TheWindowsAddressFollowsItsMainFrameToAboutBlank) {
  auto* page = BreakOutOf(this, "blank");
  ASSERT_NE(page, nullptr);
  ASSERT_TRUE(Pump([&] { return page->url() == "about:blank"; })) << page->url();
  Json::Value ignored;
  EvaluatePumping(page,
                  "window.results = {init: null}; window.tnpc && tnpc.exebusinessaction && "
                  "tnpc.exebusinessaction('common', 'GetInitData', '', '{}', 'blank', "
                  "function (code, data) { window.results.init = data; }); true",
                  &ignored);
  Pump([] { return false; }, 100);
  Json::Value results;
  ASSERT_TRUE(EvaluatePumping(page, "window.results", &results));
  EXPECT_TRUE(results["init"].isNull()) << results.toStyledString();
}

// A frame of the app's own origin repeats the app's key while the app's answer is on its way:
// the answer reaches the app, the frame's call is not made.
void ChromiumPages::ExpectAnAnswerGoesToTheDocumentThatAskedForIt() {
  auto* page = Open(u"Answers", u"org-1", "file://tavrin5main/answers.html", "{}");
  ASSERT_NE(page, nullptr);
  std::vector<tnmainui::BusinessCall> held;
  cores.back()->SetHandler([&held](const tnmainui::BusinessCall& call) {
    held.push_back(call);
    return S_OK;
  });
  Json::Value results;
  ASSERT_TRUE(PumpResults(page, &results, [&](const Json::Value& r) {
    return r["repeated"].asBool() && !held.empty();
  })) << results.toStyledString();
  PumpFor(300);  // the frame's call, were it made, reaches the core meanwhile
  for (const auto& call : held) {
    call.callback->OnBusinessResult(call.business.c_str(), call.action.c_str(),
                                    call.callbackId.c_str(), 0, u"the app's user profile");
  }
  ASSERT_TRUE(PumpResults(page, &results, [](const Json::Value& r) { return r["app"].isString(); }))
      << results.toStyledString();
  PumpFor(200);
  ASSERT_TRUE(EvaluatePumping(page, "window.results", &results));
  EXPECT_EQ(results["app"], "the app's user profile");
  EXPECT_TRUE(results["frame"].isNull()) << results.toStyledString();
  EXPECT_EQ(held.size(), 1u);
  if (!engine.render_host()) return;  // a render host process logs for itself
  EXPECT_EQ(log.Count("the callback [contact_profile_p] waits for another document's answer, not "
                      "replaced",
                      kTnLogError, "CCefV8HandlerImpl::AddJsFunCallback"),
            1);
}

TEST_F(ChromiumPages, AnAnswerGoesToTheDocumentThatAskedForIt) {
  ExpectAnAnswerGoesToTheDocumentThatAskedForIt();
}

TEST_F(ChromiumRenderHost, AnAnswerGoesToTheDocumentThatAskedForIt) {
  ExpectAnAnswerGoesToTheDocumentThatAskedForIt();
}

// A frame of another site whose policy refuses the call origin has its object and its calls by
// prompts, which the page's target raises for it: they are served as the frame's, at once.
TEST_F(ChromiumPages, AFramesPromptsAreServedAsTheFramesOwn) {
  auto* page = Open(u"CspFrame", u"org-1", "file://tavrin5main/csp-frames.html", "{}");
  ASSERT_NE(page, nullptr);
  Json::Value results;
  ASSERT_TRUE(PumpResults(page, &results, [](const Json::Value& r) {
    return r["frame"].isObject();
  })) << results.toStyledString();
  const Json::Value& frame = results["frame"];
  EXPECT_EQ(frame["tnpc"], "object") << frame.toStyledString();
  EXPECT_EQ(frame["back"], "boolean");
  EXPECT_LT(frame["ms"].asInt(), 5000);  // not the watchdog's answer
}

// A page of another site makes a slow call and sends its window to a client page at once: the
// call's message arrives after the client page committed, and is not judged by its address.
TEST_F(ChromiumRenderHost, ACallInFlightIsJudgedByItsOwnDocument) {
  auto* page =
      Open(u"InFlight", u"org-1", "https://tavrin5main.frames.invalid/inflight.html", "{}");
  ASSERT_NE(page, nullptr);
  AnswerEveryCallWith(u"ok");
  ASSERT_TRUE(Pump([&] { return page->url() == "file://tavrin5main/index.html"; })) << page->url();
  PumpFor(2000);  // the slow call's message, were it delivered, reaches the core meanwhile
  EXPECT_EQ(CallsOf(cores.back(), u"secret"), 0);
}

// An SDK identity that one window's app configured is that document's: a page of another site
// in another window is still refused until it configures itself.
TEST_F(ChromiumRenderHost, AnSdkIdentityStaysWithTheDocumentThatConfiguredIt) {
  Json::Value results;
  auto answered = [](const Json::Value& r) { return r["contacts"].isInt(); };
  ASSERT_NE(OpenAnswered(u"App", "file://tavrin5main/sdk-identity.html?config=1",
                         u"{\"appIdImplId\":\"impl-of-the-app\"}", &results, answered),
            nullptr)
      << results.toStyledString();
  EXPECT_EQ(results["config"], 0);
  EXPECT_EQ(results["contacts"], 0);
  ASSERT_NE(OpenAnswered(u"Other", "https://tavrin5main.frames.invalid/sdk-identity.html", u"{}",
                         &results, answered),
            nullptr)
      << results.toStyledString();
  EXPECT_EQ(results["contacts"], -4);  // PERMISSION_DENIED
}

namespace {

// A call whose body names its document twice is no call; the same call written once is.
void ExpectACallThatNamesTwoDocumentsIsRefused(ChromiumPages* test, xhav::cdp::PageBrowser* page,
                                               Json::Value* results) {
  ASSERT_NE(page, nullptr);
  ASSERT_TRUE(test->PumpResultsOf(page, results, [](const Json::Value& r) {
    return r["done"].asBool();
  })) << results->toStyledString();
  EXPECT_EQ((*results)["once"], "boolean");
  EXPECT_EQ((*results)["twice"], "undefined");
  EXPECT_EQ((*results)["after"], "boolean");
}

}  // namespace

TEST_F(ChromiumPages, ACallThatNamesTwoDocumentsIsRefused) {
  Json::Value results;
  ExpectACallThatNamesTwoDocumentsIsRefused(
      this, Open(u"Twice", u"org-1", "file://tavrin5main/dupkeys.html", "{}"), &results);
}

TEST_F(ChromiumRenderHost, ACallThatNamesTwoDocumentsIsRefused) {
  Json::Value results;
  ExpectACallThatNamesTwoDocumentsIsRefused(
      this, Open(u"Twice", u"org-1", "file://tavrin5main/dupkeys.html", "{}"), &results);
}

// A light app served from its own site reads its window's desktop answers; a frame of another
// site in it still may not.
TEST_F(ChromiumPages, AWindowsOwnPageReadsItsDesktopAnswersWhateverItsOrigin) {
  auto* page =
      Open(u"OwnSite", u"org-1", "https://tavrin5main.frames.invalid/probe-host.html", "{}");
  ASSERT_NE(page, nullptr);
  Json::Value results;
  ASSERT_TRUE(PumpResults(page, &results, [](const Json::Value& r) {
    return r["own"].isString() && r["frame"].isObject();
  })) << results.toStyledString();
  EXPECT_EQ(results["own"].asString(), "OwnSite");
  EXPECT_EQ(results["frame"]["init"].asString(), "refused");
}
