#pragma once

// Painting of the window model: a window's picture is an image of its size that GDI-style text
// calls draw into (Qt's QImage and QPainter), which a test or the demo saves as PNG.

#include <cstdint>
#include <string>

#include "win/window.h"

namespace win {

constexpr uint32_t DT_CENTER = 0x1;
constexpr uint32_t DT_VCENTER = 0x4;
constexpr uint32_t DT_SINGLELINE = 0x20;
constexpr uint32_t DT_END_ELLIPSIS = 0x8000;

// A font as GDI takes it: a negative height is the character height in pixels.
struct Font {
  std::string face;
  int height = 0;
  int weight = 400;
  uint8_t charset = 0;
};

// Colours are 0x00BBGGRR, as GDI writes them.
constexpr uint32_t Rgb(uint8_t r, uint8_t g, uint8_t b) {
  return static_cast<uint32_t>(r) | (static_cast<uint32_t>(g) << 8) | (static_cast<uint32_t>(b) << 16);
}

// The width of `text` in pixels in `font`.
TNWIN_API int GetTextWidth(const Font& font, const std::u16string& text);
// Paints the window's picture: its background, then `text` as DrawTextW does with `format`
// (DT_CENTER, DT_VCENTER, DT_SINGLELINE, DT_END_ELLIPSIS) over the whole client area.
TNWIN_API bool PaintText(HWND hwnd, const Font& font, const std::u16string& text, uint32_t format,
                         uint32_t textColour, uint32_t background);
// Saves the window's last picture; false when it has none. Pictures outlive their windows.
TNWIN_API bool SaveWindowImage(HWND hwnd, const std::string& path);

}  // namespace win
