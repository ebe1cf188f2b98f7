#pragma once

// What a browser window does with the system's window commands (a title bar's maximise,
// restore and minimise, sent as WM_SYSCOMMAND).

#include "hav/hav.h"
#include "win/user.h"

namespace xhav {

inline void RunSystemCommand(Browser* browser, win::WPARAM command) {
  switch (command & 0xFFF0) {
    case win::SC_MINIMIZE:
      browser->Minimize();
      break;
    case win::SC_MAXIMIZE:
      browser->Maximize();
      break;
    case win::SC_RESTORE:
      browser->Restore();
      break;
    case win::SC_CLOSE:
      win::PostMessageW(browser->GetWindowHandle(), win::WM_CLOSE, 0, 0);
      break;
  }
}

// The state that hav tells a view when its window's size changed.
constexpr int32_t kStateSizeChanged = 3;

}  // namespace xhav
