#pragma once

// What the host and the business core answer a light app under tnwebui-run: the defaults, and
// a host file (JSON, see tools/run/host-file.d.ts) that changes any of them. Every key is
// optional; a key the file doesn't know, or a value of the wrong type, is an error that names
// it.

#include <json/value.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace run {

struct Download {
  std::string file;   // served from this file, or
  uint64_t size = 0;  // this many bytes of a pattern
  bool slow = false;  // in blocks of 16 KiB, 20 ms apart
};

struct HostFile {
  // The user: the organisation, the account, the device and the web domain.
  int32_t orgId = 7;
  std::string account = "account-42";
  std::string deviceId = "device-0001";
  std::string webDomain = "intra.example.com";
  // The secret that "config" signatures are checked with.
  std::string secret = "sample-app-secret";
  // What the file dialog returns for the image, video and file choosers (empty: a sample file
  // made for the run).
  std::vector<std::string> images, videos, files;
  // What the contact chooser and the department chooser answer.
  std::string contacts = R"({"users":[{"staffId":"ou_bob","name":"Bob"}]})";
  std::string departments = R"({"users":[],"sectors":[{"sectorId":"os_sales"}]})";
  // The loopback server's port (0: a free one) and the paths it serves.
  int port = 0;
  std::map<std::string, Download> downloads = {{"/files/report.pdf", {"", 64 * 1024, true}}};
  // Voice lengths in seconds, by file name (a WAVE file's header gives it otherwise).
  std::map<std::string, uint32_t> voices;
  // Whether the rights rule lets every page's business actions reach the core (a light window's
  // get no answer there).
  bool allowAnyPage = false;
};

// `path` taken beside `folder` when it is relative, as a plain full path ("./" and "../" gone).
std::string PathBeside(const std::string& folder, const std::string& path);

// Reads `path` over the defaults; false with `error` naming the file and the key when it
// can't.
bool ReadHostFile(const std::string& path, HostFile* file, std::string* error);
// The same, from JSON text (`name` names it in errors).
bool ParseHostFile(const std::string& text, const std::string& name, HostFile* file,
                   std::string* error);

}  // namespace run
