#pragma once

// A small HTTP server on the loopback interface (127.0.0.1, a free port), for tests, the demo
// and the benchmarks: it serves named files the way object stores and flaky networks do.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tnmainui {

#define TNMAINUI_API __attribute__((visibility("default")))

class TNMAINUI_API FileServer {
 public:
  // How a path is answered.
  enum class Mode {
    kWhole,    // all at once, with its length
    kSlow,     // in blocks of `block` bytes, `delayMs` apart
    kDropped,  // its full length announced, half of it sent, then the connection closed
  };

  // Starts listening on `port` (0: a free one); ready when the constructor returns. When the
  // port can't be had, port() is 0 and every request to the server fails.
  explicit FileServer(int port = 0);
  ~FileServer();
  FileServer(const FileServer&) = delete;
  FileServer& operator=(const FileServer&) = delete;

  int port() const;
  // "http://127.0.0.1:<port>" followed by `pathAndQuery`.
  std::string Url(const std::string& pathAndQuery) const;
  // Serves `bytes` at `path` (whatever the query); any other path answers 404.
  void Serve(const std::string& path, std::string bytes, Mode mode = Mode::kWhole,
             std::size_t block = 4096, int delayMs = 0);
  // Serves `size` bytes of a repeating pattern at `path` without holding them.
  void ServeGenerated(const std::string& path, uint64_t size);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tnmainui
