#include "light/web_title_child_window.h"

#include <cstdio>
#include <cstring>

#include "adapt/tn_browser_ui_adapt.h"
#include "base/CommonFunc.h"
#include "light/title_resources.h"
#include "tn_webui_module.h"

namespace tnwebui {

namespace {

constexpr char kTitleClass[] = "TN_WEB_TITLE";
constexpr char16_t kTitleName[] = u"TnWebTitle";
constexpr char kButtonClass[] = "TN_WEB_TITLE_BUTTON";
constexpr char16_t kButtonName[] = u"TnWebTitleButton";
constexpr uint32_t kTitleClassStyle = 0x000B;   // double clicks, H and V redraw
constexpr uint32_t kTitleStyle = 0x52000000;    // child, visible, clip children
constexpr uint32_t kButtonClassStyle = 0x408B;  // double clicks, H and V redraw, parent DC, global
constexpr uint32_t kButtonStyle = 0x5000000B;   // child, visible, owner draw
constexpr int kTitleBackground = 6;
constexpr int kButtonBackground = 8;
constexpr int kClassIcon = 107;
constexpr uint32_t kTipStyle = 0x80000003;  // popup, always tip, no prefix
constexpr uint32_t kTipPlacement = 0x13;    // no size, no move, no activate
constexpr uint32_t kTitleTextFormat = 0x8025;
constexpr int kTitleTextMargin = 200;
constexpr int kLowestPaintedBottom = 6;
constexpr char kErrorPage[] = "file://tavrin5main/html/tnerror.html";
constexpr char kOpenCommand[] = "rundll32 url.dll, FileProtocolHandler %s";
constexpr std::size_t kOpenCommandSize = 2048;
constexpr uint32_t kOpenShow = 24;
constexpr uint32_t kHoverTime = 10;
constexpr int kHoverInset = 3;

constexpr win::COLORREF kBottomLine = win::Rgb(0xE7, 0xE8, 0xEB);
constexpr win::COLORREF kTitleText = win::Rgb(0x3F, 0x3F, 0x3F);

// Button bitmaps: normal, hover, disabled (-1: none).
struct ButtonRow {
  int x, y, size, normal, hover, disabled;
  const char* tip;
};
// x above 0 is from the left; 0 or below is the client width minus that much.
constexpr ButtonRow kRows[] = {
    {14, 7, 22, 125, 124, 123, "IDS_STR_BUTTON_BACK"},
    {54, 7, 22, 138, 137, -1, "IDS_STR_BUTTON_REFRESH"},
    {94, 7, 22, 134, 133, -1, "IDS_STR_BUTTON_COPYLINK"},
    {134, 7, 22, 136, 135, -1, "IDS_STR_BUTTON_OPENBYDEFAULTBROWSER"},
    {-40, 5, 26, 148, 147, 146, "IDS_STR_BUTTON_CLOSE"},
    {-80, 5, 26, 143, 142, -1, "IDS_STR_BUTTON_MAXMIZE"},
    {-120, 5, 26, 145, 144, -1, "IDS_STR_BUTTON_MINIMIZE"},
    {-160, 7, 22, 132, 131, -1, "IDS_STR_BUTTON_FAVORITE"},
    {-200, 7, 22, 141, 140, 139, "IDS_STR_BUTTON_SHARE"},
};
constexpr int kMaximizedNormal = 151, kMaximizedHover = 150;
constexpr int kRestoredNormal = 143, kRestoredHover = 142;

int RowX(const ButtonRow& row, int clientWidth) { return row.x > 0 ? row.x : clientWidth + row.x; }

std::u16string Localised(const char* key) { return Utf8ToWide(LocalisedText(key)); }

void RegisterClass(const char* name, uint32_t style, win::WNDPROC proc, win::HINSTANCE instance,
                   int background) {
  win::WNDCLASSEXW wc;
  wc.style = style;
  wc.lpfnWndProc = proc;
  wc.hInstance = instance;
  wc.icon = kClassIcon;
  wc.cursor = win::IDC_ARROW;
  wc.background = background;
  wc.className = name;
  win::RegisterClassExW(wc);  // a second registration fails harmlessly
}

// The procedure of a class whose windows keep their object in their user data; before the
// object is stored and after it has gone, the default procedure.
template <typename Object>
win::LRESULT ObjectProc(HWND hwnd, uint32_t message, win::WPARAM wParam, win::LPARAM lParam) {
  auto* object = reinterpret_cast<Object*>(win::GetWindowLongPtrW(hwnd, win::GWLP_USERDATA));
  if (!object) return win::DefWindowProcW(hwnd, message, wParam, lParam);
  return object->OnMessage(message, wParam, lParam);
}

// The copy tip: one object, made at first use and never freed, that shows the modal dialog
// 156 over the window it was given.
class CopyTip {
 public:
  static CopyTip& Get() {
    static CopyTip* tip = new CopyTip;
    return *tip;
  }

