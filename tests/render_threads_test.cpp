// The render side with real threads: the browser process answers from several threads while
// the render main thread runs page script.

#include <atomic>
#include <thread>

#include "render_fixture.h"

class RenderThreads : public RenderFixture {
 protected:
  RenderThreads() {
    engine.ui().StartThread();
    engine.renderer().StartThread();
  }
  // Runs `task` as page script on the render main thread and waits for it.
  void OnRenderer(std::function<void()> task) {
    engine.renderer().PostTask(std::move(task));
    engine.renderer().Flush();
  }
};

TEST_F(RenderThreads, AnswersFromManyThreadsReachEveryCallbackOnce) {
  auto page = engine.OpenPage(true);
  engine.renderer().Flush();
  constexpr int kIds = 50;
  PageFunction f;
  std::atomic<int> sent{0};
  engine.SetBrowserReceiver([&](int, CefRefPtr<CefProcessMessage>) { ++sent; });

  OnRenderer([&] {
    EXPECT_TRUE(CefCurrentlyOn(TID_RENDERER));
    for (int i = 0; i < kIds; ++i) {
      page->Call("tnpc.exebusinessaction", {Str("a"), Str("b"), Str(""), Str(""), Int(i), f.value});
    }
  });

  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = t; i < kIds; i += 4) {
        engine.SendToRenderer(page->id(), BusinessAnswer("a", "b", std::to_string(i), i, ""));
      }
    });
  }
  for (auto& t : threads) t.join();
  engine.renderer().Flush();
  engine.ui().Flush();

  EXPECT_EQ(sent.load(), kIds);
  ASSERT_EQ(f.calls->size(), static_cast<size_t>(kIds));
  std::vector<int> seen(kIds, 0);
  for (const auto& args : *f.calls) ++seen[args[0]->GetIntValue()];
  EXPECT_EQ(seen, std::vector<int>(kIds, 1));
  engine.SetBrowserReceiver(nullptr);
}

TEST_F(RenderThreads, TheRegistryMayBeReachedFromOtherThreads) {
  auto page = engine.OpenPage(true);
  engine.renderer().Flush();
  PageFunction f;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        const std::string key = "k" + std::to_string((t * 7 + i) % 16);
        handler->AddJsFunCallback(page->browser(), key, f.value, page->context(), "", 0);
        handler->FindJsCallback(page->browser(), key);
        handler->SetImplId(page->context(), key);
        handler->HasImplId(page->context());
      }
    });
  }
  for (auto& t : threads) t.join();
  for (int i = 0; i < 16; ++i) {
    EXPECT_NE(handler->FindJsCallback(page->browser(), "k" + std::to_string(i)), nullptr);
  }
  OnRenderer([&] { page.reset(); });
}
