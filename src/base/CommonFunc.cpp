#include "base/CommonFunc.h"

#include <QByteArray>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QString>
#include <algorithm>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "base/path.h"
#include "base/tn_log.h"
#include "hav/hav.h"
#include "tnbase/files.h"
#include "win/shell.h"
#include "win/window.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "src\\base\\CommonFunc";

constexpr char kUninstallKey[] =
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\TavrinSoftCustom";

QString ToQ(const std::string& utf8) {
  return QString::fromUtf8(utf8.data(), static_cast<int>(utf8.size()));
}

std::string FromQ(const QString& text) {
  const QByteArray b = text.toUtf8();
  return std::string(b.constData(), static_cast<std::size_t>(b.size()));
}

// Position of `what` in `text` at or after `from`, or -1; a negative start searches from 0.
int Find(const std::string& text, const char* what, int from) {
  const auto pos = text.find(what, from < 0 ? 0 : static_cast<std::size_t>(from));
  return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

// The application-data folder, read once for the process.
const std::string& AppDataRoot() {
  // The variable's value fits a buffer of 520 bytes.
  static const std::string root = win::SHGetSpecialFolderPath(win::CSIDL_APPDATA).substr(0, 519);
  return root;
}

struct MimeRow {
  const char* suffixes[3];
  const char* type;
};

constexpr MimeRow kMimeTable[] = {
    {{"jpeg", "jpg"}, "image/jpeg"},
    {{"gif"}, "image/gif"},
    {{"tif", "tiff"}, "image/tiff"},
    {{"png"}, "image/png"},
    {{"bmp"}, "image/bmp"},
    {{"doc", "docx"}, "application/msword"},
    {{"xls", "xlst", "xlsx"}, "application/vnd.ms-excel"},
    {{"ppt", "pptx"}, "application/vnd.ms-powerpoint"},
    {{"pdf"}, "application/pdf"},
    {{"html"}, "text/html"},
    {{"txt"}, "text/plain"},
    {{"xml"}, "text/xml"},
    {{"mp3"}, "audio/mpeg"},
    {{"wav"}, "audio/x-wav"},
    {{"mp4", "mpg4"}, "video/mp4"},
    {{"mpe", "mpeg", "mpg"}, "video/mpeg"},
    {{"rmvb"}, "video/vnd.rn-realvideo"},
    {{"js"}, "application/x-javascript"},
    {{"zip"}, "application/zip"},
    {{"rar"}, "application/x-rar-compressed"},
    {{"php", "phtml"}, "application/x-httpd-php"},
    {{"amr"}, "voice"},
};

}  // namespace

std::string CCommonFunc::ParserUrlParams(const char* pszUrl,
                                         std::map<std::string, std::string>& params) {
  constexpr char kFn[] = "CCommonFunc::ParserUrlParams";
  if (!pszUrl) {
    TN_LOG(4, kFn, "ParserUrlParams:pszUrl=%s", "(null)");
    return std::string();
  }
  const std::string url(pszUrl);
  const int a = Find(url, "//", 0);
  const int b = Find(url, "/", a + 2);
  const int c = Find(url, "?", b + 1);
  if (!(a < b && b < c)) {
    TN_LOG(4, kFn,
           "ParserUrlParams parse fail:pszUrl=%s, nDoubleSlidPos=%d, nFistSlidPos=%d, "
           "nQuestionPos=%d",
           pszUrl, a, b, c);
    return std::string();
  }
  const std::string query = url.substr(static_cast<std::size_t>(c) + 1);
  std::size_t start = 0;
  while (start <= query.size()) {
    const std::size_t end = std::min(query.find('&', start), query.size());
    const std::string piece = query.substr(start, end - start);
    const std::size_t eq = piece.find('=');
    if (eq == std::string::npos) {
      params.emplace(piece, piece);
    } else {
      params.emplace(piece.substr(0, eq), piece.substr(eq + 1));
    }
    start = end + 1;
  }
  return url.substr(0, static_cast<std::size_t>(c));
}

