#include "tnmainui/voice_player.h"

#include <QDataStream>
#include <QFile>

#include "host_json.h"

namespace tnmainui {
namespace {

std::string FilePathOf(const ChannelCall& call) {
  Json::Value root;
  return Parse(CallJson(call), root) ? Text(root, "filePath") : std::string();
}

}  // namespace

VoicePlayer::VoicePlayer(std::function<void(std::function<void()>)> post,
                         std::chrono::milliseconds tick)
    : post_(std::move(post)), tick_(tick), timer_([this] { Run(); }) {}

VoicePlayer::~VoicePlayer() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    quit_ = true;
    EndLocked();
  }
  wake_.notify_all();
  timer_.join();
}

void VoicePlayer::SetLength(const std::string& path, uint32_t seconds) {
  std::lock_guard<std::mutex> lock(mutex_);
  lengths_[path] = seconds;
}

std::string VoicePlayer::playing() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return current_.path;
}

bool VoicePlayer::ReadWaveLength(const std::string& path, uint32_t* seconds) {
  QFile file(QString::fromStdString(path));
  if (!file.open(QIODevice::ReadOnly)) return false;
  QDataStream in(&file);
  in.setByteOrder(QDataStream::LittleEndian);
  char tag[4];
  quint32 size = 0;
  if (in.readRawData(tag, 4) != 4 || std::string(tag, 4) != "RIFF") return false;
  in >> size;
  if (in.readRawData(tag, 4) != 4 || std::string(tag, 4) != "WAVE") return false;
  quint32 bytesPerSecond = 0;
  while (in.readRawData(tag, 4) == 4) {
    in >> size;
    if (in.status() != QDataStream::Ok) return false;
    const std::string chunk(tag, 4);
    if (chunk == "fmt " && size >= 16) {
      quint16 format = 0, channels = 0;
      quint32 sampleRate = 0;
      in >> format >> channels >> sampleRate >> bytesPerSecond;
      if (in.skipRawData(static_cast<int>(size - 12)) < 0) return false;
    } else if (chunk == "data") {
      if (bytesPerSecond == 0) return false;
      *seconds = static_cast<uint32_t>((uint64_t{size} + bytesPerSecond - 1) / bytesPerSecond);
      return true;
    } else if (in.skipRawData(static_cast<int>(size + (size & 1))) < 0) {
      return false;
    }
  }
  return false;
}

bool VoicePlayer::WriteSilentWave(const std::string& path, uint32_t bytes) {
  QFile file(QString::fromStdString(path));
  if (!file.open(QIODevice::WriteOnly)) return false;
  QDataStream out(&file);
  out.setByteOrder(QDataStream::LittleEndian);
  out.writeRawData("RIFF", 4);
  out << quint32(36 + bytes);
  out.writeRawData("WAVEfmt ", 8);
  out << quint32(16) << quint16(1) << quint16(1) << quint32(8000) << quint32(8000) << quint16(1)
      << quint16(8);
  out.writeRawData("data", 4);
  out << quint32(bytes);
  out.writeRawData(std::string(bytes, '\x80').data(), static_cast<int>(bytes));
  return out.status() == QDataStream::Ok;
}

bool VoicePlayer::Take(const ChannelCall& call, IBrowserViewCallback* callback) {
  if (call.params.size() < 2 || call.params[0] != u"Notice" || !callback) return false;
  const std::u16string& action = call.params[1];
  if (action != u"JSSdkPlayVoice" && action != u"JSSdkPauseVoice" && action != u"JSSdkStopVoice") {
    return false;
  }
  const std::string path = FilePathOf(call);
  std::unique_lock<std::mutex> lock(mutex_);
  if (action == u"JSSdkPlayVoice") {
    if (current_.path == path && current_.paused) {  // a paused voice goes on
      current_.paused = false;
    } else {
      EndLocked();
      uint32_t seconds = 0;
      auto given = lengths_.find(path);
      if (given != lengths_.end()) {
        seconds = given->second;
      } else if (!ReadWaveLength(path, &seconds)) {
        lock.unlock();
        Answer(callback, action.c_str(), -1, R"({"voiceLenth":0})");
        return true;
      }
      callback->AddRef();
      current_ = Playback{path, callback, seconds, false};
    }
    Json::Value start;
    start["voiceLenth"] = current_.remaining;
    lock.unlock();
    wake_.notify_all();
    Answer(callback, action.c_str(), 0, Write(start));
    return true;
  }
  int32_t code = 0;
  if (action == u"JSSdkPauseVoice") {
    if (current_.callback && current_.path == path) {
      current_.paused = true;
    } else {
      code = -1;  // nothing of that name plays
    }
  } else if (current_.callback && (path.empty() || current_.path == path)) {
    EndLocked();
  }
  lock.unlock();
  Answer(callback, action.c_str(), code, "{}");
  return true;
}

void VoicePlayer::Answer(IBrowserViewCallback* callback, const char16_t* action, int32_t code,
                         std::string result) {
  callback->AddRef();
  post_([callback, action = std::u16string(action), code, result = Widen(result)] {
    callback->OnBusinessResult(u"Notice", action.c_str(), u"0", code, result.c_str());
    callback->Release();
  });
}

void VoicePlayer::EndLocked() {
  if (!current_.callback) return;
  IBrowserViewCallback* callback = current_.callback;
  current_ = Playback{};
  post_([callback] { callback->Release(); });
}

void VoicePlayer::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!quit_) {
    if (!current_.callback || current_.paused) {
      wake_.wait(lock);
      continue;
    }
    // One tick of the voice, unless it was stopped, paused or replaced meanwhile.
    IBrowserViewCallback* const playing = current_.callback;
    if (wake_.wait_for(lock, tick_,
                       [&] { return quit_ || current_.callback != playing || current_.paused; })) {
      continue;
    }
    if (current_.remaining > 0) --current_.remaining;
    Json::Value timer;
    timer["remainLength"] = current_.remaining;
    const std::u16string result = Widen(Write(timer));
    playing->AddRef();
    post_([playing, result] {
      playing->OnBusinessResult(u"Notice", u"JSSdkPlayVoiceTimer", u"0", 0, result.c_str());
      playing->Release();
    });
    if (current_.remaining == 0) EndLocked();
  }
}

}  // namespace tnmainui
