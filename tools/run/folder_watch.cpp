#include "folder_watch.h"

namespace run {

FolderWatch::FolderWatch(std::string folder) : folder_(std::move(folder)) { Changed(); }

std::string FolderWatch::Changed() {
  std::map<std::string, std::filesystem::file_time_type> now;
  std::error_code error;
  for (std::filesystem::recursive_directory_iterator it(folder_, error), end; !error && it != end;
       it.increment(error)) {
    std::error_code ignored;
    if (it->is_regular_file(ignored)) now[it->path().string()] = it->last_write_time(ignored);
  }
  std::string changed;
  for (const auto& [path, time] : now) {
    auto was = seen_.find(path);
    if (was == seen_.end() || was->second != time) changed = path;
  }
  for (const auto& [path, time] : seen_) {
    if (!now.count(path)) changed = path;
  }
  seen_.swap(now);
  return changed;
}

}  // namespace run
