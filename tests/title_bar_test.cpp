// The web title bar: its buttons, their places, states, tool tips and clicks, its painting,
// the clipboard and the copy tip, and its end with its window. Pictures of the bar go to the
// build folder.

#include <QColor>
#include <QImage>
#include <string>

#include "hav/null_browser.h"
#include "light/title_resources.h"
#include "light/web_title_child_window.h"
#include "view_fixture.h"
#include "win/paint.h"
#include "win/user.h"

namespace {

using tnwebui::CWebTitleChildWindowWin;
using Bar = CWebTitleChildWindowWin;

// A top-level window that does what the system does with the bar's window commands.
win::LRESULT FrameProc(HWND hwnd, uint32_t message, win::WPARAM wParam, win::LPARAM lParam) {
  return win::DefWindowProcW(hwnd, message, wParam, lParam);
}

class TitleBar : public ViewFixture {
 protected:
  TitleBar() {
    win::WNDCLASSEXW frameClass;
    frameClass.lpfnWndProc = FrameProc;
    frameClass.className = "TestFrame";
    win::RegisterClassExW(frameClass);
    frame = win::CreateWindowExW(0, "TestFrame", u"", win::WS_VISIBLE, 100, 100, 1000, 600, nullptr,
                                 nullptr, nullptr);
  }
  ~TitleBar() override {
    win::DestroyWindow(frame);  // the bar goes with it (the sanitizer sees a leak otherwise)
  }

  // A bar of every button over `frame`, its page in `page`.
  Bar* MakeBar(bool links = true, bool navigation = true, int width = 1000, int height = 36) {
    Bar* bar = tnwebui::CreateWebTitleWindow();
    bar->SetShowLinkButtons(links);
    bar->SetShowNavigation(navigation);
    bar->SetTitle(tnbase::TnStringPtr::FromUTF8("Quarterly report"));
    EXPECT_EQ(bar->Create(frame, width, height, 0), 0);
    bar->AttachBrowser(nullptr, &page);
    return bar;
  }
  static void Click(Bar* bar, Bar::Button which) {
    HWND button = bar->button(which)->window();
    win::SendMessageW(button, win::WM_LBUTTONDOWN, 0, win::MAKELPARAM(10, 10));
    win::SendMessageW(button, win::WM_LBUTTONUP, 0, win::MAKELPARAM(10, 10));
  }
  static void PaintAll(Bar* bar) {
    win::SendMessageW(bar->GetWindowHandle(), win::WM_PAINT, 0, 0);
    for (HWND child : win::GetChildren(bar->GetWindowHandle())) win::UpdateWindow(child);
  }
  static std::string Picture(const char* name) {
    return std::string(TNWEBUI_BUILD_DIR) + "/title_bar_" + name + ".png";
  }

