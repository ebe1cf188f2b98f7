#pragma once

// What a browser's native window tells its view, the same in every engine. The window's
// procedure hears WM_SIZE and WM_ACTIVATE on whatever thread changed the window; these run on
// the engine's user-interface thread (the Chromium engine posts both there; the in-process
// engine, whose calling thread stands for it, posts activation and lays out at once).
//
// - The browser's creation and every change of size lay the view out:
//   OnStateChanged(kStateSizeChanged).
// - A change of the window's state is told after it by OnWindowChange, with the system's value
//   of WM_SIZE: restored 0, minimised 1, maximised 2 (a window starts restored, so its first
//   news is a minimise or a maximise).
// - Gaining or losing activation is told by OnActiveChanged, from the view's creation on: a
//   window active when its view hears OnBrowserCreated hears OnActiveChanged(true) right after.
// - The view's event dispatcher (a Pb view's; others give none) is taken once, after
//   OnBrowserCreated. hav listens to its state changes: the layout of a minimised window is
//   skipped (its client area can't be seen, and restoring it lays it out again).

#include <memory>

#include "hav/hav.h"
#include "system_command.h"
#include "win/window.h"

namespace xhav {

class WindowNews {
 public:
  // After OnBrowserCreated.
  void Created(BrowserNotify* notify, HWND window) {
    created_ = true;
    notify->GetEventDispatcher(&dispatcher_);
    if (dispatcher_)
      dispatcher_->AddListener<BrowserStateChange>(std::make_shared<SkipMinimisedLayout>(window));
    // The browser's window came into being at the window's size: the view lays it out once,
    // as it would on a WM_SIZE (a window that is never resized is laid out all the same).
    notify->OnStateChanged(kStateSizeChanged);
    if (window && win::GetActiveWindow() == window) Activated(notify, true);
  }

  void Sized(BrowserNotify* notify, uintptr_t sizeState) {
    notify->OnStateChanged(kStateSizeChanged);
    const auto state = static_cast<int32_t>(sizeState);
    if (state == state_) return;
    state_ = state;
    notify->OnWindowChange(state);
  }

  void Activated(BrowserNotify* notify, bool active) {
    if (!created_ || active == active_) return;
    active_ = active;
    notify->OnActiveChanged(active);
  }

  // When the browser ends.
  void Closed() { dispatcher_.reset(); }

 private:
  class SkipMinimisedLayout : public EventListener<BrowserStateChange> {
   public:
    explicit SkipMinimisedLayout(HWND window) : window_(window) {}
    void OnEvent(BrowserStateChange& change) override {
      if (change.state == kStateSizeChanged && win::IsIconic(window_)) change.handled = true;
    }

   private:
    HWND window_;
  };

  bool created_ = false;
  bool active_ = false;
  int32_t state_ = static_cast<int32_t>(win::SIZE_RESTORED);
  std::shared_ptr<tnEventDispatcher> dispatcher_;
};

}  // namespace xhav
