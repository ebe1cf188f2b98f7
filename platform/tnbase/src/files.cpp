#include "tnbase/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <QByteArray>
#include <QCryptographicHash>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace tnbase {

namespace fs = std::filesystem;

namespace {

constexpr char kSeparator = '/';

std::size_t LastSeparator(const std::string& path) { return path.find_last_of(kSeparator); }

}  // namespace

void pathAppend(std::string& path, const std::string& more) {
  if (!path.empty() && path.back() != kSeparator && !more.empty() && more.front() != kSeparator) {
    path += kSeparator;
  }
  path += more;
}

std::string pathFindFileName(const std::string& path) {
  const auto pos = LastSeparator(path);
  return pos == std::string::npos ? path : path.substr(pos + 1);
}

std::string pathFindExtension(const std::string& path) {
  const std::string name = pathFindFileName(path);
  const auto dot = name.find_last_of('.');
  return dot == std::string::npos ? std::string() : name.substr(dot);
}

std::string pathRemoveFileName(const std::string& path) {
  const auto pos = LastSeparator(path);
  if (pos == std::string::npos) return std::string();
  return pos == 0 ? path.substr(0, 1) : path.substr(0, pos);
}

bool pathFileExists(const std::string& path) {
  std::error_code ec;
  return !path.empty() && fs::exists(path, ec);
}

bool createDirectories(const std::string& path) {
  std::error_code ec;
  fs::create_directories(path, ec);
  return fs::is_directory(path, ec);
}

int64_t fileSize(const std::string& path) {
  std::error_code ec;
  const auto size = fs::file_size(path, ec);
  return ec ? -1 : static_cast<int64_t>(size);
}

bool copyFile(const std::string& from, const std::string& to, bool overwrite) {
  std::error_code ec;
  const auto options = overwrite ? fs::copy_options::overwrite_existing : fs::copy_options::none;
  return fs::copy_file(from, to, options, ec) && !ec;
}

std::unique_ptr<std::fstream> openFileStream(const std::string& path, std::ios::openmode mode) {
  auto stream = std::make_unique<std::fstream>(path, mode);
  if (!stream->is_open()) return nullptr;
  return stream;
}

std::unique_ptr<File> File::open(const std::string& path, uint32_t flags, uint32_t) {
  int how = O_CLOEXEC | ((flags & kFileWrite) ? O_WRONLY : O_RDONLY);
  if (flags & kFileTruncate) how |= O_TRUNC;
  if (flags & kFileCreate) how |= O_CREAT;
  const int fd = ::open(path.c_str(), how, 0644);
  if (fd < 0) return nullptr;
  return std::unique_ptr<File>(new File(fd));
}

File::~File() { close(); }

bool File::write(const void* data, std::size_t size) {
  const char* at = static_cast<const char*>(data);
  while (size > 0 && fd_ >= 0) {
    const ssize_t written = ::write(fd_, at, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    at += written;
    size -= static_cast<std::size_t>(written);
  }
  return size == 0;
}

void File::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

std::string base64Encode(const void* data, std::size_t size) {
  if (!data || size == 0) return std::string();
  const QByteArray b =
      QByteArray::fromRawData(static_cast<const char*>(data), static_cast<int>(size)).toBase64();
  return std::string(b.constData(), static_cast<std::size_t>(b.size()));
}

std::string md5String(const std::string& data) {
  const QByteArray hash = QCryptographicHash::hash(
      QByteArray::fromRawData(data.data(), static_cast<int>(data.size())), QCryptographicHash::Md5);
  const QByteArray hex = hash.toHex();
  return std::string(hex.constData(), static_cast<std::size_t>(hex.size()));
}

}  // namespace tnbase
