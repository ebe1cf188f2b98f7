#include "tnmainui/media_service.h"

#include <cstring>
#include <filesystem>

namespace tnmainui {

bool SampleMediaService::GetLocalPath(int32_t, int32_t mediaOid, int32_t fid, char* buffer,
                                      uint32_t size) {
  if (!buffer || size == 0) return false;
  buffer[0] = '\0';
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = paths_.find({mediaOid, fid});
  if (it == paths_.end()) return false;
  const std::size_t count = std::min<std::size_t>(it->second.size(), size - 1);
  std::memcpy(buffer, it->second.data(), count);
  buffer[count] = '\0';
  return true;
}

void SampleMediaService::SaveMedia(int32_t oid, int32_t mediaOid, int32_t fid, const char* target) {
  MediaSave save{oid, mediaOid, fid, target ? target : ""};
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = paths_.find({mediaOid, fid});
  if (it != paths_.end()) {
    std::error_code ec;
    save.copied = std::filesystem::copy_file(it->second, save.target, ec) && !ec;
  }
  saves_.push_back(save);
}

void SampleMediaService::SetLocalPath(int32_t mediaOid, int32_t fid, const std::string& path) {
  std::lock_guard<std::mutex> lock(mutex_);
  paths_[{mediaOid, fid}] = path;
}

std::vector<MediaSave> SampleMediaService::saves() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return saves_;
}

}  // namespace tnmainui
