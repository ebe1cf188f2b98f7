// The common helpers: addresses, sizes, MIME types, file descriptions and thumbnails, the
// client's version and folders, opening files, identifiers and text forms.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <sys/stat.h>

#include <QImage>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <regex>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/resource_roots.h"
#include "base/tn_log.h"
#include "hav/json_text.h"
#include "log_capture.h"
#include "scratch_dir.h"
#include "win/shell.h"

using namespace tnwebui;

namespace {

// The application-data folder is read once per process, so it is set before anything runs.
const ScratchDir kAppDataDir("tnwebui-appdata");
const std::string kAppData = [] {
  setenv("APPDATA", kAppDataDir.path().c_str(), 1);
  return kAppDataDir.path();
}();

std::string TempDir() {
  static const ScratchDir dir("tnwebui-files");
  return dir.path();
}

std::string WriteFile(const std::string& name, std::size_t size) {
  const std::string path = TempDir() + "/" + name;
  std::ofstream(path, std::ios::binary) << std::string(size, 'x');
  return path;
}

std::string WritePng(const std::string& name, int width, int height) {
  const std::string path = TempDir() + "/" + name;
  QImage image(width, height, QImage::Format_RGB32);
  image.fill(Qt::blue);
  EXPECT_TRUE(image.save(QString::fromStdString(path), "PNG"));
  return path;
}

std::string ThumbPath(const std::string& base) {
  return kAppData + "/TavrinSoftCustom/Resource/Pictures/" + base + "_thumb.png";
}

// Records the commands that would run instead of running them.
class LaunchRecorder {
 public:
  LaunchRecorder() {
    previous_ =
        win::SetLauncher([this](const std::string& line, const std::vector<std::string>& argv) {
          lines.push_back(line);
          argvs.push_back(argv);
          return true;
        });
  }
  ~LaunchRecorder() { win::SetLauncher(previous_); }
  std::vector<std::string> lines;
  std::vector<std::vector<std::string>> argvs;

 private:
  win::Launcher previous_;
};

// Runs with PATH set to a folder that has (or lacks) the desktop's opener.
class PathWithOpener {
 public:
  explicit PathWithOpener(bool withOpener) : old_(std::getenv("PATH") ? std::getenv("PATH") : "") {
    const std::string& dir = bin_.path();
    if (withOpener) {
      const std::string opener = dir + "/xdg-open";
      std::ofstream(opener) << "#!/bin/sh\n";
      chmod(opener.c_str(), 0755);
    }
    setenv("PATH", dir.c_str(), 1);
  }
  ~PathWithOpener() { setenv("PATH", old_.c_str(), 1); }

 private:
  std::string old_;
  ScratchDir bin_{"tnwebui-bin"};
};

}  // namespace

// A page's text nested deeper than the library reads (it throws there) is no JSON, to the
// module and to the engine alike.
TEST(Json, TextNestedDeeperThanTheReaderGoesIsNoJson) {
  const std::string deep(100000, '[');
  Json::Value value(1);
  EXPECT_FALSE(tnwebui::ParseJson(deep, value));
  EXPECT_TRUE(value.isNull());
  EXPECT_FALSE(xhav::ParseJson(deep, &value));
  EXPECT_FALSE(xhav::ParsePageJson("{\"a\":" + deep, &value));
  EXPECT_TRUE(tnwebui::ParseJson("[[1]]", value));
}

TEST(ParserUrlParams, SplitsTheQueryAndKeepsTheFirstOfEqualKeys) {
  std::map<std::string, std::string> params;
  EXPECT_EQ(CCommonFunc::ParserUrlParams("https://host/p/q?a=1&b&a=2&c=x=y&", params),
            "https://host/p/q");
  EXPECT_EQ(params,
            (std::map<std::string, std::string>{{"a", "1"}, {"b", "b"}, {"c", "x=y"}, {"", ""}}));
  params.clear();
  // Without "//" the host search starts at the beginning: a path and a query are enough.
  EXPECT_EQ(CCommonFunc::ParserUrlParams("host/path?k=v", params), "host/path");
  EXPECT_EQ(params.at("k"), "v");
}

