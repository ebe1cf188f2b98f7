#include "win/user.h"

#include <dlfcn.h>

#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "model.h"

namespace win {

namespace {

constexpr char kToolTipClass[] = "tooltips_class32";
constexpr char kDialogClass[] = "#32770";
constexpr char kOpenCommand[] = "rundll32 url.dll, FileProtocolHandler ";

std::shared_ptr<Window> Locked(HWND hwnd) {
  std::lock_guard<std::mutex> lock(M().mutex);
  return Find(hwnd);
}

// The system's tool tip: it keeps the text of its one tool as its window text.
LRESULT ToolTipProc(HWND hwnd, uint32_t message, WPARAM wParam, LPARAM lParam) {
  if (message == TTM_ADDTOOLW || message == TTM_UPDATETIPTEXTW) {
    const auto* tool = reinterpret_cast<const TOOLINFOW*>(lParam);
    if (tool) SetWindowTextW(hwnd, tool->text ? tool->text : u"");
    return 1;
  }
  return DefWindowProcW(hwnd, message, wParam, lParam);
}

struct Global {
  std::vector<char> bytes;
  int locks = 0;
};

struct Shared {
  std::mutex mutex;
  std::map<HWND, TRACKMOUSEEVENT> tracked;
  bool clipboardBusy = false;
  bool clipboardOpen = false;
  std::string clipboard;
  UrlOpener opener = nullptr;
  std::vector<std::string> commands;
  std::map<std::pair<HINSTANCE, int>, DialogTemplate> dialogs;
  int dialogsShown = 0;
};

Shared& S() {
  static Shared shared;
  return shared;
}

// The dialogs running now, by window, with their procedures and whether they ended.
struct RunningDialog {
  DLGPROC proc = nullptr;
  bool ended = false;
  intptr_t result = 0;
};
std::map<HWND, std::shared_ptr<RunningDialog>>& Dialogs() {
  static std::map<HWND, std::shared_ptr<RunningDialog>> dialogs;
  return dialogs;
}

LRESULT DialogProc(HWND hwnd, uint32_t message, WPARAM wParam, LPARAM lParam) {
  std::shared_ptr<RunningDialog> dialog;
  {
    std::lock_guard<std::mutex> lock(S().mutex);
    auto it = Dialogs().find(hwnd);
    if (it != Dialogs().end()) dialog = it->second;
  }
  if (dialog && dialog->proc && dialog->proc(hwnd, message, wParam, lParam)) return 1;
  return DefWindowProcW(hwnd, message, wParam, lParam);
}

}  // namespace

uint16_t RegisterClassExW(const WNDCLASSEXW& windowClass) {
  std::lock_guard<std::mutex> lock(M().mutex);
  if (M().classes.count(windowClass.className)) return 0;
  M().classes[windowClass.className] = windowClass;
  return static_cast<uint16_t>(0xC000 + M().classes.size());
}

bool GetClassInfoExW(const std::string& className, WNDCLASSEXW* out) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto it = M().classes.find(className);
  if (it == M().classes.end()) return false;
  if (out) *out = it->second;
  return true;
}

HWND CreateWindowExW(uint32_t exStyle, const std::string& className, const std::u16string& title,
                     uint32_t style, int x, int y, int width, int height, HWND parent, HINSTANCE,
                     void*) {
  std::lock_guard<std::mutex> lock(M().mutex);
  WNDPROC proc = nullptr;
  if (className == kToolTipClass) {
    proc = ToolTipProc;
  } else if (className == kDialogClass) {
    proc = DialogProc;
  } else {
    auto it = M().classes.find(className);
    if (it == M().classes.end()) return nullptr;
    proc = it->second.lpfnWndProc;
  }
  auto window = std::make_shared<Window>();
  WindowState& s = window->state;
  s.className = className;
  s.title = title;
  s.style = style;
  s.exStyle = exStyle;
  s.parent = parent;
  s.x = x;
  s.y = y;
  s.width = width;
  s.height = height;
  s.visible = (style & WS_VISIBLE) != 0;
  s.topmost = (exStyle & WS_EX_TOPMOST) != 0;
  window->wndProc = proc;
  return AddWindow(std::move(window));
}

