#include "tnmainui/file_server.h"

#include <httplib.h>

#include <chrono>
#include <map>
#include <mutex>
#include <thread>

namespace tnmainui {

namespace {

constexpr char kPattern[] = "0123456789abcdefghijklmnopqrstuvwxyz\n";
constexpr std::size_t kPatternSize = sizeof kPattern - 1;
constexpr std::size_t kGeneratedBlock = 256 * 1024;

struct Entry {
  std::shared_ptr<const std::string> bytes;  // null: generated
  uint64_t size = 0;
  FileServer::Mode mode = FileServer::Mode::kWhole;
  std::size_t block = 4096;
  int delayMs = 0;
};

}  // namespace

struct FileServer::State {
  httplib::Server server;
  std::thread thread;
  int port = 0;
  mutable std::mutex mutex;
  std::map<std::string, Entry> entries;
  // One period of the pattern, repeated to a block: generated content is sent from here.
  std::string generated;

  void Answer(const httplib::Request& request, httplib::Response& response) {
    Entry entry;
    {
      std::lock_guard<std::mutex> lock(mutex);
      auto it = entries.find(request.path);
      if (it == entries.end()) {
        response.status = 404;
        response.set_content("not found", "text/plain");
        return;
      }
      entry = it->second;
    }
    const uint64_t size = entry.size;
    response.set_content_provider(
        size, "application/octet-stream",
        [this, entry](std::size_t offset, std::size_t, httplib::DataSink& sink) {
          if (!entry.bytes) {
            // The pattern's period divides the block, so every block starts in phase.
            const std::size_t phase = offset % kPatternSize;
            const std::size_t count = std::min<uint64_t>(kGeneratedBlock, entry.size - offset);
            return sink.write(generated.data() + phase, count);
          }
          const std::string& bytes = *entry.bytes;
          if (entry.mode == Mode::kDropped && offset >= bytes.size() / 2) return false;
          std::size_t count = bytes.size() - offset;
          if (entry.mode != Mode::kWhole) count = std::min(count, entry.block);
          if (entry.mode == Mode::kDropped) count = std::min(count, bytes.size() / 2 - offset);
          if (entry.delayMs > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(entry.delayMs));
          }
          return sink.write(bytes.data() + offset, count);
        });
  }
};

FileServer::FileServer(int port) : state_(std::make_unique<State>()) {
  while (state_->generated.size() < kGeneratedBlock + kPatternSize) {
    state_->generated += kPattern;
  }
  state_->server.Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
    state_->Answer(request, response);
  });
  state_->port = port == 0 ? state_->server.bind_to_any_port("127.0.0.1")
                 : state_->server.bind_to_port("127.0.0.1", port) ? port
                                                                 : 0;
  if (state_->port <= 0) {  // no port: every request to it fails
    state_->port = 0;
    return;
  }
  state_->thread = std::thread([this] { state_->server.listen_after_bind(); });
  while (!state_->server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

FileServer::~FileServer() {
  state_->server.stop();
  if (state_->thread.joinable()) state_->thread.join();
}

int FileServer::port() const { return state_->port; }

std::string FileServer::Url(const std::string& pathAndQuery) const {
  return "http://127.0.0.1:" + std::to_string(state_->port) + pathAndQuery;
}

void FileServer::Serve(const std::string& path, std::string bytes, Mode mode, std::size_t block,
                       int delayMs) {
  Entry entry;
  entry.size = bytes.size();
  entry.bytes = std::make_shared<const std::string>(std::move(bytes));
  entry.mode = mode;
  entry.block = block ? block : 1;
  entry.delayMs = delayMs;
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->entries[path] = std::move(entry);
}

void FileServer::ServeGenerated(const std::string& path, uint64_t size) {
  Entry entry;
  entry.size = size;
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->entries[path] = std::move(entry);
}

}  // namespace tnmainui
