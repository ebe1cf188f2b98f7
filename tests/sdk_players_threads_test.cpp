// The JS SDK's long-running functions with real threads: the voice player's timer on its own
// thread, the business core answering sector members on its own, the page calling from the
// render thread and the view serving on the UI thread.

#include <gmock/gmock.h>

#include <map>

#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "tnmainui/business_service.h"
#include "tnmainui/contacts_host.h"
#include "tnmainui/voice_player.h"
#include "view_fixture.h"
#include "wait.h"

namespace {

class PlayerThreads : public ViewFixture {
 protected:
  PlayerThreads() : ViewFixture(/*mainThreadIsUi=*/false) {
    pump = false;
    engine.ui().StartThread();
    engine.renderer().StartThread();
    host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
    service.SetScript([this](const tnmainui::GoCall& call) {
      tnmainui::GoAnswer answer;
      organisation.AnswerCore(call, &answer);
      return answer;
    });
    channel.SetScript([this](const tnmainui::ChannelCall& call) {
      std::vector<tnmainui::ChannelAnswer> answers;
      organisation.Answer(call, &answers);
      return answers;
    });
    channel.SetTaker([this](const tnmainui::ChannelCall& call, IBrowserViewCallback* callback) {
      return player.Take(call, callback);
    });
    OnUi([this] {
      engine.SetBusinessChannel(&channel);
      view = Create(Settings(u"players"), "https://light.test/");
    });
    engine.renderer().Flush();
    browser = BrowserOf(view);
  }
  ~PlayerThreads() override {
    OnUi([this] { engine.SetBusinessChannel(nullptr); });
    host.SetService(SID_BusinessCoreService, nullptr);
    OnUi([this] { view->Release(); });
  }
  void OnUi(std::function<void()> task) {
    engine.ui().PostTask(std::move(task));
    engine.ui().Flush();
  }
  // The page hands a message over on the render thread.
  void Page(const std::string& handler, const std::string& id, const std::string& payload) {
    auto page = browser->page();
    engine.renderer().PostTask([page, handler, id, payload] {
      page->FetchJSMessage(R"([{"handlerName":")" + handler + R"(","callbackId":")" + id +
                           R"(","data":{"payload":)" + payload + "}}]");
    });
  }
  // Runs every thread's work until the live functions are back to `live`.
  bool AllEnded(int live) {
    return WaitUntil([&] {
      engine.renderer().Flush();
      engine.ui().Flush();
      service.Flush();
      tnbase::globalTaskQueue(0)->Flush();
      return tnwebui::JsSdkFunction::Live() == live;
    });
  }
  int Count(const std::string& text) const {
    int count = 0;
    for (const std::string& script : browser->scripts()) {
      count += script.find(text) != std::string::npos;
    }
    return count;
  }

  tnmainui::ContactsHost organisation;
  tnmainui::ScriptedBusinessService service;
  tnmainui::ScriptedBusinessChannel channel{
      [this](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }};
  tnmainui::VoicePlayer player{
      [this](std::function<void()> task) { engine.ui().PostTask(std::move(task)); },
      std::chrono::milliseconds(1)};
  IBrowserView* view = nullptr;
  xhav::inproc::BrowserImpl* browser = nullptr;
};

TEST_F(PlayerThreads, CommandsMeetTheTimerAndEveryPlaybackEndsItsFunction) {
  player.SetLength("a.wav", 40);
  player.SetLength("b.wav", 6);
  const int live = tnwebui::JsSdkFunction::Live();
  const std::string a = R"({"localId":"res://local/a.wav"})";
  const std::string b = R"({"localId":"res://local/b.wav"})";
  for (int round = 0; round < 20; ++round) {
    Page("media.playVoice", "play" + std::to_string(round), a);
    Page("media.pauseVoice", "pause", a);
    Page("media.playVoice", "again" + std::to_string(round), a);
    if (round % 3 == 0) Page("media.stopVoice", "stop", a);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  Page("media.playVoice", "last", b);
  ASSERT_TRUE(AllEnded(live));
  EXPECT_TRUE(player.playing().empty());
  EXPECT_EQ(
      Count(
          R"("callbackId":"last","data":{"payload" : {"localId":"res://local/b.wav"}},"handlerName": "media.onVoicePlayEnd")"),
      1);
  EXPECT_EQ(Count(R"("responseId":"pause")"), 20);
}

TEST_F(PlayerThreads, SectorMembersAnswerEachCallOnceFromTheCoresThread) {
  const int live = tnwebui::JsSdkFunction::Live();
  constexpr int kCalls = 40;
  for (int i = 0; i < kCalls; ++i) {
    Page("biz.getSectorMember", "s" + std::to_string(i), R"({"sectors":["os_sales"]})");
  }
  ASSERT_TRUE(AllEnded(live));
  for (int i = 0; i < kCalls; ++i) {
    EXPECT_EQ(Count("\"responseId\":\"s" + std::to_string(i) + "\","), 1) << i;
  }
  EXPECT_EQ(Count("\"staffId\":\"ou_bob\""), kCalls);
}

TEST_F(PlayerThreads, CoreAnswersAfterTheWindowClosedEndTheirFunctionsWithoutAnAnswer) {
  const int live = tnwebui::JsSdkFunction::Live();
  service.SetScript([this](const tnmainui::GoCall& call) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));  // the window closes meanwhile
    tnmainui::GoAnswer answer;
    organisation.AnswerCore(call, &answer);
    return answer;
  });
  constexpr int kCalls = 30;
  for (int i = 0; i < kCalls; ++i) {
    Page("biz.getSectorMember", "late" + std::to_string(i), R"({"sectors":["os_support"]})");
    if (i == kCalls / 2) {
      engine.renderer().Flush();
      engine.ui().PostTask([this] { browser->FinishClose(); });
    }
  }
  ASSERT_TRUE(AllEnded(live));
  // Whatever was answered was answered once; nothing after the close reached the page.
  for (int i = 0; i < kCalls; ++i) {
    EXPECT_LE(Count("\"responseId\":\"late" + std::to_string(i) + "\","), 1) << i;
  }
  EXPECT_FALSE(browser->alive());
}

}  // namespace
