// Cookies of a view: from its initial data, and set or deleted on the page's request.

#include "tnbase/files.h"
#include "view_fixture.h"

namespace {

using Cookies = std::map<std::string, std::string>;

}  // namespace

class CookieTest : public ViewFixture {
 protected:
  Cookies Jar(IBrowserView* view) {
    auto all = BrowserOf(view)->cookies();
    return all[tnbase::md5String("org-1account-1")];
  }
  void PageCalls(IBrowserView* view, const std::string& action, const std::string& json,
                 const PageFunction& f) {
    BrowserOf(view)->page()->Call("tnpc.exebusinessaction", {Str("Common"), Str(action), Str(""),
                                                             Str(json), Str("c"), f.value});
    engine.RunUntilIdle();
  }
};

TEST_F(CookieTest, TheInitialDataSetsSessionCookiesOfTheAddressesHost) {
  const std::string init =
      R"({"url":"https://a.test:8443/x/y?q=1","cookie":"[{\"Set-Cookie\":\"sid=42; Path=/; HttpOnly\"},)"
      R"({\"Set-Cookie\":\"a=;x\"},{\"Set-Cookie\":\"=1\"},{\"Set-Cookie\":\"plain=1\"},)"
      R"({\"Set-Cookie\":\"empty=\"},5,{\"Set-Cookie\":7}]"})";
  IBrowserView* view = Create(Settings(u"c", 0, init));
  EXPECT_EQ(Jar(view), (Cookies{{"https://a.test sid", "42"},
                                {"https://a.test a", ";x"},
                                {"https://a.test plain", "1"}}));
  view->Release();
}

TEST_F(CookieTest, InitialDataOfOtherShapesSetsNothing) {
  for (const char* init : {R"({"url":"https://a.test/","cookie":[{"Set-Cookie":"a=1"}]})",
                           R"({"url":"a.test","cookie":"[{\"Set-Cookie\":\"a=1\"}]"})",
                           R"({"cookie":{"a":{}}})", R"(["x"])", "not json"}) {
    IBrowserView* view = Create(Settings(u"c", 0, init));
    EXPECT_TRUE(BrowserOf(view)->cookies().empty()) << init;
    BrowserOf(view)->FinishClose();
    view->Release();
  }
}

TEST_F(CookieTest, APageSetsCookiesInNameOrderAndPassesOverEmptyValues) {
  IBrowserView* view = Create(Settings(u"c"), "file://tavrin5main/index.html");
  PageFunction f;
  PageCalls(view, "SetCookie",
            R"({"url":"http://b.test/p","cookie":{"z":"last","k":"v","e":"","n":5,"o":{},"":"x"}})",
            f);
  EXPECT_EQ(
      Jar(view),
      (Cookies{{"http://b.test k", "v"}, {"http://b.test n", "5"}, {"http://b.test z", "last"}}));
  const auto calls = BrowserOf(view)->calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetCookie"), 3);
  PageCalls(view, "SetCookie", R"({"url":"http://b.test/p","cookie":["k"]})", f);
  EXPECT_EQ(log.Count("setcookie cookies fail", 4, "TnBrowserAdaptUI::SetCookies"), 1);
  PageCalls(view, "SetCookie", R"({"url":"nohost","cookie":{"k":"v"}})", f);
  EXPECT_EQ(log.Count("setcookie cookies fail"), 1);
  EXPECT_TRUE(f.calls->empty());  // setting answers nothing
  view->Release();
}

TEST_F(CookieTest, DeletingAnswersWhetherOrNotAnythingWent) {
  IBrowserView* view = Create(Settings(u"c"), "file://tavrin5main/index.html");
  PageFunction f;
  PageCalls(view, "SetCookie", R"({"url":"http://b.test","cookie":{"k":"v","m":"w"}})", f);
  PageCalls(view, "DeleteCookie", R"({"url":"http://b.test:80/x","cookie":["k",3,""]})", f);
  PageCalls(view, "DeleteCookie", R"({"url":"http://b.test","cookie":"m"})", f);
  PageCalls(view, "DeleteCookie", R"({"cookie":["m"]})", f);  // no address: deletes with none
  PageCalls(view, "DeleteCookie", "broken", f);               // no answer at all
  EXPECT_EQ(Jar(view), (Cookies{{"http://b.test m", "w"}}));
  ASSERT_EQ(f.calls->size(), 3u);
  for (const auto& args : *f.calls) {
    EXPECT_EQ(args[0]->GetIntValue(), 0);
    EXPECT_EQ(args[1]->GetStringValue().ToString(), "");
  }
  view->Release();
}

TEST_F(CookieTest, NewInitialDataReloadsOnlyWebAddressViews) {
  IBrowserView* web = Create(Settings(u"TnShowWebUrl_7"));
  IBrowserView* other = Create(Settings(u"Other"));
  web->SetInitData(R"({"url":"https://next.test/"})", 1);
  other->SetInitData(R"({"url":"https://next.test/"})", 1);
  engine.RunUntilIdle();
  EXPECT_EQ(BrowserOf(web)->url(), "https://next.test/");
  EXPECT_NE(BrowserOf(other)->url(), "https://next.test/");
  // The reload goes through "DeleteCookie" with the flag where the address would be: no
  // cookie goes, and the view's own callback id hears of it.
  EXPECT_TRUE(core->calls().empty());
  web->Release();
  other->Release();
}

TEST(SplitUrl, SchemeAndHostOnly) {
  std::string scheme, host;
  using tnwebui::TnBrowserAdaptUI;
  EXPECT_TRUE(TnBrowserAdaptUI::SplitUrl("https://h.test:8443/a/b", &scheme, &host));
  EXPECT_EQ(scheme + "|" + host, "https|h.test");
  EXPECT_TRUE(TnBrowserAdaptUI::SplitUrl("http://h.test", &scheme, &host));
  EXPECT_EQ(host, "h.test");
  EXPECT_FALSE(TnBrowserAdaptUI::SplitUrl("://h.test", &scheme, &host));
  EXPECT_FALSE(TnBrowserAdaptUI::SplitUrl("h.test/x", &scheme, &host));
  // A "/" right behind the scheme isn't a host's end: the whole rest is the host.
  EXPECT_TRUE(TnBrowserAdaptUI::SplitUrl("https:///path", &scheme, &host));
  EXPECT_EQ(host, "/path");
  EXPECT_TRUE(TnBrowserAdaptUI::SplitUrl("https://:80/x", &scheme, &host));  // ":" first stays
  EXPECT_EQ(host, ":80");
}
