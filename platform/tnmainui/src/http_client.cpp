#include "tnmainui/http_client.h"

#include <curl/curl.h>

#include <cstdio>
#include <vector>

namespace tnmainui {

namespace {

constexpr long kBlockSize = 256 * 1024;  // what one OnData carries at most

void InitCurl() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// A block of curl's buffer handed to the responder for the call only.
class BlockView final : public IGData {
 public:
  BlockView(const char* data, int32_t size) : data_(data), size_(size) {}
  void Dispose() override {}
  int32_t Reserved() override { return 0; }
  const char* Data() override { return data_; }
  int32_t Size() override { return size_; }

 private:
  const char* data_;
  int32_t size_;
};

struct Course {
  CURL* curl = nullptr;
  const std::atomic<bool>* cancelled = nullptr;
  const std::atomic<bool>* stopping = nullptr;
  // The transfer is to break off: cancelled, or the downloads end.
  bool Stopped() const { return *cancelled || *stopping; }
  Im::HTTPDownloadResponser* responser = nullptr;
  bool started = false;
  curl_off_t total = -1;
};

bool Succeeded(CURL* curl) {
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  return status >= 200 && status < 300;
}

// The end of a header block: the responder starts on the first 2xx answer.
size_t OnHeader(char* data, size_t size, size_t count, void* user) {
  auto* course = static_cast<Course*>(user);
  const size_t length = size * count;
  const bool blankLine = length <= 2 && (length == 0 || data[0] == '\r' || data[0] == '\n');
  if (!blankLine || course->started || !Succeeded(course->curl)) return length;
  curl_easy_getinfo(course->curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &course->total);
  course->started = true;
  course->responser->OnStart();
  return course->Stopped() ? 0 : length;
}

size_t OnBody(char* data, size_t size, size_t count, void* user) {
  auto* course = static_cast<Course*>(user);
  const size_t length = size * count;
  if (course->Stopped()) return 0;
  if (!course->started) return length;  // the body of an error answer
  BlockView block(data, static_cast<int32_t>(length));
  course->responser->OnData(&block, static_cast<int64_t>(length), course->total);
  return course->Stopped() ? 0 : length;
}

int OnProgress(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  return static_cast<Course*>(user)->Stopped() ? 1 : 0;
}

size_t ToFile(char* data, size_t size, size_t count, void* user) {
  return std::fwrite(data, size, count, static_cast<std::FILE*>(user)) * size;
}

}  // namespace

bool FetchToFile(const std::string& url, const std::string& path) {
  InitCurl();
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  CURL* curl = curl_easy_init();
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, ToFile);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, file);
  curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  const CURLcode result = curl_easy_perform(curl);
  curl_easy_cleanup(curl);
  const bool closed = std::fclose(file) == 0;
  return result == CURLE_OK && closed;
}

HttpDownloads::~HttpDownloads() {
  std::map<int64_t, std::unique_ptr<Transfer>> transfers;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    transfers.swap(transfers_);
  }
  // A responder still waiting hears the end (it finishes its work and lets go of itself).
  for (auto& [handle, transfer] : transfers) transfer->stopping = true;
  for (auto& [handle, transfer] : transfers) transfer->thread.join();
}

int64_t HttpDownloads::Start(const std::string& url, int32_t timeoutMs,
                             Im::HTTPDownloadResponser* responser) {
  InitCurl();
  ReapEnded();
  auto transfer = std::make_unique<Transfer>();
  Transfer* running = transfer.get();
  std::lock_guard<std::mutex> lock(mutex_);
  const int64_t handle = next_++;
  // The thread waits for the lock, so its first call comes after the handle is given out.
  running->thread = std::thread([this, running, url, timeoutMs, responser] {
    { std::lock_guard<std::mutex> started(mutex_); }
    Run(running, url, timeoutMs, responser);
  });
  transfers_[handle] = std::move(transfer);
  return handle;
}

void HttpDownloads::Cancel(int64_t handle) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = transfers_.find(handle);
  if (it != transfers_.end()) it->second->cancelled = true;
}

void HttpDownloads::Run(Transfer* transfer, std::string url, int32_t timeoutMs,
                        Im::HTTPDownloadResponser* responser) {
  CURL* curl = curl_easy_init();
  Course course{curl, &transfer->cancelled, &transfer->stopping, responser};
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, OnHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &course);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &course);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, OnProgress);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &course);
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(timeoutMs));
  curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, kBlockSize);
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_perform(curl);
  curl_easy_cleanup(curl);
  // A transfer that failed half way ends like any other: the responder decides what it means.
  if (!transfer->cancelled) responser->OnFinish();
  transfer->ended = true;
}

void HttpDownloads::ReapEnded() {
  std::vector<std::unique_ptr<Transfer>> ended;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = transfers_.begin(); it != transfers_.end();) {
      if (it->second->ended) {
        ended.push_back(std::move(it->second));
        it = transfers_.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (auto& transfer : ended) transfer->thread.join();
}

}  // namespace tnmainui
