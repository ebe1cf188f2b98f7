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
#include <thread>

namespace win {

namespace {

struct Window {
  WindowState state;
  WindowProc proc;
  std::shared_ptr<MessageLoop::Queue> queue;  // the loop of the thread that made it, if any
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
  Rect desktop{0, 0, 1920, 1080};
};

Model& M() {
  static Model model;
  return model;
}

std::shared_ptr<Window> Find(HWND hwnd) {
  auto it = M().windows.find(hwnd);
  return it == M().windows.end() ? nullptr : it->second;
}

// Hands a posted message to its window's procedure, unless the window went away before its
// message was read.
void Dispatch(HWND hwnd, const PostedMessage& message) {
  WindowProc proc;
  {
    std::lock_guard<std::mutex> lock(M().mutex);
    auto w = Find(hwnd);
    if (!w) return;
    proc = w->proc;
  }
  if (proc) proc(hwnd, message);
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

HWND CreateWindowModel(const std::string& className, HWND parent, WindowProc proc) {
  std::lock_guard<std::mutex> lock(M().mutex);
  HWND hwnd = reinterpret_cast<HWND>(M().nextHandle += 0x10);
  auto window = std::make_shared<Window>();
  window->state.className = className;
  window->state.parent = parent;
  window->state.zOrder = M().nextZ++;
  window->proc = std::move(proc);
  window->queue = t_queue;
  M().windows[hwnd] = window;
  // A window of a thread with a message loop paints first thing.
  if (window->queue) window->queue->Post(hwnd, PostedMessage{WM_PAINT, 0, 0});
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
      if (w->queue) {
        std::lock_guard<std::mutex> queueLock(w->queue->mutex);
        auto& timers = w->queue->timers;
        timers.erase(std::remove_if(timers.begin(), timers.end(),
                                    [h = h](const auto& t) { return t.hwnd == h; }),
                     timers.end());
      }
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