LRESULT SendMessageW(HWND hwnd, uint32_t message, WPARAM wParam, LPARAM lParam) {
  auto w = Locked(hwnd);
  if (!w) return 0;
  if (w->wndProc) return w->wndProc(hwnd, message, wParam, lParam);
  if (w->proc) w->proc(hwnd, PostedMessage{message, wParam, lParam});
  return 0;
}

LRESULT DefWindowProcW(HWND hwnd, uint32_t message, WPARAM wParam, LPARAM) {
  switch (message) {
    case WM_PAINT:
      ValidateRect(hwnd, nullptr);
      return 0;
    case WM_CLOSE:
      DestroyWindow(hwnd);
      return 0;
    case WM_SYSCOMMAND:
      switch (wParam & 0xFFF0) {
        case SC_MINIMIZE:
          ShowWindow(hwnd, SW_MINIMIZE);
          break;
        case SC_MAXIMIZE:
          ShowWindow(hwnd, SW_MAXIMIZE);
          break;
        case SC_RESTORE:
          ShowWindow(hwnd, SW_RESTORE);
          break;
        case SC_CLOSE:
          PostMessageW(hwnd, WM_CLOSE, 0, 0);
          break;
      }
      return 0;
    default:
      return 0;
  }
}

intptr_t SetWindowLongPtrW(HWND hwnd, int index, intptr_t value) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  if (!w || index != GWLP_USERDATA) return 0;
  const intptr_t old = w->userData;
  w->userData = value;
  return old;
}

intptr_t GetWindowLongPtrW(HWND hwnd, int index) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  return w && index == GWLP_USERDATA ? w->userData : 0;
}

bool IsZoomed(HWND hwnd) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  return w && w->state.maximized;
}

bool IsWindowVisible(HWND hwnd) {
  std::lock_guard<std::mutex> lock(M().mutex);
  for (auto w = Find(hwnd); w; w = Find(w->state.parent)) {
    if (!w->state.visible) return false;
    if (!w->state.parent) return true;
  }
  return false;
}

bool InvalidateRect(HWND hwnd, const Rect*, bool) {
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    auto w = Find(hwnd);
    if (!w) return false;
    if (w->invalid) return true;  // its WM_PAINT is on the way
    w->invalid = true;
  }
  PostMessageW(hwnd, WM_PAINT, 0, 0);
  return true;
}

bool ValidateRect(HWND hwnd, const Rect*) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  if (!w) return false;
  w->invalid = false;
  return true;
}

bool UpdateWindow(HWND hwnd) {
  auto w = Locked(hwnd);
  if (!w) return false;
  if (w->invalid) SendMessageW(hwnd, WM_PAINT, 0, 0);
  return true;
}

bool TrackMouseEvent(TRACKMOUSEEVENT* track) {
  if (!track || !IsWindow(track->hwnd)) return false;
  std::lock_guard<std::mutex> lock(S().mutex);
  S().tracked[track->hwnd] = *track;
  return true;
}

TRACKMOUSEEVENT TrackedMouse(HWND hwnd) {
  std::lock_guard<std::mutex> lock(S().mutex);
  auto it = S().tracked.find(hwnd);
  return it == S().tracked.end() ? TRACKMOUSEEVENT() : it->second;
}

std::u16string ToolTipText(HWND tip) { return GetWindowState(tip).title; }

HGLOBAL GlobalAlloc(uint32_t, std::size_t bytes) {
  auto* memory = new Global;
  memory->bytes.resize(bytes);
  return memory;
}

void* GlobalLock(HGLOBAL memory) {
  if (!memory) return nullptr;
  auto* global = static_cast<Global*>(memory);
  ++global->locks;
  return global->bytes.data();
}

bool GlobalUnlock(HGLOBAL memory) {
  if (!memory) return false;
  auto* global = static_cast<Global*>(memory);
  if (global->locks > 0) --global->locks;
  return global->locks > 0;
}

HGLOBAL GlobalFree(HGLOBAL memory) {
  delete static_cast<Global*>(memory);
  return nullptr;
}

bool OpenClipboard(HWND) {
  std::lock_guard<std::mutex> lock(S().mutex);
  if (S().clipboardBusy || S().clipboardOpen) return false;
  S().clipboardOpen = true;
  return true;
}

