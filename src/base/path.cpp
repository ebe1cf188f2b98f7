#include "base/path.h"

#include <algorithm>

#include "win/file_version.h"

namespace tnwebui {

std::string NativeSeparators(std::string path) {
  std::replace(path.begin(), path.end(), '\\', win::kPathSeparator);
  return path;
}

}  // namespace tnwebui
