// A screen of 144 dots per inch, set before the factory first reads it.

#include "open_fixture.h"
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

using OpenDpi = OpenFixture;

TEST_F(OpenDpi, BottomRightKeepsAScaledPixelOfMargin) {
  win::SetScreenDpi(144);  // as the module read it first, whatever a test set since
  interdata::WindowProperty property;
  property.mutable_pos()->set_pos_type("bottomright");
  property.mutable_pos()->set_width(200);
  property.mutable_pos()->set_height(100);
  xhav::inproc::BrowserImpl* window = Opened(Open("https://br.test/", Data("br"), &property));
  ASSERT_NE(window, nullptr);
  // 200 and 100 scale to 300 and 150, the margin of 1 to 2 (1.5, rounded): the size goes to
  // hav unscaled, and the window's right edge ends 2 pixels inside the work area.
  EXPECT_EQ(window->param().width, 200);
  const win::Rect rect = RectOf(window);
  EXPECT_EQ(rect.right, 1920 - 2);
  EXPECT_EQ(rect.bottom, 1040 - 2);
  EXPECT_EQ(rect.right - rect.left, 300);
}
