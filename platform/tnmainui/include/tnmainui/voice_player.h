#pragma once

// The client's voice player, as its main window serves a light app's commands on the business
// channel ("JSSdkPlayVoice", "JSSdkPauseVoice", "JSSdkStopVoice", each with {"filePath"}). One
// voice plays at a time. Its length comes from the file's header (a RIFF WAVE file: data bytes
// over bytes a second, in whole seconds rounded up) or from a length a test gives; the start
// answer tells it as {"voiceLenth": n}. While it plays, a timer on the player's own thread
// sends "Notice"/"JSSdkPlayVoiceTimer" with {"remainLength": seconds left} to the function that
// started it, once a tick, down to 0; all answers reach the callbacks on the UI thread.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "tnmainui/business_service.h"

namespace tnmainui {

class TNMAINUI_API VoicePlayer {
 public:
  // `post` runs a task on the browser's UI thread; the timer ticks once every `tick` (a second
  // of the voice).
  explicit VoicePlayer(std::function<void(std::function<void()>)> post,
                       std::chrono::milliseconds tick = std::chrono::seconds(1));
  ~VoicePlayer();
  VoicePlayer(const VoicePlayer&) = delete;
  VoicePlayer& operator=(const VoicePlayer&) = delete;

  // A ScriptedBusinessChannel taker: true for the player's three commands.
  bool Take(const ChannelCall& call, IBrowserViewCallback* callback);
  // The length of `path` in seconds, whatever its header says.
  void SetLength(const std::string& path, uint32_t seconds);
  // The length of a RIFF WAVE file in whole seconds rounded up; false when it is no such file.
  static bool ReadWaveLength(const std::string& path, uint32_t* seconds);
  // Writes a RIFF WAVE file of `bytes` bytes of silence at 8,000 bytes a second (8 kHz, 8 bits,
  // mono), for tests and the demo.
  static bool WriteSilentWave(const std::string& path, uint32_t bytes);
  // The file playing now (paused or not); empty when none.
  std::string playing() const;

 private:
  struct Playback {
    std::string path;
    IBrowserViewCallback* callback = nullptr;  // held
    uint32_t remaining = 0;
    bool paused = false;
  };
  void Answer(IBrowserViewCallback* callback, const char16_t* action, int32_t code,
              std::string result);
  void Run();
  // Ends the playback; its callback is let go of on the UI thread.
  void EndLocked();

  std::function<void(std::function<void()>)> post_;
  const std::chrono::milliseconds tick_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::map<std::string, uint32_t> lengths_;
  Playback current_;
  bool quit_ = false;
  std::thread timer_;
};

}  // namespace tnmainui
