#pragma once

// Native windows, as a small model of the process's windows that tests can inspect: state,
// position, z-order and the messages posted to them. Messages reach a window's procedure
// through the poster that the engine installs (its user-interface thread).

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "win/file_version.h"

struct HWND__;
typedef HWND__* HWND;

namespace win {

constexpr int SW_HIDE = 0;
constexpr int SW_MAXIMIZE = 3;
constexpr int SW_SHOWWINDOW = 5;
constexpr int SW_MINIMIZE = 6;
constexpr int SW_RESTORE = 9;
constexpr uint32_t SWP_NOSIZE = 0x1;
constexpr uint32_t SWP_NOMOVE = 0x2;
constexpr uint32_t SWP_NOZORDER = 0x4;
constexpr uint32_t SWP_FRAMECHANGED = 0x20;
constexpr uint32_t WM_DESTROY = 0x2;
// Sent to a top-level window that gains (wParam WA_ACTIVE) or loses (WA_INACTIVE) activation;
// lParam is the other window.
constexpr uint32_t WM_ACTIVATE = 0x6;
constexpr uintptr_t WA_INACTIVE = 0;
constexpr uintptr_t WA_ACTIVE = 1;
// wParam of WM_SIZE: the window's state after the change.
constexpr uintptr_t SIZE_RESTORED = 0;
constexpr uintptr_t SIZE_MINIMIZED = 1;
constexpr uintptr_t SIZE_MAXIMIZED = 2;
constexpr uint32_t WM_PAINT = 0xF;
constexpr uint32_t WM_CLOSE = 0x10;
constexpr uint32_t WM_QUIT = 0x12;
constexpr uint32_t WM_TIMER = 0x113;
constexpr uint32_t LWA_ALPHA = 0x2;
constexpr intptr_t HWND_TOPMOST_VALUE = -1;
constexpr int LOGPIXELSX = 88;
constexpr int LOGPIXELSY = 90;

struct PostedMessage {
  uint32_t message = 0;
  uintptr_t wParam = 0;
  intptr_t lParam = 0;
};

struct Rect {
  int left = 0, top = 0, right = 0, bottom = 0;
};

struct WindowState {
  std::string className;
  std::u16string title;
  uint32_t style = 0, exStyle = 0;
  uint8_t alpha = 255;  // of a layered window
  uint32_t colourKey = 0;
  int moves = 0;  // MoveWindow calls
  HWND parent = nullptr;
  bool visible = false;
  bool minimized = false;
  bool maximized = false;
  bool topmost = false;
  int x = 0, y = 0, width = 0, height = 0;
  int zOrder = 0;  // higher is nearer the front
  std::vector<PostedMessage> posted;
};

using WindowProc = std::function<void(HWND, const PostedMessage&)>;

TNWIN_API HWND CreateWindowModel(const std::string& className, HWND parent, WindowProc proc);
// Destroys the window and its children; each one's procedure hears WM_DESTROY at once.
TNWIN_API void DestroyWindow(HWND hwnd);
// The client area: 0, 0, width, height.
TNWIN_API bool GetClientRect(HWND hwnd, int* width, int* height);
TNWIN_API std::vector<HWND> GetChildren(HWND hwnd);
TNWIN_API bool IsWindow(HWND hwnd);
// A copy of the window's state; a default state for a window that doesn't exist.
TNWIN_API WindowState GetWindowState(HWND hwnd);
TNWIN_API HWND GetForegroundWindow();
TNWIN_API HWND GetActiveWindow();

TNWIN_API bool IsIconic(HWND hwnd);
// Shows, hides, minimises, maximises or restores. A change of size or of state sends WM_SIZE
// with the state (SIZE_*). Showing, maximising or restoring a top-level window activates it;
// hiding or minimising the active one activates the front-most other visible window.
TNWIN_API bool ShowWindow(HWND hwnd, int command);
TNWIN_API bool SetWindowPos(HWND hwnd, HWND insertAfter, int x, int y, int cx, int cy,
                            uint32_t flags);
// Both activate the window's top-level window: the one that had activation hears WM_ACTIVATE
// with WA_INACTIVE, then the new one with WA_ACTIVE (the process has one active window, which
// is also the foreground one).
TNWIN_API bool SetForegroundWindow(HWND hwnd);
TNWIN_API HWND SetActiveWindow(HWND hwnd);
TNWIN_API bool PostMessageW(HWND hwnd, uint32_t message, uintptr_t wParam, intptr_t lParam);

// Where posted messages are delivered: the engine installs its user-interface thread. Without
// a poster, messages are only recorded.
using MessagePoster = std::function<void(std::function<void()>)>;
TNWIN_API void SetMessagePoster(MessagePoster poster);

// The screen's device capabilities. A test may set the pixels per inch before the first read.
TNWIN_API int GetDeviceCaps(int index);
TNWIN_API void SetScreenDpi(int dpi);
// a * b / c, rounded half away from zero; -1 when c is 0.
TNWIN_API int MulDiv(int a, int b, int c);

TNWIN_API bool GetWindowRect(HWND hwnd, Rect* rect);
// Moves and sizes the window; `repaint` as the system's flag (the model always repaints).
TNWIN_API bool MoveWindow(HWND hwnd, int x, int y, int width, int height, bool repaint);
TNWIN_API bool SetWindowTextW(HWND hwnd, const std::u16string& title);
// The first window of `className` whose title is `title` (any title when null).
TNWIN_API HWND FindWindowW(const char* className, const char16_t* title);
TNWIN_API void SetWindowStyles(HWND hwnd, uint32_t style, uint32_t exStyle);
TNWIN_API bool SetLayeredWindowAttributes(HWND hwnd, uint32_t colourKey, uint8_t alpha,
                                          uint32_t flags);
// The first window of `className` whose title is `title` after `after` among the children of
// `parent`; with both null, among the top-level windows, as FindWindowW.
TNWIN_API HWND FindWindowExW(HWND parent, HWND after, const char* className, const char16_t* title);
constexpr uint32_t SPI_GETWORKAREA = 0x0030;
// SPI_GETWORKAREA: the screen without the task bar into `rect`; other actions fail.
TNWIN_API bool SystemParametersInfoW(uint32_t action, uint32_t parameter, void* value,
                                     uint32_t flags);
// The work area: the desktop without a task bar of 40 pixels at its bottom, unless set.
TNWIN_API void SetWorkArea(const Rect& area);
// The screen (the desktop window's rectangle): 1920 by 1080 unless a test sets another.
TNWIN_API Rect GetDesktopRect();
TNWIN_API void SetDesktopSize(int width, int height);
// The system's major version (10).
TNWIN_API int GetSystemMajorVersion();
TNWIN_API void Sleep(uint32_t milliseconds);

// A message loop of the calling thread: windows created on the thread while it lives get their
// posted messages, their timers and a first WM_PAINT through Run, on this thread.
class TNWIN_API MessageLoop {
 public:
  MessageLoop();
  ~MessageLoop();
  MessageLoop(const MessageLoop&) = delete;
  MessageLoop& operator=(const MessageLoop&) = delete;
  // Dispatches until PostQuitMessage on this thread.
  void Run();

  struct Queue;  // the loop's messages and timers (inside the library)

 private:
  std::shared_ptr<Queue> queue_;
};
TNWIN_API void PostQuitMessage(int code);
// A WM_TIMER with `id` every `milliseconds`, for a window of a thread with a message loop.
TNWIN_API bool SetTimer(HWND hwnd, uintptr_t id, uint32_t milliseconds);
TNWIN_API bool KillTimer(HWND hwnd, uintptr_t id);

// Loaded libraries: the handle of one already loaded (never loads it; the program's own without
// a name), one loaded by its full path, and an export of it.
TNWIN_API void* GetModuleHandleW(const char* fileName);
TNWIN_API void* LoadLibraryW(const std::string& path);
TNWIN_API bool FreeLibrary(void* module);
TNWIN_API void* GetProcAddress(void* module, const char* name);

}  // namespace win
