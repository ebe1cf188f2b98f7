#pragma once

// TnBase's path, file and encoding helpers. Paths are UTF-8 and use the platform's separator.

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>

#include "tnbase/export.h"

namespace tnbase {

// Appends `more` to `path` with one separator between them.
TNBASE_API void pathAppend(std::string& path, const std::string& more);
// The last part of `path` (after the last separator); the whole path when it has none.
TNBASE_API std::string pathFindFileName(const std::string& path);
// The extension of the last part, with its dot (".png"), or empty.
TNBASE_API std::string pathFindExtension(const std::string& path);
// `path` without its last part and the separator before it.
TNBASE_API std::string pathRemoveFileName(const std::string& path);
TNBASE_API bool pathFileExists(const std::string& path);
// Makes the folder and every missing parent; true if it exists afterwards.
TNBASE_API bool createDirectories(const std::string& path);
// The size in bytes, or -1 when the file can't be read.
TNBASE_API int64_t fileSize(const std::string& path);
TNBASE_API bool copyFile(const std::string& from, const std::string& to, bool overwrite);
// Opens a file stream; null when it can't be opened.
TNBASE_API std::unique_ptr<std::fstream> openFileStream(const std::string& path,
                                                        std::ios::openmode mode);

// Flags of File::open, combined with "|". Without kFileWrite the file opens for reading.
enum FileOpenFlags : uint32_t {
  kFileTruncate = 0x001,  // an existing file starts empty
  kFileWrite = 0x002,
  kFileCreate = 0x100,  // make the file when it is missing
};
// How others may open the file meanwhile (kept for the caller's record; every opener may).
enum FileShareMode : uint32_t { kShareRead = 0x1, kShareWrite = 0x2 };

// A file opened for unbuffered reads or writes: each write goes to the system as it comes.
class TNBASE_API File {
 public:
  // Null when the file can't be opened. 0x103 with mode 3 creates the file or empties it, for
  // writing, shared with every other opener.
  static std::unique_ptr<File> open(const std::string& path, uint32_t flags, uint32_t mode);
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  // Writes all of `data`; false when the system refused part of it.
  bool write(const void* data, std::size_t size);
  void close();

 private:
  explicit File(int fd) : fd_(fd) {}
  int fd_;
};

TNBASE_API std::string base64Encode(const void* data, std::size_t size);
// The MD5 of the bytes, as 32 lower-case hexadecimal digits.
TNBASE_API std::string md5String(const std::string& data);

}  // namespace tnbase
