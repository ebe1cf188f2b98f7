#pragma once

// Small helpers with the file system and the shell: addresses taken apart, the client's
// version, file descriptions, MIME types, thumbnails, opening files, identifiers and text forms.

#include <json/value.h>

#include <cstdint>
#include <map>
#include <string>

#include "cef/cef_string.h"

class TnString;

namespace xhav {
class Browser;
}  // namespace xhav

namespace tnwebui {

class CCommonFunc {
 public:
  // Returns the address in front of its query and fills `params` with the query's pairs (the
  // first of equal keys stays). Empty, with a log line, when the address has no host, path and
  // query in that order.
  static std::string ParserUrlParams(const char* pszUrl,
                                     std::map<std::string, std::string>& params);
};

// The client's installed version; the first value found stays for the process, and a failed
// read is repeated on the next call.
std::string getClientVersion();

// The application-data folder joined with `subPath`. With `create`, a missing folder is made.
std::string getAppDataPath(const std::string& subPath, bool create);

// "1.50KB": two decimals, B, KB, MB or GB.
std::string formatFileSize(double size);
// "1KB", "3MB", "1.5.000000GB": whole units; gigabytes add the remainder in an odd form that
// the client has always shown.
std::string formatFileSizeShort(uint64_t size);

// The MIME type by the file's suffix; empty for an empty path.
std::string getMimeType(const std::string& path);

// Describes a file or folder: "isFolder", "fileName", "filePath", "fileSize", "isOccupied",
// "formatFileSize", "mimeType", and "thumbnail" for images (whose thumbnail is made aside).
void getFileInfoJson(const std::string& path, Json::Value& out);

// Writes a PNG thumbnail of `source` to `target`: an image whose smaller side is over `maxSide`
// gets `maxSide` on its longer side; others keep their size. False if nothing was written.
bool makeThumbnail(const std::string& source, const std::string& target, int maxSide);

// Opens a file with its program, or lets the user choose one when none is associated.
bool openFile(const std::string& path);
// Shows a file selected in its folder.
bool showFileInFolder(const char* path);

// A random identifier: 36 characters, lower-case hexadecimal digits with dashes.
std::string createUuid();
// The page's address as UTF-8; empty without a browser or an address.
std::string PageUrlOf(xhav::Browser* browser);
// A name-based identifier (SHA-1), the same for the same name.
std::string createNameUuid(const std::string& name);

std::string Int64ToString(int64_t value);
std::string UInt64ToString(uint64_t value);
// Bytes as lower-case hexadecimal digits, two a byte.
std::string BytesToHex(const void* data, std::size_t size);
// The bytes of hexadecimal digits (either case), two a byte; characters that are no digits are
// passed over.
std::string HexToBytes(const std::string& hex);

// The screen's logical pixels per inch, read once for the process (96 until read).
int screenDpi();
// A length in device-independent units scaled to the screen; unchanged at 96 dots per inch.
int scaleForDpi(int length);

// The one conversion between UTF-8 and the wide (UTF-16) texts of the engine and the host.
std::u16string Utf8ToWide(const std::string& text);
std::string WideToUtf8(const std::u16string& text);
// A TnBase text as the engine's string: the platform's strings share their immutable text, so
// nothing is copied or converted; a null text is empty.
CefString EngineText(const TnString* text);
// Whether two wide texts are equal regardless of case (a null text is empty), as the client
// compares names of windows, businesses and actions.
bool SameIgnoringCase(const char16_t* a, const char16_t* b);

}  // namespace tnwebui
