// The page commands of a light app: share a link card, a place on the web map, previews, close
// the window, and the page's answer to the back command.

#include <gmock/gmock.h>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/page_commands.h"
#include "light/web_title_child_window.h"
#include "sdk_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tnwebui::JsSdkFunction;

class PageCommands : public SdkFixture {
 protected:
  PageCommands() : SdkFixture(u"page-commands") {}

  // The share's request as the host got it.
  Json::Value Forwarded() {
    Json::Value request;
    EXPECT_TRUE(tnwebui::ParseJson(HostJson(u"JSSdkShare").back(), request));
    return request;
  }
  // The client's forward dialog tells its outcome; the scripts that ran since.
  std::vector<std::string> Outcome(const std::string& name, const std::string& json) {
    const std::size_t before = browser->scripts().size();
    eventBus.Raise(1, name, "json", json);
    Settle();
    const auto all = browser->scripts();
    return std::vector<std::string>(all.begin() + static_cast<long>(before), all.end());
  }
  static constexpr char kShare[] =
      R"({"title":"Q3","content":"The report","url":"https://r.test/q3"})";
};

TEST_F(PageCommands, AShareIsAnsweredByItsOwnEventAndEndsWithTheFirstEvent) {
  const int live = JsSdkFunction::Live();
  EXPECT_THAT(Call("utils.share", Payload(kShare)), IsEmpty());
  Json::Value request = Forwarded();
  const std::string eventName = request["eventName"].asString();
  EXPECT_EQ(eventName.size(), 36u);
  EXPECT_EQ(request["code"], "TnForwardMsg");
  EXPECT_EQ(request["fromCode"], "TnForwardMsg");
  EXPECT_EQ(request["isMerge"], false);
  Json::Value message;
  ASSERT_TRUE(tnwebui::ParseJson(request["message"].asString(), message));  // a text of JSON
  EXPECT_EQ(message["msgType"], "linkCard");
  EXPECT_EQ(message["msgContent"], "The report");
  const Json::Value& card = message["linkCard"];
  EXPECT_EQ(card["iconLink"], "");  // no image given
  EXPECT_EQ(card["articleType"], "text_image");
  EXPECT_EQ(card["summary"], "The report");
  EXPECT_TRUE(card["ptime"].isInt64() && card["ptime"].asInt64() > 1700000000000);

  EXPECT_THAT(Outcome(eventName, R"({"code":0})"), ElementsAre(Template(2, 0)));
  EXPECT_THAT(Outcome(eventName, R"({"code":0})"), IsEmpty());  // ended with the first
  EXPECT_EQ(JsSdkFunction::Live(), live);

  // Another name ends it without an answer; its own name with a failure answers 404.
  Call("utils.share", Payload(kShare));
  EXPECT_THAT(Outcome("tn.other", R"({"code":0})"), IsEmpty());
  Call("utils.share", Payload(kShare));
  EXPECT_THAT(Outcome(Forwarded()["eventName"].asString(), R"({"code":"0"})"),
              ElementsAre(Template(2, 404)));
  EXPECT_EQ(JsSdkFunction::Live(), live);
}

TEST_F(PageCommands, AShareTheHostAlsoAnswersGivesThePageTwoAnswers) {
  hostAnswers = {{0, u"{}"}, {0, u"null"}};
  EXPECT_THAT(Call("utils.share", Payload(kShare)), ElementsAre(Template(2, 0), Template(2, 404)));
  EXPECT_THAT(Outcome(Forwarded()["eventName"].asString(), R"({"code":0})"),
              ElementsAre(Template(2, 0)));
  EXPECT_THAT(Call("utils.share", Payload(R"({"title":"Q3","url":"u"})")),
              ElementsAre(Template(2, 9106923)));
  EXPECT_EQ(HostJson(u"JSSdkShare").size(), 1u);
}

