#pragma once

#include <cstdint>
#include <string>

#define TNWIN_API __attribute__((visibility("default")))

namespace win {

// The fixed part of a file's version resource: four 16-bit parts, most significant first.
struct FixedFileInfo {
  uint32_t fileVersionMS = 0;  // high word: major, low word: minor
  uint32_t fileVersionLS = 0;  // high word: build, low word: revision
};

// Reads the version resource of the file at `path` (UTF-8). False when the file cannot be
// read or carries no version resource.
TNWIN_API bool GetFileVersionInfo(const std::string& path, FixedFileInfo* info);

// The file name of the loaded module that contains `address`; empty if none does.
TNWIN_API std::string GetModuleFileName(const void* address);

// The platform's separator between the parts of a file-system path.
constexpr char kPathSeparator = '/';

}  // namespace win

// Embeds a version resource in the binary that is being linked. An ELF file carries it in a
// section of its own, ".tnversion": the magic "TNVR" followed by four little-endian 16-bit
// parts.
#define TN_FILE_VERSION_RESOURCE(a, b, c, d)                                       \
  extern "C" __attribute__((used, section(".tnversion"), visibility("hidden")))    \
  const unsigned char tn_file_version_resource[12] = {'T',      'N',               \
                                                      'V',      'R',               \
                                                      (a)&0xff, ((a) >> 8) & 0xff, \
                                                      (b)&0xff, ((b) >> 8) & 0xff, \
                                                      (c)&0xff, ((c) >> 8) & 0xff, \
                                                      (d)&0xff, ((d) >> 8) & 0xff}
