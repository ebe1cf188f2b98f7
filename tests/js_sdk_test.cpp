// The JS SDK's bridge: a light app's page hands over its queued messages with
// "havFetchJSMessage", one function object serves each, and answers go back as scripts that
// call the page's TavrinJsBridge. Also the frame every function shares: its two script forms,
// its texts, its way to the host and its way to die.

#include <gmock/gmock.h>

#include <condition_variable>
#include <mutex>

#include "base/CommonFunc.h"
#include "light/tavrin_browser_jssdk/function/go_adapters.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"
#include "sdk_templates.h"
#include "tnmainui/business_service.h"
#include "view_fixture.h"
#include "win/timed_tip.h"
#include "win/window.h"

using tnwebui::JsSdkFunction;
using tnwebui::TavrinJsSDK;

namespace {

std::string Response(const std::string& id, const std::string& json) {
  return "TavrinJsBridge._handleMessageFromObjC('{\"responseId\":\"" + id +
         "\",\"responseData\":" + json + "}');";
}

const std::string kNavBar = sdk_text::kTemplates[14].head;
const std::string kNotServed = sdk_text::kTemplates[13].head;

// A function that shows the frame's protected parts and answers the host with what it got.
class Probe : public JsSdkFunction, public tnwebui::JsSdkCallback {
 public:
  using JsSdkFunction::DeleteLater;
  using JsSdkFunction::ExecuteBusiness;
  using JsSdkFunction::HostChannel;
  using JsSdkFunction::SendEvent;
  using JsSdkFunction::SendResponse;
  bool IsOneShot() override { return false; }
  void Execute(const std::string&, const Json::Value&) override {}
  void OnBusinessResult(const char16_t*, const char16_t* action, const char16_t*, int32_t code,
                        const char16_t* result) override {
    answers.push_back(tnwebui::WideToUtf8(action) + ":" + std::to_string(code) + ":" +
                      (result ? tnwebui::WideToUtf8(result) : "null"));
    SendResponse("{\"n\":" + std::to_string(answers.size()) + "}");
  }
  std::vector<std::string> answers;
};

}  // namespace

class JsSdk : public ViewFixture {
 protected:
  JsSdk() {
    view = Create(Settings(u"light", 0, "{\"appid\":\"from-view\"}"), "https://light.test/");
    browser = BrowserOf(view);
    page = browser->page();
    engine.SetBusinessChannel(&channel);
  }
  ~JsSdk() override {
    engine.SetBusinessChannel(nullptr);
    view->Release();
  }
  // The page's bridge hands `messages` over; returns the scripts that ran in the page since.
  std::vector<std::string> Fetch(const std::string& messages) {
    const std::size_t before = browser->scripts().size();
    EXPECT_TRUE(page->FetchJSMessage(messages));
    engine.RunUntilIdle();
    const auto all = browser->scripts();
    return std::vector<std::string>(all.begin() + static_cast<long>(before), all.end());
  }
  // The SDK's answer to a call of `handlerName` from the page (no answer: empty).
  std::string Answer(const std::string& handlerName, const std::string& id = "cb_1") {
    const auto scripts = Fetch(R"([{"handlerName":")" + handlerName + R"(","callbackId":")" + id +
                               R"(","data":{}}])");
    return scripts.empty() ? "" : scripts.back();
  }
  TavrinJsSDK* sdk() { return Pb(view)->js_sdk(); }
  Probe* NewProbe() {
    auto* probe = new Probe;
    probe->Fill(7, "app", browser, browser->GetWindowHandle(), &host);
    probe->SetCallbackId("cb_18");
    return probe;
  }

  tnmainui::ScriptedBusinessChannel channel{
      [this](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }};
  IBrowserView* view = nullptr;
  xhav::inproc::BrowserImpl* browser = nullptr;
  std::shared_ptr<xhav::inproc::Page> page;
};

