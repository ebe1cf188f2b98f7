// The JS SDK with real threads: pages hand messages over on the render thread, the view serves
// them on the UI thread, the business core answers functions on its own thread, and deletions
// run on the global task queue, while the window closes under them.

#include <atomic>
#include <map>

#include "light/tavrin_browser_jssdk/function/go_adapters.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "tnmainui/business_service.h"
#include "view_fixture.h"

namespace {

// Asks the core for a code and answers the page from the core's thread, then goes.
class CoreCall final : public tnwebui::JsSdkFunction {
 public:
  explicit CoreCall(tnbusiness::ApplicationObject* app) : app_(app) {}
  bool IsOneShot() override { return false; }
  void Execute(const std::string&, const Json::Value&) override {
    const std::string request = callbackId;
    tnwebui::GDataImpl data(request.data(), static_cast<int32_t>(request.size()));
    tnwebui::GStringImpl task("task", 4);
    app_->RequestAppCode(orgId, &data, &task,
                         new tnwebui::ResponserImpl([this](IGData* d, Tnerror::Error*) {
                           SendResponse(std::string("\"") + (d ? d->Data() : "") + "\"");
                           DeleteLater();
                         }));
  }

 private:
  tnbusiness::ApplicationObject* app_;
};

}  // namespace

class JsSdkThreads : public ViewFixture {
 protected:
  JsSdkThreads() : ViewFixture(/*mainThreadIsUi=*/false) {
    pump = false;
    engine.ui().StartThread();
    engine.renderer().StartThread();
    service.SetScript([](const tnmainui::GoCall& call) {
      tnmainui::GoAnswer answer;
      answer.data = call.args[0];
      answer.data.push_back('\0');
      return answer;
    });
  }
  void OnUi(std::function<void()> task) {
    engine.ui().PostTask(std::move(task));
    engine.ui().Flush();
  }
  tnmainui::ScriptedBusinessService service;
};

TEST_F(JsSdkThreads, AnswersFromTheCoresThreadAndDeletionsLaterNeverMeetADeadFunction) {
  IBrowserView* view = nullptr;
  OnUi([&] { view = Create(Settings(u"threads"), "https://light.test/"); });
  engine.renderer().Flush();
  xhav::inproc::BrowserImpl* browser = BrowserOf(view);
  auto page = browser->page();

  HWND window = browser->GetWindowHandle();  // as the dispatcher takes it, before the close
  constexpr int kCalls = 200;
  std::atomic<bool> closed{false};
  std::thread pageThread([&] {
    for (int i = 0; i < kCalls; ++i) {
      engine.renderer().PostTask([page, i] {
        page->FetchJSMessage(R"([{"handlerName":"ui.setNavigationBarMenu","callbackId":"p)" +
                             std::to_string(i) + R"("},{"handlerName":"x.y","callbackId":"q"}])");
      });
    }
  });
  for (int i = 0; i < kCalls; ++i) {
    auto* call = new CoreCall(service.GetApplicationObject());
    call->Fill(1, "", browser, window, &host);
    call->SetCallbackId("c" + std::to_string(i));
    call->Execute("core.call", Json::Value());
    if (i == kCalls / 2)
      engine.ui().PostTask([&] {
        browser->FinishClose();
        closed = true;
      });
  }
  pageThread.join();
  engine.renderer().Flush();
  service.Flush();
  engine.ui().Flush();
  tnbase::globalTaskQueue(0)->Flush();
  EXPECT_TRUE(closed);
  EXPECT_EQ(tnwebui::JsSdkFunction::Live(), 0);
  // No answer ran twice, and the pages' own calls were all answered before the close or not
  // at all.
  std::map<std::string, int> answers;
  for (const std::string& script : browser->scripts()) {
    const auto at = script.find("\"responseId\":\"c");
    if (at != std::string::npos) ++answers[script.substr(at, script.find('"', at + 15) - at)];
  }
  for (const auto& [id, count] : answers) EXPECT_EQ(count, 1) << id;
  EXPECT_LE(answers.size(), static_cast<std::size_t>(kCalls));
  OnUi([&] { view->Release(); });
}
