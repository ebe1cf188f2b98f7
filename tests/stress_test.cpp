// Long runs of the module's cycles: views made and closed by the ten thousand, and a million
// event deliveries. Whatever the module makes for a view or an event it lets go of again: the
// live objects and the heap in use come back to where they started.

#include <gmock/gmock.h>
#include <malloc.h>

#include "browser_view_setting.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "view_fixture.h"

// The sanitizers' allocator counts the bytes in use exactly; without a sanitizer, glibc's
// count of the bytes handed out stands in.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace {

std::size_t HeapInUse() {
  if (__sanitizer_get_current_allocated_bytes) return __sanitizer_get_current_allocated_bytes();
  return mallinfo2().uordblks;
}

constexpr std::size_t kHeapSlack = 512 * 1024;  // the allocator's and the log's own growth

class Stress : public ViewFixture {};

TEST_F(Stress, TenThousandViewCyclesLeaveNothingBehind) {
  auto cycle = [this](int i) {
    IBrowserView* view =
        Create(Settings(u"cycle", i % 3 == 0 ? 4 : 0, R"({"k":1})"), "https://cycle.test/");
    BrowserOf(view)->FinishClose();
    view->Release();
    // The engine keeps each window's record for tests to read; here they go.
    if (i % 100 == 99) engine.ForgetClosedBrowsers();
  };
  for (int i = 0; i < 300; ++i) cycle(i);  // the first views grow the pools and caches
  log.Clear();
  const int views = tnwebui::TnBrowserUI::Live();
  const int settings = tnwebui::CBrowserViewSettingImpl::Live();
  const std::size_t heap = HeapInUse();
  for (int i = 0; i < 10000; ++i) cycle(i);
  log.Clear();
  EXPECT_EQ(tnwebui::TnBrowserUI::Live(), views);
  EXPECT_EQ(tnwebui::CBrowserViewSettingImpl::Live(), settings);
  EXPECT_EQ(factory->size(), 0u);
  EXPECT_LT(HeapInUse(), heap + kHeapSlack) << "grew by " << HeapInUse() - heap;
}

TEST_F(Stress, AMillionEventsOverAHundredSubscriptions) {
  IBrowserView* view = Create(Settings(u"events"), "https://events.test/");
  auto page = BrowserOf(view)->page();
  PageFunction handler;
  auto delivered = std::make_shared<long>(0);
  *handler.onCall = [calls = handler.calls, delivered](const CefV8ValueList&) {
    ++*delivered;
    calls->clear();  // counted, not kept
  };
  for (int i = 0; i < 100; ++i) {
    CefRefPtr<CefV8Value> names = CefV8Value::CreateArray(1);
    names->SetValue(0, Str("tn.stress"));
    ASSERT_TRUE(page->Call("tnpc.registerEvent", {names, handler.value}).handled);
  }
  engine.RunUntilIdle();
  auto raise = [this](int count) {
    for (int i = 0; i < count; ++i) {
      eventBus.Raise(7, "tn.stress", "json", R"({"n":)" + std::to_string(i) + "}");
      if (i % 100 == 99) engine.RunUntilIdle();
    }
    engine.RunUntilIdle();
  };
  raise(100);
  const std::size_t heap = HeapInUse();
  *delivered = 0;
  raise(10000);
  EXPECT_EQ(*delivered, 1000000);
  EXPECT_LT(HeapInUse(), heap + kHeapSlack) << "grew by " << HeapInUse() - heap;
  view->Release();
}

}  // namespace
