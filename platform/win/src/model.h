#pragma once

// The window model's state, shared by its parts (windows, classes, painting).

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "win/user.h"
#include "win/window.h"

namespace win {

struct Window {
  WindowState state;
  WindowProc proc;            // a window made by CreateWindowModel
  WNDPROC wndProc = nullptr;  // a window of a registered class
  intptr_t userData = 0;
  bool invalid = false;  // a WM_PAINT is due
  bool destroying = false;
  Rect restore;                               // the place a maximised window goes back to
  std::shared_ptr<MessageLoop::Queue> queue;  // the loop of the thread that made it, if any
};

struct Model {
  std::mutex mutex;
  std::map<HWND, std::shared_ptr<Window>> windows;
  std::map<std::string, WNDCLASSEXW> classes;
  uintptr_t nextHandle = 0x1000;
  int nextZ = 1;
  HWND foreground = nullptr;
  HWND active = nullptr;
  MessagePoster poster;
  int dpi = 96;
  Rect desktop{0, 0, 1920, 1080};
  bool workAreaSet = false;
  Rect workArea;
};

// Never destroyed: a window's own thread may end it while the process exits.
inline Model& M() {
  static Model* model = new Model;
  return *model;
}

// The window, or null; under M().mutex.
inline std::shared_ptr<Window> Find(HWND hwnd) {
  auto it = M().windows.find(hwnd);
  return it == M().windows.end() ? nullptr : it->second;
}

// Adds a window to the model (under M().mutex); it paints first thing when its thread has a
// message loop.
HWND AddWindow(std::shared_ptr<Window> window);

// Whether this thread runs a MessageLoop, and a nested run of it until `done` (a modal loop).
bool CurrentThreadHasLoop();
void RunCurrentLoopUntil(const std::function<bool()>& done);

// Drops the picture that a destroyed window painted.
void ForgetPicture(HWND hwnd);

}  // namespace win
