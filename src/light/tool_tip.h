#pragma once

// The tool tip of /window/tooltip: a small layered window in the middle of the screen that
// shows one line of text for a time, on a thread of its own with its own message loop. A new
// tip closes the one on the screen at once.

#include <cstdint>
#include <string>

namespace tnwebui {

// Closes the tip on the screen, if there is one, at once (its timer fires now).
void CloseToolTip();
// Starts a tip with `text` for `time` ms; false when its thread can't be started (errno in
// `lastError`).
bool ShowToolTip(const std::u16string& text, int32_t time, int* lastError = nullptr);

// The tip's window class, its size before scaling and the timer that ends it.
inline constexpr char kToolTipClass[] = "ToolTipClass";
inline constexpr int kToolTipWidth = 568;
inline constexpr int kToolTipHeight = 54;
inline constexpr uintptr_t kToolTipTimer = 1001;
// How long the outcome of adding a favourite is shown.
inline constexpr int32_t kFavoriteTipTime = 2000;

}  // namespace tnwebui
