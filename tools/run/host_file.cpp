#include "host_file.h"

#include <json/reader.h>
#include <json/writer.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

namespace run {
namespace {

std::string Compact(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

// Reads one object of the file, key by key, and keeps the first problem, named by its path
// ("chooser.images[1]").
class Reader {
 public:
  Reader(std::string name, std::string* error) : name_(std::move(name)), error_(error) {}
  bool ok() const { return error_->empty(); }

  // Fails on a member of `object` (at `path`) not in `known`; false when `object` is no object.
  bool Object(const Json::Value& object, const std::string& path,
              std::initializer_list<const char*> known) {
    if (!object.isObject()) return Fail(path, "an object");
    const std::set<std::string> names(known.begin(), known.end());
    for (const std::string& member : object.getMemberNames()) {
      if (known.size() && !names.count(member))
        return Fail(Join(path, member), nullptr, "is not a key of the host file");
    }
    return true;
  }
  void String(const Json::Value& object, const std::string& path, const char* key,
              std::string* out) {
    if (!ok() || !object.isMember(key)) return;
    if (!object[key].isString()) return (void)Fail(Join(path, key), "a string");
    *out = object[key].asString();
  }
  void Strings(const Json::Value& object, const std::string& path, const char* key,
               std::vector<std::string>* out) {
    if (!ok() || !object.isMember(key)) return;
    const Json::Value& list = object[key];
    if (!list.isArray()) return (void)Fail(Join(path, key), "an array of strings");
    out->clear();
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
      if (!list[i].isString())
        return (void)Fail(Join(path, key) + "[" + std::to_string(i) + "]", "a string");
      out->push_back(list[i].asString());
    }
  }
  // A whole number from `low` to `high`.
  template <typename T>
  void Number(const Json::Value& object, const std::string& path, const char* key, T* out,
              double low, double high) {
    if (!ok() || !object.isMember(key)) return;
    const Json::Value& value = object[key];
    if (!value.isNumeric() || value.isBool() ||
        value.asDouble() != static_cast<int64_t>(value.asDouble()) || value.asDouble() < low ||
        value.asDouble() > high) {
      return (void)Fail(Join(path, key), nullptr,
                        "is not a whole number from " + std::to_string(static_cast<int64_t>(low)) +
                            " to " + std::to_string(static_cast<int64_t>(high)));
    }
    *out = static_cast<T>(value.asDouble());
  }
  void Bool(const Json::Value& object, const std::string& path, const char* key, bool* out) {
    if (!ok() || !object.isMember(key)) return;
    if (!object[key].isBool()) return (void)Fail(Join(path, key), "true or false");
    *out = object[key].asBool();
  }
  // Any JSON object, kept as its text.
  // A chooser's result as the client raises it: {"users": [{"staffId", "name"}, ...]} and,
  // optionally, "sectors": [{"sectorId"}, ...].
  void ChooserResult(const Json::Value& object, const std::string& path, const char* key,
                     std::string* out) {
    if (!ok() || !object.isMember(key)) return;
    const std::string at = Join(path, key);
    const Json::Value& result = object[key];
    if (!Object(result, at, {"users", "sectors"})) return;
    const std::pair<const char*, std::vector<const char*>> lists[] = {
        {"users", {"staffId", "name"}}, {"sectors", {"sectorId"}}};
    for (const auto& [list, fields] : lists) {
      if (!result.isMember(list)) {
        if (std::string(list) == "users") return (void)Fail(Join(at, list), nullptr, "is missing");
        continue;
      }
      if (!result[list].isArray()) return (void)Fail(Join(at, list), "an array");
      for (Json::ArrayIndex i = 0; i < result[list].size(); ++i) {
        const std::string item = Join(at, list) + "[" + std::to_string(i) + "]";
        if (!result[list][i].isObject()) return (void)Fail(item, "an object");
        for (const char* field : fields) {
          if (!result[list][i][field].isString()) return (void)Fail(Join(item, field), "a string");
        }
      }
    }
    *out = Compact(result);
  }

  bool Fail(const std::string& path, const char* wanted, const std::string& why = "") {
    if (ok()) {
      *error_ = name_ + ": " + (path.empty() ? "the file" : path) + " " +
                (wanted ? std::string("is not ") + wanted : why);
    }
    return false;
  }
  static std::string Join(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
  }

 private:
  std::string name_;
  std::string* error_;
};

void ReadServer(Reader& r, const Json::Value& server, HostFile* file) {
  if (!r.Object(server, "server", {"port", "files"})) return;
  r.Number(server, "server", "port", &file->port, 0, 65535);
  if (!r.ok() || !server.isMember("files")) return;
  const Json::Value& files = server["files"];
  if (!r.Object(files, "server.files", {})) return;
  file->downloads.clear();
  for (const std::string& path : files.getMemberNames()) {
    const std::string at = "server.files[\"" + path + "\"]";
    if (path.empty() || path[0] != '/') return (void)r.Fail(at, nullptr, "does not begin with /");
    const Json::Value& entry = files[path];
    if (!r.Object(entry, at, {"file", "size", "slow"})) return;
    Download& download = file->downloads[path];
    r.String(entry, at, "file", &download.file);
    r.Number(entry, at, "size", &download.size, 0, 1 << 30);
    r.Bool(entry, at, "slow", &download.slow);
    if (r.ok() && download.file.empty() == !entry.isMember("size"))
      return (void)r.Fail(at, nullptr, "needs one of \"file\" and \"size\"");
  }
}

void ReadMaps(Reader& r, const Json::Value& root, HostFile* file) {
  if (root.isMember("voices") && r.Object(root["voices"], "voices", {})) {
    for (const std::string& name : root["voices"].getMemberNames())
      r.Number(root["voices"], "voices", name.c_str(), &file->voices[name], 0, 24 * 3600);
  }
}

}  // namespace

std::string PathBeside(const std::string& folder, const std::string& path) {
  if (path.empty()) return path;
  // "./a.png" and "../shared/a.png" become plain paths: a file's local id names it as it is.
  const std::filesystem::path full = path[0] == '/' || folder.empty() ? path : folder + "/" + path;
  return full.lexically_normal().string();
}

bool ParseHostFile(const std::string& text, const std::string& name, HostFile* file,
                   std::string* error) {
  error->clear();
  Json::Value root;
  std::string errors;
  std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
    *error = name + ": not JSON: " + errors.substr(0, errors.find('\n'));
    return false;
  }
  Reader r(name, error);
  // tnwebui-run runs the app in a light window, whose classic business actions go to the core
  // without a callback: no answer the file gave could reach the page.
  if (root.isObject() && root.isMember("actions")) {
    r.Fail("actions", nullptr,
           "can't act: a light window's tnpc.exebusinessaction gets no answer (its callback "
           "never runs); remove the key, and reach the client through the JS SDK");
    return false;
  }
  if (!r.Object(root, "",
                {"$schema", "user", "secret", "chooser", "server", "voices", "allowAnyPage"})) {
    return false;
  }
  if (root.isMember("user") &&
      r.Object(root["user"], "user", {"orgId", "account", "deviceId", "webDomain"})) {
    r.Number(root["user"], "user", "orgId", &file->orgId, 1, INT32_MAX);
    r.String(root["user"], "user", "account", &file->account);
    r.String(root["user"], "user", "deviceId", &file->deviceId);
    r.String(root["user"], "user", "webDomain", &file->webDomain);
  }
  r.String(root, "", "secret", &file->secret);
  const Json::Value& chooser = static_cast<const Json::Value&>(root)["chooser"];
  if (r.ok() && root.isMember("chooser") &&
      r.Object(chooser, "chooser", {"images", "videos", "files", "contacts", "departments"})) {
    r.Strings(chooser, "chooser", "images", &file->images);
    r.Strings(chooser, "chooser", "videos", &file->videos);
    r.Strings(chooser, "chooser", "files", &file->files);
    r.ChooserResult(chooser, "chooser", "contacts", &file->contacts);
    r.ChooserResult(chooser, "chooser", "departments", &file->departments);
  }
  if (r.ok() && root.isMember("server")) ReadServer(r, root["server"], file);
  if (r.ok()) ReadMaps(r, root, file);
  r.Bool(root, "", "allowAnyPage", &file->allowAnyPage);
  return r.ok();
}

bool ReadHostFile(const std::string& path, HostFile* file, std::string* error) {
  std::error_code ignored;
  std::ifstream in(path);
  std::stringstream text;
  if (!std::filesystem::is_regular_file(path, ignored) || !in ||
      !(text << in.rdbuf() || in.eof())) {
    *error = path + ": cannot be read";
    return false;
  }
  if (!ParseHostFile(text.str(), path, file, error)) return false;
  // Files beside the host file, by their full paths (a local id names a file as it is).
  const std::string folder = std::filesystem::absolute(path, ignored).parent_path().string();
  for (auto* list : {&file->images, &file->videos, &file->files}) {
    for (std::string& item : *list) item = PathBeside(folder, item);
  }
  for (auto& [served, download] : file->downloads)
    download.file = PathBeside(folder, download.file);
  return true;
}

}  // namespace run