TEST(ParserUrlParams, AddressesWithoutPathOrQueryAreRefusedWithALogLine) {
  LogCapture log;
  std::map<std::string, std::string> params;
  EXPECT_EQ(CCommonFunc::ParserUrlParams("https://host?x=1", params), "");
  EXPECT_EQ(CCommonFunc::ParserUrlParams("https://host/path", params), "");
  EXPECT_EQ(CCommonFunc::ParserUrlParams(nullptr, params), "");
  EXPECT_TRUE(params.empty());
  EXPECT_EQ(log.Count("ParserUrlParams parse fail:pszUrl=https://host?x=1, nDoubleSlidPos=6, "
                      "nFistSlidPos=-1, nQuestionPos=12",
                      0, "CCommonFunc::ParserUrlParams"),
            1);
  EXPECT_EQ(log.Count("ParserUrlParams parse fail:pszUrl=https://host/path, nDoubleSlidPos=6, "
                      "nFistSlidPos=12, nQuestionPos=-1"),
            1);
  EXPECT_EQ(log.Count("ParserUrlParams:pszUrl=(null)"), 1);
  ASSERT_FALSE(log.records().empty());
  EXPECT_EQ(log.records()[0].source, "src\\base\\CommonFunc");
}

// Who reads a window's own data: client pages, and pages of an origin the window was opened on
// (scheme, host and port alike, case and user information aside); never a page without an
// origin of its own.
TEST(WindowData, OnlyClientPagesAndTheOpenedOriginReadIt) {
  using tnwebui::MayReadWindowData;
  EXPECT_EQ(tnwebui::OriginOf("HTTPS://user:pw@App.Example:8443/a?b#c"),
            "https://app.example:8443");
  EXPECT_EQ(tnwebui::OriginOf("https://app.example"), "https://app.example");
  for (const char* none : {"about:blank", "data:text/html,x", "javascript:1", "https:///x", ""})
    EXPECT_EQ(tnwebui::OriginOf(none), "") << none;
  EXPECT_TRUE(MayReadWindowData("file://tavrin5main/index.html", {}));
  EXPECT_TRUE(MayReadWindowData("https://app.example/b", {"", "https://APP.example/a"}));
  EXPECT_FALSE(MayReadWindowData("https://app.example:444/b", {"https://app.example/a"}));
  EXPECT_FALSE(MayReadWindowData("https://app.example.evil/", {"https://app.example/a"}));
  EXPECT_FALSE(MayReadWindowData("https://evil.example/", {"https://x@evil.example@app.example/"}));
  EXPECT_FALSE(MayReadWindowData("about:blank", {"about:blank", "file://tavrin5main/"}));
  EXPECT_FALSE(MayReadWindowData("", {""}));
}

TEST(SizeTexts, BothFormsAtTheirBorders) {
  EXPECT_EQ(formatFileSize(1023), "1023.00B");
  EXPECT_EQ(formatFileSize(1024), "1.00KB");
  EXPECT_EQ(formatFileSize(1536), "1.50KB");
  EXPECT_EQ(formatFileSize(1048575), "1024.00KB");
  EXPECT_EQ(formatFileSize(1048576), "1.00MB");
  EXPECT_EQ(formatFileSize(1073741824), "1.00GB");

  EXPECT_EQ(formatFileSizeShort(0), "0B");
  EXPECT_EQ(formatFileSizeShort(1023), "1023B");
  EXPECT_EQ(formatFileSizeShort(1024), "1KB");
  EXPECT_EQ(formatFileSizeShort(1048575), "1023KB");
  EXPECT_EQ(formatFileSizeShort(1048576), "1MB");
  EXPECT_EQ(formatFileSizeShort(1073741823), "1023MB");
  EXPECT_EQ(formatFileSizeShort(1073741824), "1GB");
  EXPECT_EQ(formatFileSizeShort(1610612736), "1.5.000000GB");
  EXPECT_EQ(formatFileSizeShort(3ull * 1073741824 + 1073741824 / 4), "3.2.500000GB");
}

TEST(MimeType, SuffixDecidesCaseAside) {
  EXPECT_EQ(getMimeType(""), "");
  EXPECT_EQ(getMimeType("/a/B.JPG"), "image/jpeg");
  EXPECT_EQ(getMimeType("x.Xlst"), "application/vnd.ms-excel");
  EXPECT_EQ(getMimeType("song.amr"), "voice");
  EXPECT_EQ(getMimeType("clip.mpg4"), "video/mp4");
  EXPECT_EQ(getMimeType("archive.tar.gz"), "application/octet-stream");
  EXPECT_EQ(getMimeType("README"), "application/octet-stream");
}

