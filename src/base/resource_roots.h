#pragma once

// The virtual roots under which the client's own pages are served. A page under one of them is
// the client's: it may run every business action and is never filtered.

#include <algorithm>
#include <cctype>
#include <initializer_list>
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

// The origin of an address that has an authority: "scheme://host[:port]" in lower case, without
// user information. Empty for addresses without one (about:, data:, javascript:, blob:), whose
// documents never share an origin with an address.
inline std::string OriginOf(const std::string& url) {
  const std::size_t scheme = url.find("://");
  if (scheme == std::string::npos || scheme == 0) return std::string();
  const std::size_t start = scheme + 3;
  std::size_t end = url.find_first_of("/?#", start);
  if (end == std::string::npos) end = url.size();
  std::string authority = url.substr(start, end - start);
  const std::size_t at = authority.rfind('@');
  if (at != std::string::npos) authority.erase(0, at + 1);
  if (authority.empty()) return std::string();
  std::string origin = url.substr(0, start) + authority;
  std::transform(origin.begin(), origin.end(), origin.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return origin;
}

// Whether the page at `current` may read its window's own data (the initial data with the
// user's session, the window's parameters): a client page, or a page of an origin the window
// was opened on. A page that arrived later by the page's own doing (a frame that broke out, a
// link) is of another origin and reads nothing of it.
inline bool MayReadWindowData(const std::string& current,
                              std::initializer_list<std::string> opened) {
  if (IsClientResource(current)) return true;
  const std::string origin = OriginOf(current);
  if (origin.empty()) return false;
  for (const std::string& address : opened) {
    if (!address.empty() && OriginOf(address) == origin) return true;
  }
  return false;
}

}  // namespace tnwebui
