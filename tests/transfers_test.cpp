// A light app's transfers: downloads through the business core into the web cache (real HTTP
// from a loopback server), fetches and saves through the host, and uploads to an object store
// with progress — each from the page's bridge to its answers.

#include "light/tavrin_browser_jssdk/function/transfers.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "scratch_dir.h"
#include "sdk_fixture.h"
#include "tnbase/files.h"
#include "tnmainui/business_service.h"
#include "tnmainui/file_server.h"
#include "tnmainui/transfer_host.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using tnwebui::JsSdkFunction;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string Bytes(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>('a' + i * 7 % 26);
  return bytes;
}

TEST(CacheName, SignedKeysLeaveTheNameAndTheExtensionStays) {
  const std::string signed1 =
      tnwebui::CacheName("https://s3.test/p/x.png?X-Amz-Date=1&v=2&X-Amz-Signature=aa");
  const std::string signed2 =
      tnwebui::CacheName("https://s3.test/p/x.png?v=2&X-Amz-Date=20261123&X-Amz-Credential=k");
  EXPECT_EQ(signed1, signed2);
  // The pairs in key order, each with its "&", the last one kept.
  EXPECT_EQ(signed1, tnbase::md5String("https://s3.test/p/x.png?v=2&") + ".png");
  EXPECT_NE(signed1, tnwebui::CacheName("https://s3.test/p/x.png?v=3"));
  // Without a query the address can't be split: no name at all.
  EXPECT_EQ(tnwebui::CacheName("https://s3.test/p/x.png"), "");
  // The extension is whatever follows the last point before the query.
  EXPECT_EQ(tnwebui::CacheName("https://s3.test/p/x?v=1"),
            tnbase::md5String("https://s3.test/p/x?v=1&") + ".test/p/x");
}

class Transfers : public SdkFixture {
 protected:
  Transfers() : SdkFixture(u"transfers") {
    setenv("APPDATA", appData.path().c_str(), 1);
    script = [this](const tnmainui::ChannelCall& call,
                    std::vector<tnmainui::ChannelAnswer>* answers) {
      return transferHost.Answer(call, answers);
    };
  }
  ~Transfers() override {
    Settle();  // before the host's stand-ins go
    script = nullptr;
    unsetenv("APPDATA");
  }

  // The page calls `handler` with `data`; waits until its answer (or, with `answered` false,
  // everything started) is in and returns the scripts that ran in the page since.
  std::vector<std::string> Call(const std::string& handler, const std::string& data,
                                bool answered = true) {
    const std::size_t before = browser->scripts().size();
    EXPECT_TRUE(browser->page()->FetchJSMessage(R"([{"handlerName":")" + handler +
                                                R"(","callbackId":"cb_1","data":)" + data + "}]"));
    auto since = [&] {
      const auto all = browser->scripts();
      return std::vector<std::string>(all.begin() + static_cast<long>(before), all.end());
    };
    auto done = [&] {
      engine.RunUntilIdle();
      for (const std::string& script : since()) {
        if (script.find("responseId") != std::string::npos) return true;
      }
      return false;
    };
    if (answered) {
      EXPECT_TRUE(WaitUntil(done)) << handler << " was not answered";
    } else {
      done();
    }
    Settle();
    return since();
  }
  static std::string Progress(const std::string& localId, uint64_t total, uint64_t loaded,
                              const char* handler) {
    return Event(tnwebui::ProgressText(localId, total, loaded), handler);
  }
  std::string CachePath(const std::string& url) {
    return appData.path() + "/TavrinSoftCustom/WebCache/JsDownload/" + tnwebui::CacheName(url);
  }
  std::string Download(const std::string& url) { return R"({"payload":{"url":")" + url + R"("}})"; }

  ScratchDir appData{"tnwebui-transfers"};
  ScratchDir hostFolder{"tnwebui-host"};
  tnmainui::TransferHost transferHost{hostFolder.path()};
  tnmainui::FileServer server;
};

