// Business actions with real threads: the browser's UI thread, the render main thread and the
// core's own thread, as in the running client.

#include <atomic>
#include <thread>

#include "view_fixture.h"

namespace {
constexpr char kClientPage[] = "file://tavrin5main/index.html";
}  // namespace

class BusinessThreads : public ViewFixture {
 protected:
  BusinessThreads() : ViewFixture(/*mainThreadIsUi=*/false) {
    pump = false;
    engine.ui().StartThread();
    engine.renderer().StartThread();
  }
  ~BusinessThreads() override {
    core->FlushAnswers();
    OnUi([] {});
    engine.renderer().Flush();
  }
  void OnUi(std::function<void()> task) {
    engine.ui().PostTask(std::move(task));
    engine.ui().Flush();
  }
  void OnRenderer(std::function<void()> task) {
    engine.renderer().PostTask(std::move(task));
    engine.renderer().Flush();
  }
  // Lets every queued hop run: core answers, UI thread, render thread.
  void Settle() {
    for (int i = 0; i < 3; ++i) {
      core->FlushAnswers();
      engine.ui().Flush();
      engine.renderer().Flush();
    }
  }
};

TEST_F(BusinessThreads, AnswersFromTheCoresThreadReachThePageOnce) {
  core->AnswerOnOwnThread(0, u"{\"ok\":1}");
  IBrowserView* view = nullptr;
  OnUi([&] { view = Create(Settings(u"threads"), kClientPage); });
  engine.renderer().Flush();
  auto page = BrowserOf(view)->page();

  std::atomic<int> onRenderThread{0};
  PageFunction f;
  *f.onCall = [&](const CefV8ValueList&) { onRenderThread += CefCurrentlyOn(TID_RENDERER); };
  constexpr int kCalls = 40;
  OnRenderer([&] {
    for (int i = 0; i < kCalls; ++i) {
      page->Call("tnpc.exebusinessaction",
                 {Str("Contact"), Str("Get"), Str(""), Str("{}"), Int(i), f.value});
    }
  });
  Settle();
  EXPECT_EQ(core->calls().size(), static_cast<size_t>(kCalls));
  ASSERT_EQ(f.calls->size(), static_cast<size_t>(kCalls));
  std::vector<int> seen(kCalls, 0);
  for (const auto& args : *f.calls) ++seen[std::stoi(args[2]->GetStringValue().ToString())];
  EXPECT_EQ(seen, std::vector<int>(kCalls, 1));
  EXPECT_EQ(onRenderThread.load(), kCalls);
  OnUi([&] { view->Release(); });
}

TEST_F(BusinessThreads, AViewClosingWhileAnswersAreInFlightIsSafe) {
  core->AnswerOnOwnThread(0, u"{}");
  for (int round = 0; round < 20; ++round) {
    IBrowserView* view = nullptr;
    OnUi([&] { view = Create(Settings(u"closing"), kClientPage); });
    engine.renderer().Flush();
    auto page = BrowserOf(view)->page();
    PageFunction f;
    OnRenderer([&] {
      for (int i = 0; i < 5; ++i) {
        page->Call("tnpc.exebusinessaction",
                   {Str("Contact"), Str("Get"), Str(""), Str("{}"), Int(i), f.value});
      }
    });
    // The window goes while the core may still be answering.
    OnUi([&] {
      BrowserOf(view)->FinishClose();
      view->Release();
    });
    page.reset();
  }
  Settle();
  EXPECT_EQ(tnwebui::TnBrowserUI::Live(), 0);
}

TEST_F(BusinessThreads, AHostThreadThatReplacesTheCoreHandsTheChangeToTheUiThread) {
  // The host swaps the view's core from a thread of its own while pages' calls read it on the
  // UI thread: every swap runs on the UI thread, so ThreadSanitizer sees no race.
  core->AnswerOnOwnThread(0, u"{}");
  auto* other = new tnmainui::ScriptedBusinessCore(u"org-2", "account-2");
  other->AnswerOnOwnThread(0, u"{}");
  IBrowserView* view = nullptr;
  OnUi([&] { view = Create(Settings(u"swap"), kClientPage); });
  engine.renderer().Flush();
  auto page = BrowserOf(view)->page();
  PageFunction f;
  constexpr int kCalls = 50;
  std::thread host([&] {
    for (int i = 0; i < kCalls; ++i) view->SetBusinessCore(i % 2 ? core : other);
  });
  OnRenderer([&] {
    for (int i = 0; i < kCalls; ++i) {
      page->Call("tnpc.exebusinessaction",
                 {Str("Contact"), Str("Get"), Str(""), Str("{}"), Int(i), f.value});
    }
  });
  host.join();
  Settle();
  other->FlushAnswers();
  Settle();
  EXPECT_EQ(core->calls().size() + other->calls().size(), static_cast<size_t>(kCalls));
  EXPECT_EQ(f.calls->size(), static_cast<size_t>(kCalls));
  std::u16string key;
  OnUi([&] { key = view->GetOrgKey(); });
  EXPECT_EQ(key, u"org-1");  // the host's last call, in its order
  OnUi([&] { view->Release(); });
  other->FlushAnswers();
  other->Release();
}
