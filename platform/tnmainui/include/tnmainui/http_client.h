#pragma once

// HTTP as the sample business core and host use it (libcurl): the core's downloads, which
// stream each block to the caller's responder on a thread of their own, and the host's plain
// fetch of a URL into a file.

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "tnwebui/business_service.h"

namespace tnmainui {

#define TNMAINUI_API __attribute__((visibility("default")))

// Fetches `url` into `path` (created or emptied); true when a 2xx answer arrived whole.
TNMAINUI_API bool FetchToFile(const std::string& url, const std::string& path);

class TNMAINUI_API HttpDownloads {
 public:
  HttpDownloads() = default;
  // Stops what still runs, each responder hearing OnFinish as for a transfer that broke off
  // (one cancelled hears nothing), and waits for every thread.
  ~HttpDownloads();
  HttpDownloads(const HttpDownloads&) = delete;
  HttpDownloads& operator=(const HttpDownloads&) = delete;

  // Starts fetching `url`; the handle names the transfer. The responder hears OnStart once a
  // 2xx answer's headers are in, OnData for each block as it arrives (its length and the
  // answer's announced total, -1 when none was), and OnFinish when the transfer ends, however
  // it ended (an answer of another status gives OnFinish alone). A cancelled transfer calls it
  // no more. `timeoutMs` bounds the whole transfer.
  int64_t Start(const std::string& url, int32_t timeoutMs, Im::HTTPDownloadResponser* responser);
  // Stops a transfer; its responder hears nothing after the call in progress, if any.
  void Cancel(int64_t handle);

 private:
  struct Transfer {
    std::thread thread;
    std::atomic<bool> cancelled{false};
    std::atomic<bool> stopping{false};  // cut short by the end of the downloads
    std::atomic<bool> ended{false};
  };
  static void Run(Transfer* transfer, std::string url, int32_t timeoutMs,
                  Im::HTTPDownloadResponser* responser);
  void ReapEnded();

  std::mutex mutex_;
  std::map<int64_t, std::unique_ptr<Transfer>> transfers_;
  int64_t next_ = 1;
};

}  // namespace tnmainui
