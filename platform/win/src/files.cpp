#include "win/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <QString>
#include <mutex>

namespace win {

struct FindState {
  DIR* dir = nullptr;
  std::string pattern;
};

namespace {

std::string Utf8(const std::u16string& text) {
  return QString::fromUtf16(text.data(), static_cast<int>(text.size())).toStdString();
}

std::u16string Utf16(const char* text) {
  const QString q = QString::fromUtf8(text);
  return std::u16string(reinterpret_cast<const char16_t*>(q.utf16()),
                        static_cast<size_t>(q.size()));
}

// The next entry of `state` that matches its pattern, described into `data`.
bool Next(FindState* state, FindData* data) {
  while (dirent* entry = readdir(state->dir)) {
    const char* name = entry->d_name;
    const bool all = state->pattern == "*.*" || state->pattern == "*";
    if (!all && fnmatch(state->pattern.c_str(), name, 0) != 0) continue;
    FindData found;
    found.cFileName = Utf16(name);
    struct stat st {};
    const int fd = dirfd(state->dir);
    if (entry->d_type == DT_DIR) {
      found.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    } else if (fstatat(fd, name, &st, AT_SYMLINK_NOFOLLOW) == 0) {
      if (S_ISLNK(st.st_mode)) {
        struct stat target {};
        const bool dir = fstatat(fd, name, &target, 0) == 0 && S_ISDIR(target.st_mode);
        found.dwFileAttributes =
            FILE_ATTRIBUTE_REPARSE_POINT | (dir ? FILE_ATTRIBUTE_DIRECTORY : 0);
        if (!dir) st = target;
      } else {
        found.dwFileAttributes =
            S_ISDIR(st.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
      }
      if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        const uint64_t size = static_cast<uint64_t>(st.st_size);
        found.nFileSizeHigh = static_cast<uint32_t>(size >> 32);
        found.nFileSizeLow = static_cast<uint32_t>(size);
      }
    } else {
      continue;  // gone while we read
    }
    *data = std::move(found);
    return true;
  }
  return false;
}

std::mutex g_browserMutex;
FolderBrowser g_browser;

}  // namespace

FindHandle FindFirstFileW(const std::u16string& pattern, FindData* data) {
  if (!data) return nullptr;
  const std::string whole = Utf8(pattern);
  const auto slash = whole.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : whole.substr(0, slash + 1);
  auto* state = new FindState;
  state->pattern = slash == std::string::npos ? whole : whole.substr(slash + 1);
  state->dir = opendir(folder.c_str());
  if (!state->dir || !Next(state, data)) {
    FindClose(state);
    return nullptr;
  }
  return state;
}

bool FindNextFileW(FindHandle handle, FindData* data) {
  return handle && data && Next(handle, data);
}

bool FindClose(FindHandle handle) {
  if (!handle) return false;
  if (handle->dir) closedir(handle->dir);
  delete handle;
  return true;
}

std::u16string GetTempPathW() {
  const char* tmp = getenv("TMPDIR");
  std::string path = tmp && *tmp ? tmp : "/tmp";
  if (path.back() != '/') path += '/';
  return Utf16(path.c_str());
}

std::u16string SHBrowseForFolderW(HWND owner, uint32_t flags) {
  FolderBrowser browser;
  {
    std::lock_guard<std::mutex> lock(g_browserMutex);
    browser = g_browser;
  }
  return browser ? browser(owner, flags) : std::u16string();
}

void SetFolderBrowser(FolderBrowser browser) {
  std::lock_guard<std::mutex> lock(g_browserMutex);
  g_browser = std::move(browser);
}

}  // namespace win