TEST_F(PageCommands, LocationAndPreviewsGoToTheClientsViewers) {
  EXPECT_THAT(Call("device.displayLocation",
                   Payload(R"({"latitude":31.2,"longitude":"121.5","name":"HQ"})")),
              ElementsAre(Template(2, 0)));
  Json::Value open;
  ASSERT_TRUE(tnwebui::ParseJson(HostJson(u"OpenUrl").at(0), open));
  EXPECT_EQ(open["url"], std::string(tnwebui::kWebMapMarker) +
                             "?location=31.200001,121.500000&title=\xe4\xb8\x9a\xe4\xbd\x8d"
                             "&output=html&src=" +
                             tnwebui::kWebMapSource);
  EXPECT_THAT(Call("device.displayLocation", "{}"), ElementsAre(Template(2, 404)));

  // The image is fetched first: the host's steps (3002) pass, its file goes to the viewer.
  hostAnswers = {{3002, u"{}"}, {0, uR"({"filePath":"/d/a.png"})"}};
  EXPECT_THAT(
      Call("media.previewImage", Payload(R"({"urls":["x"],"current":"https://i.test/a.png"})")),
      ElementsAre(Template(1, 0)));
  EXPECT_THAT(HostJson(u"DowndloadFileWithURL"),
              ElementsAre(R"({ "strUrl":"https://i.test/a.png"})"));
  EXPECT_THAT(HostJson(u"ViewSrcPicture"), ElementsAre("{\"pathAry\":[\"/d/a.png\"]}\n"));
  hostAnswers = {{0, u"null"}};
  EXPECT_THAT(Call("media.previewImage", Payload("{}")), ElementsAre(Template(1, 404)));

  // The video is answered at once, whatever the viewer says.
  hostAnswers = {{5, u"no json"}};
  EXPECT_THAT(Call("media.previewVideo", Payload(R"({"url":"https://v.test/a.mp4"})")),
              ElementsAre(Template(9, 0)));
  EXPECT_THAT(HostJson(u"OpenImageViewer"), ElementsAre(R"({ "url":"https://v.test/a.mp4"})"));
}

TEST_F(PageCommands, CloseAnswersBeforeTheWindowGoes) {
  // The window is gone once Close returns: an answer sent after it would be dropped.
  EXPECT_THAT(
      Call("ui.closeWindow", "{}"),
      ElementsAre(Response(R"({"status":{"code":0,"message":"ok"},"meta": {},"data": {}})")));
  EXPECT_THAT(browser->calls(), testing::Contains("Close(1)"));
  EXPECT_FALSE(win::IsWindow(browser->GetWindowHandle()));
}

TEST_F(PageCommands, TheBackButtonAsksAPageThatSpeaksToTheSdk) {
  auto* bar = tnwebui::CreateWebTitleWindow();
  ASSERT_EQ(bar->Create(browser->GetWindowHandle(), 800, 36, 0), 0);
  bar->AttachBrowser(static_cast<tnwebui::TnBrowserAdaptUI*>(Pb(view)), browser);
  bar->SetBackEnabled(true);
  auto click = [&] {
    HWND back = bar->button(tnwebui::CWebTitleChildWindowWin::kBack)->window();
    win::SendMessageW(back, win::WM_LBUTTONDOWN, 0, win::MAKELPARAM(5, 5));
    win::SendMessageW(back, win::WM_LBUTTONUP, 0, win::MAKELPARAM(5, 5));
    Settle();
  };
  click();  // the page hasn't spoken to the SDK: the browser goes back
  EXPECT_EQ(browser->calls().back(), "GoBack");

  Call("ui.setNavigationBarMenu", "{}");
  const std::size_t before = browser->scripts().size();
  click();
  ASSERT_EQ(browser->scripts().size(), before + 1);
  EXPECT_EQ(browser->scripts().back().rfind("if(!window.TavrinJsBridge){tnpc.goback();}", 0), 0u);

  // The page's answer: only `result` true goes back.
  const std::string answer =
      R"([{"handlerName":"ui.onHistoryBack","responseId":"123456","responseData":)";
  EXPECT_THAT(Fetch(answer + R"({"data":{"result":false}}}])"), IsEmpty());
  EXPECT_THAT(Fetch(answer + R"({"data":{"result":"true"}}}])"), IsEmpty());
  EXPECT_THAT(Fetch(answer + R"({"result":true}}])"), IsEmpty());
  EXPECT_THAT(Fetch(answer + R"({"data":{"result":true}}}])"), ElementsAre("tnpc.goback();"));
  win::DestroyWindow(bar->GetWindowHandle());
}

}  // namespace