TEST(FileInfo, FoldersFilesAndMissingFiles) {
  Json::Value folder;
  getFileInfoJson(TempDir(), folder);
  EXPECT_TRUE(folder["isFolder"].asBool());
  EXPECT_EQ(folder["fileSize"].asInt(), 0);
  EXPECT_EQ(folder["formatFileSize"].asString(), "0B");
  EXPECT_EQ(folder["mimeType"].asString(), "");
  EXPECT_FALSE(folder.isMember("thumbnail"));

  const std::string path = WriteFile("notes.txt", 1024);
  Json::Value file;
  getFileInfoJson(path, file);
  EXPECT_FALSE(file["isFolder"].asBool());
  EXPECT_EQ(file["fileName"].asString(), "notes.txt");
  EXPECT_EQ(file["filePath"].asString(), path);
  EXPECT_TRUE(file["fileSize"].isUInt64());
  EXPECT_EQ(file["fileSize"].asUInt64(), 1024u);
  EXPECT_FALSE(file["isOccupied"].asBool());
  EXPECT_EQ(file["formatFileSize"].asString(), "1KB");
  EXPECT_EQ(file["mimeType"].asString(), "text/plain");

  Json::Value missing;
  getFileInfoJson(TempDir() + "/gone.pdf", missing);
  EXPECT_EQ(missing["fileSize"].asUInt64(), 0u);
  EXPECT_EQ(missing["fileName"].asString(), "gone.pdf");
  EXPECT_EQ(missing["mimeType"].asString(), "application/pdf");
}

TEST(FileInfo, ImagesGetAThumbnailAsideButAnEmptyKey) {
  Json::Value info;
  getFileInfoJson(WritePng("wide.shot.png", 400, 300), info);
  EXPECT_EQ(info["mimeType"].asString(), "image/png");
  ASSERT_TRUE(info.isMember("thumbnail"));
  EXPECT_EQ(info["thumbnail"].asString(), "");
  QImage thumb(QString::fromStdString(ThumbPath("wide.shot")));
  EXPECT_EQ(thumb.width(), 200);
  EXPECT_EQ(thumb.height(), 150);

  getFileInfoJson(WritePng("tall.png", 300, 600), info);
  thumb = QImage(QString::fromStdString(ThumbPath("tall")));
  EXPECT_EQ(thumb.width(), 100);
  EXPECT_EQ(thumb.height(), 200);

  // The smaller side decides: a strip of 150 by 4000 keeps its size.
  getFileInfoJson(WritePng("strip.png", 150, 4000), info);
  thumb = QImage(QString::fromStdString(ThumbPath("strip")));
  EXPECT_EQ(thumb.width(), 150);
  EXPECT_EQ(thumb.height(), 4000);
  EXPECT_EQ(info["thumbnail"].asString(), "");

  // A file that only claims to be an image gets no thumbnail and no error.
  getFileInfoJson(WriteFile("fake.png", 10), info);
  EXPECT_EQ(info["thumbnail"].asString(), "");
  EXPECT_FALSE(std::ifstream(ThumbPath("fake")).good());
}

TEST(AppData, PathIsJoinedAndMadeOnlyWhenAsked) {
  const std::string lazy = getAppDataPath("Tn\\Lazy\\", false);
  EXPECT_EQ(lazy, kAppData + "/Tn/Lazy/");
  struct stat st;
  EXPECT_NE(stat(lazy.c_str(), &st), 0);
  const std::string made = getAppDataPath("Tn\\Made", true);
  EXPECT_EQ(made, kAppData + "/Tn/Made");
  EXPECT_EQ(stat(made.c_str(), &st), 0);
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  // The variable is read once: a later change doesn't move the folder.
  setenv("APPDATA", "/elsewhere", 1);
  EXPECT_EQ(getAppDataPath("x", false), kAppData + "/x");
}

TEST(ClientVersion, TheFirstValueFoundStays) {
  const std::string key =
      "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\TavrinSoftCustom";
  EXPECT_EQ(getClientVersion(), "");
  win::RegSetString(win::HKEY_LOCAL_MACHINE, key, "DisplayVersion", "5.2.1");
  EXPECT_EQ(getClientVersion(), "5.2.1");
  win::RegSetString(win::HKEY_LOCAL_MACHINE, key, "DisplayVersion", "6.0.0");
  EXPECT_EQ(getClientVersion(), "5.2.1");
}

