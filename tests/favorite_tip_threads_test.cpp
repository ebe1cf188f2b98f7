// The favourite's outcome comes on the business core's thread; the tip shows from the UI
// thread, on a thread of its own, and goes when its time is up or a newer tip comes.

#include <chrono>
#include <thread>

#include "light/tool_tip.h"
#include "view_fixture.h"
#include "wait.h"
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
  for (int outcome : {0, 5}) {
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
    tnwebui::CloseToolTip();
    ASSERT_TRUE(WaitUntil([&] { return !win::IsWindow(tip); }));
  }
  engine.ui().PostTask([&] { view->Release(); });
  engine.ui().Flush();
}
