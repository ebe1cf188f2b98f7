#pragma once

// Windows of registered classes as the system's user interface library makes them: class
// styles, window procedures, sent and posted messages, user data, mouse tracking, the
// clipboard, tool tips, modal dialogs and program start.

#include <cstdint>
#include <string>
#include <vector>

#include "win/window.h"

namespace win {

using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;
using HINSTANCE = void*;
using WNDPROC = LRESULT (*)(HWND, uint32_t, WPARAM, LPARAM);
using DLGPROC = intptr_t (*)(HWND, uint32_t, WPARAM, LPARAM);

constexpr uint32_t WM_SIZE = 0x5;
constexpr uint32_t WM_KILLFOCUS = 0x8;
constexpr uint32_t WM_ERASEBKGND = 0x14;
constexpr uint32_t WM_NCDESTROY = 0x82;
constexpr uint32_t WM_NCLBUTTONDOWN = 0xA1;
constexpr uint32_t WM_NCLBUTTONUP = 0xA2;
constexpr uint32_t WM_INITDIALOG = 0x110;
constexpr uint32_t WM_COMMAND = 0x111;
constexpr uint32_t WM_SYSCOMMAND = 0x112;
constexpr uint32_t WM_MOUSEMOVE = 0x200;
constexpr uint32_t WM_LBUTTONDOWN = 0x201;
constexpr uint32_t WM_LBUTTONUP = 0x202;
constexpr uint32_t WM_LBUTTONDBLCLK = 0x203;
constexpr uint32_t WM_MOUSEHOVER = 0x2A1;
constexpr uint32_t WM_MOUSELEAVE = 0x2A3;
constexpr uint32_t WM_USER = 0x400;
constexpr uint32_t TTM_ADDTOOLW = 0x432;
constexpr uint32_t TTM_UPDATETIPTEXTW = 0x439;

constexpr WPARAM SC_MINIMIZE = 0xF020;
constexpr WPARAM SC_MAXIMIZE = 0xF030;
constexpr WPARAM SC_CLOSE = 0xF060;
constexpr WPARAM SC_RESTORE = 0xF120;
constexpr WPARAM HTCAPTION = 2;
constexpr WPARAM IDOK = 1;
constexpr WPARAM IDCANCEL = 2;

constexpr uint32_t WS_VISIBLE = 0x10000000;
constexpr uint32_t WS_EX_TOPMOST = 0x8;
constexpr uint32_t TME_HOVER = 0x1;
constexpr uint32_t TME_LEAVE = 0x2;
constexpr uint32_t TTF_SUBCLASS = 0x10;
constexpr uint32_t SWP_NOACTIVATE = 0x10;
constexpr int IDC_ARROW = 32512;
constexpr uint32_t CF_TEXT = 1;
constexpr uint32_t GMEM_DDESHARE = 0x2000;

constexpr uint16_t LOWORD(uintptr_t v) { return static_cast<uint16_t>(v & 0xffff); }
constexpr uint16_t HIWORD(uintptr_t v) { return static_cast<uint16_t>((v >> 16) & 0xffff); }
constexpr LPARAM MAKELPARAM(int low, int high) {
  return static_cast<LPARAM>((static_cast<uint32_t>(high & 0xffff) << 16) |
                             static_cast<uint32_t>(low & 0xffff));
}

struct WNDCLASSEXW {
  uint32_t style = 0;
  WNDPROC lpfnWndProc = nullptr;
  HINSTANCE hInstance = nullptr;
  int icon = 0;        // a resource number of hInstance
  int cursor = 0;      // IDC_ARROW
  int background = 0;  // a system colour index plus one, as the class's brush
  std::string className;
};

// The registered class; 0 when a class of that name exists already.
TNWIN_API uint16_t RegisterClassExW(const WNDCLASSEXW& windowClass);
// A copy of the registered class; false when there is none.
TNWIN_API bool GetClassInfoExW(const std::string& className, WNDCLASSEXW* out);

// A window of a registered class (or of the system's "tooltips_class32"); null when the class
// isn't registered. With WS_VISIBLE it is shown at once.
TNWIN_API HWND CreateWindowExW(uint32_t exStyle, const std::string& className,
                               const std::u16string& title, uint32_t style, int x, int y, int width,
                               int height, HWND parent, HINSTANCE instance, void* param);
// Calls the window's procedure now, on this thread, and gives its result.
TNWIN_API LRESULT SendMessageW(HWND hwnd, uint32_t message, WPARAM wParam, LPARAM lParam);
// What the system does with a message the window leaves: WM_PAINT validates, WM_CLOSE
// destroys, WM_SYSCOMMAND minimises, maximises, restores or closes.
TNWIN_API LRESULT DefWindowProcW(HWND hwnd, uint32_t message, WPARAM wParam, LPARAM lParam);

constexpr int GWLP_USERDATA = -21;
TNWIN_API intptr_t SetWindowLongPtrW(HWND hwnd, int index, intptr_t value);
TNWIN_API intptr_t GetWindowLongPtrW(HWND hwnd, int index);

TNWIN_API bool IsZoomed(HWND hwnd);
TNWIN_API bool IsWindowVisible(HWND hwnd);
// Marks the window for painting; its WM_PAINT is posted once until it paints.
TNWIN_API bool InvalidateRect(HWND hwnd, const Rect* rect, bool erase);
TNWIN_API bool ValidateRect(HWND hwnd, const Rect* rect);
// Paints the window now if it is marked.
TNWIN_API bool UpdateWindow(HWND hwnd);

struct TRACKMOUSEEVENT {
  uint32_t flags = 0;
  HWND hwnd = nullptr;
  uint32_t hoverTime = 0;
};
TNWIN_API bool TrackMouseEvent(TRACKMOUSEEVENT* track);
// The last tracking asked for `hwnd` (tests).
TNWIN_API TRACKMOUSEEVENT TrackedMouse(HWND hwnd);

// A tool of a tool tip window.
struct TOOLINFOW {
  uint32_t size = 48;
  uint32_t flags = 0;
  HWND hwnd = nullptr;
  uintptr_t id = 0;
  Rect rect;
  HINSTANCE instance = nullptr;
  const char16_t* text = nullptr;
};
// The text a tool tip window shows for its tool (tests).
TNWIN_API std::u16string ToolTipText(HWND tip);

// Movable memory and the clipboard, as CF_TEXT takes it.
using HGLOBAL = void*;
TNWIN_API HGLOBAL GlobalAlloc(uint32_t flags, std::size_t bytes);
TNWIN_API void* GlobalLock(HGLOBAL memory);
TNWIN_API bool GlobalUnlock(HGLOBAL memory);
TNWIN_API HGLOBAL GlobalFree(HGLOBAL memory);
TNWIN_API bool OpenClipboard(HWND owner);
TNWIN_API bool EmptyClipboard();
// The clipboard owns `memory` from here on.
TNWIN_API HGLOBAL SetClipboardData(uint32_t format, HGLOBAL memory);
TNWIN_API bool CloseClipboard();
// The clipboard's text (tests and the demo), and a clipboard that another program holds open.
TNWIN_API std::string ClipboardText();
TNWIN_API void SetClipboardBusy(bool busy);

// Starts a program; above 31 on success. The command "rundll32 url.dll, FileProtocolHandler
// <address>" opens the address with the opener, which the embedder installs (none: recorded
// only).
TNWIN_API uint32_t WinExec(const char* commandLine, uint32_t show);
using UrlOpener = void (*)(const std::string& address);
TNWIN_API void SetUrlOpener(UrlOpener opener);
// Every command line run, in order (tests and the demo).
TNWIN_API std::vector<std::string> ExecutedCommands();

// A dialog resource: its size in dialog units and its styles.
struct DialogTemplate {
  uint32_t style = 0, exStyle = 0;
  int width = 0, height = 0;
  int fontPoints = 0;
  std::u16string fontFace;
};
TNWIN_API void AddDialogResource(HINSTANCE instance, int id, const DialogTemplate& dialog);
// Shows the dialog `id` of `instance`, owned by `parent`, and runs this thread's messages
// until EndDialog; its procedure hears WM_INITDIALOG with `param` first. -1 when the
// resource is missing.
TNWIN_API intptr_t DialogBoxParamW(HINSTANCE instance, int id, HWND parent, DLGPROC proc,
                                   LPARAM param);
TNWIN_API bool EndDialog(HWND dialog, intptr_t result);
// How many modal dialogs have been shown (tests and the demo).
TNWIN_API int DialogsShown();

// The handle of the program itself (GetModuleHandleW with no name).
TNWIN_API HINSTANCE GetProgramInstance();

}  // namespace win
