// "utils.downloadFile" of 1 GiB from a loopback HTTP server: the business core's HTTP client
// streams each block to the SDK's download, which writes it into the web cache and sends a
// progress event for it. The floor beside it, in the same run, is `curl -o` of the same file
// from the same server. Each run also reports how far the process's peak resident memory rose
// above what it held before the download (the data is written as it arrives, never held).

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "floor_ratio.h"
#include "hav/null_browser.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"
#include "tnbase/logger.h"
#include "tnbase/task_queue.h"
#include "tnmainui/business_service.h"
#include "tnmainui/file_server.h"
#include "tnwebui/services.h"

extern char** environ;

namespace {

constexpr uint64_t kSize = 1ull << 30;

// A kilobyte figure of /proc/self/status ("VmRSS", "VmHWM").
long StatusKiB(const char* key) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(key, 0) == 0) return std::atol(line.c_str() + std::strlen(key) + 1);
  }
  return -1;
}

// Starts the peak resident size afresh from what the process holds now.
void ResetPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }

struct Setting {
  Setting() {
    tnbase::SetLogSink([](const tnbase::LogRecord&) {}, kTnLogError + 1);  // no line
    std::string pattern =
        (std::filesystem::temp_directory_path() / "tnwebui-bench-XXXXXX").string();
    if (mkdtemp(pattern.data())) folder = pattern;
    setenv("APPDATA", folder.c_str(), 1);
    server.ServeGenerated("/big.bin", kSize);
  }
  ~Setting() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    unsetenv("APPDATA");
  }
  std::string Url() const { return server.Url("/big.bin?v=1"); }

  std::string folder;
  tnmainui::FileServer server;
};

Setting& TheSetting() {
  static Setting setting;
  return setting;
}

class Host final : public ModuleHost {
 public:
  explicit Host(BusinessCoreService* service) : service_(service) {}
  void* QueryService(const GUID& id) override {
    return id == SID_BusinessCoreService ? service_ : nullptr;
  }
  void Reserved1() override {}
  xhav::Core* GetHavCore() override { return nullptr; }
  xhav::RenderHost* GetRenderHost() override { return nullptr; }

 private:
  BusinessCoreService* service_;
};

void BM_Download1GiB(benchmark::State& state) {
  Setting& setting = TheSetting();
  tnmainui::ScriptedBusinessService service;
  Host host(static_cast<BusinessCoreService*>(&service));
  tnmainui::ScriptedBusinessChannel channel([](std::function<void()>) {});  // never used
  xhav::NullBrowser browser;
  browser.channel = &channel;
  tnwebui::TavrinJsSDK sdk(7, &host);
  sdk.SetBrowser(&browser);
  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create(xhav::kFetchJSMessage);
  message->GetArgumentList()->SetString(
      0, R"([{"handlerName":"utils.downloadFile","callbackId":"cb_1","data":{"payload":{"url":")" +
             setting.Url() + R"("}}}])");
  tnbase::TnStringPtr name(allocStringFromUTF8(xhav::kFetchJSMessage));
  long growth = 0;
  for (auto _ : state) {
    const int before = tnwebui::JsSdkFunction::Live();
    const long resident = StatusKiB("VmRSS:");
    ResetPeak();
    sdk.OnBrowserCall(name.get(), message);
    while (tnwebui::JsSdkFunction::Live() != before) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    growth = std::max(growth, StatusKiB("VmHWM:") - resident);
  }
  const std::string cache = setting.folder + "/TavrinSoftCustom/WebCache/JsDownload";
  uint64_t written = 0;
  for (const auto& entry : std::filesystem::directory_iterator(cache)) written += entry.file_size();
  if (written != kSize) state.SkipWithError("the cache file is not whole");
  std::filesystem::remove_all(cache);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
  state.counters["peak_rss_growth_KiB"] = static_cast<double>(growth);
}

void BM_Download1GiB_Floor(benchmark::State& state) {
  Setting& setting = TheSetting();
  const std::string target = setting.folder + "/curl.bin";
  const std::string url = setting.Url();
  for (auto _ : state) {
    const char* argv[] = {"curl", "-s", "-o", target.c_str(), url.c_str(), nullptr};
    pid_t pid = 0;
    int status = 0;
    if (posix_spawnp(&pid, "curl", nullptr, nullptr, const_cast<char**>(argv), environ) != 0 ||
        waitpid(pid, &status, 0) != pid || status != 0) {
      state.SkipWithError("curl failed");
      break;
    }
  }
  if (std::filesystem::exists(target) && std::filesystem::file_size(target) != kSize) {
    state.SkipWithError("curl's file is not whole");
  }
  std::filesystem::remove(target);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}

BENCHMARK(BM_Download1GiB)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Download1GiB_Floor)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

TN_BENCHMARK_MAIN()
