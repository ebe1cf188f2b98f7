#include "win/window.h"

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "model.h"

namespace win {

namespace {

// Hands a posted message to its window's procedure, unless the window went away before its
// message was read.
void Dispatch(HWND hwnd, const PostedMessage& message) {
  WindowProc proc;
  WNDPROC wndProc = nullptr;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    auto w = Find(hwnd);
    if (!w) return;
    proc = w->proc;
    wndProc = w->wndProc;
  }
  if (wndProc) {
    wndProc(hwnd, message.message, message.wParam, message.lParam);
  } else if (proc) {
    proc(hwnd, message);
  }
}

}  // namespace

// Posted messages and timers of one thread's windows.
struct MessageLoop::Queue {
  using Clock = std::chrono::steady_clock;
  struct Timer {
    HWND hwnd;
    uintptr_t id;
    std::chrono::milliseconds period;
    Clock::time_point due;
  };

  void Post(HWND hwnd, const PostedMessage& message) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      messages.emplace_back(hwnd, message);
    }
    cv.notify_one();
  }
  void Quit() {
    {
      std::lock_guard<std::mutex> lock(mutex);
      quit = true;
    }
    cv.notify_one();
  }
  // The next message, or false at the quit.
  bool Get(HWND* hwnd, PostedMessage* message) {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
      if (!messages.empty()) {
        *hwnd = messages.front().first;
        *message = messages.front().second;
        messages.pop_front();
        return true;
      }
      if (quit) return false;
      Timer* next = nullptr;
      for (Timer& timer : timers) {
        if (!next || timer.due < next->due) next = &timer;
      }
      if (next && next->due <= Clock::now()) {
        *hwnd = next->hwnd;
        *message = PostedMessage{WM_TIMER, next->id, 0};
        next->due += next->period;
        return true;
      }
      if (next) {
        cv.wait_until(lock, next->due);
      } else {
        cv.wait(lock);
      }
    }
  }

  std::mutex mutex;
  std::condition_variable cv;
  std::deque<std::pair<HWND, PostedMessage>> messages;
  std::vector<Timer> timers;
  bool quit = false;
};

namespace {
thread_local std::shared_ptr<MessageLoop::Queue> t_queue;
}  // namespace

MessageLoop::MessageLoop() : queue_(std::make_shared<Queue>()) { t_queue = queue_; }

MessageLoop::~MessageLoop() {
  if (t_queue == queue_) t_queue.reset();
}

void MessageLoop::Run() {
  HWND hwnd = nullptr;
  PostedMessage message;
  while (queue_->Get(&hwnd, &message)) Dispatch(hwnd, message);
}

bool CurrentThreadHasLoop() { return t_queue != nullptr; }

void RunCurrentLoopUntil(const std::function<bool()>& done) {
  std::shared_ptr<MessageLoop::Queue> queue = t_queue;
  if (!queue) return;
  HWND hwnd = nullptr;
  PostedMessage message;
  while (!done() && queue->Get(&hwnd, &message)) Dispatch(hwnd, message);
}

void PostQuitMessage(int) {
  if (t_queue) t_queue->Quit();
}

bool SetTimer(HWND hwnd, uintptr_t id, uint32_t milliseconds) {
  std::shared_ptr<MessageLoop::Queue> queue;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    auto w = Find(hwnd);
    if (!w || !w->queue) return false;
    queue = w->queue;
  }
  const auto period = std::chrono::milliseconds(milliseconds);
  {
    std::lock_guard<std::mutex> lock(queue->mutex);
    for (auto& timer : queue->timers) {
      if (timer.hwnd == hwnd && timer.id == id) {
        timer.period = period;
        timer.due = MessageLoop::Queue::Clock::now() + period;
        return true;
      }
    }
    queue->timers.push_back({hwnd, id, period, MessageLoop::Queue::Clock::now() + period});
  }
  queue->cv.notify_one();
  return true;
}

