#include "win/window.h"

#include <dlfcn.h>

#include <cmath>
#include <map>
#include <memory>
#include <mutex>

namespace win {

namespace {

struct Window {
  WindowState state;
  WindowProc proc;
};

struct Model {
  std::mutex mutex;
  std::map<HWND, std::shared_ptr<Window>> windows;
  uintptr_t nextHandle = 0x1000;
  int nextZ = 1;
  HWND foreground = nullptr;
  HWND active = nullptr;
  MessagePoster poster;
  int dpi = 96;
};

Model& M() {
  static Model model;
  return model;
}

std::shared_ptr<Window> Find(HWND hwnd) {
  auto it = M().windows.find(hwnd);
  return it == M().windows.end() ? nullptr : it->second;
}

}  // namespace

HWND CreateWindowModel(const std::string& className, HWND parent, WindowProc proc) {
  std::lock_guard<std::mutex> lock(M().mutex);
  HWND hwnd = reinterpret_cast<HWND>(M().nextHandle += 0x10);
  auto window = std::make_shared<Window>();
  window->state.className = className;
  window->state.parent = parent;
  window->state.zOrder = M().nextZ++;
  window->proc = std::move(proc);
  M().windows[hwnd] = window;
  return hwnd;
}

void DestroyWindow(HWND hwnd) {
  std::vector<std::pair<HWND, WindowProc>> destroyed;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    std::vector<HWND> pending{hwnd};
    while (!pending.empty()) {
      HWND h = pending.back();
      pending.pop_back();
      auto w = Find(h);
      if (!w) continue;
      for (const auto& [child, state] : M().windows) {
        if (state->state.parent == h) pending.push_back(child);
      }
      destroyed.emplace_back(h, w->proc);
      M().windows.erase(h);
      if (M().foreground == h) M().foreground = nullptr;
      if (M().active == h) M().active = nullptr;
    }
  }
  for (auto& [h, proc] : destroyed) {
    if (proc) proc(h, PostedMessage{WM_DESTROY, 0, 0});
  }
}

bool GetClientRect(HWND hwnd, int* width, int* height) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  if (!w) return false;
  if (width) *width = w->state.width;
  if (height) *height = w->state.height;
  return true;
}

std::vector<HWND> GetChildren(HWND hwnd) {
  std::lock_guard<std::mutex> lock(M().mutex);
  std::vector<HWND> children;
  for (const auto& [h, w] : M().windows) {
    if (w->state.parent == hwnd) children.push_back(h);
  }
  return children;
}

bool IsWindow(HWND hwnd) {
  std::lock_guard<std::mutex> lock(M().mutex);
  return Find(hwnd) != nullptr;
}

WindowState GetWindowState(HWND hwnd) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  return w ? w->state : WindowState();
}

HWND GetForegroundWindow() {
  std::lock_guard<std::mutex> lock(M().mutex);
  return M().foreground;
}

HWND GetActiveWindow() {
  std::lock_guard<std::mutex> lock(M().mutex);
  return M().active;
}

bool IsIconic(HWND hwnd) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  return w && w->state.minimized;
}

bool ShowWindow(HWND hwnd, int command) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  if (!w) return false;
  const bool wasVisible = w->state.visible;
  WindowState& s = w->state;
  switch (command) {
    case SW_HIDE:
      s.visible = false;
      break;
    case SW_MINIMIZE:
      s.visible = true;
      s.minimized = true;
      break;
    case SW_MAXIMIZE:
      s.visible = true;
      s.minimized = false;
      s.maximized = true;
      break;
    case SW_RESTORE:
      s.visible = true;
      s.minimized = false;
      s.maximized = false;
      break;
    default:
      s.visible = true;
      break;
  }
  return wasVisible;
}

bool SetWindowPos(HWND hwnd, HWND insertAfter, int x, int y, int cx, int cy, uint32_t flags) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  if (!w) return false;
  if (!(flags & SWP_NOMOVE)) {
    w->state.x = x;
    w->state.y = y;
  }
  if (!(flags & SWP_NOSIZE)) {
    w->state.width = cx;
    w->state.height = cy;
  }
  if (!(flags & SWP_NOZORDER)) {
    if (insertAfter == reinterpret_cast<HWND>(HWND_TOPMOST_VALUE)) w->state.topmost = true;
    if (insertAfter == nullptr || w->state.topmost) w->state.zOrder = M().nextZ++;
  }
  return true;
}

bool SetForegroundWindow(HWND hwnd) {
  std::lock_guard<std::mutex> lock(M().mutex);
  if (!Find(hwnd)) return false;
  M().foreground = hwnd;
  return true;
}

HWND SetActiveWindow(HWND hwnd) {
  std::lock_guard<std::mutex> lock(M().mutex);
  if (!Find(hwnd)) return nullptr;
  HWND previous = M().active;
  M().active = hwnd;
  return previous;
}

bool PostMessageW(HWND hwnd, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  MessagePoster poster;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    auto w = Find(hwnd);
    if (!w) return false;
    w->state.posted.push_back({message, wParam, lParam});
    poster = M().poster;
  }
  if (poster) {
    const PostedMessage posted{message, wParam, lParam};
    poster([hwnd, posted] {
      WindowProc proc;
      {
        std::lock_guard<std::mutex> lock(M().mutex);
        auto w = Find(hwnd);
        if (!w) return;  // the window went away before its message was read
        proc = w->proc;
      }
      if (proc) proc(hwnd, posted);
    });
  }
  return true;
}

void SetMessagePoster(MessagePoster poster) {
  std::lock_guard<std::mutex> lock(M().mutex);
  M().poster = std::move(poster);
}

int GetDeviceCaps(int index) {
  std::lock_guard<std::mutex> lock(M().mutex);
  return index == LOGPIXELSX ? M().dpi : 0;
}

void SetScreenDpi(int dpi) {
  std::lock_guard<std::mutex> lock(M().mutex);
  M().dpi = dpi;
}

int MulDiv(int a, int b, int c) {
  if (c == 0) return -1;
  const double v = static_cast<double>(a) * b / c;
  return static_cast<int>(v < 0 ? std::ceil(v - 0.5) : std::floor(v + 0.5));
}

void* GetModuleHandleW(const char* fileName) {
  if (!fileName) return nullptr;
  void* handle = dlopen(fileName, RTLD_NOW | RTLD_NOLOAD);
  // The handle stays valid while the library is loaded; drop the count dlopen added.
  if (handle) dlclose(handle);
  return handle;
}

void* GetProcAddress(void* module, const char* name) {
  return module && name ? dlsym(module, name) : nullptr;
}

}  // namespace win