  void Show(HWND parent, const char* key, bool success) {
    parent_ = parent;
    text_ = Localised(key);
    success_ = success;
    bitmap_ = TitleBitmap(success ? 152 : 153);
    win::DialogBoxParamW(ModuleInstance(), kCopyTipDialog, parent, Proc,
                         reinterpret_cast<win::LPARAM>(this));
  }

 private:
  static constexpr uintptr_t kTimer = 1001;
  static constexpr int kWidth = 118, kHeight = 40;

  static intptr_t Proc(HWND hwnd, uint32_t message, win::WPARAM wParam, win::LPARAM lParam) {
    if (message == win::WM_INITDIALOG) {
      win::SetWindowLongPtrW(hwnd, win::GWLP_USERDATA, lParam);
      auto* tip = reinterpret_cast<CopyTip*>(lParam);
      win::Rect owner;
      win::GetWindowRect(tip->parent_, &owner);
      win::MoveWindow(hwnd, (owner.left + owner.right - kWidth) / 2, owner.top + 50, kWidth,
                      kHeight, true);
      win::SetTimer(hwnd, kTimer, 1000);
      return 1;
    }
    auto* tip = reinterpret_cast<CopyTip*>(win::GetWindowLongPtrW(hwnd, win::GWLP_USERDATA));
    switch (message) {
      case win::WM_COMMAND:
        if (wParam == win::IDOK || wParam == win::IDCANCEL) win::EndDialog(hwnd, wParam);
        return 1;
      case win::WM_TIMER:
        if (wParam != kTimer) return 0;
        win::KillTimer(hwnd, kTimer);
        win::EndDialog(hwnd, 0);
        return 1;
      case win::WM_PAINT:
        if (tip) tip->Paint(hwnd);
        return 1;
      default:
        return 0;
    }
  }

  void Paint(HWND hwnd) {
    win::PAINTSTRUCT ps;
    win::HDC dc = win::BeginPaint(hwnd, &ps);
    if (!dc) return;
    const win::Rect rc = ps.paint;
    win::HBRUSH white = win::CreateSolidBrush(win::Rgb(0xFF, 0xFF, 0xFF));
    win::HBRUSH line = win::CreateSolidBrush(win::Rgb(0xE6, 0xE6, 0xE6));
    win::FillRect(dc, &rc, white);
    const win::Rect right{rc.right - 1, rc.top, rc.right, rc.bottom};
    const win::Rect bottom{rc.left, rc.bottom - 1, rc.right, rc.bottom};
    win::FillRect(dc, &right, line);
    win::FillRect(dc, &bottom, line);
    if (bitmap_) {
      win::HDC memory = win::CreateCompatibleDC(dc);
      win::HGDIOBJ old = win::SelectObject(memory, bitmap_);
      win::BitBlt(dc, 20, 10, rc.left + 36, rc.top + 26, memory, 0, 0, win::SRCCOPY);
      win::SelectObject(memory, old);
      win::DeleteDC(memory);
    }
    // The face's name is the language table's, cut to 32 characters.
    std::u16string face = Localised("IDS_STR_SONGTI").substr(0, 32);
    win::HFONT font = win::CreateFontW(14, 7, 0, 0, 400, 0, 0, 0, 0x86, 0, 0, 0, 0, face.c_str());
    win::HGDIOBJ oldFont = win::SelectObject(dc, font);
    win::SetBkMode(dc, win::TRANSPARENT);
    win::SetTextColor(dc, success_ ? win::Rgb(0x11, 0x11, 0x11) : win::Rgb(0xF6, 0x5A, 0x5F));
    win::Rect text{45, 11, 148, 30};
    win::DrawTextW(dc, text_.c_str(), -1, &text, win::DT_SINGLELINE | win::DT_VCENTER);
    win::SelectObject(dc, oldFont);
    win::DeleteObject(font);
    win::DeleteObject(white);
    win::DeleteObject(line);
    win::EndPaint(hwnd, &ps);
    win::ValidateRect(hwnd, nullptr);
  }

