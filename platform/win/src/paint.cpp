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
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <thread>

namespace win {
namespace {

// Fonts need a GUI application: one without a display is made on first use. Its runtime folder
// is a private one that goes with the process, so nothing stays behind in the system's
// temporary folder.
class RuntimeFolder {
 public:
  RuntimeFolder() {
    if (getenv("XDG_RUNTIME_DIR")) return;
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/tnwin-XXXXXX";
    if (mkdtemp(pattern.data())) {
      path_ = pattern;
      setenv("XDG_RUNTIME_DIR", path_.c_str(), 0);
    }
  }
  ~RuntimeFolder() {
    if (!path_.empty()) rmdir(path_.c_str());
  }

 private:
  std::string path_;
};

// Every Qt call of the window model runs on one thread that makes the application and lives as
// long as the process. Qt keeps data per thread and frees it when a thread ends; threads that
// come and go (a tip's, a test's) and end while the process's statics are torn down would
// free it after Qt's own statics are gone. The GUI thread never ends, so it never frees.
class GuiThread {
 public:
  static GuiThread& Get() {
    static RuntimeFolder folder;
    static GuiThread* thread = new GuiThread;  // never ends; see above
    return *thread;
  }

  template <typename F>
  auto Run(F&& work) -> decltype(work()) {
    if (std::this_thread::get_id() == id_) return work();
    std::packaged_task<decltype(work())()> task(std::forward<F>(work));
    auto result = task.get_future();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      tasks_.emplace_back([&task] { task(); });
    }
    wake_.notify_one();
    return result.get();
  }

 private:
  GuiThread() {
    std::promise<std::thread::id> started;
    auto id = started.get_future();
    std::thread([this, started = std::move(started)]() mutable { Loop(started); }).detach();
    id_ = id.get();
  }

  void Loop(std::promise<std::thread::id>& started) {
    if (!QCoreApplication::instance()) {
      static int argc = 3;
      static char name[] = "tnwin", option[] = "-platform", platform[] = "offscreen";
      static char* argv[] = {name, option, platform, nullptr};
      new QGuiApplication(argc, argv);  // lives as long as the process
    }
    started.set_value(std::this_thread::get_id());
    for (;;) {
      std::function<void()> task;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        wake_.wait(lock, [this] { return !tasks_.empty(); });
        task = std::move(tasks_.front());
        tasks_.pop_front();
      }
      task();
    }
  }

  std::thread::id id_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> tasks_;
};

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

std::mutex g_mutex;
std::map<HWND, QImage>& Pictures() {
  static std::map<HWND, QImage> pictures;
  return pictures;
}

// Draws the window's picture; on the GUI thread.
void Paint(HWND hwnd, int width, int height, const Font& font, const std::u16string& text,
           uint32_t format, uint32_t textColour, uint32_t background) {
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
}

}  // namespace

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
    Paint(hwnd, width, height, font, text, format, textColour, background);
    return true;
  });
}

bool SaveWindowImage(HWND hwnd, const std::string& path) {
  QImage image;
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    auto it = Pictures().find(hwnd);
    if (it == Pictures().end()) return false;
    image = it->second;
  }
  return GuiThread::Get().Run([&] { return image.save(QString::fromStdString(path), "PNG"); });
}

}  // namespace win