bool KillTimer(HWND hwnd, uintptr_t id) {
  std::shared_ptr<MessageLoop::Queue> queue;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    auto w = Find(hwnd);
    if (!w || !w->queue) return false;
    queue = w->queue;
  }
  std::lock_guard<std::mutex> lock(queue->mutex);
  const auto before = queue->timers.size();
  queue->timers.erase(std::remove_if(queue->timers.begin(), queue->timers.end(),
                                     [&](const auto& t) { return t.hwnd == hwnd && t.id == id; }),
                      queue->timers.end());
  return queue->timers.size() != before;
}

HWND AddWindow(std::shared_ptr<Window> window) {
  HWND hwnd = reinterpret_cast<HWND>(M().nextHandle += 0x10);
  window->state.zOrder = M().nextZ++;
  window->queue = t_queue;
  M().windows[hwnd] = window;
  // A window of a thread with a message loop paints first thing.
  if (window->queue) {
    window->invalid = true;
    window->queue->Post(hwnd, PostedMessage{WM_PAINT, 0, 0});
  }
  return hwnd;
}

HWND CreateWindowModel(const std::string& className, HWND parent, WindowProc proc) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto window = std::make_shared<Window>();
  window->state.className = className;
  window->state.parent = parent;
  window->proc = std::move(proc);
  return AddWindow(std::move(window));
}

namespace {

uintptr_t SizeState(const WindowState& s) {
  return s.minimized ? SIZE_MINIMIZED : s.maximized ? SIZE_MAXIMIZED : SIZE_RESTORED;
}

// A window's size and state, as WM_SIZE tells them.
struct Sized {
  int width = 0, height = 0;
  uintptr_t state = SIZE_RESTORED;
  explicit Sized(const WindowState& s) : width(s.width), height(s.height), state(SizeState(s)) {}
  bool operator==(const Sized& o) const {
    return width == o.width && height == o.height && state == o.state;
  }
};

// Sends WM_SIZE, with the window's state, when its size or its state changed from `before`.
void TellSize(HWND hwnd, const Sized& before) {
  std::unique_lock<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  if (!w) return;
  const Sized now(w->state);
  lock.unlock();
  if (now == before) return;
  SendMessageW(hwnd, WM_SIZE, now.state, MAKELPARAM(now.width, now.height));
}

// The top-level window of `hwnd` (itself when it has no parent); under M().mutex.
HWND TopLevel(HWND hwnd) {
  for (auto w = Find(hwnd); w && w->state.parent; w = Find(hwnd)) hwnd = w->state.parent;
  return Find(hwnd) ? hwnd : nullptr;
}

// The window that takes activation when `leaving` gives it up: the front-most visible top-level
// window that isn't minimised; under M().mutex.
HWND NextActive(HWND leaving) {
  HWND next = nullptr;
  int z = 0;
  for (const auto& [h, w] : M().windows) {
    const WindowState& s = w->state;
    if (h == leaving || s.parent || !s.visible || s.minimized || w->destroying) continue;
    if (!next || s.zOrder > z) {
      next = h;
      z = s.zOrder;
    }
  }
  return next;
}

// Moves activation to `hwnd` (null: to no window) and tells the two windows, outside the lock.
HWND Activate(HWND hwnd, bool tellLeaving = true) {
  HWND previous = nullptr;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    previous = M().active;
    M().active = hwnd;
    M().foreground = hwnd;
    if (previous == hwnd) return previous;
  }
  if (previous && tellLeaving)
    SendMessageW(previous, WM_ACTIVATE, WA_INACTIVE, reinterpret_cast<intptr_t>(hwnd));
  if (hwnd) SendMessageW(hwnd, WM_ACTIVATE, WA_ACTIVE, reinterpret_cast<intptr_t>(previous));
  return previous;
}

}  // namespace

