// The main page answers dialogs on threads of its own: each answer reaches its handler once,
// the handler lives until then and goes with its callback's last reference.

#include <thread>

#include "base/live_count.h"
#include "light/tavrin_browser_handler.h"
#include "open_fixture.h"

namespace {

class DialogThreads : public OpenFixture {
 protected:
  void SetUp() override {
    OpenFixture::SetUp();
    OpenMainPage();
  }
};

TEST_F(DialogThreads, AnswersFromOtherThreadsFreeTheirHandlersAndPostOneEventEach) {
  using Handlers = tnwebui::LiveCounted<tnwebui::OpenBrowserHandler>;
  constexpr int kDialogs = 24;
  interdata::TavrinWindowData data = Data("messagebox");
  for (int i = 0; i < kDialogs; ++i) Open("https://x.test/", data);
  ASSERT_EQ(channel.held(), static_cast<std::size_t>(kDialogs));
  EXPECT_EQ(Handlers::Live(), kDialogs);
  std::vector<std::thread> answerers;
  for (int t = 0; t < 4; ++t) {
    answerers.emplace_back([this, t] {
      while (channel.AnswerHeld(t, u"{\"windowid\":1}")) {
      }
    });
  }
  for (auto& thread : answerers) thread.join();
  EXPECT_EQ(Handlers::Live(), 0);
  int events = 0;
  for (const auto& event : eventBus.posted()) events += event.name == "tn.messagebox";
  EXPECT_EQ(events, kDialogs);
}

}  // namespace
