// The favourite's outcome comes on the business core's thread; the tip shows from the UI
// thread, on a thread of its own, and goes when its time is up or a newer tip comes.

#include <chrono>
#include <thread>

#include "light/tool_tip.h"
#include "view_fixture.h"
#include "win/window.h"

namespace {

bool WaitFor(const std::function<bool()>& done) {
  for (int i = 0; i < 1000; ++i) {
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

}  // namespace

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
    ASSERT_TRUE(WaitFor([&] {
      tip = win::FindWindowW(tnwebui::kToolTipClass, u"");
      return tip && win::GetWindowState(tip).visible;
    }));
    tnwebui::CloseToolTip();
    ASSERT_TRUE(WaitFor([&] { return !win::IsWindow(tip); }));
  }
  engine.ui().PostTask([&] { view->Release(); });
  engine.ui().Flush();
}
