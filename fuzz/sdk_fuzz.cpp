// A light app's page and the client's answers, both arbitrary: "havFetchJSMessage" texts go
// through the SDK's dispatcher to its functions, and every business call, core request and
// download is answered from the same input. The input is the page's text, then after a blank
// line the host's result text (also the data of the event that the client's bus raises), then
// after another the core's bytes; its first two bytes pick the host's code and the answers'
// shape. Nothing may crash, leak, or answer a dead function.

#include <google/protobuf/stubs/logging.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>

#include "base/CommonFunc.h"
#include "hav/inproc_engine.h"
#include "hav/null_browser.h"
#include "light/tavrin_browser_jssdk/function/go_adapters.h"
#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"
#include "tnbase/logger.h"
#include "tnbase/task_queue.h"
#include "tnmainui/business_service.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"

namespace {

constexpr int32_t kCodes[] = {0, 3002, -1, 404, 7, 9106923};

// What one input says the host and the core answer.
struct Answers {
  int32_t code = 0;
  bool nullResult = false;
  bool twice = false;      // the host answers every call two times
  bool asTimer = false;    // the host's answer comes as the voice player's timer message
  bool coreError = false;  // the core answers with an error instead of data
  std::u16string result;
  std::string core;
};

// The UI thread of this process: tasks run when the input's turn is over, in order.
std::deque<std::function<void()>>& UiTasks() {
  static auto* tasks = new std::deque<std::function<void()>>;
  return *tasks;
}
void PostToUi(std::function<void()> task) { UiTasks().push_back(std::move(task)); }

struct World {
  World() {
    engine.ui().BindCurrentThread();  // hav's task runner posts to it
    host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
    host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
    browser.channel = &channel;
    sdk.SetBrowser(&browser);
    channel.SetScript([this](const tnmainui::ChannelCall&) {
      tnmainui::ChannelAnswer answer{answers.code, answers.result, answers.nullResult};
      if (answers.asTimer) answer.action = u"JSSdkPlayVoiceTimer";
      std::vector<tnmainui::ChannelAnswer> all{answer};
      if (answers.twice) all.push_back(answer);
      return all;
    });
    service.SetScript([this](const tnmainui::GoCall&) {
      tnmainui::GoAnswer answer;
      answer.data = answers.core;
      if (answers.coreError) {
        answer.hasData = false;
        answer.code = 5;
      }
      return answer;
    });
    // The core's download reports its course, and stops at a cancel, as the core does: the
    // function may be gone once it has canceled.
    service.SetDownloadScript([this](const tnmainui::GoCall&, Im::HTTPDownloadResponser* r) {
      auto canceled = [&] {
        for (const tnmainui::GoCall& call : service.calls()) {
          if (call.operation == "CancelDownload") return true;
        }
        return false;
      };
      r->OnStart();
      if (canceled()) return;
      tnwebui::GDataImpl block(answers.core.data(), static_cast<int32_t>(answers.core.size()));
      r->OnData(&block, static_cast<int64_t>(answers.core.size()),
                static_cast<int64_t>(answers.core.size()) * (answers.twice ? 2 : 1));
      r->OnFinish();
    });
  }

  xhav::inproc::Engine engine{xhav::kProcessTypeBrowser};
  tnmainui::InProcessHost host{nullptr, nullptr};
  tnmainui::InProcessEventBus bus{PostToUi};
  tnmainui::ScriptedBusinessService service;
  tnmainui::ScriptedBusinessChannel channel{PostToUi};
  xhav::NullBrowser browser;
  tnwebui::TavrinJsSDK sdk{7, &host};
  Answers answers;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool quiet = (tnbase::SetLogSink([](const tnbase::LogRecord&) {}),
                       google::protobuf::SetLogHandler(nullptr), true);
  (void)quiet;
  static World* world = new World;  // lives for the process, as the client's view would
  if (size < 2) return 0;
  Answers& answers = world->answers;
  answers.code = kCodes[data[0] % (sizeof kCodes / sizeof kCodes[0])];
  answers.nullResult = data[1] & 1;
  answers.twice = data[1] & 2;
  answers.asTimer = data[1] & 4;
  answers.coreError = data[1] & 8;
  const std::string rest(reinterpret_cast<const char*>(data + 2), size - 2);
  const std::size_t first = rest.find("\n\n");
  const std::string page = rest.substr(0, first);
  std::string result, core;
  if (first != std::string::npos) {
    const std::size_t second = rest.find("\n\n", first + 2);
    result = rest.substr(first + 2, second == std::string::npos ? second : second - first - 2);
    if (second != std::string::npos) core = rest.substr(second + 2);
  }
  answers.result = tnwebui::Utf8ToWide(result);
  answers.core = core;

  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create(xhav::kFetchJSMessage);
  message->GetArgumentList()->SetString(0, page);
  tnbase::TnStringPtr name(allocStringFromUTF8(xhav::kFetchJSMessage));
  world->sdk.OnBrowserCall(name.get(), message);
  // The turn is over: the host's answers, the core's, the deletions, until all is quiet. The
  // client's bus then tells the picker's result (the host's text), which ends every function
  // that waits for an event.
  for (int round = 0; round < 4; ++round) {
    if (round == 2) {
      world->bus.Deliver(7, "tn.onchooseresult", "json", result.data(),
                         static_cast<int32_t>(result.size()));
    }
    world->engine.RunUntilIdle();
    world->service.Flush();
    while (!UiTasks().empty()) {
      std::function<void()> task = std::move(UiTasks().front());
      UiTasks().pop_front();
      task();
    }
    tnbase::globalTaskQueue(0)->Flush();
  }
  world->channel.ReleaseHeld();
  world->channel.ClearCalls();  // the records of this input only
  world->service.ClearCalls();
  return 0;
}
