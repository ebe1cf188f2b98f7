// Windows on targets the engine keeps ready: CreateBrowserView returns before the page's target
// is there, a window takes a kept target of its cookie space when there is one, and its page
// and view see nothing that tells it from a window made cold. Accounts never share a target.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "base/CommonFunc.h"
#include "chromium_fixture.h"

namespace {

// What a page and its view see of a window: its document's cookies and storage, its history,
// its native object and its rights, and where the view's window stands.
std::string Facts(xhav::cdp::PageBrowser* page,
                  const std::function<bool(xhav::cdp::PageBrowser*, const std::string&,
                                           Json::Value*)>& evaluate) {
  Json::Value facts;
  const char* expression =
      "JSON.stringify({cookie: document.cookie, stored: localStorage.length,"
      " session: sessionStorage.length, history: history.length,"
      " tnpc: typeof tnpc === 'object' ? Object.keys(tnpc).sort().join() : 'none',"
      " business: typeof tnpc.exebusinessaction, href: location.href,"
      " opener: window.opener === null, referrer: document.referrer})";
  if (!evaluate(page, expression, &facts)) return "(no answer)";
  return facts.asString() + " back=" + (page->CanGoBack() ? "yes" : "no") + " url=" + page->url();
}

class WarmWindows : public ChromiumViews {
 protected:
  void SetUp() override {
    ChromiumViews::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    Json::Value targets;
    engine.connection().Call("Target.getTargets", Json::Value(), "", &targets);
    for (const Json::Value& info : targets["targetInfos"]) {
      if (info["type"] == "page") initial = info["targetId"].asString();
    }
    engine.SetStepTracer([this](int browser, const char* step) {
      std::lock_guard<std::mutex> lock(mutex);
      steps[browser].push_back(step);
    });
  }
  void TearDown() override {
    engine.SetStepTracer(nullptr);  // the steps' map goes before the engine
    ChromiumViews::TearDown();
  }
  // Whether browser `id` got a kept target.
  bool TookAKeptTarget(int id) {
    std::lock_guard<std::mutex> lock(mutex);
    for (const std::string& step : steps[id]) {
      if (step == "a kept target taken") return true;
    }
    return false;
  }
  // Opens `url` behind the loading page for account `org` and waits for the page and its
  // watermark; null when it did not come.
  xhav::cdp::PageBrowser* OpenLoaded(const std::u16string& name, const char16_t* org,
                                     const char* url) {
    const std::string init = std::string(R"({"url":")") + url +
                             R"(","showWatermark":1,"name":"Ann","watermark_modes":["1"],)"
                             R"("cookie":"[{\"Set-Cookie\":\"sid=)" +
                             tnwebui::WideToUtf8(org) + R"(; Path=/\"}]"})";
    auto* page = Open(name, org, "file://tavrin4/loading.html", init);
    if (!page) return nullptr;
    // CreateBrowserView has returned: the page's target may come later.
    Json::Value marked;
    const bool shown = Pump([&] {
      return page->url() == url &&
             EvaluatePumping(page, "!!document.querySelector('div.tavrin-watermark')", &marked) &&
             marked.asBool();
    });
    return shown ? page : nullptr;
  }
  // The cookie space of the fixture's views of `org`.
  static std::string SpaceOf(const char16_t* org) {
    auto* core = new tnmainui::ScriptedBusinessCore(org, "account");
    const std::string space = tnwebui::TnBrowserAdaptUI::CookieSpaceOf(core);
    core->Release();
    return space;
  }
  bool WaitKept(int count) {
    return Pump([&] { return engine.warm_targets() >= count; });
  }
  // The page targets Chromium has, by address, but for the one it starts with.
  std::vector<std::string> PageTargets() {
    Json::Value result;
    engine.connection().Call("Target.getTargets", Json::Value(), "", &result);
    std::vector<std::string> pages;
    for (const Json::Value& info : result["targetInfos"]) {
      if (info["type"] == "page" && info["targetId"] != initial)
        pages.push_back(info["url"].asString());
    }
    return pages;
  }
  std::function<bool(xhav::cdp::PageBrowser*, const std::string&, Json::Value*)> evaluate =
      [this](xhav::cdp::PageBrowser* page, const std::string& e, Json::Value* v) {
        return EvaluatePumping(page, e, v);
      };
  std::mutex mutex;
  std::map<int, std::vector<std::string>> steps;
  std::string initial;  // the page target Chromium starts with
};