  HWND parent_ = nullptr;
  std::u16string text_;
  bool success_ = true;
  win::HBITMAP bitmap_ = nullptr;
};

}  // namespace

// ---- WebTitleButton

WebTitleButton::WebTitleButton(HWND parent, int x, int y, int size, int normal, int hover,
                               int disabled, const char* tipKey)
    : parent_(parent), tipText_(Localised(tipKey)) {
  RegisterClass(kButtonClass, kButtonClassStyle, ObjectProc<WebTitleButton>, ModuleInstance(),
                kButtonBackground);
  window_ = win::CreateWindowExW(0, kButtonClass, kButtonName, kButtonStyle, x, y, size, size,
                                 parent, ModuleInstance(), nullptr);
  win::SetWindowLongPtrW(window_, win::GWLP_USERDATA, reinterpret_cast<intptr_t>(this));
  SetBitmaps(normal, hover, -1, disabled);
  Show(bitmapNormal_);

  tipWindow_ = win::CreateWindowExW(win::WS_EX_TOPMOST, "tooltips_class32", u"", kTipStyle, 0, 0, 0,
                                    0, window_, ModuleInstance(), nullptr);
  win::SetWindowPos(tipWindow_, reinterpret_cast<HWND>(win::HWND_TOPMOST_VALUE), 0, 0, 0, 0,
                    kTipPlacement);
  win::TOOLINFOW tool;
  tool.size = 48;
  tool.flags = win::TTF_SUBCLASS;
  tool.hwnd = window_;
  int width = 0, height = 0;
  win::GetClientRect(window_, &width, &height);
  tool.rect = win::Rect{0, 0, width, height};
  tool.text = tipText_.c_str();
  win::SendMessageW(tipWindow_, win::TTM_ADDTOOLW, 0, reinterpret_cast<win::LPARAM>(&tool));
}

WebTitleButton::~WebTitleButton() {
  // The window may still be there when the bar goes before its children.
  if (win::IsWindow(window_)) win::SetWindowLongPtrW(window_, win::GWLP_USERDATA, 0);
}

void WebTitleButton::SetBitmaps(int normal, int hover, int pressed, int disabled) {
  // The third number lands in the disabled slot and the fourth after it, so the pressed
  // state has no bitmap: the fourth number is the disabled image.
  if (normal != -1) bitmapNormal_ = TitleBitmap(normal);
  if (hover != -1) bitmapHover_ = TitleBitmap(hover);
  if (pressed != -1) bitmapDisabled_ = TitleBitmap(pressed);
  if (disabled != -1) bitmapDisabled_ = TitleBitmap(disabled);
}

void WebTitleButton::SetEnabled(bool enabled) {
  enabled_ = enabled ? 1 : 0;
  Show(StateBitmap());
}

void WebTitleButton::SetTipText(const char* key) {
  tipText_ = Localised(key);
  if (!win::IsWindow(tipWindow_)) return;
  win::TOOLINFOW tool;
  tool.hwnd = window_;
  tool.text = tipText_.c_str();
  win::SendMessageW(tipWindow_, win::TTM_UPDATETIPTEXTW, 0, reinterpret_cast<win::LPARAM>(&tool));
}

void WebTitleButton::Move(int x, int y, int size) {
  win::MoveWindow(window_, x, y, size, size, true);
}

void WebTitleButton::Show(win::HBITMAP bitmap) {
  if (!bitmap || bitmap == bitmapCurrent_) return;
  bitmapCurrent_ = bitmap;
  win::InvalidateRect(window_, nullptr, true);
  win::UpdateWindow(window_);
}

void WebTitleButton::Paint(win::HDC dc) {
  if (!dc || !bitmapCurrent_) return;
  int width = 0, height = 0;
  win::GetClientRect(window_, &width, &height);
  win::HDC memory = win::CreateCompatibleDC(dc);
  win::HGDIOBJ old = win::SelectObject(memory, bitmapCurrent_);
  win::BitBlt(dc, 0, 0, width, height, memory, 0, 0, win::SRCCOPY);
  win::SelectObject(memory, old);
  win::DeleteDC(memory);
}

win::LRESULT WebTitleButton::OnMessage(uint32_t message, win::WPARAM wParam, win::LPARAM lParam) {
  switch (message) {
    case win::WM_MOUSEMOVE: {
      win::TRACKMOUSEEVENT track;
      track.flags = win::TME_HOVER | win::TME_LEAVE;
      track.hwnd = window_;
      track.hoverTime = kHoverTime;
      win::TrackMouseEvent(&track);
      return 0;
    }
    case win::WM_MOUSEHOVER: {
      int width = 0, height = 0;
      win::GetClientRect(window_, &width, &height);
      const int x = static_cast<int16_t>(win::LOWORD(static_cast<uintptr_t>(lParam)));
      const int y = static_cast<int16_t>(win::HIWORD(static_cast<uintptr_t>(lParam)));
      const bool inside =
          x > kHoverInset && y > kHoverInset && x < width - kHoverInset && y < height - kHoverInset;
      if (enabled_ && inside) Show(bitmapHover_);
      return 0;
    }
    case win::WM_MOUSELEAVE:
      if (enabled_) Show(bitmapNormal_);
      return 0;
    case win::WM_LBUTTONDOWN:
      if (enabled_) Show(bitmapPressed_);
      return 0;
    case win::WM_LBUTTONUP:
      if (enabled_) {
        win::SendMessageW(parent_, WM_TITLE_BUTTON_CLICK, 0,
                          reinterpret_cast<win::LPARAM>(window_));
        // The click may have ended the bar and this button with it.
        if (!win::IsWindow(window_)) return 0;
      }
      Show(StateBitmap());
      return 0;
    case win::WM_KILLFOCUS:
      Show(StateBitmap());
      return 0;
    case win::WM_PAINT: {
      win::PAINTSTRUCT ps;
      Paint(win::BeginPaint(window_, &ps));
      win::EndPaint(window_, &ps);
      return 0;
    }
    case win::WM_ERASEBKGND:
      Paint(reinterpret_cast<win::HDC>(wParam));
      return 1;
    default:
      return win::DefWindowProcW(window_, message, wParam, lParam);
  }
}

// ---- CWebTitleChildWindowWin

CWebTitleChildWindowWin* CreateWebTitleWindow() { return new CWebTitleChildWindowWin(); }

CWebTitleChildWindowWin::~CWebTitleChildWindowWin() {
  for (WebTitleButton*& button : buttons_) {
    delete button;
    button = nullptr;
  }
}

int32_t CWebTitleChildWindowWin::Create(HWND parent, int32_t width, int32_t height,
                                        int32_t useModuleHandle) {
  moduleHandle_ = useModuleHandle ? win::GetModuleHandleW(nullptr) : nullptr;
  height_ = height;
  parent_ = parent;
  AddTitleResources();
  RegisterClass(kTitleClass, kTitleClassStyle, ObjectProc<CWebTitleChildWindowWin>, moduleHandle_,
                kTitleBackground);
  window_ = win::CreateWindowExW(0, kTitleClass, kTitleName, kTitleStyle, 0, 0, width, height,
                                 parent, moduleHandle_, nullptr);
  win::SetWindowLongPtrW(window_, win::GWLP_USERDATA, reinterpret_cast<intptr_t>(this));

  auto make = [this, width](Button which) {
    const ButtonRow& row = kRows[which];
    MakeButton(which, RowX(row, width), row.y, row.size, row.normal, row.hover, row.disabled,
               row.tip);
  };
  if (showNavigation_) {
    make(kBack);
    make(kRefresh);
  }
  make(kClose);
  make(kMaximize);
  make(kMinimize);
  if (showLinkButtons_) {
    make(kCopyLink);
    if (!hideShareButtons_) {
      make(kOpenInBrowser);
      make(kFavorite);
      make(kShare);
    }
  }
  SetBackEnabled(false);
  return 0;
}

void CWebTitleChildWindowWin::MakeButton(Button which, int x, int y, int size, int normal,
                                         int hover, int disabled, const char* tipKey) {
  if (!buttons_[which]) {
    buttons_[which] = new WebTitleButton(window_, x, y, size, normal, hover, disabled, tipKey);
  }
}

void CWebTitleChildWindowWin::SetBackEnabled(bool enabled) {
  if (buttons_[kBack]) buttons_[kBack]->SetEnabled(enabled);
}

void CWebTitleChildWindowWin::AttachBrowser(void* view, xhav::Browser* browser) {
  // Only a TnBrowserAdaptUI hands itself over as the view; others give null.
  view_ = static_cast<TnBrowserAdaptUI*>(view);
  browser_ = browser;
}

win::LRESULT CWebTitleChildWindowWin::OnMessage(uint32_t message, win::WPARAM wParam,
                                                win::LPARAM lParam) {
  HWND hwnd = window_;
  switch (message) {
    case win::WM_SIZE:
      OnSize(win::LOWORD(static_cast<uintptr_t>(lParam)));
      break;
    case win::WM_PAINT: {
      int width = 0, height = 0;
      win::GetClientRect(window_, &width, &height);
      if (height < kLowestPaintedBottom) break;  // too low to paint: the default procedure's
      OnPaint();
      break;
    }
    case win::WM_ERASEBKGND:
      return 0;
    case win::WM_LBUTTONDOWN:
      // The bar is the window's caption: pressing it drags the window.
      win::PostMessageW(parent_, win::WM_NCLBUTTONDOWN, win::HTCAPTION, lParam);
      break;
    case win::WM_LBUTTONUP:
    case win::WM_KILLFOCUS:
      win::PostMessageW(parent_, win::WM_NCLBUTTONUP, win::HTCAPTION, lParam);
      break;
    case win::WM_LBUTTONDBLCLK:
      ToggleMaximize();
      break;
    case WM_TITLE_BUTTON_CLICK:
      OnClick(reinterpret_cast<HWND>(lParam));
      break;
    case win::WM_NCDESTROY:
      // The bar goes with its native window.
      win::SetWindowLongPtrW(hwnd, win::GWLP_USERDATA, 0);
      delete this;
      return 0;
    default:
      break;
  }
  return win::DefWindowProcW(hwnd, message, wParam, lParam);
}

void CWebTitleChildWindowWin::OnSize(int width) {
  if (width != 0) {
    win::MoveWindow(window_, 0, 0, width, height_, true);
    for (Button which : {kClose, kMaximize, kMinimize, kFavorite, kShare}) {
      const ButtonRow& row = kRows[which];
      if (buttons_[which]) buttons_[which]->Move(RowX(row, width), row.y, row.size);
    }
  }
  win::InvalidateRect(window_, nullptr, true);
  if (buttons_[kMaximize]) {
    buttons_[kMaximize]->SetTipText(win::IsZoomed(parent_) ? "IDS_STR_BUTTON_RESTORE"
                                                           : "IDS_STR_BUTTON_MAXMIZE");
  }
}

void CWebTitleChildWindowWin::OnPaint() {
  win::PAINTSTRUCT ps;
  win::HDC dc = win::BeginPaint(window_, &ps);
  if (!dc) return;
  const win::Rect rc = ps.paint;
  win::HBRUSH line = win::CreateSolidBrush(kBottomLine);
  win::HGDIOBJ oldBrush = win::SelectObject(dc, line);
  const win::Rect bottom{rc.left, rc.bottom - 1, rc.right, rc.bottom};
  const win::Rect rest{rc.left, rc.top, rc.right, rc.bottom - 1};
  win::FillRect(dc, &bottom, line);
  win::FillRect(dc, &rest, oldBrush);
  win::SelectObject(dc, oldBrush);
  win::DeleteObject(line);
  if (title_ && title_->GetLength() > 0) {
    const std::u16string text(title_->GetData(), static_cast<std::size_t>(title_->GetLength()));
    win::SetBkMode(dc, win::TRANSPARENT);
    win::SetTextColor(dc, kTitleText);
    win::HGDIOBJ oldFont = win::SelectObject(dc, win::GetStockObject(win::DEFAULT_GUI_FONT));
    win::Rect box{kTitleTextMargin, rc.top, rc.right - kTitleTextMargin, rc.bottom};
    win::DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &box, kTitleTextFormat);
    win::SelectObject(dc, oldFont);
  }
  win::EndPaint(window_, &ps);
  for (WebTitleButton* button : buttons_) {
    if (button) win::InvalidateRect(button->window(), nullptr, true);
  }
}

