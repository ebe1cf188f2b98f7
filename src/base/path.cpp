#include "base/path.h"

#include "win/file_version.h"

namespace tnwebui {

std::string JoinPath(const std::string& folder, const std::string& name) {
  if (folder.empty()) return name;
  if (folder.back() == win::kPathSeparator) return folder + name;
  return folder + win::kPathSeparator + name;
}

std::string FolderOf(const std::string& path) {
  const auto pos = path.find_last_of(win::kPathSeparator);
  return pos == std::string::npos ? std::string() : path.substr(0, pos);
}

}  // namespace tnwebui
