#pragma once

// The desktop origin: a reserved https pseudo origin that no real server has. Requests to its
// paths are served by the module's handlers inside the browser engine.

#include <string>

namespace tnwebui {

inline constexpr char kDesktopOrigin[] = "https://tnpc-desktop.invalid";

// The full address of `path` ("/window/open") under the desktop origin.
inline std::string DesktopAddress(const char* path) { return std::string(kDesktopOrigin) + path; }

}  // namespace tnwebui