constexpr char kPage[] = "file://tavrin5main/index.html";

}  // namespace

TEST_F(WarmWindows, AKeptTargetGivesThePageAndTheViewWhatAColdOneGives) {
  engine.SetWarmTargets(0);
  auto* cold = OpenLoaded(u"Cold", u"org-cold", kPage);
  ASSERT_NE(cold, nullptr);
  EXPECT_FALSE(TookAKeptTarget(cold->GetId()));
  const std::string coldFacts = Facts(cold, evaluate);

  // The first window of another account, on the target kept for it.
  engine.SetWarmTargets(1);
  engine.KeepWarm(SpaceOf(u"org-fresh"));
  ASSERT_TRUE(WaitKept(1));
  auto* again = OpenLoaded(u"Again", u"org-fresh", kPage);
  ASSERT_NE(again, nullptr);
  EXPECT_TRUE(TookAKeptTarget(again->GetId()));
  // What differs from the cold window is only the account's name in its cookie.
  std::string expected = coldFacts;
  const std::string from = "sid=org-cold", to = "sid=org-fresh";
  expected.replace(expected.find(from), from.size(), to);
  EXPECT_EQ(Facts(again, evaluate), expected);
}

// A window opened straight on its page (as a light app's is), on the target its account's last
// window left kept on an empty document of its site: that document is no entry of the page's
// history, as about:blank is none for a cold window.
TEST_F(WarmWindows, ATargetKeptOnASiteLeavesNoEntryInThePagesHistory) {
  auto openStraight = [this](const std::u16string& name, const char16_t* org) {
    auto* page = Open(name, org, kPage, "{}");
    Json::Value ready;
    const bool loaded = page && Pump([&] {
                          return page->url() == kPage &&
                                 EvaluatePumping(page, "document.readyState", &ready) &&
                                 ready == "complete";
                        });
    return loaded ? page : nullptr;
  };
  engine.SetWarmTargets(0);
  auto* cold = openStraight(u"Cold", u"org-site");
  ASSERT_NE(cold, nullptr);
  std::string coldFacts;
  // The browser forgets the target's about:blank once the page has loaded.
  Pump([&] {
    return (coldFacts = Facts(cold, evaluate)).find("\"history\":1,") != std::string::npos;
  });
  ASSERT_NE(coldFacts.find("\"history\":1,"), std::string::npos) << coldFacts;

  engine.SetWarmTargets(1);
  ASSERT_NE(openStraight(u"First", u"org-site"), nullptr);
  ASSERT_TRUE(WaitKept(1));
  const std::vector<std::string> targets = PageTargets();
  EXPECT_EQ(
      std::count(targets.begin(), targets.end(), "https://tavrin5main.pages.invalid/.tnpc-park"), 1)
      << ::testing::PrintToString(targets);
  auto* kept = openStraight(u"Kept", u"org-site");
  ASSERT_NE(kept, nullptr);
  EXPECT_TRUE(TookAKeptTarget(kept->GetId()));
  std::string keptFacts;
  Pump([&] { return (keptFacts = Facts(kept, evaluate)) == coldFacts; });
  EXPECT_EQ(keptFacts, coldFacts);
}

