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

TNBASE_API std::string base64Encode(const void* data, std::size_t size);
// The MD5 of the bytes, as 32 lower-case hexadecimal digits.
TNBASE_API std::string md5String(const std::string& data);

}  // namespace tnbase