  HWND frame = nullptr;
  xhav::NullBrowser page;
};

TEST_F(TitleBar, MakesTheButtonsTheChoicesAskFor) {
  Bar* full = MakeBar(true, true);
  for (int b = 0; b < Bar::kButtonCount; ++b) EXPECT_NE(full->button(Bar::Button(b)), nullptr);
  const auto state = win::GetWindowState(full->GetWindowHandle());
  EXPECT_EQ(state.className, "TN_WEB_TITLE");
  EXPECT_EQ(state.title, u"TnWebTitle");
  EXPECT_EQ(state.style, 0x52000000u);
  EXPECT_EQ(full->GetParentWindow(), frame);
  EXPECT_FALSE(full->back_enabled());  // a new bar's back button is disabled

  // A light window's bar: close, maximise and minimise only.
  Bar* light = MakeBar(false, false);
  for (int b = 0; b < Bar::kButtonCount; ++b) {
    const bool made = b == Bar::kClose || b == Bar::kMaximize || b == Bar::kMinimize;
    EXPECT_EQ(light->button(Bar::Button(b)) != nullptr, made) << b;
  }
  // Share buttons hidden: copy link stays, open, favourite and share go.
  Bar* noShare = tnwebui::CreateWebTitleWindow();
  noShare->SetShowLinkButtons(true);
  noShare->SetHideShareButtons(true);
  noShare->Create(frame, 1000, 36, 0);
  EXPECT_NE(noShare->button(Bar::kCopyLink), nullptr);
  EXPECT_EQ(noShare->button(Bar::kOpenInBrowser), nullptr);
  EXPECT_EQ(noShare->button(Bar::kShare), nullptr);
  EXPECT_EQ(noShare->button(Bar::kFavorite), nullptr);
}

TEST_F(TitleBar, ASizeChangePlacesTheRightButtonsFromTheRightEdge) {
  Bar* bar = MakeBar();
  HWND hwnd = bar->GetWindowHandle();
  // The view sizes the bar to the whole client area; the bar keeps its own height.
  win::SetWindowPos(hwnd, nullptr, 0, 0, 900, 500, win::SWP_FRAMECHANGED);
  EXPECT_EQ(win::GetWindowState(hwnd).width, 900);
  EXPECT_EQ(win::GetWindowState(hwnd).height, 36);
  const std::pair<Bar::Button, int> places[] = {
      {Bar::kClose, 860}, {Bar::kMaximize, 820}, {Bar::kMinimize, 780}, {Bar::kFavorite, 740},
      {Bar::kShare, 700}, {Bar::kBack, 14},      {Bar::kCopyLink, 94}};
  for (const auto& [which, x] : places) {
    EXPECT_EQ(win::GetWindowState(bar->button(which)->window()).x, x) << which;
  }
  EXPECT_EQ(win::GetWindowState(bar->button(Bar::kClose)->window()).y, 5);
  EXPECT_EQ(win::GetWindowState(bar->button(Bar::kClose)->window()).width, 26);
  EXPECT_EQ(win::GetWindowState(bar->button(Bar::kShare)->window()).width, 22);
  // A size of width 0 changes nothing.
  win::SendMessageW(hwnd, win::WM_SIZE, 0, win::MAKELPARAM(0, 36));
  EXPECT_EQ(win::GetWindowState(hwnd).width, 900);
}

TEST_F(TitleBar, TheMaximiseButtonFollowsTheWindowsZoom) {
  Bar* bar = MakeBar();
  HWND tip = bar->button(Bar::kMaximize)->tip_window();
  EXPECT_EQ(win::ToolTipText(tip), u"Maximise");
  EXPECT_EQ(win::GetWindowState(tip).className, "tooltips_class32");
  EXPECT_EQ(win::GetWindowState(tip).parent, bar->button(Bar::kMaximize)->window());

  Click(bar, Bar::kMaximize);
  EXPECT_TRUE(win::IsZoomed(frame));
  EXPECT_EQ(bar->button(Bar::kMaximize)->current(), tnwebui::TitleBitmap(151));
  win::SetWindowPos(bar->GetWindowHandle(), nullptr, 0, 0, 1920, 1080, 0);
  EXPECT_EQ(win::ToolTipText(tip), u"Restore");
  PaintAll(bar);
  EXPECT_TRUE(win::SaveWindowImage(bar->GetWindowHandle(), Picture("maximised")));

  // A double click on the bar restores it.
  win::SendMessageW(bar->GetWindowHandle(), win::WM_LBUTTONDBLCLK, 0, 0);
  EXPECT_FALSE(win::IsZoomed(frame));
  // The new pictures show with the button's next change of state.
  EXPECT_EQ(bar->button(Bar::kMaximize)->current(), tnwebui::TitleBitmap(151));
  win::SendMessageW(bar->button(Bar::kMaximize)->window(), win::WM_MOUSELEAVE, 0, 0);
  EXPECT_EQ(bar->button(Bar::kMaximize)->current(), tnwebui::TitleBitmap(143));
  win::SetWindowPos(bar->GetWindowHandle(), nullptr, 0, 0, 1000, 600, 0);
  EXPECT_EQ(win::ToolTipText(tip), u"Maximise");
}

TEST_F(TitleBar, ADisabledButtonNeitherClicksNorHovers) {
  Bar* bar = MakeBar();
  tnwebui::WebTitleButton* back = bar->button(Bar::kBack);
  EXPECT_EQ(back->current(), tnwebui::TitleBitmap(123));
  Click(bar, Bar::kBack);
  win::SendMessageW(back->window(), win::WM_MOUSEHOVER, 0, win::MAKELPARAM(10, 10));
  EXPECT_EQ(page.backs, 0);
  EXPECT_EQ(back->current(), tnwebui::TitleBitmap(123));
  PaintAll(bar);
  EXPECT_TRUE(win::SaveWindowImage(bar->GetWindowHandle(), Picture("back_disabled")));

  bar->SetBackEnabled(true);
  EXPECT_EQ(back->current(), tnwebui::TitleBitmap(125));
  Click(bar, Bar::kBack);
  EXPECT_EQ(page.backs, 1);
  // Pressing shows no picture of its own: the pressed slot stays empty.
  win::SendMessageW(back->window(), win::WM_LBUTTONDOWN, 0, 0);
  EXPECT_EQ(back->current(), tnwebui::TitleBitmap(125));

  // The close button's disabled picture is the last number of its call.
  tnwebui::WebTitleButton* close = bar->button(Bar::kClose);
  close->SetEnabled(false);
  EXPECT_EQ(close->current(), tnwebui::TitleBitmap(146));
}

TEST_F(TitleBar, HoverNeedsTheCursorWellInsideAndLeavingRestores) {
  Bar* bar = MakeBar();
  tnwebui::WebTitleButton* refresh = bar->button(Bar::kRefresh);
  win::SendMessageW(refresh->window(), win::WM_MOUSEMOVE, 0, 0);
  const win::TRACKMOUSEEVENT tracked = win::TrackedMouse(refresh->window());
  EXPECT_EQ(tracked.flags, win::TME_HOVER | win::TME_LEAVE);
  EXPECT_EQ(tracked.hoverTime, 10u);
  win::SendMessageW(refresh->window(), win::WM_MOUSEHOVER, 0, win::MAKELPARAM(3, 10));
  EXPECT_EQ(refresh->current(), tnwebui::TitleBitmap(138));  // on the edge: no hover
  win::SendMessageW(refresh->window(), win::WM_MOUSEHOVER, 0, win::MAKELPARAM(4, 18));
  EXPECT_EQ(refresh->current(), tnwebui::TitleBitmap(137));
  PaintAll(bar);
  EXPECT_TRUE(win::SaveWindowImage(bar->GetWindowHandle(), Picture("hovered")));
  win::SendMessageW(refresh->window(), win::WM_MOUSELEAVE, 0, 0);
  EXPECT_EQ(refresh->current(), tnwebui::TitleBitmap(138));
}

TEST_F(TitleBar, RefreshGoesBackFromTheErrorPageAndReloadsElsewhere) {
  Bar* bar = MakeBar();
  page.url = "https://news.test/a";
  Click(bar, Bar::kRefresh);
  EXPECT_EQ(page.reloads, 1);
  page.url = "file://tavrin5main/html/tnerror.html";
  Click(bar, Bar::kRefresh);
  EXPECT_EQ(page.reloads, 1);
  EXPECT_EQ(page.backs, 1);
}

TEST_F(TitleBar, WindowButtonsAndTheCaptionTalkToTheFrame) {
  Bar* bar = MakeBar();
  Click(bar, Bar::kMinimize);
  Click(bar, Bar::kClose);
  win::SendMessageW(bar->GetWindowHandle(), win::WM_LBUTTONDOWN, 0, win::MAKELPARAM(300, 12));
  win::SendMessageW(bar->GetWindowHandle(), win::WM_LBUTTONUP, 0, win::MAKELPARAM(300, 12));
  std::vector<std::pair<uint32_t, win::WPARAM>> posted;
  for (const auto& m : win::GetWindowState(frame).posted) posted.emplace_back(m.message, m.wParam);
  const std::vector<std::pair<uint32_t, win::WPARAM>> expected = {
      {win::WM_SYSCOMMAND, win::SC_MINIMIZE},
      {win::WM_CLOSE, 0},
      {win::WM_NCLBUTTONDOWN, win::HTCAPTION},
      {win::WM_NCLBUTTONUP, win::HTCAPTION}};
  EXPECT_EQ(posted, expected);
  EXPECT_EQ(win::GetWindowState(frame).posted[2].lParam, win::MAKELPARAM(300, 12));
}

TEST_F(TitleBar, OpenInBrowserRunsTheOpenerWithTheAddressCutToTheBuffer) {
  Bar* bar = MakeBar();
  page.url = "https://news.test/a?b=1";
  Click(bar, Bar::kOpenInBrowser);
  ASSERT_FALSE(win::ExecutedCommands().empty());
  EXPECT_EQ(win::ExecutedCommands().back(),
            "rundll32 url.dll, FileProtocolHandler https://news.test/a?b=1");
  page.url = "https://news.test/" + std::string(3000, 'x');
  Click(bar, Bar::kOpenInBrowser);
  EXPECT_EQ(win::ExecutedCommands().back().size(), 2047u);
}

TEST_F(TitleBar, CopyLinkFillsTheClipboardAndShowsTheTipEitherWay) {
  Bar* bar = MakeBar();
  page.url = "https://news.test/article/7";
  const int dialogs = win::DialogsShown();
  Click(bar, Bar::kCopyLink);  // the tip runs for its second, then ends by its timer
  EXPECT_EQ(win::ClipboardText(), "https://news.test/article/7");
  EXPECT_EQ(win::DialogsShown(), dialogs + 1);

  win::SetClipboardBusy(true);
  page.url = "https://news.test/other";
  Click(bar, Bar::kCopyLink);
  win::SetClipboardBusy(false);
  EXPECT_EQ(win::ClipboardText(), "https://news.test/article/7");
  EXPECT_EQ(win::DialogsShown(), dialogs + 2);
}

TEST_F(TitleBar, PaintsItsLineAndTitleAndNothingWhenTooLow) {
  Bar* bar = MakeBar();
  PaintAll(bar);
  const std::string path = Picture("restored");
  ASSERT_TRUE(win::SaveWindowImage(bar->GetWindowHandle(), path));
  QImage image(QString::fromStdString(path));
  ASSERT_EQ(image.height(), 36);
  EXPECT_EQ(QColor(image.pixel(500, 35)), QColor(0xE7, 0xE8, 0xEB));  // the bottom line
  EXPECT_EQ(QColor(image.pixel(300, 2)), QColor(Qt::white));
  int dark = 0;  // the title's pixels, in the middle
  for (int x = 200; x < 800; ++x) {
    for (int y = 5; y < 30; ++y) dark += QColor(image.pixel(x, y)).lightness() < 128;
  }
  EXPECT_GT(dark, 20);

  // A bar below 6 pixels leaves its picture to nobody.
  Bar* low = MakeBar(false, false, 1000, 5);
  win::SendMessageW(low->GetWindowHandle(), win::WM_PAINT, 0, 0);
  for (HWND child : win::GetChildren(low->GetWindowHandle())) win::ShowWindow(child, 0);
  EXPECT_FALSE(win::SaveWindowImage(low->GetWindowHandle(), Picture("low")));

  // At 200 pixels or less the title's rectangle is empty: no title.
  Bar* narrow = MakeBar(false, false, 180, 36);
  win::SendMessageW(narrow->GetWindowHandle(), win::WM_PAINT, 0, 0);
  ASSERT_TRUE(win::SaveWindowImage(narrow->GetWindowHandle(), Picture("narrow")));
  QImage small(QString::fromStdString(Picture("narrow")));
  int inked = 0;
  for (int x = 0; x < small.width(); ++x) {
    for (int y = 0; y < 35; ++y) inked += QColor(small.pixel(x, y)) != QColor(Qt::white);
  }
  // Only the buttons' pictures are there (they cover the bar's left part here).
  for (HWND child : win::GetChildren(narrow->GetWindowHandle())) win::ShowWindow(child, 0);
  ASSERT_TRUE(win::SaveWindowImage(narrow->GetWindowHandle(), Picture("narrow")));
  QImage bare(QString::fromStdString(Picture("narrow")));
  int bareInk = 0;
  for (int x = 0; x < bare.width(); ++x) {
    for (int y = 0; y < 35; ++y) bareInk += QColor(bare.pixel(x, y)) != QColor(Qt::white);
  }
  EXPECT_EQ(bareInk, 0);
  EXPECT_GT(inked, 0);
}

TEST_F(TitleBar, EndsWithItsWindowAndKeepsNoGdiObjects) {
  Bar* first = MakeBar();  // the bitmaps load once, for the process
  Click(first, Bar::kMaximize);
  PaintAll(first);
  const int before = win::GdiObjectsAlive();
  Bar* bar = MakeBar();
  PaintAll(bar);
  Click(bar, Bar::kMaximize);
  PaintAll(bar);
  HWND hwnd = bar->GetWindowHandle();
  HWND close = bar->button(Bar::kClose)->window();
  win::DestroyWindow(frame);
  frame = nullptr;
  EXPECT_FALSE(win::IsWindow(hwnd));
  EXPECT_FALSE(win::IsWindow(close));
  // Brushes and fonts of a paint are freed.
  EXPECT_EQ(win::GdiObjectsAlive(), before);
}

}  // namespace
