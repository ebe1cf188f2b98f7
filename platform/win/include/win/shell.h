#pragma once

// The system's registry and shell, as the module calls them. The registry is a store of the
// process that the host fills; the shell opens through the desktop's standard opener, and every
// program start goes through a launcher that tests may replace to observe the command.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "win/file_version.h"

namespace win {

enum Hive { HKEY_CURRENT_USER = 1, HKEY_LOCAL_MACHINE = 2 };

constexpr int SW_SHOW = 5;
constexpr int SE_ERR_FNF = 2;       // the file was not found
constexpr int SE_ERR_NOASSOC = 31;  // no program is associated with the file
constexpr int SE_OPENED = 42;       // a result above 31: the opener started

TNWIN_API void RegSetString(Hive hive, const std::string& key, const std::string& value,
                            const std::string& data);
TNWIN_API void RegDeleteValue(Hive hive, const std::string& key, const std::string& value);
// Copies the value's text into `buffer` (NUL-terminated, cut to fit); false if there is none.
TNWIN_API bool SHGetValueA(Hive hive, const std::string& key, const std::string& value,
                           char* buffer, uint32_t size);

// Starts a program. `commandLine` is the command as the caller built it, `argv` what runs on
// this platform. True if the program started.
using Launcher =
    std::function<bool(const std::string& commandLine, const std::vector<std::string>& argv)>;
// Replaces the launcher and returns the previous one; an empty one restores the default,
// which spawns the program and reaps it in the background.
TNWIN_API Launcher SetLauncher(Launcher launcher);

// The "open" verb on a file: above 31 when the opener started, SE_ERR_NOASSOC when no opener
// exists, SE_ERR_FNF for a missing file.
TNWIN_API int ShellExecuteOpen(const std::string& path, int show);
// Runs a command line. The system's file browser ("explorer.exe /select, "path"") opens the
// file's folder with the desktop's opener.
TNWIN_API bool CreateProcess(const std::string& commandLine, int show);
TNWIN_API std::string GetSystemDirectory();

constexpr int CSIDL_APPDATA = 0x1a;
// A folder of the user's by its CSIDL number (only CSIDL_APPDATA is known): the environment's
// "APPDATA", else the desktop's data folder ($XDG_DATA_HOME, or ~/.local/share). Empty for
// another number.
TNWIN_API std::string SHGetSpecialFolderPath(int csidl);
// The short form of a path: this file system has none, so the path as it is.
TNWIN_API std::string GetShortPathNameA(const std::string& path);
TNWIN_API std::string GetSystemWindowsDirectory();

}  // namespace win