void CWebTitleChildWindowWin::ToggleMaximize() {
  WebTitleButton* maximize = buttons_[kMaximize];
  if (win::IsZoomed(parent_)) {
    win::SendMessageW(parent_, win::WM_SYSCOMMAND, win::SC_RESTORE, 0);
    if (maximize) maximize->SetBitmaps(kRestoredNormal, kRestoredHover, -1, -1);
  } else {
    win::SendMessageW(parent_, win::WM_SYSCOMMAND, win::SC_MAXIMIZE, 0);
    if (maximize) maximize->SetBitmaps(kMaximizedNormal, kMaximizedHover, -1, -1);
  }
}

void CWebTitleChildWindowWin::OnClick(HWND button) {
  if (Is(kBack, button)) {
    if (view_ && view_->GoBackThroughPage()) return;
    if (browser_) browser_->GoBack();
  } else if (Is(kRefresh, button)) {
    if (!browser_) return;
    // A refresh of the error page goes back to the page that failed.
    if (PageUrlOf(browser_) == kErrorPage) {
      browser_->GoBack();
    } else {
      browser_->Reload();
    }
  } else if (Is(kCopyLink, button)) {
    if (browser_) CopyTextToClipboard(parent_, PageUrlOf(browser_));
  } else if (Is(kOpenInBrowser, button)) {
    if (!browser_) return;
    char command[kOpenCommandSize];
    std::snprintf(command, sizeof(command), kOpenCommand, PageUrlOf(browser_).c_str());
    win::WinExec(command, kOpenShow);
  } else if (Is(kMinimize, button)) {
    win::PostMessageW(parent_, win::WM_SYSCOMMAND, win::SC_MINIMIZE, 0);
  } else if (Is(kFavorite, button)) {
    if (view_) view_->CreateFavorite();
  } else if (Is(kShare, button)) {
    if (view_) view_->ShareMessage();
  } else if (Is(kMaximize, button)) {
    ToggleMaximize();
  } else if (Is(kClose, button)) {
    win::PostMessageW(parent_, win::WM_CLOSE, 0, 0);
  }
}

void CopyTextToClipboard(HWND parent, const std::string& text) {
  constexpr int kTipsFromVersion = 6;
  if (!win::OpenClipboard(nullptr)) {
    if (win::GetSystemMajorVersion() >= kTipsFromVersion) {
      CopyTip::Get().Show(parent, "IDS_STRING_COPY_FAILE", true);
    }
    return;
  }
  win::EmptyClipboard();
  win::HGLOBAL memory = win::GlobalAlloc(win::GMEM_DDESHARE, text.size() + 1);
  if (auto* bytes = static_cast<char*>(win::GlobalLock(memory))) {
    std::memcpy(bytes, text.c_str(), text.size() + 1);
    win::GlobalUnlock(memory);
  }
  win::SetClipboardData(win::CF_TEXT, memory);
  win::CloseClipboard();
  // Both tips pass the success flag, so both draw alike.
  if (win::GetSystemMajorVersion() >= kTipsFromVersion) {
    CopyTip::Get().Show(parent, "IDS_STRING_COPY_SUCESS", true);
  }
}

}  // namespace tnwebui
