#pragma once

// The transfers of a light app: "utils.downloadFile" through the business core into the
// client's web cache, "utils.uploadFile" and "utils.saveFile" through the host, an upload to an
// S3-style store with the page's credentials, and the names under which pages register for
// progress. Towards the page, files are named by "res://local/" ids.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "tnbase/files.h"
#include "tnwebui/business_service.h"

namespace tnwebui {

constexpr char kDownloadProgressEvent[] = "utils.onDownloadProgress";
constexpr char kUploadProgressEvent[] = "utils.onUploadProgress";

// The payload of a progress event of either direction.
std::string ProgressText(const std::string& localId, uint64_t total, uint64_t loaded);

// The cache's file name of `url`: the MD5 of the address without the query keys that a signed
// object store changes with every signature ("X-Amz…"), and the address's extension. Two
// addresses that differ only in those keys name the same file. Empty for an address without a
// query.
std::string CacheName(const std::string& url);

// Registrations for progress events: the events come from the running transfer, under that
// transfer's call id; these do nothing and answer nothing.
class JSOnDownloadProgress final : public JsSdkFunction {
 public:
  void Execute(const std::string&, const Json::Value&) override {}
};

class JSOnUploadProgress final : public JsSdkFunction {
 public:
  void Execute(const std::string&, const Json::Value&) override {}
};

class JSDownloadFile final : public JsSdkFunction, public Im::HTTPDownloadResponser {
 public:
  bool IsOneShot() override { return false; }  // answers from the core's threads
  void Execute(const std::string& handlerName, const Json::Value& params) override;

  // The course of the download, on a thread of the core, one after the other.
  void Dispose() override {}
  int32_t Reserved() override { return 0; }
  void OnFinish() override;
  void OnData(IGData* data, int64_t length, int64_t total) override;
  void OnStart() override;

 private:
  void Answer(int32_t code, const std::string& id);
  // The last answer and the end; only the first end counts, so a finish that the core reports
  // after a failure neither answers again nor ends the function twice.
  void End(int32_t code, const std::string& id);
  // A failure while the transfer runs: it is cancelled, then ended with code 41.
  void Fail(int64_t handle);
  tnbusiness::NetworkObject* Network();
  int64_t WaitForTask();

  uint64_t loaded = 0;
  std::string url;
  // The core's handle, given on the UI thread. The core may call back, even finish, before
  // HttpDownload has returned it: each callback first waits for it, so the download is never
  // deleted while Execute still writes it.
  static constexpr int64_t kTaskPending = INT64_MIN;
  std::atomic<int64_t> task{kTaskPending};
  std::atomic<bool> ended{false};
  std::unique_ptr<tnbase::File> file;
  std::string localPath;
  std::string localId;
};

// Despite the page's name, the host fetches a URL to a local file, and the answer names it.
class JSUploadFile final : public JsSdkHostFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;
};

// With the target "local", the host asks the user where to save a file of the page's, and the
// file is copied there, never over another.
class JSSaveFile final : public JsSdkHostFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;

 private:
  std::string sourcePath;
};

// The host moves the bytes to the store; this function names the file and its size, passes the
// credentials on without keeping or logging them, and turns each of the host's answers into a
// progress event, the last one also into the final answer.
class JSUploadFileToS3 final : public JsSdkHostFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;

 private:
  std::string localId;
};

}  // namespace tnwebui
