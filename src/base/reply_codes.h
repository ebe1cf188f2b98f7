#pragma once

// Reply codes of the desktop commands that have no name in the schema
// (interdata::JsApiErrorCode holds the named ones).

#include <cstdint>

namespace tnwebui::reply {

constexpr int32_t kNoBusinessCoreService = 574642;  // the business core service can't be had
constexpr int32_t kNoBusinessCoreForOid = 785630;   // no business core for the window's oid
constexpr int32_t kMaxCountNotPositive = 773587;    // the contact chooser's maximum count
constexpr int32_t kOpenFolderFailed = -1;           // /window/openFolder failed
constexpr int32_t kFolderOverLimit = -2;            // /window/getfoldersize: over the limit
constexpr int32_t kFolderPathEmpty = -3;            // /window/getfoldersize: empty path
constexpr int32_t kNotTheWindowsOrigin = 403;       // /window/init from a page of another origin

}  // namespace tnwebui::reply