std::string getClientVersion() {
  static std::mutex mutex;
  static std::string version;
  std::lock_guard<std::mutex> lock(mutex);
  if (version.empty()) {
    char buffer[50] = {};
    if (win::SHGetValueA(win::HKEY_LOCAL_MACHINE, kUninstallKey, "DisplayVersion", buffer,
                         sizeof buffer)) {
      version = buffer;
    }
  }
  return version;
}

std::string getAppDataPath(const std::string& subPath, bool create) {
  std::string path = AppDataRoot();
  path += win::kPathSeparator;
  path += NativeSeparators(subPath);
  if (create && !QDir(ToQ(path)).exists()) QDir().mkpath(ToQ(path));
  return path;
}

std::string formatFileSize(double size) {
  char text[64];
  if (size < 1024) {
    std::snprintf(text, sizeof text, "%.2lfB", size);
  } else if (size < 1048576) {
    std::snprintf(text, sizeof text, "%.2lfKB", size / 1024);
  } else if (size < 1073741824) {
    std::snprintf(text, sizeof text, "%.2lfMB", size / 1048576);
  } else {
    std::snprintf(text, sizeof text, "%.2lfGB", size / 1073741824);
  }
  return text;
}

std::string formatFileSizeShort(uint64_t size) {
  constexpr uint64_t kGiB = 1073741824;
  if (size < 1024) return UInt64ToString(size) + "B";
  if (size < 1048576) return UInt64ToString(size / 1024) + "KB";
  if (size < kGiB) return UInt64ToString(size / 1048576) + "MB";
  std::string text = UInt64ToString(size / kGiB);
  if (const uint64_t remainder = size % kGiB) {
    char fraction[64];
    std::snprintf(fraction, sizeof fraction, "%f", static_cast<double>(remainder) / kGiB * 10);
    text += ".";
    text += fraction;
  }
  return text + "GB";
}

std::string getMimeType(const std::string& path) {
  if (path.empty()) return std::string();
  const std::string suffix = FromQ(QFileInfo(ToQ(path)).suffix().toLower());
  for (const MimeRow& row : kMimeTable) {
    for (const char* s : row.suffixes) {
      if (s && suffix == s) return row.type;
    }
  }
  return "application/octet-stream";
}

void getFileInfoJson(const std::string& path, Json::Value& out) {
  const QString qpath = ToQ(path);
  const bool isFolder = QDir(qpath).exists();
  out["isFolder"] = isFolder;
  out["fileName"] = FromQ(QFileInfo(qpath).fileName());
  out["filePath"] = path;
  if (isFolder) {
    out["fileSize"] = 0;
    out["isOccupied"] = false;
    out["formatFileSize"] = formatFileSizeShort(0);
    out["mimeType"] = "";
    return;
  }
  uint64_t size = 0;
  if (tnbase::pathFileExists(path)) {
    const int64_t n = tnbase::fileSize(path);
    size = n > 0 ? static_cast<uint64_t>(n) : 0;
  }
  const std::string mime = getMimeType(path);
  out["fileSize"] = Json::UInt64(size);
  out["isOccupied"] = false;
  out["formatFileSize"] = formatFileSizeShort(size);
  out["mimeType"] = mime;
  if (mime.rfind("image", 0) != 0) return;

  std::string thumb = getAppDataPath("TavrinSoftCustom\\Resource\\Pictures\\", true);
  thumb += FromQ(QFileInfo(qpath).completeBaseName()) + "_thumb.png";
  makeThumbnail(path, thumb, 200);
  // The test is one for folders, so an ordinary thumbnail file leaves the key empty.
  out["thumbnail"] = QDir(ToQ(thumb)).exists() ? thumb : std::string();
}

