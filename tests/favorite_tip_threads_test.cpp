// The favourite's outcome comes on the business core's thread; the tip shows from the UI
// thread, on a thread of its own, and goes when its time is up or a newer tip comes.

#include <chrono>
#include <thread>

#include "light/tool_tip.h"
#include "view_fixture.h"
#include "wait.h"
#include "win/paint.h"
#include "win/window.h"

class FavoriteTip : public ViewFixture {
 protected:
  FavoriteTip() : ViewFixture(/*mainThreadIsUi=*/false) {
    pump = false;
    engine.ui().StartThread();
    engine.renderer().StartThread();
  }
};

TEST_F(FavoriteTip, AnAnswerFromTheCoresThreadShowsTheTipFromTheUiThread) {
  IBrowserView* view = nullptr;
  engine.ui().PostTask([&] { view = Create(Settings(u"fav"), "https://fav.test/"); });
  engine.ui().Flush();
  const std::pair<int, const char16_t*> outcomes[] = {{0, u"Added to favourites"},
                                                      {5, u"Could not add to favourites"}};
  for (const auto& [outcome, text] : outcomes) {
    std::thread core([&] {
      CefRefPtr<CefListValue> result = CefListValue::Create();
      result->SetString(0, "cb");
      result->SetInt(1, outcome);
      Pb(view)->ExeBusinessActionCallback(tnbase::TnStringPtr::FromUTF8("MyFavorite").get(),
                                          tnbase::TnStringPtr::FromUTF8("CreateFavorite").get(),
                                          result);
    });
    core.join();
    HWND tip = nullptr;
    ASSERT_TRUE(WaitUntil([&] {
      tip = win::FindWindowW(tnwebui::kToolTipClass, u"");
      return tip && win::GetWindowState(tip).visible;
    }));
    EXPECT_EQ(win::GetPaintedText(tip).text, text);
    tnwebui::CloseToolTip();
    ASSERT_TRUE(WaitUntil([&] { return !win::IsWindow(tip); }));
  }
  engine.ui().PostTask([&] { view->Release(); });
  engine.ui().Flush();
}
