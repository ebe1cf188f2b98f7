// Voice playback: the page's commands reach the client's player, and the player's timer
// messages come back to the playing function as the page's playing events.

#include <gmock/gmock.h>

#include "base/CommonFunc.h"
#include "light/tavrin_browser_jssdk/function/voice.h"
#include "scratch_dir.h"
#include "sdk_fixture.h"
#include "tnmainui/voice_player.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tnwebui::JsSdkFunction;

class Voice : public SdkFixture {
 protected:
  Voice() : SdkFixture(u"voice") {}
  ~Voice() override {
    if (held) held->Release();
  }
  // The host keeps the function's callback instead of answering.
  void HostHolds() {
    channel.SetTaker([this](const tnmainui::ChannelCall&, IBrowserViewCallback* callback) {
      callback->AddRef();
      held = callback;
      return true;
    });
  }
  // A message of the player to the held function; the scripts that ran since.
  std::vector<std::string> Player(const char16_t* action, int32_t code, const char16_t* result) {
    const std::size_t before = browser->scripts().size();
    held->OnBusinessResult(u"Notice", action, u"0", code, result);
    Settle();
    const auto all = browser->scripts();
    return std::vector<std::string>(all.begin() + static_cast<long>(before), all.end());
  }
  static std::string Play(const std::string& localId) {
    return Payload(R"({"localId":")" + localId + R"("})");
  }

  IBrowserViewCallback* held = nullptr;
};

TEST_F(Voice, TimerMessagesBecomeThePlayingEventsWithTheTimeRemaining) {
  HostHolds();
  EXPECT_THAT(Call("media.playVoice", Play("res://local/v/a.wav")), IsEmpty());
  EXPECT_THAT(HostJson(u"JSSdkPlayVoice"), ElementsAre(R"({ "filePath":"v/a.wav"})"));
  EXPECT_THAT(Player(u"JSSdkPlayVoice", 0, uR"({"voiceLenth":3})"), ElementsAre(Template(2, 0)));

  // A remaining length given as text, no object, no JSON: nothing reaches the page.
  EXPECT_THAT(Player(u"JSSdkPlayVoiceTimer", 0, uR"({"remainLength":"2"})"), IsEmpty());
  EXPECT_THAT(Player(u"JSSdkPlayVoiceTimer", 0, u"[2]"), IsEmpty());
  EXPECT_THAT(Player(u"JSSdkPlayVoiceTimer", 0, nullptr), IsEmpty());

  // The player's timer is known whatever the case of its name.
  EXPECT_THAT(
      Player(u"jssdkplayvoicetimer", 0, uR"({"remainLength":2})"),
      ElementsAre(Event(R"({"payload" : {"localId":"res://local/v/a.wav", "currentTime":2}})",
                        "media.onVoicePlay")));
  EXPECT_THAT(Player(u"JSSdkPlayVoiceTimer", 0, uR"({"remainLength":0})"),
              ElementsAre(Event(R"({"payload" : {"localId":"res://local/v/a.wav"}})",
                                "media.onVoicePlayEnd")));
  // Other answers: their code, or -6 for no JSON; the function stays for the player.
  EXPECT_THAT(Player(u"JSSdkPlayVoice", 7, u"{}"), ElementsAre(Template(2, 7)));
  EXPECT_THAT(Player(u"JSSdkPlayVoice", 0, u"null"), ElementsAre(Template(2, -6)));
  const int live = JsSdkFunction::Live();
  held->Release();
  held = nullptr;
  EXPECT_EQ(JsSdkFunction::Live(), live - 1);  // the player's last Release ends it
}

