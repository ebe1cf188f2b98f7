#pragma once

// A fresh folder under the system's temporary folder that is removed, with all it holds, when
// the object goes: tests leave nothing behind.

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

class ScratchDir {
 public:
  explicit ScratchDir(const std::string& prefix) {
    std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
    if (mkdtemp(pattern.data())) path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};