void DestroyWindow(HWND hwnd) {
  // The window and its children, parents first. They stay in the model while they hear
  // WM_DESTROY (parents first) and WM_NCDESTROY (children first), so that their procedures
  // still find their data, and leave it afterwards.
  std::vector<std::pair<HWND, std::shared_ptr<Window>>> destroyed;
  bool activateNext = false;
  HWND next = nullptr;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    std::vector<HWND> pending{hwnd};
    while (!pending.empty()) {
      HWND h = pending.front();
      pending.erase(pending.begin());
      auto w = Find(h);
      if (!w || w->destroying) continue;
      w->destroying = true;
      for (const auto& [child, state] : M().windows) {
        if (state->state.parent == h) pending.push_back(child);
      }
      destroyed.emplace_back(h, w);
      if (w->queue) {
        std::lock_guard<std::mutex> queueLock(w->queue->mutex);
        auto& timers = w->queue->timers;
        timers.erase(std::remove_if(timers.begin(), timers.end(),
                                    [h = h](const auto& t) { return t.hwnd == h; }),
                     timers.end());
      }
      if (M().foreground == h) M().foreground = nullptr;
      if (M().active == h) {
        M().active = nullptr;
        activateNext = true;
      }
    }
    if (activateNext) next = NextActive(hwnd);
  }
  // The window that goes takes activation with it: the front-most other window has it next.
  if (next) Activate(next, false);
  for (auto& [h, w] : destroyed) {
    if (w->wndProc) {
      w->wndProc(h, WM_DESTROY, 0, 0);
    } else if (w->proc) {
      w->proc(h, PostedMessage{WM_DESTROY, 0, 0});
    }
  }
  for (auto it = destroyed.rbegin(); it != destroyed.rend(); ++it) {
    if (it->second->wndProc) it->second->wndProc(it->first, WM_NCDESTROY, 0, 0);
  }
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    for (auto& [h, w] : destroyed) M().windows.erase(h);
  }
  for (auto& [h, w] : destroyed) ForgetPicture(h);
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
  auto w = Find(hwnd);
  return w && !w->destroying;
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
  std::optional<Sized> before;
  bool wasVisible = false;
  HWND activate = nullptr;
  bool deactivate = false;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    auto w = Find(hwnd);
    if (!w) return false;
    before.emplace(w->state);
    wasVisible = w->state.visible;
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
        // A maximised window fills the screen and remembers where it was.
        if (!s.maximized) w->restore = Rect{s.x, s.y, s.x + s.width, s.y + s.height};
        s.visible = true;
        s.minimized = false;
        s.maximized = true;
        s.x = M().desktop.left;
        s.y = M().desktop.top;
        s.width = M().desktop.right - M().desktop.left;
        s.height = M().desktop.bottom - M().desktop.top;
        break;
      case SW_RESTORE:
        if (s.maximized) {
          s.x = w->restore.left;
          s.y = w->restore.top;
          s.width = w->restore.right - w->restore.left;
          s.height = w->restore.bottom - w->restore.top;
        }
        s.visible = true;
        s.minimized = false;
        s.maximized = false;
        break;
      default:
        s.visible = true;
        break;
    }
    if (!s.parent) {
      if (command == SW_HIDE || command == SW_MINIMIZE) {
        deactivate = M().active == hwnd;
        if (deactivate) activate = NextActive(hwnd);
      } else {
        activate = hwnd;
      }
    }
  }
  TellSize(hwnd, *before);
  if (activate || deactivate) Activate(activate);
  return wasVisible;
}

bool SetWindowPos(HWND hwnd, HWND insertAfter, int x, int y, int cx, int cy, uint32_t flags) {
  std::optional<Sized> before;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    auto w = Find(hwnd);
    if (!w) return false;
    before.emplace(w->state);
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
  }
  TellSize(hwnd, *before);
  return true;
}

bool SetForegroundWindow(HWND hwnd) {
  HWND top = nullptr;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    top = TopLevel(hwnd);
  }
  if (!top) return false;
  Activate(top);
  return true;
}

HWND SetActiveWindow(HWND hwnd) {
  HWND top = nullptr;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    top = TopLevel(hwnd);
  }
  return top ? Activate(top) : nullptr;
}

bool PostMessageW(HWND hwnd, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  MessagePoster poster;
  std::shared_ptr<MessageLoop::Queue> queue;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    auto w = Find(hwnd);
    if (!w) return false;
    w->state.posted.push_back({message, wParam, lParam});
    poster = M().poster;
    queue = w->queue;
  }
  if (queue) {
    queue->Post(hwnd, PostedMessage{message, wParam, lParam});
    return true;
  }
  if (poster) {
    const PostedMessage posted{message, wParam, lParam};
    poster([hwnd, posted] { Dispatch(hwnd, posted); });
  }
  return true;
}

