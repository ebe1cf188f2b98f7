#pragma once

// Painting of the window model: a window's picture is an image of its size that GDI calls draw
// into (Qt's QImage and QPainter), which a test or the demo saves as PNG with its children
// drawn over it.

#include <cstdint>
#include <string>

#include "win/user.h"
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
  return static_cast<uint32_t>(r) | (static_cast<uint32_t>(g) << 8) |
         (static_cast<uint32_t>(b) << 16);
}

// Starts the thread that paints, if it isn't running, and paints a text once. Objects that paint
// from threads of their own call it before they start one, so that the painter and its objects
// are made first and outlive them.
TNWIN_API void StartPainting();
// The width of `text` in pixels in `font`.
TNWIN_API int GetTextWidth(const Font& font, const std::u16string& text);
// Paints the window's picture: its background, then `text` as DrawTextW does with `format`
// (DT_CENTER, DT_VCENTER, DT_SINGLELINE, DT_END_ELLIPSIS) over the whole client area.
TNWIN_API bool PaintText(HWND hwnd, const Font& font, const std::u16string& text, uint32_t format,
                         uint32_t textColour, uint32_t background);
// What PaintText drew last in the window: its text and format (empty when it drew nothing).
struct PaintedText {
  std::u16string text;
  uint32_t format = 0;
};
TNWIN_API PaintedText GetPaintedText(HWND hwnd);
// Saves the window's last picture, with the pictures of its visible children at their places
// over it (white where nothing was painted); false when neither it nor a visible child has
// been painted. Pictures outlive their windows.
TNWIN_API bool SaveWindowImage(HWND hwnd, const std::string& path);
// Gives the window a picture from PNG bytes (an engine's screenshot of its page).
TNWIN_API bool SetWindowPicture(HWND hwnd, const std::string& png);

// GDI: device contexts over window pictures and bitmaps, brushes, fonts, bitmaps from the
// resources of a module.
struct HDC__;
typedef HDC__* HDC;
using HGDIOBJ = void*;
using HBITMAP = HGDIOBJ;
using HBRUSH = HGDIOBJ;
using HFONT = HGDIOBJ;
using COLORREF = uint32_t;

constexpr int WHITE_BRUSH = 0;
constexpr int DEFAULT_GUI_FONT = 17;
constexpr int TRANSPARENT = 1;
constexpr uint32_t SRCCOPY = 0x00CC0020;

struct PAINTSTRUCT {
  HDC hdc = nullptr;
  Rect paint;
};

// A DC on the window's picture, which EndPaint keeps; the window is valid again.
TNWIN_API HDC BeginPaint(HWND hwnd, PAINTSTRUCT* paint);
TNWIN_API bool EndPaint(HWND hwnd, const PAINTSTRUCT* paint);
TNWIN_API HDC CreateCompatibleDC(HDC dc);
TNWIN_API bool DeleteDC(HDC dc);
// Selects a brush, font or bitmap into the DC; the one it replaces.
TNWIN_API HGDIOBJ SelectObject(HDC dc, HGDIOBJ object);
TNWIN_API HGDIOBJ GetStockObject(int index);
TNWIN_API HBRUSH CreateSolidBrush(COLORREF colour);
TNWIN_API HFONT CreateFontW(int height, int width, int escapement, int orientation, int weight,
                            uint32_t italic, uint32_t underline, uint32_t strikeOut,
                            uint32_t charset, uint32_t outPrecision, uint32_t clipPrecision,
                            uint32_t quality, uint32_t pitchAndFamily, const char16_t* face);
TNWIN_API bool DeleteObject(HGDIOBJ object);
TNWIN_API COLORREF SetTextColor(HDC dc, COLORREF colour);
TNWIN_API int SetBkMode(HDC dc, int mode);
TNWIN_API int FillRect(HDC dc, const Rect* rect, HBRUSH brush);
// Text in the DC's font and colour inside `rect` (DT_CENTER, DT_VCENTER, DT_SINGLELINE,
// DT_END_ELLIPSIS); `count` -1 for a zero-ended text. The height of the text.
TNWIN_API int DrawTextW(HDC dc, const char16_t* text, int count, Rect* rect, uint32_t format);
TNWIN_API bool BitBlt(HDC dst, int x, int y, int width, int height, HDC src, int srcX, int srcY,
                      uint32_t rop);

// A module's bitmap resources (PNG bytes), and a bitmap made from one; null when missing.
TNWIN_API void AddBitmapResource(HINSTANCE instance, int id, const unsigned char* png,
                                 std::size_t size);
TNWIN_API HBITMAP LoadBitmapW(HINSTANCE instance, int id);
// The GDI objects alive now (tests: nothing leaks).
TNWIN_API int GdiObjectsAlive();

}  // namespace win