TEST(Shell, OpenFileUsesTheOpenerOrLetsTheUserChoose) {
  const std::string path = WriteFile("report.doc", 3);
  LaunchRecorder launched;
  EXPECT_FALSE(openFile(TempDir() + "/missing.doc"));
  EXPECT_TRUE(launched.lines.empty());
  {
    PathWithOpener path_(true);
    EXPECT_TRUE(openFile(path));
  }
  {
    PathWithOpener path_(false);
    EXPECT_TRUE(openFile(path));
  }
  ASSERT_EQ(launched.argvs.size(), 2u);
  EXPECT_EQ(launched.argvs[0], (std::vector<std::string>{"xdg-open", path}));
  EXPECT_EQ(launched.lines[1], "/usr/bin/rundll32.exe shell32,OpenAs_RunDLL " + path);
}

TEST(Shell, ShowFileInFolderSelectsTheFile) {
  const std::string path = WriteFile("shown.txt", 1);
  LaunchRecorder launched;
  EXPECT_FALSE(showFileInFolder(nullptr));
  EXPECT_FALSE(showFileInFolder((TempDir() + "/nothing").c_str()));
  EXPECT_TRUE(showFileInFolder(path.c_str()));
  ASSERT_EQ(launched.lines.size(), 1u);
  EXPECT_EQ(launched.lines[0], "/usr/bin/explorer.exe /select, \"" + path + "\"");
  EXPECT_EQ(launched.argvs[0], (std::vector<std::string>{"xdg-open", TempDir() + "/"}));
}

TEST(TextForms, IdentifiersNumbersAndConversions) {
  const std::regex uuid("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
  const std::string a = createUuid();
  EXPECT_TRUE(std::regex_match(a, uuid)) << a;
  EXPECT_NE(a, createUuid());
  EXPECT_EQ(createNameUuid("org-7"), createNameUuid("org-7"));
  EXPECT_NE(createNameUuid("org-7"), createNameUuid("org-8"));
  EXPECT_TRUE(std::regex_match(createNameUuid("x"), uuid));

  EXPECT_EQ(Int64ToString(std::numeric_limits<int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(UInt64ToString(std::numeric_limits<uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(BytesToHex("\x00\xab\x7f", 3), "00ab7f");

  const std::string text = "Grüße, 世界 \xF0\x9F\x98\x80";
  EXPECT_EQ(Utf8ToWide(text).size(), 12u);  // the emoji is a surrogate pair
  EXPECT_EQ(WideToUtf8(Utf8ToWide(text)), text);
  EXPECT_EQ(Utf8ToWide(""), u"");
  EXPECT_EQ(WideToUtf8(u""), "");
}

TEST(LogLines, FilledTheSameWhateverTheirConversionsAndLength) {
  constexpr char kLogSource[] = "..\\..\\src\\base\\test";
  LogCapture log;
  const std::string longText(700, 'y');  // past the line's stack buffer
  TN_LOG(2, "T::F", "a[%s] b[%d] c[%d]", "x", -2147483647 - 1, 42);
  TN_LOG(2, "T::F", "%s%s", longText.c_str(), "!");
  const char* none = std::getenv("TNWEBUI_NO_SUCH_VARIABLE");  // null, unknown to the compiler
  TN_LOG(2, "T::F", "null[%s] hex[%08x]", none, 255u);
  TN_LOG(2, "T::F", "null[%s]", none);
  TN_LOG(4, "T::F", "%d%% of %s", 7, longText.c_str());
  TN_LOG(2, "T::F", "%s", "");
  const auto records = log.records();
  ASSERT_EQ(records.size(), 6u);
  EXPECT_EQ(records[0].message, "a[x] b[-2147483648] c[42]");
  EXPECT_EQ(records[1].message, longText + "!");
  EXPECT_EQ(records[2].message.substr(0, 24), "null[(null)] hex[000000f");
  EXPECT_EQ(records[3].message, "null[(null)]");
  EXPECT_EQ(records[4].message, "7% of " + longText);
  EXPECT_EQ(records[5].message, "");
  EXPECT_EQ(records[4].level, 4);
  EXPECT_EQ(records[4].function, "T::F");
  EXPECT_EQ(records[4].source, kLogSource);
}