bool makeThumbnail(const std::string& source, const std::string& target, int maxSide) {
  QImage image;
  if (!image.load(ToQ(source))) return false;
  const int height = image.height();
  const int width = image.width();
  if (height == 0 || width == 0) return false;
  const double ratio = static_cast<double>(height) / width;
  int newWidth = width;
  int newHeight = height;
  if (ratio > 0.001 && std::min(width, height) > maxSide) {
    if (width >= height) {
      newWidth = maxSide;
      newHeight = static_cast<int>(maxSide * ratio);
    } else {
      newHeight = maxSide;
      newWidth = static_cast<int>(maxSide / ratio);
    }
  }
  const QImage thumb =
      (newWidth == width && newHeight == height)
          ? image
          : image.scaled(newWidth, newHeight, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
  return thumb.save(ToQ(target), "PNG");
}

bool openFile(const std::string& path) {
  const int result = win::ShellExecuteOpen(path, win::SW_SHOW);
  if (result > win::SE_ERR_NOASSOC) return true;
  if (result != win::SE_ERR_NOASSOC) return false;
  // No program is associated: the system's dialog lets the user choose one.
  std::string command = win::GetSystemDirectory();
  tnbase::pathAppend(command, "rundll32.exe");
  command += " shell32,OpenAs_RunDLL " + path;
  return win::CreateProcess(command, win::SW_SHOW);
}

bool showFileInFolder(const char* path) {
  if (!path || !tnbase::pathFileExists(path)) return false;
  std::string program = win::GetSystemWindowsDirectory();
  if (program.empty()) return false;
  tnbase::pathAppend(program, "explorer.exe");
  std::string file = path;
  if (file.rfind("\\\\?\\", 0) == 0) file = file.substr(4);
  return win::CreateProcess(program + " /select, \"" + NativeSeparators(file) + "\"", win::SW_SHOW);
}

std::string createUuid() {
  thread_local boost::uuids::random_generator generator;
  return boost::uuids::to_string(generator());
}

std::string createNameUuid(const std::string& name) {
  boost::uuids::name_generator_sha1 generator(boost::uuids::ns::oid());
  return boost::uuids::to_string(generator(name));
}

std::string Int64ToString(int64_t value) {
  char text[32];
  std::snprintf(text, sizeof text, "%" PRId64, value);
  return text;
}

std::string UInt64ToString(uint64_t value) {
  char text[32];
  std::snprintf(text, sizeof text, "%" PRIu64, value);
  return text;
}

std::string BytesToHex(const void* data, std::size_t size) {
  std::string out;
  out.reserve(size * 2);
  const auto* p = static_cast<const unsigned char*>(data);
  char pair[3];
  for (std::size_t i = 0; i < size; ++i) {
    std::snprintf(pair, sizeof pair, "%02x", p[i]);
    out += pair;
  }
  return out;
}

std::string HexToBytes(const std::string& hex) {
  const QByteArray bytes =
      QByteArray::fromHex(QByteArray::fromRawData(hex.data(), static_cast<int>(hex.size())));
  return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

int screenDpi() {
  static const int dpi = win::GetDeviceCaps(win::LOGPIXELSX);
  return dpi;
}

int scaleForDpi(int length) {
  const int dpi = screenDpi();
  return dpi == 96 ? length : win::MulDiv(length, dpi, 96);
}

bool SameIgnoringCase(const char16_t* a, const char16_t* b) {
  return QString::fromUtf16(a ? a : u"")
             .compare(QString::fromUtf16(b ? b : u""), Qt::CaseInsensitive) == 0;
}

std::u16string Utf8ToWide(const std::string& text) {
  if (text.empty()) return std::u16string();
  // Most texts (scripts, JSON, names) are ASCII: they widen byte for byte.
  if (std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; })) {
    return std::u16string(text.begin(), text.end());
  }
  const QString q = ToQ(text);
  return std::u16string(reinterpret_cast<const char16_t*>(q.utf16()),
                        static_cast<std::size_t>(q.size()));
}

CefString EngineText(const TnString* text) { return text ? CefString(text->Text()) : CefString(); }

std::string WideToUtf8(const std::u16string& text) {
  if (text.empty()) return std::string();
  if (std::all_of(text.begin(), text.end(), [](char16_t c) { return c < 0x80; })) {
    std::string narrow(text.size(), '\0');
    std::transform(text.begin(), text.end(), narrow.begin(),
                   [](char16_t c) { return static_cast<char>(c); });
    return narrow;
  }
  return FromQ(QString::fromUtf16(text.data(), static_cast<int>(text.size())));
}

std::string PageUrlOf(xhav::Browser* browser) {
  if (!browser) return std::string();
  tnbase::TnStringPtr url(browser->GetUrl());
  return url ? url->ToUTF8() : std::string();
}

}  // namespace tnwebui
