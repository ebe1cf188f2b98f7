#pragma once

// The client's paths are written with a backslash; on this platform the separator is the
// system's. Paths that the module builds from such texts go through here.

#include <string>

namespace tnwebui {

// `path` with every backslash turned into the platform's separator.
std::string NativeSeparators(std::string path);

}  // namespace tnwebui
