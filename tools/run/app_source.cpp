#include "app_source.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace run {
namespace {

bool IsFolder(const std::string& path) {
  struct stat s {};
  return stat(path.c_str(), &s) == 0 && S_ISDIR(s.st_mode);
}

bool IsFile(const std::string& path) {
  struct stat s {};
  return stat(path.c_str(), &s) == 0 && S_ISREG(s.st_mode);
}

std::string Absolute(const std::string& path) {
  char resolved[PATH_MAX];
  return realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

std::vector<std::string> Entries(const std::string& folder) {
  std::vector<std::string> names;
  if (DIR* dir = opendir(folder.c_str())) {
    while (dirent* entry = readdir(dir)) {
      const std::string name = entry->d_name;
      if (name != "." && name != "..") names.push_back(name);
    }
    closedir(dir);
  }
  return names;
}

// Links every entry of `from` into `to` (made here).
bool LinkEntries(const std::string& from, const std::string& to) {
  if (mkdir(to.c_str(), 0700) != 0) return false;
  for (const std::string& name : Entries(from)) {
    if (symlink((from + "/" + name).c_str(), (to + "/" + name).c_str()) != 0) return false;
  }
  return true;
}

// The text of the page's <title>, with its spaces folded; empty without one.
std::string TitleOf(const std::string& page) {
  std::ifstream in(page);
  std::string html((std::istreambuf_iterator<char>(in)), {});
  std::string lower = html;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  const std::size_t open = lower.find("<title");
  const std::size_t begin = open == std::string::npos ? open : lower.find('>', open);
  const std::size_t end = begin == std::string::npos ? begin : lower.find("</title", begin);
  if (end == std::string::npos) return std::string();
  std::string title;
  for (char c : html.substr(begin + 1, end - begin - 1)) {
    const bool space = std::isspace(static_cast<unsigned char>(c));
    if (space && (title.empty() || title.back() == ' ')) continue;
    title += space ? ' ' : c;
  }
  while (!title.empty() && title.back() == ' ') title.pop_back();
  return title;
}

}  // namespace

bool IsAddress(const std::string& text) {
  for (const char* scheme : {"https://", "http://", "file://"}) {
    if (text.rfind(scheme, 0) == 0) return true;
  }
  return false;
}

AppSource ResolveApp(const std::string& pathOrAddress, const std::string& clientPages,
                     const std::string& scratch) {
  AppSource app;
  if (pathOrAddress.empty()) {
    app.error = "no light app given";
    return app;
  }
  if (IsAddress(pathOrAddress)) {
    app.address = pathOrAddress;
    app.pagesDir = clientPages;
    app.title = pathOrAddress;
    return app;
  }
  std::string folder, page;
  if (IsFolder(pathOrAddress)) {
    folder = Absolute(pathOrAddress);
    page = "index.html";
    if (!IsFile(folder + "/" + page)) {
      app.error = "the folder " + pathOrAddress + " has no index.html";
      return app;
    }
  } else if (IsFile(pathOrAddress)) {
    const std::string file = Absolute(pathOrAddress);
    const auto slash = file.rfind('/');
    folder = file.substr(0, slash);
    page = file.substr(slash + 1);
  } else {
    app.error = "no such file or folder: " + pathOrAddress;
    return app;
  }
  // The client's roots as links, but for the root whose foreign host serves the app: a folder
  // of links to its entries, and the app's folder of links among them.
  for (const std::string& root : Entries(clientPages)) {
    if (!IsFolder(clientPages + "/" + root)) continue;
    const bool host = root == kAppHostRoot;
    if (host ? !LinkEntries(clientPages + "/" + root, scratch + "/" + root)
             : symlink((clientPages + "/" + root).c_str(), (scratch + "/" + root).c_str()) != 0) {
      app.error = "cannot link the client's pages into " + scratch;
      return app;
    }
  }
  const std::string appFolder = scratch + "/" + kAppHostRoot + "/" + kAppFolder;
  if (!LinkEntries(folder, appFolder)) {
    app.error = "cannot link the app's files into " + scratch;
    return app;
  }
  const std::string bridge = "tavrin-js-bridge.js";
  if (!IsFile(appFolder + "/" + bridge)) {
    symlink((clientPages + "/tavrin5main/" + bridge).c_str(), (appFolder + "/" + bridge).c_str());
  }
  app.folder = folder;
  app.title = TitleOf(folder + "/" + page);
  if (app.title.empty()) app.title = folder.substr(folder.rfind('/') + 1);
  app.address =
      std::string("https://") + kAppHostRoot + ".frames.invalid/" + kAppFolder + "/" + page;
  app.pagesDir = scratch;
  return app;
}

int LineInAppFile(const AppSource& app, const std::string& address, const std::string& text) {
  const std::string root =
      std::string("https://") + kAppHostRoot + ".frames.invalid/" + kAppFolder + "/";
  if (app.folder.empty() || text.empty() || address.rfind(root, 0) != 0) return 0;
  std::string path = address.substr(root.size());
  path.resize(std::min(path.size(), path.find_first_of("?#")));
  if (path.empty() || path.find("..") != std::string::npos) return 0;
  std::ifstream in(app.folder + "/" + path);
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    if (line.find(text) != std::string::npos) return number;
  }
  return 0;
}

}  // namespace run
