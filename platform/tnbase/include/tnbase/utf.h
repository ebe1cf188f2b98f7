#pragma once

#include <cstddef>
#include <string>

#include "tnbase/export.h"

namespace tnbase {

// UTF-8 to UTF-16 and back, replacing what is not valid. Texts of ASCII only (most scripts, JSON
// and names) are widened or narrowed in place; the others go through Qt's codecs.
TNBASE_API void Utf8ToUtf16(const char* text, std::size_t size, std::u16string* out);
TNBASE_API void Utf16ToUtf8(const char16_t* text, std::size_t size, std::string* out);

}  // namespace tnbase
