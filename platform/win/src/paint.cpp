#include "win/paint.h"

#include <QColor>
#include <QFont>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QString>
#include <atomic>
#include <map>
#include <mutex>

#include "gui_thread.h"
#include "model.h"

namespace win {

struct HDC__ {
  HWND hwnd = nullptr;  // a window's DC, or null for a memory DC
  QImage image;         // a window DC's picture while it paints
  void* bitmap = nullptr;
  void* brush = nullptr;
  void* font = nullptr;
  uint32_t textColour = 0;
  int bkMode = 2;
};

namespace {

struct GdiObject {
  enum Kind { kBrush, kFont, kBitmap } kind;
  uint32_t colour = 0;
  Font font;
  QImage image;
};

std::atomic<int> g_alive{0};

GdiObject* NewObject(GdiObject::Kind kind) {
  ++g_alive;
  auto* object = new GdiObject;
  object->kind = kind;
  return object;
}

GdiObject* StockObject(int index) {
  static GdiObject white{GdiObject::kBrush, 0xFFFFFF, Font(), QImage()};
  static GdiObject guiFont{GdiObject::kFont, 0, Font{"Sans Serif", -12, 400, 0}, QImage()};
  if (index == WHITE_BRUSH) return &white;
  if (index == DEFAULT_GUI_FONT) return &guiFont;
  return nullptr;
}

bool IsStock(void* object) {
  return object == StockObject(WHITE_BRUSH) || object == StockObject(DEFAULT_GUI_FONT);
}

QFont ToQFont(const Font& font) {
  QFont q(QString::fromStdString(font.face));
  q.setPixelSize(font.height < 0 ? -font.height : (font.height > 0 ? font.height : 12));
  q.setWeight(font.weight >= 700 ? QFont::Bold : QFont::Normal);
  return q;
}

QString ToQ(const std::u16string& text) {
  return QString::fromUtf16(text.data(), static_cast<int>(text.size()));
}

QColor ToColour(uint32_t c) { return QColor(c & 0xff, (c >> 8) & 0xff, (c >> 16) & 0xff); }

// Windows may end on their own threads while the process exits: the store of their pictures
// is never destroyed, so a late end still finds it.
std::mutex& g_mutex = *new std::mutex;
std::map<HWND, QImage>& Pictures() {
  static auto* pictures = new std::map<HWND, QImage>;
  return *pictures;
}

// The text and format that PaintText drew last in each window's picture.
std::map<HWND, PaintedText>& Texts() {
  static auto* texts = new std::map<HWND, PaintedText>;
  return *texts;
}

std::map<std::pair<HINSTANCE, int>, QByteArray>& Resources() {
  static std::map<std::pair<HINSTANCE, int>, QByteArray> resources;
  return resources;
}

QImage PictureOf(HWND hwnd) {
  std::lock_guard<std::mutex> lock(g_mutex);
  auto it = Pictures().find(hwnd);
  return it == Pictures().end() ? QImage() : it->second;
}

void KeepPicture(HWND hwnd, const QImage& image) {
  std::lock_guard<std::mutex> lock(g_mutex);
  Pictures()[hwnd] = image;
}

// Draws `text` as DrawTextW does into `box` of `image`; on the GUI thread.
int DrawTextInto(QImage& image, const QRect& box, const Font& font, const std::u16string& text,
                 uint32_t format, uint32_t colour) {
  const QFont q = ToQFont(font);
  QString shown = ToQ(text);
  if (format & DT_END_ELLIPSIS) {
    shown = QFontMetrics(q).elidedText(shown, Qt::ElideRight, std::max(0, box.width()));
  }
  int flags = Qt::TextSingleLine;
  flags |= (format & DT_CENTER) ? Qt::AlignHCenter : Qt::AlignLeft;
  flags |= (format & DT_VCENTER) ? Qt::AlignVCenter : Qt::AlignTop;
  QPainter painter(&image);
  painter.setClipRect(box);
  painter.setFont(q);
  painter.setPen(ToColour(colour));
  painter.drawText(box, flags, shown);
  return QFontMetrics(q).height();
}

// The DC's drawing surface: its selected bitmap, or the window's picture.
QImage* Surface(HDC dc) {
  if (dc->bitmap) return &static_cast<GdiObject*>(dc->bitmap)->image;
  return dc->hwnd ? &dc->image : nullptr;
}

// The picture of `hwnd` with its visible children's pictures over it, at their places.
void Compose(HWND hwnd, QImage& into, int x, int y) {
  const QImage own = PictureOf(hwnd);
  if (!own.isNull()) {
    QPainter painter(&into);
    painter.drawImage(x, y, own);
  }
  for (HWND child : GetChildren(hwnd)) {
    const WindowState state = GetWindowState(child);
    if (state.visible) Compose(child, into, x + state.x, y + state.y);
  }
}

// Whether the window or one of its visible children has been painted.
bool HasPicture(HWND hwnd) {
  if (!PictureOf(hwnd).isNull()) return true;
  for (HWND child : GetChildren(hwnd)) {
    if (GetWindowState(child).visible && HasPicture(child)) return true;
  }
  return false;
}

}  // namespace

void ForgetPicture(HWND hwnd) {
  std::lock_guard<std::mutex> lock(g_mutex);
  Pictures().erase(hwnd);
  Texts().erase(hwnd);
}

PaintedText GetPaintedText(HWND hwnd) {
  std::lock_guard<std::mutex> lock(g_mutex);
  auto it = Texts().find(hwnd);
  return it == Texts().end() ? PaintedText() : it->second;
}

void StartPainting() {
  // A text painted once makes the painter's own objects (Qt keeps them for the process), so that
  // they are made before, and go after, an object that called this and paints at its end.
  static std::once_flag painted;
  std::call_once(painted, [] {
    GuiThread::Get().Run([] {
      QImage image(16, 16, QImage::Format_ARGB32);
      QPainter painter(&image);
      painter.setFont(ToQFont(Font{"Sans", -12, 400, 0}));
      painter.drawText(image.rect(), Qt::AlignCenter | Qt::TextSingleLine, QStringLiteral("..."));
      return true;
    });
  });
}

int GetTextWidth(const Font& font, const std::u16string& text) {
  return GuiThread::Get().Run([&] {
    const QFontMetrics metrics(ToQFont(font));
    return metrics.horizontalAdvance(ToQ(text));
  });
}

bool PaintText(HWND hwnd, const Font& font, const std::u16string& text, uint32_t format,
               uint32_t textColour, uint32_t background) {
  int width = 0, height = 0;
  if (!GetClientRect(hwnd, &width, &height) || width <= 0 || height <= 0) return false;
  return GuiThread::Get().Run([&] {
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(ToColour(background));
    DrawTextInto(image, image.rect(), font, text, format, textColour);
    KeepPicture(hwnd, image);
    std::lock_guard<std::mutex> lock(g_mutex);
    Texts()[hwnd] = {text, format};
    return true;
  });
}

bool SaveWindowImage(HWND hwnd, const std::string& path) {
  if (!HasPicture(hwnd)) return false;
  int width = 0, height = 0;
  GetClientRect(hwnd, &width, &height);
  return GuiThread::Get().Run([&] {
    const QImage own = PictureOf(hwnd);
    QImage whole(std::max(width, own.width()), std::max(height, own.height()),
                 QImage::Format_ARGB32);
    whole.fill(Qt::white);
    Compose(hwnd, whole, 0, 0);
    return whole.save(QString::fromStdString(path), "PNG");
  });
}

bool SetWindowPicture(HWND hwnd, const std::string& png) {
  return GuiThread::Get().Run([&] {
    QImage image;
    if (!image.loadFromData(reinterpret_cast<const uchar*>(png.data()),
                            static_cast<int>(png.size()), "PNG")) {
      return false;
    }
    KeepPicture(hwnd, image.convertToFormat(QImage::Format_ARGB32));
    return true;
  });
}

HDC BeginPaint(HWND hwnd, PAINTSTRUCT* paint) {
  int width = 0, height = 0;
  if (!GetClientRect(hwnd, &width, &height)) return nullptr;
  ValidateRect(hwnd, nullptr);
  auto* dc = new HDC__;
  dc->hwnd = hwnd;
  dc->brush = StockObject(WHITE_BRUSH);
  dc->font = StockObject(DEFAULT_GUI_FONT);
  GuiThread::Get().Run([&] {
    // The picture keeps what was drawn before, at the window's present size.
    QImage image(std::max(width, 0), std::max(height, 0), QImage::Format_ARGB32);
    image.fill(Qt::white);
    const QImage old = PictureOf(hwnd);
    if (!old.isNull() && !image.isNull()) {
      QPainter painter(&image);
      painter.drawImage(0, 0, old);
    }
    dc->image = image;
  });
  if (paint) {
    paint->hdc = dc;
    paint->paint = Rect{0, 0, width, height};
  }
  return dc;
}

bool EndPaint(HWND hwnd, const PAINTSTRUCT* paint) {
  if (!paint || !paint->hdc || paint->hdc->hwnd != hwnd) return false;
  HDC dc = paint->hdc;
  if (!dc->image.isNull()) KeepPicture(hwnd, dc->image);
  GuiThread::Get().Run([dc] { delete dc; });
  return true;
}

HDC CreateCompatibleDC(HDC) {
  auto* dc = new HDC__;
  dc->brush = StockObject(WHITE_BRUSH);
  dc->font = StockObject(DEFAULT_GUI_FONT);
  return dc;
}

bool DeleteDC(HDC dc) {
  if (!dc) return false;
  GuiThread::Get().Run([dc] { delete dc; });
  return true;
}

HGDIOBJ SelectObject(HDC dc, HGDIOBJ object) {
  if (!dc || !object) return nullptr;
  void** slot = nullptr;
  switch (static_cast<GdiObject*>(object)->kind) {
    case GdiObject::kBrush:
      slot = &dc->brush;
      break;
    case GdiObject::kFont:
      slot = &dc->font;
      break;
    case GdiObject::kBitmap:
      slot = &dc->bitmap;
      break;
  }
  void* old = *slot;
  *slot = object;
  return old;
}

HGDIOBJ GetStockObject(int index) { return StockObject(index); }

HBRUSH CreateSolidBrush(COLORREF colour) {
  GdiObject* brush = NewObject(GdiObject::kBrush);
  brush->colour = colour;
  return brush;
}

HFONT CreateFontW(int height, int, int, int, int weight, uint32_t, uint32_t, uint32_t,
                  uint32_t charset, uint32_t, uint32_t, uint32_t, uint32_t, const char16_t* face) {
  GdiObject* font = NewObject(GdiObject::kFont);
  font->font.face = ToQ(face ? face : u"").toStdString();
  font->font.height = height;
  font->font.weight = weight;
  font->font.charset = static_cast<uint8_t>(charset);
  return font;
}

bool DeleteObject(HGDIOBJ object) {
  if (!object || IsStock(object)) return false;
  --g_alive;
  GuiThread::Get().Run([object] { delete static_cast<GdiObject*>(object); });
  return true;
}

COLORREF SetTextColor(HDC dc, COLORREF colour) {
  if (!dc) return 0;
  const COLORREF old = dc->textColour;
  dc->textColour = colour;
  return old;
}

int SetBkMode(HDC dc, int mode) {
  if (!dc) return 0;
  const int old = dc->bkMode;
  dc->bkMode = mode;
  return old;
}

int FillRect(HDC dc, const Rect* rect, HBRUSH brush) {
  if (!dc || !rect || !brush) return 0;
  return GuiThread::Get().Run([&] {
    QImage* surface = Surface(dc);
    if (!surface || surface->isNull()) return 0;
    QPainter painter(surface);
    painter.fillRect(
        QRect(rect->left, rect->top, rect->right - rect->left, rect->bottom - rect->top),
        ToColour(static_cast<GdiObject*>(brush)->colour));
    return 1;
  });
}

int DrawTextW(HDC dc, const char16_t* text, int count, Rect* rect, uint32_t format) {
  if (!dc || !text || !rect) return 0;
  const std::u16string shown =
      count < 0 ? std::u16string(text) : std::u16string(text, static_cast<std::size_t>(count));
  return GuiThread::Get().Run([&] {
    QImage* surface = Surface(dc);
    if (!surface || surface->isNull()) return 0;
    const QRect box(rect->left, rect->top, rect->right - rect->left, rect->bottom - rect->top);
    return DrawTextInto(*surface, box, static_cast<GdiObject*>(dc->font)->font, shown, format,
                        dc->textColour);
  });
}

bool BitBlt(HDC dst, int x, int y, int width, int height, HDC src, int srcX, int srcY, uint32_t) {
  if (!dst || !src) return false;
  return GuiThread::Get().Run([&] {
    QImage* to = Surface(dst);
    QImage* from = Surface(src);
    if (!to || !from || to->isNull() || from->isNull()) return false;
    QPainter painter(to);
    painter.drawImage(QPoint(x, y), *from, QRect(srcX, srcY, width, height));
    return true;
  });
}

void AddBitmapResource(HINSTANCE instance, int id, const unsigned char* png, std::size_t size) {
  std::lock_guard<std::mutex> lock(g_mutex);
  Resources()[{instance, id}] =
      QByteArray(reinterpret_cast<const char*>(png), static_cast<int>(size));
}

HBITMAP LoadBitmapW(HINSTANCE instance, int id) {
  QByteArray bytes;
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    auto it = Resources().find({instance, id});
    if (it == Resources().end()) return nullptr;
    bytes = it->second;
  }
  return GuiThread::Get().Run([&]() -> HBITMAP {
    QImage image;
    if (!image.loadFromData(bytes, "PNG")) return nullptr;
    GdiObject* bitmap = NewObject(GdiObject::kBitmap);
    bitmap->image = image.convertToFormat(QImage::Format_ARGB32);
    return bitmap;
  });
}

int GdiObjectsAlive() { return g_alive.load(); }

}  // namespace win
