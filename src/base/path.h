#pragma once

// File-system paths. The client's paths are built with a backslash; on this platform the
// separator is the system's, and these helpers are the one place that knows it.

#include <string>

namespace tnwebui {

// `folder` and `name` joined by one separator.
std::string JoinPath(const std::string& folder, const std::string& name);
// The folder part of `path` (everything before the last separator), or empty.
std::string FolderOf(const std::string& path);

}  // namespace tnwebui
