#pragma once

// A short note on the screen that goes away by itself: each tip lives on a thread of its own,
// as a window of class "TimedTipClass" for the time it was given.

#include <string>
#include <vector>

#define TNWIN_TIP_API __attribute__((visibility("default")))

namespace win {

TNWIN_TIP_API void ShowTimedTip(const std::u16string& text, int milliseconds);
// Every text shown so far, in order (tests and the demo).
TNWIN_TIP_API std::vector<std::u16string> TimedTipsShown();
// The tips on the screen now.
TNWIN_TIP_API int TimedTipsVisible();

}  // namespace win