TEST_F(Voice, CommandsNeedALocalIdAndPauseAndStopEndWithTheirAnswer) {
  EXPECT_THAT(Call("media.playVoice", Payload(R"({"localId":5})")),
              ElementsAre(Template(2, 9106923)));
  EXPECT_THAT(Call("media.pauseVoice", R"({"payload":[]})"), IsEmpty());
  EXPECT_THAT(channel.calls(), IsEmpty());

  HostHolds();
  const int live = JsSdkFunction::Live();
  Call("media.pauseVoice", Play("res://local/a.wav"));
  EXPECT_THAT(Player(u"JSSdkPauseVoice", 0, u"not json"), ElementsAre(Template(2, -6)));
  EXPECT_THAT(Player(u"JSSdkPauseVoice", 12, u"{}"), ElementsAre(Template(2, 12)));
  held->Release();  // the host lets go; the answer's end has run on the queue
  held = nullptr;
  EXPECT_EQ(JsSdkFunction::Live(), live);
  // Stop answers as pause does, with the player's code.
  HostHolds();
  Call("media.stopVoice", Play("res://local/a.wav"));
  EXPECT_THAT(HostJson(u"JSSdkStopVoice"), ElementsAre(R"({ "filePath":"a.wav"})"));
  EXPECT_THAT(Player(u"JSSdkStopVoice", 7, u"{}"), ElementsAre(Template(2, 7)));
  held->Release();
  held = nullptr;
  EXPECT_EQ(JsSdkFunction::Live(), live);

  // Registering for playing events stops what plays, by the stop command.
  HostHolds();
  Call("media.onVoicePlay", Play("res://local/a.wav"));
  EXPECT_EQ(HostJson(u"JSSdkStopVoice").back(), R"({ "filePath":"a.wav"})");
  EXPECT_THAT(Player(u"JSSdkStopVoice", 0, u"{}"), ElementsAre(Template(2, 0)));
  // Its timer message runs a text that is no statement in the page.
  EXPECT_THAT(
      Player(u"JSSdkPlayVoiceTimer", 0, uR"({"remainLength":4})"),
      ElementsAre(
          R"({"api":"media.onVoicePlayEnd","meta": {},"payload":{"localId":"res://local/a.wav"}})"));
  EXPECT_THAT(Call("media.onVoicePlayEnd", Play("res://local/a.wav")), IsEmpty());
}

TEST_F(Voice, ThePlayerReadsTheLengthAndCountsDownOnItsOwnThread) {
  ScratchDir folder{"tnwebui-voice"};
  const std::string wave = folder.path() + "/two-and-a-half.wav";
  ASSERT_TRUE(tnmainui::VoicePlayer::WriteSilentWave(wave, 20000));
  uint32_t seconds = 0;
  ASSERT_TRUE(tnmainui::VoicePlayer::ReadWaveLength(wave, &seconds));
  EXPECT_EQ(seconds, 3u);
  EXPECT_FALSE(tnmainui::VoicePlayer::ReadWaveLength(folder.path() + "/none.wav", &seconds));

  tnmainui::VoicePlayer player(
      [this](std::function<void()> task) { engine.ui().PostTask(std::move(task)); },
      std::chrono::milliseconds(5));
  channel.SetTaker([&](const tnmainui::ChannelCall& call, IBrowserViewCallback* callback) {
    return player.Take(call, callback);
  });
  const int live = JsSdkFunction::Live();
  const std::string localId = "res://local/" + wave;
  Call("media.pauseVoice", Play(localId));  // plays nowhere: the player's code passes through
  Call("media.playVoice", Play(localId));
  ASSERT_TRUE(WaitUntil([&] {
    Settle();
    return JsSdkFunction::Live() == live;  // the last timer message let the function go
  }));
  std::vector<std::string> scripts = browser->scripts();
  scripts.erase(scripts.begin(), scripts.end() - 5);
  const std::string id = R"("localId":")" + localId + R"(")";
  EXPECT_THAT(
      scripts,
      ElementsAre(Template(2, -1), Template(2, 0),
                  Event(R"({"payload" : {)" + id + R"(, "currentTime":2}})", "media.onVoicePlay"),
                  Event(R"({"payload" : {)" + id + R"(, "currentTime":1}})", "media.onVoicePlay"),
                  Event(R"({"payload" : {)" + id + "}}", "media.onVoicePlayEnd")));
  EXPECT_TRUE(player.playing().empty());
}

}  // namespace
