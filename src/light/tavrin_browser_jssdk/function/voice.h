#pragma once

// Voice playback of a light app through the client's player, which lives in the host: the
// functions send it commands, and while a voice plays the player sends timer messages to the
// function that started it, which turns them into the page's playing events.

#include <cstdint>
#include <string>

#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"

namespace tnwebui {

constexpr char kVoicePlayEvent[] = "media.onVoicePlay";
constexpr char kVoicePlayEndEvent[] = "media.onVoicePlayEnd";

// The one body of the four commands: the page's `localId` goes to the player as a file path.
class JsSdkVoiceCommand : public JsSdkHostFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) final;

 protected:
  explicit JsSdkVoiceCommand(const char16_t* action) : action(action) {}
  // The page's id of the voice, for the functions that keep it.
  virtual void Remember(const std::string&) {}
  // An answer that is no timer message: false (and -6 to the page) when it is no JSON or null.
  bool AnswerCommand(int32_t code, const char16_t* result);

 private:
  const char16_t* action;
};

// A command whose function hears the player's timer messages for as long as the player holds
// it: the functions of play and of the registration for playing events.
class JsSdkVoiceListener : public JsSdkVoiceCommand {
 public:
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) final;

 protected:
  using JsSdkVoiceCommand::JsSdkVoiceCommand;
  // A timer message with the seconds that remain.
  virtual void OnTimer(uint32_t remaining) = 0;
  std::string localId;

 private:
  void Remember(const std::string& id) override { localId = id; }
};

// Plays a voice; stays until the player lets go of it, sending the playing events meanwhile.
class JSPlayVoice final : public JsSdkVoiceListener {
 public:
  JSPlayVoice() : JsSdkVoiceListener(u"JSSdkPlayVoice") {}

 private:
  void OnTimer(uint32_t remaining) override;
};

// Registers for playing events. It stops what is playing, as the player's command for it
// is the stop command.
class JSOnVoicePlay final : public JsSdkVoiceListener {
 public:
  JSOnVoicePlay() : JsSdkVoiceListener(u"JSSdkStopVoice") {}

 private:
  void OnTimer(uint32_t remaining) override;
};

// Pause and stop: one answer, then the end.
class JSPauseVoice final : public JsSdkVoiceCommand {
 public:
  JSPauseVoice() : JsSdkVoiceCommand(u"JSSdkPauseVoice") {}
  void OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t code,
                        const char16_t* result) override {
    if (AnswerCommand(code, result)) DeleteLater();
  }
};

class JSStopVoice final : public JsSdkVoiceCommand {
 public:
  JSStopVoice() : JsSdkVoiceCommand(u"JSSdkStopVoice") {}
  void OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t code,
                        const char16_t* result) override {
    if (AnswerCommand(code, result)) DeleteLater();
  }
};

// The end event comes from the playing function; registering for it does nothing.
class JSOnVoicePlayEnd final : public JsSdkFunction {
 public:
  void Execute(const std::string&, const Json::Value&) override {}
};

}  // namespace tnwebui