TEST_F(Transfers, ADownloadStreamsIntoTheCacheWithProgressAndAnswersItsLocalId) {
  const std::string bytes = Bytes(40000);
  server.Serve("/p/report.pdf", bytes, tnmainui::FileServer::Mode::kSlow, 10000, 5);
  const std::string url = server.Url("/p/report.pdf?X-Amz-Signature=1&v=2");
  const int before = JsSdkFunction::Live();
  const auto scripts = Call("utils.downloadFile", Download(url));

  const std::string path = CachePath(url);
  const std::string localId = JsSdkFunction::ToLocalId(path);
  EXPECT_THAT(path, testing::EndsWith(".pdf"));
  EXPECT_EQ(ReadFile(path), bytes);
  // A progress event per block (as curl hands them over), the total passed through, then the
  // answer.
  ASSERT_GE(scripts.size(), 5u);
  EXPECT_EQ(scripts.back(), Template(8, 0, localId));
  EXPECT_EQ(scripts[scripts.size() - 2],
            Progress(localId, bytes.size(), bytes.size(), tnwebui::kDownloadProgressEvent));
  EXPECT_THAT(scripts[0], HasSubstr("\"total\":40000"));
  EXPECT_EQ(JsSdkFunction::Live(), before);
  const tnmainui::GoCall call = service.calls().back();
  EXPECT_EQ(call.operation, "HttpDownload");
  EXPECT_EQ(call.number, 300000);
  EXPECT_EQ(call.args, (std::vector<std::string>{url, ""}));

  // Re-signed, the same object lands in the same file.
  WriteFile(path, "stale");
  Call("utils.downloadFile", Download(server.Url("/p/report.pdf?v=2&X-Amz-Signature=2")));
  EXPECT_EQ(ReadFile(path), bytes);
}

TEST_F(Transfers, ADroppedConnectionStillFinishesWithThePartialFile) {
  const std::string bytes = Bytes(64000);
  server.Serve("/drop.bin", bytes, tnmainui::FileServer::Mode::kDropped, 8000);
  const std::string url = server.Url("/drop.bin?v=1");
  const auto scripts = Call("utils.downloadFile", Download(url));
  ASSERT_FALSE(scripts.empty());
  EXPECT_EQ(scripts.back(), Template(8, 0, JsSdkFunction::ToLocalId(CachePath(url))));
  EXPECT_EQ(ReadFile(CachePath(url)), bytes.substr(0, bytes.size() / 2));
}

TEST_F(Transfers, FailuresAnswerTheirCodes) {
  // Not found: the transfer never starts, so there is no file.
  EXPECT_THAT(Call("utils.downloadFile", Download(server.Url("/none.bin?v=1"))),
              ElementsAre(Template(8, tnwebui::sdk::kNoFile)));
  // A folder that can't be made: the file can't be opened, the transfer is cancelled.
  WriteFile(appData.path() + "/TavrinSoftCustom", "a file in the folder's place");
  server.Serve("/a.bin", Bytes(100));
  EXPECT_THAT(Call("utils.downloadFile", Download(server.Url("/a.bin?v=1"))),
              ElementsAre(Template(8, tnwebui::sdk::kNoFile)));
  EXPECT_EQ(service.calls().back().operation, "CancelDownload");
  EXPECT_NE(service.calls().back().args[0], "0");
  // A URL without a query has no name: the folder itself can't be opened as a file.
  std::remove((appData.path() + "/TavrinSoftCustom").c_str());
  EXPECT_THAT(Call("utils.downloadFile", Download(server.Url("/a.bin"))),
              ElementsAre(Template(8, tnwebui::sdk::kNoFile)));
  // Keys missing or of another type, a missing network object: 9106923.
  EXPECT_THAT(Call("utils.downloadFile", R"({"payload":{"url":7}})"),
              ElementsAre(Template(8, tnwebui::sdk::kMissingKey)));
  service.SetObjects(true, false, true, true);
  EXPECT_THAT(Call("utils.downloadFile", Download(server.Url("/a.bin?v=1"))),
              ElementsAre(Template(8, tnwebui::sdk::kMissingKey)));
  // No payload object, or a browser without the host's channel: no answer at all.
  EXPECT_TRUE(Call("utils.downloadFile", R"({"payload":[1]})", false).empty());
  engine.SetBusinessChannel(nullptr);
  EXPECT_TRUE(Call("utils.downloadFile", Download(server.Url("/a.bin?v=1")), false).empty());
}

TEST_F(Transfers, TheCoresTotalsPassThroughAndNullDataEndsTheCall) {
  service.SetDownloadScript([](const tnmainui::GoCall&, Im::HTTPDownloadResponser* responser) {
    responser->OnStart();
    class Block final : public IGData {
     public:
      void Dispose() override {}
      int32_t Reserved() override { return 0; }
      const char* Data() override { return "abc"; }
      int32_t Size() override { return 3; }
    } block;
    responser->OnData(&block, 3, -1);
    // The function ends here, cancels its transfer and is deleted on the global queue: the
    // core calls it no more.
    responser->OnData(nullptr, 0, 0);
  });
  const std::string url = "https://s3.test/x.txt?v=1";
  const auto scripts = Call("utils.downloadFile", Download(url));
  const std::string localId = JsSdkFunction::ToLocalId(CachePath(url));
  EXPECT_THAT(scripts, ElementsAre(Progress(localId, static_cast<uint64_t>(-1), 3,
                                            tnwebui::kDownloadProgressEvent),
                                   Template(8, tnwebui::sdk::kNoFile)));
  EXPECT_THAT(scripts[0], HasSubstr("\"total\":18446744073709551615"));
  EXPECT_EQ(ReadFile(CachePath(url)), "abc");
  const auto calls = service.calls();
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.back().operation, "CancelDownload");
}

