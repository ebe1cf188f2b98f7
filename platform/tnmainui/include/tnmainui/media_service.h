#pragma once

// The client's media files, as a test or the demo lays them out: where each file of a chat lies
// on this machine, and the saves that pages start (each copies the file to its target).

#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "tnwebui/services.h"

namespace tnmainui {

struct MediaSave {
  int32_t oid = 0, mediaOid = 0, fid = 0;
  std::string target;
  bool copied = false;
};

class __attribute__((visibility("default"))) SampleMediaService final : public MediaService {
 public:
  bool GetLocalPath(int32_t oid, int32_t mediaOid, int32_t fid, char* buffer,
                    uint32_t size) override;
  void SaveMedia(int32_t oid, int32_t mediaOid, int32_t fid, const char* target) override;

  // File `fid` of organisation `mediaOid` lies at `path` (for every organisation that asks).
  void SetLocalPath(int32_t mediaOid, int32_t fid, const std::string& path);
  std::vector<MediaSave> saves() const;

 private:
  mutable std::mutex mutex_;
  std::map<std::pair<int32_t, int32_t>, std::string> paths_;
  std::vector<MediaSave> saves_;
};

}  // namespace tnmainui