// The module's answers are the texts that pages know, character for character.
TEST(JsSdkTemplates, EachOfTheFifteenIsThePagesOwnText) {
  for (int n = 1; n <= 15; ++n) {
    EXPECT_STREQ(tnwebui::sdk::kEnvelopes[n].head, sdk_text::kTemplates[n].head) << n;
    EXPECT_STREQ(tnwebui::sdk::kEnvelopes[n].tail, sdk_text::kTemplates[n].tail) << n;
  }
}

TEST_F(JsSdk, EachMessageIsServedAndAnsweredByScriptInTheBridgesFraming) {
  const auto scripts = Fetch(
      R"([{"handlerName":"ui.setNavigationBarMenu","callbackId":"cb_17","data":{"meta":{},"payload":{"items":[]}}},)"
      R"({"handlerName":"x.y","callbackId":"cb_19","data":{}}])");
  EXPECT_THAT(scripts,
              testing::ElementsAre(Response("cb_17", kNavBar), Response("cb_19", kNotServed)));
  EXPECT_EQ(kNavBar, R"({"status":{"code":0,"message":"ok"},"meta": {},"data": {}})");
  EXPECT_EQ(kNotServed, R"({"status":{"code":0,"message":"ok"}})");
  // Names are compared whole and case-sensitively: these are names the SDK doesn't serve.
  EXPECT_EQ(Answer("UI.setNavigationBarMenu"), Response("cb_1", kNotServed));
  EXPECT_EQ(Answer("ui.setNavigationBarMenu "), Response("cb_1", kNotServed));
  EXPECT_TRUE(sdk()->fetched());
  EXPECT_EQ(JsSdkFunction::Live(), 0);  // one-shot functions are gone
}

TEST_F(JsSdk, TextsThatAreNoArrayOfObjectsAreDroppedWithoutAWord) {
  EXPECT_FALSE(sdk()->fetched());
  EXPECT_FALSE(Pb(view)->OnDragEnter());
  for (const char* text : {"[]", "{}", "not json", "\"[1]\"", "[1,\"a\",null,[{}]]", ""}) {
    EXPECT_TRUE(Fetch(text).empty()) << text;
  }
  EXPECT_TRUE(sdk()->fetched());
  EXPECT_TRUE(Pb(view)->OnDragEnter());
  // Elements that are no objects are skipped; the objects among them are served.
  EXPECT_EQ(Fetch(R"([1,{"handlerName":"ui.setNavigationBarMenu","callbackId":"a"}])"),
            std::vector<std::string>{Response("a", kNavBar)});
  // Messages without a usable handler name go nowhere.
  EXPECT_TRUE(
      Fetch(R"([{"callbackId":"a"},{"handlerName":7,"callbackId":"b"},)"
            R"({"handlerName":"","callbackId":"c"},{"responseData":{"ok":1},"responseId":"d"}])")
          .empty());
  EXPECT_EQ(log.Count("on havFetchJSMessage, the json is NULL;"), 0);
}

TEST_F(JsSdk, ACallWithoutATextIsLoggedAndOtherNamesAreLeftToTheView) {
  auto call = [this](const char* name, bool withNumber) {
    CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create(name);
    if (withNumber) message->GetArgumentList()->SetInt(0, 5);
    tnbase::TnStringPtr text(allocStringFromUTF8(name));
    return sdk()->OnBrowserCall(text.get(), message);
  };
  EXPECT_TRUE(call("havFetchJSMessage", false));
  EXPECT_TRUE(call("HAVFETCHJSMESSAGE", true));
  EXPECT_EQ(log.Count("on havFetchJSMessage, the json is NULL;", 4, "TavrinJsSDK::OnBrowserCall"),
            2);
  EXPECT_FALSE(sdk()->fetched());
  EXPECT_FALSE(call("registerEvents", false));
  EXPECT_FALSE(sdk()->OnBrowserCall(nullptr, nullptr));
}