TEST_F(Transfers, UploadFileHasTheHostFetchTheUrlAndNamesItsFile) {
  server.Serve("/docs/a.txt", "hello");
  EXPECT_THAT(
      Call("utils.uploadFile", R"({"payload":{"url":")" + server.Url("/docs/a.txt") + "\"}}"),
      ElementsAre(Template(8, 0, "res://local/" + hostFolder.path() + "/a.txt")));
  EXPECT_EQ(ReadFile(hostFolder.path() + "/a.txt"), "hello");
  EXPECT_EQ(
      channel.calls().back().params,
      (xhav::BusinessParams{
          u"DownloadResource", u"DowndloadFileWithURL", u"0",
          u"{ \"strUrl\":\"" + tnwebui::Utf8ToWide(server.Url("/docs/a.txt")) + u"\"}", u"0"}));
  // A fetch that failed (a null result), and results that are no JSON: 404.
  EXPECT_THAT(Call("utils.uploadFile", R"({"payload":{"url":")" + server.Url("/none") + "\"}}"),
              ElementsAre(Template(8, tnwebui::sdk::kResultNotJson)));
  channel.SetScript([](const tnmainui::ChannelCall&) {
    return std::vector<tnmainui::ChannelAnswer>{{0, u"null"}, {0, u"{oops"}, {0, u"[1]"}};
  });
  EXPECT_THAT(
      Call("utils.uploadFile", R"({"payload":{"url":"u"}})"),
      ElementsAre(Template(8, tnwebui::sdk::kResultNotJson),
                  Template(8, tnwebui::sdk::kResultNotJson), Template(8, 0, "res://local/")));
  EXPECT_THAT(Call("utils.uploadFile", R"({"payload":{}})"),
              ElementsAre(Template(8, tnwebui::sdk::kMissingKey)));
}

TEST_F(Transfers, SaveFileCopiesWhereTheUserChoseAndNeverOverwrites) {
  const std::string source = hostFolder.path() + "/report.txt";
  WriteFile(source, "report");
  const std::string chosen = hostFolder.path() + "/chosen/";
  tnbase::createDirectories(chosen);
  hostAnswers = {
      {0, tnwebui::Utf8ToWide(R"({"fileName":"copy.txt","filePath":")" + chosen + "\"}")}};
  const std::string id = JsSdkFunction::ToLocalId(source);
  const std::string data = R"({"payload":{"url":")" + id + R"(","target":[1,"cloud","local"]}})";
  EXPECT_THAT(Call("utils.saveFile", data), ElementsAre(Template(2, 0)));
  EXPECT_EQ(ReadFile(chosen + "copy.txt"), "report");
  EXPECT_EQ(channel.calls().back().params[3],
            u"{ \"fileName\":\"report.txt\",\"filterType\":\"file\"}");
  // The same destination again: the copy refuses to overwrite.
  EXPECT_THAT(Call("utils.saveFile", data), ElementsAre(Template(2, tnwebui::sdk::kCopyFailed)));
  hostAnswers = {
      {0, u"{\"fileName\":\"x\"}"}, {0, u"{\"fileName\":1,\"filePath\":\"/\"}"}, {0, u"null"}};
  EXPECT_THAT(Call("utils.saveFile", data),
              ElementsAre(Template(2, tnwebui::sdk::kSaveResultIncomplete),
                          Template(2, tnwebui::sdk::kSaveResultIncomplete),
                          Template(2, tnwebui::sdk::kResultNotJson)));
  // Without the target "local" nothing is asked and nothing answered.
  const std::size_t asked = channel.calls().size();
  EXPECT_TRUE(Call("utils.saveFile", R"({"payload":{"url":")" + id + "\"}}", false).empty());
  EXPECT_TRUE(
      Call("utils.saveFile", R"({"payload":{"url":")" + id + R"(","target":"local"}})", false)
          .empty());
  EXPECT_EQ(channel.calls().size(), asked);
  EXPECT_THAT(Call("utils.saveFile", R"({"payload":{"url":["x"]}})"),
              ElementsAre(Template(2, tnwebui::sdk::kMissingKey)));
}

class S3Upload : public Transfers {
 protected:
  std::string Payload(const std::string& localId, const std::string& extra = "") {
    return R"({"payload":{"localId":")" + localId +
           R"(","endpoint":"https://s3.test","accessKey":"AKIA-SECRET-ACCESS",)"
           R"("secretKey":"very-secret-key","region":"eu-1","bucket":"b","object":"o/x.bin")" +
           extra + "}}";
  }
  Json::Value Sent() {
    Json::Value sent;
    EXPECT_TRUE(tnwebui::ParseJson(tnwebui::WideToUtf8(channel.calls().back().params[3]), sent));
    return sent;
  }
};

