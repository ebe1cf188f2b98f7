#include "win/paint.h"

#include <stdlib.h>
#include <unistd.h>

#include <QColor>
#include <QFont>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QString>
#include <map>
#include <mutex>

namespace win {
namespace {

// Fonts need a GUI application: one without a display is made on first use. Its runtime folder
// is a private one that goes with the process, so nothing stays behind in the system's
// temporary folder.
class FontSupport {
 public:
  FontSupport() {
    if (QCoreApplication::instance()) return;
    if (!getenv("XDG_RUNTIME_DIR")) {
      const char* tmp = getenv("TMPDIR");
      std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/tnwin-XXXXXX";
      if (mkdtemp(pattern.data())) {
        runtimeDir_ = pattern;
        setenv("XDG_RUNTIME_DIR", runtimeDir_.c_str(), 0);
      }
    }
    static int argc = 3;
    static char name[] = "tnwin", option[] = "-platform", platform[] = "offscreen";
    static char* argv[] = {name, option, platform, nullptr};
    new QGuiApplication(argc, argv);  // lives as long as the process
  }
  ~FontSupport() {
    if (!runtimeDir_.empty()) rmdir(runtimeDir_.c_str());
  }

 private:
  std::string runtimeDir_;
};

void EnsureFonts() { static FontSupport support; }

QFont ToQFont(const Font& font) {
  EnsureFonts();
  QFont q(QString::fromStdString(font.face));
  q.setPixelSize(font.height < 0 ? -font.height : (font.height > 0 ? font.height : 12));
  q.setWeight(font.weight >= 700 ? QFont::Bold : QFont::Normal);
  return q;
}

QString ToQ(const std::u16string& text) {
  return QString::fromUtf16(text.data(), static_cast<int>(text.size()));
}

QColor ToColour(uint32_t c) { return QColor(c & 0xff, (c >> 8) & 0xff, (c >> 16) & 0xff); }

std::mutex g_mutex;
std::map<HWND, QImage>& Pictures() {
  static std::map<HWND, QImage> pictures;
  return pictures;
}

}  // namespace

int GetTextWidth(const Font& font, const std::u16string& text) {
  const QFontMetrics metrics(ToQFont(font));
  return metrics.horizontalAdvance(ToQ(text));
}

bool PaintText(HWND hwnd, const Font& font, const std::u16string& text, uint32_t format,
               uint32_t textColour, uint32_t background) {
  int width = 0, height = 0;
  if (!GetClientRect(hwnd, &width, &height) || width <= 0 || height <= 0) return false;
  QImage image(width, height, QImage::Format_ARGB32);
  image.fill(ToColour(background));
  const QFont q = ToQFont(font);
  QString shown = ToQ(text);
  if (format & DT_END_ELLIPSIS) shown = QFontMetrics(q).elidedText(shown, Qt::ElideRight, width);
  int flags = Qt::TextSingleLine;
  flags |= (format & DT_CENTER) ? Qt::AlignHCenter : Qt::AlignLeft;
  flags |= (format & DT_VCENTER) ? Qt::AlignVCenter : Qt::AlignTop;
  {
    QPainter painter(&image);
    painter.setFont(q);
    painter.setPen(ToColour(textColour));
    painter.drawText(image.rect(), flags, shown);
  }
  std::lock_guard<std::mutex> lock(g_mutex);
  Pictures()[hwnd] = image;
  return true;
}

bool SaveWindowImage(HWND hwnd, const std::string& path) {
  QImage image;
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    auto it = Pictures().find(hwnd);
    if (it == Pictures().end()) return false;
    image = it->second;
  }
  return image.save(QString::fromStdString(path), "PNG");
}

}  // namespace win