TEST_F(JsSdk, AnAnswerWinsOverACallAndIdsOfOtherTypesAreEmpty) {
  // responseData null counts as no answer: the call's id is used.
  EXPECT_EQ(
      Fetch(R"([{"handlerName":"x.y","callbackId":"c1","responseData":null,"responseId":"r1"}])"),
      std::vector<std::string>{Response("c1", kNotServed)});
  // Any other responseData makes the message an answer, named by its responseId.
  EXPECT_EQ(
      Fetch(R"([{"handlerName":"x.y","callbackId":"c1","responseData":false,"responseId":"r1"}])"),
      std::vector<std::string>{Response("r1", kNotServed)});
  EXPECT_EQ(Fetch(R"([{"handlerName":"x.y","callbackId":"c1","responseData":{},"responseId":9}])"),
            std::vector<std::string>{Response("", kNotServed)});
  EXPECT_EQ(Fetch(R"([{"handlerName":"x.y","callbackId":["c1"]}])"),
            std::vector<std::string>{Response("", kNotServed)});
}

TEST_F(JsSdk, TheViewsAppIdLastsUntilTheEndOfTheFirstCall) {
  sdk()->SetViewParam("{\"appid\":\"from-view\"}");
  EXPECT_EQ(sdk()->app_id_impl_id(), "from-view");
  for (const char* odd : {"", "[1]", "{\"appid\":5}", "nope"}) sdk()->SetViewParam(odd);
  EXPECT_EQ(sdk()->app_id_impl_id(), "from-view");
  Answer("ui.setNavigationBarMenu");
  EXPECT_EQ(sdk()->app_id_impl_id(), "");  // no config has filled the shared id
}

// What a page or the core puts between the answer's quotes stays text in the page's script.
TEST_F(JsSdk, IdsAnswersAndNamesAreWrittenAsTextOfTheScriptsLiteral) {
  EXPECT_EQ(Answer("x.y", "it's"), Response("it\\'s", kNotServed));
  EXPECT_EQ(Answer("x.y", "w'+(function(){steal()})()+'"),
            Response("w\\'+(function(){steal()})()+\\'", kNotServed));
  Probe* probe = NewProbe();
  probe->SendEvent("{\"a\":\"x\\\"y\nz\xE2\x80\xA8\"}\n", "h'\\");
  EXPECT_EQ(
      browser->scripts().back(),
      R"(TavrinJsBridge._handleMessageFromObjC('{"callbackId":"cb_18","data":{"a":"x\\"y\nz\u2028"}\n,"handlerName": "h\'\\"}');)");
  delete probe;
}

TEST_F(JsSdk, GoBackOffersTheBackCommandToThePagesHandlerFirst) {
  EXPECT_TRUE(sdk()->GoBack());
  EXPECT_EQ(
      browser->scripts().back(),
      R"(if(!window.TavrinJsBridge){tnpc.goback();} else if(TavrinJsBridge._checkHandler) { var t = TavrinJsBridge._checkHandler('{"handlerName":"ui.onHistoryBack"}'); var response = JSON.parse(t); console.log(response); if(response.result == true) TavrinJsBridge._handleMessageFromObjC('{"callbackId":"123456","data":{"meta": {},"payload":{}},"handlerName": "ui.onHistoryBack"}'); else tnpc.goback();} else {tnpc.goback();})");
}