void SetMessagePoster(MessagePoster poster) {
  std::lock_guard<std::mutex> lock(M().mutex);
  M().poster = std::move(poster);
}

int GetDeviceCaps(int index) {
  std::lock_guard<std::mutex> lock(M().mutex);
  return index == LOGPIXELSX || index == LOGPIXELSY ? M().dpi : 0;
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

bool GetWindowRect(HWND hwnd, Rect* rect) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  if (!w || !rect) return false;
  *rect = Rect{w->state.x, w->state.y, w->state.x + w->state.width, w->state.y + w->state.height};
  return true;
}

bool MoveWindow(HWND hwnd, int x, int y, int width, int height, bool) {
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    auto w = Find(hwnd);
    if (!w) return false;
    ++w->state.moves;
  }
  return SetWindowPos(hwnd, nullptr, x, y, width, height, SWP_NOZORDER);
}

bool SetWindowTextW(HWND hwnd, const std::u16string& title) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  if (!w) return false;
  w->state.title = title;
  return true;
}

HWND FindWindowW(const char* className, const char16_t* title) {
  std::lock_guard<std::mutex> lock(M().mutex);
  for (const auto& [h, w] : M().windows) {
    if (className && w->state.className != className) continue;
    if (title && w->state.title != title) continue;
    return h;
  }
  return nullptr;
}

void SetWindowStyles(HWND hwnd, uint32_t style, uint32_t exStyle) {
  std::lock_guard<std::mutex> lock(M().mutex);
  if (auto w = Find(hwnd)) {
    w->state.style = style;
    w->state.exStyle = exStyle;
  }
}

bool SetLayeredWindowAttributes(HWND hwnd, uint32_t colourKey, uint8_t alpha, uint32_t flags) {
  std::lock_guard<std::mutex> lock(M().mutex);
  auto w = Find(hwnd);
  if (!w) return false;
  w->state.colourKey = colourKey;
  if (flags & LWA_ALPHA) w->state.alpha = alpha;
  return true;
}

HWND FindWindowExW(HWND parent, HWND after, const char* className, const char16_t* title) {
  std::lock_guard<std::mutex> lock(M().mutex);
  bool passed = after == nullptr;
  for (const auto& [h, w] : M().windows) {
    if (!passed) {
      passed = h == after;
      continue;
    }
    if (w->state.parent != parent) continue;
    if (className && w->state.className != className) continue;
    if (title && w->state.title != title) continue;
    return h;
  }
  return nullptr;
}

bool SystemParametersInfoW(uint32_t action, uint32_t, void* value, uint32_t) {
  if (action != SPI_GETWORKAREA || !value) return false;
  std::lock_guard<std::mutex> lock(M().mutex);
  Rect area = M().desktop;
  if (M().workAreaSet) {
    area = M().workArea;
  } else {
    area.bottom -= 40;
  }
  *static_cast<Rect*>(value) = area;
  return true;
}

void SetWorkArea(const Rect& area) {
  std::lock_guard<std::mutex> lock(M().mutex);
  M().workArea = area;
  M().workAreaSet = true;
}

Rect GetDesktopRect() {
  std::lock_guard<std::mutex> lock(M().mutex);
  return M().desktop;
}

void SetDesktopSize(int width, int height) {
  std::lock_guard<std::mutex> lock(M().mutex);
  M().desktop = Rect{0, 0, width, height};
}

int GetSystemMajorVersion() { return 10; }

void Sleep(uint32_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void* GetModuleHandleW(const char* fileName) {
  if (!fileName) return GetProgramInstance();
  void* handle = dlopen(fileName, RTLD_NOW | RTLD_NOLOAD);
  // The handle stays valid while the library is loaded; drop the count dlopen added.
  if (handle) dlclose(handle);
  return handle;
}

void* LoadLibraryW(const std::string& path) {
  return path.empty() ? nullptr : dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

bool FreeLibrary(void* module) { return module && dlclose(module) == 0; }

void* GetProcAddress(void* module, const char* name) {
  return module && name ? dlsym(module, name) : nullptr;
}

}  // namespace win