TEST_F(S3Upload, EachHostStepIsAnEventAndTheLastAlsoTheAnswer) {
  const std::string path = hostFolder.path() + "/x.bin";
  WriteFile(path, Bytes(1000));
  const std::string localId = JsSdkFunction::ToLocalId(path);
  const auto scripts =
      Call("utils.uploadFileToS3", Payload(localId, R"(,"sessionToken":"session-secret")"));
  const char* upload = tnwebui::kUploadProgressEvent;
  EXPECT_THAT(scripts, ElementsAre(Progress(localId, 1000, 250, upload),
                                   Progress(localId, 1000, 500, upload),
                                   Progress(localId, 1000, 750, upload),
                                   Progress(localId, 1000, 1000, upload), Template(10, 0)));
  // Template 10 as it stands: its brace closes the object early.
  Json::Value answer;
  EXPECT_FALSE(
      tnwebui::ParseJson(R"({"status":{"code":0,"message":"ok"}},"meta": {},"data": {})", answer) &&
      answer.isMember("data"));
  const Json::Value sent = Sent();
  EXPECT_EQ(sent["filePath"].asString(), hostFolder.path());
  EXPECT_EQ(sent["fileName"].asString(), "x.bin");
  EXPECT_EQ(sent["fileSize"].asUInt64(), 1000u);
  EXPECT_EQ(sent["secretKey"].asString(), "very-secret-key");
  EXPECT_EQ(sent["sessionToken"].asString(), "session-secret");
  EXPECT_EQ(sent["object"].asString(), "o/x.bin");
  EXPECT_EQ(channel.calls().back().params[1], u"UploadFileWithFilePath");
  // The credentials reach the host and no log line.
  for (const auto& record : log.records()) {
    for (const char* secret : {"very-secret-key", "AKIA-SECRET-ACCESS", "session-secret"}) {
      EXPECT_EQ(record.message.find(secret), std::string::npos) << record.message;
    }
  }
}

TEST_F(S3Upload, MissingFilesKeysAndProgressKeepTheirCodes) {
  // A missing file goes to the host with size 0 and no session token as an empty text.
  const std::string missing = JsSdkFunction::ToLocalId(hostFolder.path() + "/none.bin");
  hostAnswers = {{0, u"{\"fileSize\":0,\"progress\":0}"}};
  channel.SetScript([this](const tnmainui::ChannelCall&) { return hostAnswers; });
  EXPECT_THAT(Call("utils.uploadFileToS3", Payload(missing)),
              ElementsAre(Progress(missing, 0, 0, tnwebui::kUploadProgressEvent), Template(10, 0)));
  EXPECT_EQ(Sent()["fileSize"].asUInt64(), 0u);
  EXPECT_EQ(Sent()["sessionToken"].asString(), "");
  // The host's code goes into the final answer; steps without numbers answer 31.
  hostAnswers = {{0, u"{\"fileSize\":9,\"progress\":3}"},
                 {0, u"{\"fileSize\":9,\"progress\":\"4\"}"},
                 {0, u"{\"fileSize\":-9,\"progress\":9}"},
                 {0, u"[]"},
                 {7, u"{\"fileSize\":9,\"progress\":9}"}};
  EXPECT_THAT(Call("utils.uploadFileToS3", Payload(missing)),
              ElementsAre(Progress(missing, 9, 3, tnwebui::kUploadProgressEvent),
                          Template(10, tnwebui::sdk::kProgressMissing),
                          Template(10, tnwebui::sdk::kProgressMissing),
                          Template(10, tnwebui::sdk::kProgressMissing),
                          Progress(missing, 9, 9, tnwebui::kUploadProgressEvent), Template(10, 7)));
  // A required key missing or of another type: 9106923 and nothing sent.
  const std::size_t asked = channel.calls().size();
  EXPECT_THAT(Call("utils.uploadFileToS3", R"({"payload":{"localId":"res://local/x"}})"),
              ElementsAre(Template(10, tnwebui::sdk::kMissingKey)));
  EXPECT_THAT(Call("utils.uploadFileToS3", Payload(missing, R"(,"bucket":5)")),
              ElementsAre(Template(10, tnwebui::sdk::kMissingKey)));
  EXPECT_EQ(channel.calls().size(), asked);
}

TEST_F(Transfers, ProgressRegistrationsAnswerNothingAndAreGone) {
  const int before = JsSdkFunction::Live();
  EXPECT_TRUE(Call("utils.onDownloadProgress", "{}", false).empty());
  EXPECT_TRUE(Call("utils.onUploadProgress", "{}", false).empty());
  EXPECT_EQ(JsSdkFunction::Live(), before);
}

}  // namespace