TEST_F(JsSdk, EventsGoToThePagesHandlerUnderTheCallsIdWhateverBecameOfTheWindow) {
  Probe* probe = NewProbe();
  probe->SendEvent(
      R"({"payload" : {"localId":"res://local/C:/t/a.png", "total":2048, "loaded":1024}})",
      "utils.onDownloadProgress");
  EXPECT_EQ(
      browser->scripts().back(),
      R"(TavrinJsBridge._handleMessageFromObjC('{"callbackId":"cb_18","data":{"payload" : {"localId":"res://local/C:/t/a.png", "total":2048, "loaded":1024}},"handlerName": "utils.onDownloadProgress"}');)");
  browser->FinishClose();
  const std::size_t before = browser->scripts().size();
  probe->SendResponse("{}");
  EXPECT_EQ(browser->scripts().size(), before);  // an answer needs the window
  probe->SendEvent("{}", "h");
  EXPECT_EQ(browser->scripts().size(), before + 1);
  delete probe;
}

TEST_F(JsSdk, TheHostGetsFiveTextsAndItsLastReleaseEndsTheFunction) {
  channel.SetScript([](const tnmainui::ChannelCall&) {
    return std::vector<tnmainui::ChannelAnswer>{{3002, u"step", false}, {0, u"", true}};
  });
  Probe* probe = NewProbe();
  ASSERT_EQ(probe->HostChannel(), &channel);
  Probe::ExecuteBusiness(probe->HostChannel(), u"Notice", u"JSSdkPlayVoice",
                         "{ \"filePath\":\"é\"}", probe);
  ASSERT_EQ(channel.calls().size(), 1u);
  EXPECT_EQ(channel.calls()[0].params, (xhav::BusinessParams{u"Notice", u"JSSdkPlayVoice", u"0",
                                                             u"{ \"filePath\":\"é\"}", u"0"}));
  // The answers come later on the UI thread; between them the host holds the function.
  EXPECT_EQ(JsSdkFunction::Live(), 1);
  engine.RunUntilIdle();
  EXPECT_EQ(JsSdkFunction::Live(), 0);
  EXPECT_EQ(browser->scripts().back(), Response("cb_18", "{\"n\":2}"));

  // A browser without a channel gives none, and then nothing is sent.
  engine.SetBusinessChannel(nullptr);
  Probe* lonely = NewProbe();
  EXPECT_EQ(lonely->HostChannel(), nullptr);
  Probe::ExecuteBusiness(nullptr, u"a", u"b", "{}", nullptr);
  delete lonely;
}

TEST_F(JsSdk, AFunctionWhoseWindowClosedAnswersNothingAndStillEnds) {
  channel.SetScript([](const tnmainui::ChannelCall&) {
    return std::vector<tnmainui::ChannelAnswer>{{0, u"{}", false}};
  });
  Probe* probe = NewProbe();
  Probe::ExecuteBusiness(probe->HostChannel(), u"Notice", u"x", "{}", probe);
  browser->FinishClose();  // the answer is still queued on the UI thread
  const std::size_t before = browser->scripts().size();
  engine.RunUntilIdle();
  EXPECT_EQ(browser->scripts().size(), before);
  EXPECT_EQ(JsSdkFunction::Live(), 0);
}

TEST_F(JsSdk, DeleteLaterWaitsForTheCallbacksStackAndTheCoresDataStaysTheCores) {
  // Hold the global queue so that the deletion can be seen to wait.
  std::mutex mutex;
  std::condition_variable cv;
  bool hold = true;
  tnbase::postTask(tnbase::globalTaskQueue(0), [&] {
    std::unique_lock<std::mutex> lock(mutex);
    cv.wait(lock, [&] { return !hold; });
  });
  tnmainui::ScriptedBusinessService service;
  service.SetScript([](const tnmainui::GoCall& call) {
    tnmainui::GoAnswer answer;
    answer.data = call.args[0] + "!";
    answer.subCode = call.operation == "RequestAppCode" ? 0 : 5;
    return answer;
  });
  Probe* probe = NewProbe();
  int liveInside = -1;
  std::string seen;
  int32_t errorValue = -1;
  const std::string request = "req";
  tnwebui::GDataImpl data(request.data(), static_cast<int32_t>(request.size()));
  tnwebui::GStringImpl task("t-1", 3);
  service.GetApplicationObject()->RequestAppCode(
      7, &data, &task, new tnwebui::ResponserImpl([&](IGData* d, Tnerror::Error* e) {
        seen.assign(d->Data(), static_cast<std::size_t>(d->Size()));
        errorValue = tnwebui::GoErrorValue(e);
        probe->SendResponse("{}");
        probe->DeleteLater();
        liveInside = JsSdkFunction::Live();
      }));
  // An empty handler fails inside the core's call; the failure stays there.
  service.GetContactObject()->OpenSectorMembers(7, &data, &data, 1, &task,
                                                new tnwebui::ResponserImpl(nullptr));
  service.Flush();
  EXPECT_EQ(seen, "req!");
  EXPECT_EQ(errorValue, 0);
  EXPECT_EQ(liveInside, 1);
  EXPECT_EQ(JsSdkFunction::Live(), 1);
  {
    std::lock_guard<std::mutex> lock(mutex);
    hold = false;
  }
  cv.notify_all();
  tnbase::globalTaskQueue(0)->Flush();
  EXPECT_EQ(JsSdkFunction::Live(), 0);
  EXPECT_EQ(service.calls()[1].args, (std::vector<std::string>{"req", "req", "t-1"}));
}

TEST(JsSdkFrame, CoreErrorsGiveTheirSubCodeFirst) {
  struct Error : Tnerror::Error {
    Error(int32_t s, int32_t c) : sub(s), code(c) {}
    int32_t SubCode() override { return sub; }
    const char* Message() override { return ""; }
    int32_t Code() override { return code; }
    int32_t sub, code;
  };
  Error both(5, 9), codeOnly(0, 9), none(0, 0);
  EXPECT_EQ(tnwebui::GoErrorValue(&both), 5);
  EXPECT_EQ(tnwebui::GoErrorValue(&codeOnly), 9);
  EXPECT_EQ(tnwebui::GoErrorValue(&none), 0);
  EXPECT_EQ(tnwebui::GoErrorValue(nullptr), 0);
  tnwebui::GDataImpl empty(nullptr, 0);
  EXPECT_EQ(empty.Size(), 0);
  (new tnwebui::GStringImpl("abc", 3))->Dispose();  // a text disposes of itself
}

TEST(JsSdkFrame, LocalIdsAndTexts) {
  EXPECT_EQ(JsSdkFunction::ToLocalId("C:\\t\\a.png"), "res://local/C:/t/a.png");
  EXPECT_EQ(JsSdkFunction::FromLocalId("res://local/C:/t/a.png"), "C:/t/a.png");
  EXPECT_EQ(JsSdkFunction::FromLocalId("C:/t/a.png"), "");
  // The prefix may stand anywhere, and the id is still taken from character 12.
  EXPECT_EQ(JsSdkFunction::FromLocalId("xx res://local/abc"), "al/abc");

  std::string text;
  JsSdkFunction::FormatText(text, sdk_text::kTemplates[11].head, 7, std::string(2000, 'm').c_str());
  EXPECT_EQ(text.size(), 1024u);
  EXPECT_EQ(text.substr(0, 40), "{\"status\":{\"code\":7,\"message\":\"mmmmmmmmm");
  JsSdkFunction::FormatText(text, sdk_text::kTemplates[10].head, 0);
  EXPECT_EQ(text, R"({"status":{"code":0,"message":"ok"}},"meta": {},"data": {})");

  std::u16string wide;
  JsSdkFunction::FormatWide(wide, u"%s文件大小为0KB", std::u16string(u"ü.txt"));
  EXPECT_EQ(wide, u"ü.txt文件大小为0KB");
  JsSdkFunction::FormatWide(wide, u"%d:%s:%5s%%", 42, u"😀", u"ab");
  EXPECT_EQ(wide, u"42:😀:   ab%");
  JsSdkFunction::FormatWide(wide, u"%s", std::u16string(3000, u'x'));
  EXPECT_EQ(wide.size(), 1024u);
}

TEST(JsSdkFrame, ATimedTipShowsAndGoesAway) {
  const std::size_t before = win::TimedTipsShown().size();
  JsSdkFunction::ShowTimedTip(u"too many files", 50);
  EXPECT_EQ(win::TimedTipsShown().size(), before + 1);
  EXPECT_EQ(win::TimedTipsShown().back(), u"too many files");
  for (int i = 0; i < 200 && win::TimedTipsVisible() > 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_EQ(win::TimedTipsVisible(), 0);
}