// A target made when its window asks is the window's before its set-up is answered, and its
// navigation goes at once: its first document still has the native object from its first line,
// window after window. The empty document the target starts on is never made known to the
// render side: the page's document is the only one.
TEST_F(WarmWindows, AColdWindowsFirstDocumentHasItsObjectFromItsFirstLine) {
  engine.SetWarmTargets(0);
  for (int i = 0; i < 4; ++i) {
    auto* page = Open(u"Cold-" + std::u16string(1, u'0' + i), u"org-first",
                      "file://tavrin5main/sync.html", "{}");
    ASSERT_NE(page, nullptr);
    Json::Value results;
    ASSERT_TRUE(PumpResults(page, &results,
                            [](const Json::Value& r) { return r["firstLine"].isString(); }));
    EXPECT_FALSE(TookAKeptTarget(page->GetId()));
    EXPECT_EQ(results["firstLine"].asString(), "object") << "window " << i;
    std::lock_guard<std::mutex> lock(mutex);
    const std::vector<std::string>& seen = steps[page->GetId()];
    EXPECT_EQ(std::count(seen.begin(), seen.end(), "the render side knows the document"), 1)
        << "window " << i << ": " << ::testing::PrintToString(seen);
  }
}

TEST_F(WarmWindows, TwoAccountsFromOnePoolEachSeeOnlyTheirOwn) {
  engine.SetWarmTargets(2);
  // Each account's first window leaves its mark in its cookies and storage.
  for (const char16_t* org : {u"org-a", u"org-b"}) {
    auto* page = OpenLoaded(std::u16string(u"mark-") + org, org, kPage);
    ASSERT_NE(page, nullptr);
    Json::Value ignored;
    ASSERT_TRUE(EvaluatePumping(
        page,
        std::string("localStorage.setItem('who', '") + tnwebui::WideToUtf8(org) +
            "'); document.cookie = 'who=" + tnwebui::WideToUtf8(org) + "; path=/'; true",
        &ignored));
  }
  ASSERT_TRUE(WaitKept(2));
  // Each account's next window comes from the pool and sees its own marks only.
  for (const char16_t* org : {u"org-a", u"org-b"}) {
    auto* page = OpenLoaded(std::u16string(u"read-") + org, org, kPage);
    ASSERT_NE(page, nullptr);
    EXPECT_TRUE(TookAKeptTarget(page->GetId()));
    Json::Value seen;
    ASSERT_TRUE(
        EvaluatePumping(page, "localStorage.getItem('who') + ' ' + document.cookie", &seen));
    const std::string own = tnwebui::WideToUtf8(org);
    EXPECT_EQ(seen.asString(), own + " sid=" + own + "; who=" + own);
  }
}

TEST_F(WarmWindows, AWindowClosedBeforeItsTargetCameClosesAndNoKeptTargetOutlivesThePool) {
  engine.SetWarmTargets(0);
  auto* page = Open(u"Gone", u"org-1", kPage, "{}");
  ASSERT_NE(page, nullptr);
  EXPECT_FALSE(page->bound());  // CreateBrowserView returned before the target was made
  page->Close(0);               // waits for the target, then closes it
  EXPECT_TRUE(Pump([&] { return factory->size() == 0; }));
  EXPECT_FALSE(page->alive());

  engine.SetWarmTargets(2);
  auto* shown = OpenLoaded(u"Shown", u"org-1", kPage);
  ASSERT_NE(shown, nullptr);
  ASSERT_TRUE(WaitKept(1));
  engine.KeepWarm(SpaceOf(u"org-2"));  // a host that knows whose window comes next
  ASSERT_TRUE(WaitKept(2));
  shown->Close(0);
  ASSERT_TRUE(Pump([&] { return factory->size() == 0; }));
  // The kept ones only: org-1's on an empty document of the site its window showed first (the
  // loading page's), org-2's on about:blank.
  EXPECT_TRUE(Pump([&] {
    std::vector<std::string> kept = PageTargets();
    std::sort(kept.begin(), kept.end());
    return kept ==
           std::vector<std::string>{"about:blank", "https://tavrin4.pages.invalid/.tnpc-park"};
  })) << ::testing::PrintToString(PageTargets());
  engine.SetWarmTargets(0);
  EXPECT_TRUE(Pump([&] { return PageTargets().empty(); }))
      << ::testing::PrintToString(PageTargets());
}
