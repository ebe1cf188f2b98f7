#pragma once

// The virtual roots under which the client's own pages are served. A page under one of them is
// the client's: it may run every business action and is never filtered.

#include <string>

namespace tnwebui {

inline constexpr const char* kResourceRoots[] = {"file://tavrin5main/", "file://tavrin5/",
                                                 "file://tavrin4/"};

// True if `url` begins with one of the roots (exactly, case included).
inline bool IsClientResource(const std::string& url) {
  for (const char* root : kResourceRoots) {
    if (url.rfind(root, 0) == 0) return true;
  }
  return false;
}

}  // namespace tnwebui
