// A screen of 144 dots per inch, set before the factory first reads it.

#include "view_fixture.h"
#include "win/window.h"

namespace {
const bool kDpi = (win::SetScreenDpi(144), true);
}  // namespace

using FactoryDpi = ViewFixture;

TEST_F(FactoryDpi, FramedWindowsAreScaledAndTheReadIsKept) {
  IBrowserViewSetting* s = Settings(u"framed", 4);
  s->SetRect({0, 0, 401, 300});
  IBrowserView* framed = Create(s);
  EXPECT_EQ(BrowserOf(framed)->param().scaledWidth, 602);  // 401 * 1.5, rounded
  EXPECT_EQ(BrowserOf(framed)->param().scaledHeight, 450);
  EXPECT_EQ(BrowserOf(framed)->param().width, 401);

  win::SetScreenDpi(96);  // the first read stays for the process
  s = Settings(u"framed2", 4);
  s->SetRect({0, 0, 100, 100});
  IBrowserView* second = Create(s);
  EXPECT_EQ(BrowserOf(second)->param().scaledWidth, 150);

  s = Settings(u"plain", 0);
  s->SetRect({0, 0, 100, 100});
  IBrowserView* plain = Create(s);
  const auto& calls = BrowserOf(plain)->param().calls;
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetScaledSize"), 0);
  framed->Release();
  second->Release();
  plain->Release();
}