bool EmptyClipboard() {
  std::lock_guard<std::mutex> lock(S().mutex);
  if (!S().clipboardOpen) return false;
  S().clipboard.clear();
  return true;
}

HGLOBAL SetClipboardData(uint32_t format, HGLOBAL memory) {
  auto* global = static_cast<Global*>(memory);
  std::lock_guard<std::mutex> lock(S().mutex);
  if (!S().clipboardOpen || format != CF_TEXT || !global) return nullptr;
  // The text ends at its first zero, as CF_TEXT is read.
  S().clipboard.assign(global->bytes.data(), strnlen(global->bytes.data(), global->bytes.size()));
  delete global;  // the clipboard's own copy replaces the block it took
  return memory;
}

bool CloseClipboard() {
  std::lock_guard<std::mutex> lock(S().mutex);
  const bool wasOpen = S().clipboardOpen;
  S().clipboardOpen = false;
  return wasOpen;
}

std::string ClipboardText() {
  std::lock_guard<std::mutex> lock(S().mutex);
  return S().clipboard;
}

void SetClipboardBusy(bool busy) {
  std::lock_guard<std::mutex> lock(S().mutex);
  S().clipboardBusy = busy;
}

uint32_t WinExec(const char* commandLine, uint32_t) {
  const std::string command = commandLine ? commandLine : "";
  UrlOpener opener = nullptr;
  {
    std::lock_guard<std::mutex> lock(S().mutex);
    S().commands.push_back(command);
    opener = S().opener;
  }
  if (opener && command.rfind(kOpenCommand, 0) == 0) opener(command.substr(strlen(kOpenCommand)));
  return 33;
}

void SetUrlOpener(UrlOpener opener) {
  std::lock_guard<std::mutex> lock(S().mutex);
  S().opener = opener;
}

std::vector<std::string> ExecutedCommands() {
  std::lock_guard<std::mutex> lock(S().mutex);
  return S().commands;
}

void AddDialogResource(HINSTANCE instance, int id, const DialogTemplate& dialog) {
  std::lock_guard<std::mutex> lock(S().mutex);
  S().dialogs[{instance, id}] = dialog;
}

intptr_t DialogBoxParamW(HINSTANCE instance, int id, HWND parent, DLGPROC proc, LPARAM param) {
  DialogTemplate dialog;
  {
    std::lock_guard<std::mutex> lock(S().mutex);
    auto it = S().dialogs.find({instance, id});
    if (it == S().dialogs.end()) return -1;
    dialog = it->second;
    ++S().dialogsShown;
  }
  // A thread without a message loop gets one for the time the dialog runs.
  std::unique_ptr<MessageLoop> own;
  if (!CurrentThreadHasLoop()) own = std::make_unique<MessageLoop>();
  // Dialog units to pixels at the 8-point system font: 4 by 8 base units.
  HWND hwnd =
      CreateWindowExW(dialog.exStyle, kDialogClass, u"", dialog.style | WS_VISIBLE, 0, 0,
                      dialog.width * 6 / 4, dialog.height * 13 / 8, parent, instance, nullptr);
  auto running = std::make_shared<RunningDialog>();
  running->proc = proc;
  {
    std::lock_guard<std::mutex> lock(S().mutex);
    Dialogs()[hwnd] = running;
  }
  SendMessageW(hwnd, WM_INITDIALOG, 0, param);
  RunCurrentLoopUntil([&running] { return running->ended; });
  DestroyWindow(hwnd);
  {
    std::lock_guard<std::mutex> lock(S().mutex);
    Dialogs().erase(hwnd);
  }
  return running->result;
}

bool EndDialog(HWND dialog, intptr_t result) {
  std::lock_guard<std::mutex> lock(S().mutex);
  auto it = Dialogs().find(dialog);
  if (it == Dialogs().end()) return false;
  it->second->ended = true;
  it->second->result = result;
  return true;
}

int DialogsShown() {
  std::lock_guard<std::mutex> lock(S().mutex);
  return S().dialogsShown;
}

HINSTANCE GetProgramInstance() {
  void* handle = dlopen(nullptr, RTLD_NOW);
  if (handle) dlclose(handle);
  return handle;
}

}  // namespace win
