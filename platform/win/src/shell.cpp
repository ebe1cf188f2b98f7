#include "win/shell.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>
#include <thread>
#include <tuple>

extern char** environ;

namespace win {

namespace {

std::mutex& Mutex() {
  static std::mutex m;
  return m;
}

std::map<std::tuple<int, std::string, std::string>, std::string>& Registry() {
  static std::map<std::tuple<int, std::string, std::string>, std::string> registry;
  return registry;
}

bool Spawn(const std::string&, const std::vector<std::string>& argv) {
  if (argv.empty()) return false;
  std::vector<char*> args;
  for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawnp(&pid, args[0], nullptr, nullptr, args.data(), environ) != 0) return false;
  std::thread([pid] { waitpid(pid, nullptr, 0); }).detach();
  return true;
}

Launcher& CurrentLauncher() {
  static Launcher launcher = Spawn;
  return launcher;
}

bool Launch(const std::string& commandLine, const std::vector<std::string>& argv) {
  Launcher launcher;
  {
    std::lock_guard<std::mutex> lock(Mutex());
    launcher = CurrentLauncher();
  }
  return launcher(commandLine, argv);
}

bool OnPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::string dirs = path ? path : "";
  std::size_t start = 0;
  while (start <= dirs.size()) {
    const std::size_t end = dirs.find(':', start);
    const std::string dir =
        dirs.substr(start, end == std::string::npos ? std::string::npos : end - start);
    if (!dir.empty() && access((dir + "/" + program).c_str(), X_OK) == 0) return true;
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return false;
}

// Splits a command line at blanks, keeping double-quoted runs together.
std::vector<std::string> SplitCommandLine(const std::string& line) {
  std::vector<std::string> out;
  std::string current;
  bool quoted = false, any = false;
  for (char c : line) {
    if (c == '"') {
      quoted = !quoted;
      any = true;
    } else if (c == ' ' && !quoted) {
      if (any) out.push_back(current);
      current.clear();
      any = false;
    } else {
      current += c;
      any = true;
    }
  }
  if (any) out.push_back(current);
  return out;
}

std::string BaseName(const std::string& path) {
  const auto pos = path.find_last_of(kPathSeparator);
  return pos == std::string::npos ? path : path.substr(pos + 1);
}

}  // namespace

void RegSetString(Hive hive, const std::string& key, const std::string& value,
                  const std::string& data) {
  std::lock_guard<std::mutex> lock(Mutex());
  Registry()[{hive, key, value}] = data;
}

void RegDeleteValue(Hive hive, const std::string& key, const std::string& value) {
  std::lock_guard<std::mutex> lock(Mutex());
  Registry().erase({hive, key, value});
}

bool SHGetValueA(Hive hive, const std::string& key, const std::string& value, char* buffer,
                 uint32_t size) {
  if (!buffer || size == 0) return false;
  std::lock_guard<std::mutex> lock(Mutex());
  auto it = Registry().find({hive, key, value});
  if (it == Registry().end()) return false;
  const std::size_t n = std::min<std::size_t>(it->second.size(), size - 1);
  it->second.copy(buffer, n);
  buffer[n] = '\0';
  return true;
}

Launcher SetLauncher(Launcher launcher) {
  std::lock_guard<std::mutex> lock(Mutex());
  Launcher previous = std::move(CurrentLauncher());
  CurrentLauncher() = launcher ? std::move(launcher) : Launcher(Spawn);
  return previous;
}

int ShellExecuteOpen(const std::string& path, int) {
  if (path.empty() || access(path.c_str(), F_OK) != 0) return SE_ERR_FNF;
  if (!OnPath("xdg-open")) return SE_ERR_NOASSOC;
  return Launch("xdg-open \"" + path + "\"", {"xdg-open", path}) ? SE_OPENED : 0;
}

bool CreateProcess(const std::string& commandLine, int) {
  std::vector<std::string> argv = SplitCommandLine(commandLine);
  if (argv.size() == 3 && BaseName(argv[0]) == "explorer.exe" && argv[1] == "/select,") {
    const auto pos = argv[2].find_last_of(kPathSeparator);
    argv = {"xdg-open", pos == std::string::npos ? argv[2] : argv[2].substr(0, pos + 1)};
  }
  return Launch(commandLine, argv);
}

std::string GetSystemDirectory() { return "/usr/bin"; }

std::string SHGetSpecialFolderPath(int csidl) {
  if (csidl != CSIDL_APPDATA) return std::string();
  if (const char* appData = std::getenv("APPDATA"); appData && *appData) return appData;
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg) return xdg;
  const char* home = std::getenv("HOME");
  return std::string(home ? home : "") + "/.local/share";
}

std::string GetShortPathNameA(const std::string& path) { return path; }

std::string GetSystemWindowsDirectory() { return "/usr/bin"; }

}  // namespace win
