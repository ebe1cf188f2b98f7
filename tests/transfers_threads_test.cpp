// Downloads that run at once: each on a thread of the core's, each writing its own cache file
// and sending its progress into the same page while the UI thread goes on.

#include <gmock/gmock.h>

#include <atomic>
#include <fstream>
#include <sstream>

#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"
#include "scratch_dir.h"
#include "sdk_templates.h"
#include "tnmainui/business_service.h"
#include "tnmainui/file_server.h"
#include "view_fixture.h"
#include "wait.h"

namespace {

class ParallelDownloads : public ViewFixture {
 protected:
  ParallelDownloads() {
    setenv("APPDATA", appData.path().c_str(), 1);
    view = Create(Settings(u"downloads", 0, ""), "https://light.test/app");
    browser = BrowserOf(view);
    host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
    engine.SetBusinessChannel(&channel);
  }
  ~ParallelDownloads() override {
    engine.SetBusinessChannel(nullptr);
    tnbase::globalTaskQueue(0)->Flush();
    host.SetService(SID_BusinessCoreService, nullptr);
    view->Release();
    unsetenv("APPDATA");
  }

  ScratchDir appData{"tnwebui-parallel"};
  IBrowserView* view = nullptr;
  xhav::inproc::BrowserImpl* browser = nullptr;
  tnmainui::ScriptedBusinessService service;
  tnmainui::ScriptedBusinessChannel channel{
      [this](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }};
  tnmainui::FileServer server;
};

TEST_F(ParallelDownloads, EachAnswersOnceWithItsOwnCompleteFile) {
  constexpr int kCount = 6;
  std::string messages = "[";
  std::vector<std::string> urls, contents;
  for (int i = 0; i < kCount; ++i) {
    contents.push_back(std::string(30000 + i * 1000, static_cast<char>('a' + i)));
    server.Serve("/f" + std::to_string(i) + ".bin", contents.back(),
                 tnmainui::FileServer::Mode::kSlow, 3000, 2);
    urls.push_back(server.Url("/f" + std::to_string(i) + ".bin?v=" + std::to_string(i)));
    messages += std::string(i ? "," : "") +
                R"({"handlerName":"utils.downloadFile","callbackId":"cb_)" + std::to_string(i) +
                R"(","data":{"payload":{"url":")" + urls.back() + "\"}}}";
  }
  const int before = tnwebui::JsSdkFunction::Live();
  ASSERT_TRUE(browser->page()->FetchJSMessage(messages + "]"));
  auto answers = [&] {
    int count = 0;
    for (const std::string& script : browser->scripts()) {
      count += script.find("responseId") != std::string::npos;
    }
    return count;
  };
  ASSERT_TRUE(WaitUntil([&] {
    engine.RunUntilIdle();
    return answers() == kCount;
  }));
  // Each download answers, then posts its end from the core's thread: the ends come a moment
  // after the last answer.
  EXPECT_TRUE(WaitUntil([&] {
    tnbase::globalTaskQueue(0)->Flush();
    return tnwebui::JsSdkFunction::Live() == before;
  })) << tnwebui::JsSdkFunction::Live()
      << " downloads still live";
  for (int i = 0; i < kCount; ++i) {
    const std::string path =
        appData.path() + "/TavrinSoftCustom/WebCache/JsDownload/" + tnwebui::CacheName(urls[i]);
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    EXPECT_EQ(bytes.str(), contents[i]) << i;
    std::string answer;
    tnwebui::JsSdkFunction::FormatText(answer, sdk_text::kTemplates[8].head, 0,
                                       tnwebui::JsSdkFunction::ToLocalId(path).c_str());
    const std::string expected = "TavrinJsBridge._handleMessageFromObjC('{\"responseId\":\"cb_" +
                                 std::to_string(i) + "\",\"responseData\":" + answer + "}');";
    EXPECT_THAT(browser->scripts(), testing::Contains(expected));
  }
}

}  // namespace

namespace {

// Counts what a transfer tells it, from the transfer's thread.
class CountingResponder final : public Im::HTTPDownloadResponser {
 public:
  void Dispose() override {}
  int32_t Reserved() override { return 0; }
  void OnStart() override { ++started; }
  void OnData(IGData*, int64_t, int64_t) override { ++blocks; }
  void OnFinish() override { ++finished; }
  std::atomic<int> started{0}, blocks{0}, finished{0};
};

}  // namespace

TEST(HttpDownloadsEnd, ATransferStillRunningHearsItsEndButACancelledOneDoesNot) {
  tnmainui::FileServer server;
  server.Serve("/slow.bin", std::string(64 << 10, 'x'), tnmainui::FileServer::Mode::kSlow, 1024,
               100);
  CountingResponder running, cancelled;
  {
    tnmainui::HttpDownloads downloads;
    downloads.Start(server.Url("/slow.bin"), 30000, &running);
    const int64_t second = downloads.Start(server.Url("/slow.bin"), 30000, &cancelled);
    ASSERT_TRUE(WaitUntil([&] { return running.blocks > 0 && cancelled.blocks > 0; }));
    downloads.Cancel(second);
  }  // the downloads end with the first transfer half way
  EXPECT_EQ(running.started, 1);
  EXPECT_EQ(running.finished, 1);  // as a transfer that broke off: its responder lets go
  EXPECT_EQ(cancelled.finished, 0);
}
