#pragma once

// The app's own files, for tnwebui-run --watch.

#include <filesystem>
#include <map>
#include <string>

namespace run {

// The app's own files (--watch): which of them changed since the last look.
class FolderWatch {
 public:
  explicit FolderWatch(std::string folder);
  // The first file that is new, changed or gone since the last call; empty when none is.
  std::string Changed();

 private:
  std::string folder_;
  std::map<std::string, std::filesystem::file_time_type> seen_;
};

}  // namespace run
