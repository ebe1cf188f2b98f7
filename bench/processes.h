#pragma once

// Processes and their memory, from /proc, for the benchmarks on Chromium.

#include <dirent.h>
#include <sys/types.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

// A field of /proc/<pid>/<file> ("Rss:", "Pss:", "VmRSS:") in KiB; 0 when unreadable.
inline long KiB(pid_t pid, const char* file, const std::string& field) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/" + file);
  std::string line;
  while (std::getline(in, line)) {
    if (line.compare(0, field.size(), field) == 0) return std::atol(line.c_str() + field.size());
  }
  return 0;
}

// The processes below `root` (its children, theirs, ...), `root` included.
inline std::vector<pid_t> Descendants(pid_t root) {
  std::map<pid_t, pid_t> parents;
  if (DIR* dir = opendir("/proc")) {
    while (dirent* entry = readdir(dir)) {
      const pid_t pid = std::atoi(entry->d_name);
      if (pid <= 0) continue;
      std::ifstream stat("/proc/" + std::string(entry->d_name) + "/stat");
      std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
      const auto close = text.rfind(')');
      if (close == std::string::npos) continue;
      std::istringstream rest(text.substr(close + 2));
      char state = 0;
      pid_t parent = 0;
      rest >> state >> parent;
      parents[pid] = parent;
    }
    closedir(dir);
  }
  std::vector<pid_t> found{root};
  for (std::size_t i = 0; i < found.size(); ++i) {
    for (const auto& [pid, parent] : parents) {
      if (parent == found[i]) found.push_back(pid);
    }
  }
  return found;
}
