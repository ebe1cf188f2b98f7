#pragma once

// The file-system calls of the window commands: the directory search of the FindFirstFileW
// family over POSIX directory reads, the temporary folder, and the system's folder browser,
// which a test or the demo answers.

#include <cstdint>
#include <functional>
#include <string>

#include "win/window.h"

namespace win {

constexpr uint32_t FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr uint32_t FILE_ATTRIBUTE_NORMAL = 0x80;
// A symbolic link: to a directory it is also FILE_ATTRIBUTE_DIRECTORY, as a junction is.
constexpr uint32_t FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
constexpr uint32_t BIF_RETURNONLYFSDIRS = 0x1;

struct FindData {
  uint32_t dwFileAttributes = 0;
  uint32_t nFileSizeHigh = 0;
  uint32_t nFileSizeLow = 0;
  std::u16string cFileName;
};

struct FindState;
using FindHandle = FindState*;

// `pattern` is a folder, the separator and a name pattern ("*.*", "*" or a glob). The first
// entry (including "." and ".."), or null when the folder can't be read.
TNWIN_API FindHandle FindFirstFileW(const std::u16string& pattern, FindData* data);
TNWIN_API bool FindNextFileW(FindHandle handle, FindData* data);
TNWIN_API bool FindClose(FindHandle handle);

// The system's temporary folder with a closing separator.
TNWIN_API std::u16string GetTempPathW();

// The folder the user picks (empty when cancelled). Without an answerer, cancelled.
TNWIN_API std::u16string SHBrowseForFolderW(HWND owner, uint32_t flags);
using FolderBrowser = std::function<std::u16string(HWND owner, uint32_t flags)>;
TNWIN_API void SetFolderBrowser(FolderBrowser browser);

}  // namespace win
