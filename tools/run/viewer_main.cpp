// tnwebui_viewer: the window of `tnwebui-run --headful` on the user's display. It shows what
// the client's window shows (its title bar and the page below it, as the window model paints
// them) and hands the person's clicks and typing back to tnwebui-run, which gives them to the
// bar's buttons or to the page. No browser chrome: the bar is the client's own.
//
// Its standard input carries "title <text>\n" and "frame <bytes>\n" followed by that many bytes
// of PNG; its standard output says "click <x> <y>\n", "text <hex of UTF-8>\n", "key <name>\n"
// (Enter, Backspace, Tab, Escape, ArrowLeft, ArrowRight, ArrowUp, ArrowDown, Delete) and
// "closed\n" when the person closes it. It ends when its input ends.

#include <fcntl.h>
#include <unistd.h>

#include <QGuiApplication>
#include <QImage>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QRasterWindow>
#include <QSocketNotifier>
#include <cstdio>
#include <string>

namespace {

void Tell(const std::string& line) {
  const std::string text = line + "\n";
  if (write(STDOUT_FILENO, text.data(), text.size()) < 0) {
    // tnwebui-run has gone: so does the viewer, when its input ends.
  }
}

class Viewer : public QRasterWindow {
 public:
  Viewer() {
    setFlags(Qt::Window | Qt::FramelessWindowHint);  // the client's bar is the only title bar
    resize(1000, 720);
  }

  void Show(const QImage& image) {
    if (image.isNull()) return;
    if (image.size() != size()) resize(image.size());
    frame_ = image;
    update();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    if (frame_.isNull()) {
      const QRect all(QPoint(0, 0), size());
      painter.fillRect(all, Qt::white);
      painter.drawText(all, Qt::AlignCenter, "loading…");
    } else {
      painter.drawImage(0, 0, frame_);
    }
  }
  void mouseReleaseEvent(QMouseEvent* event) override {
    if (event->button() == Qt::LeftButton)
      Tell("click " + std::to_string(event->x()) + " " + std::to_string(event->y()));
  }
  void keyPressEvent(QKeyEvent* event) override {
    static const std::pair<int, const char*> kKeys[] = {
        {Qt::Key_Return, "Enter"},     {Qt::Key_Enter, "Enter"},   {Qt::Key_Backspace, "Backspace"},
        {Qt::Key_Tab, "Tab"},          {Qt::Key_Escape, "Escape"}, {Qt::Key_Left, "ArrowLeft"},
        {Qt::Key_Right, "ArrowRight"}, {Qt::Key_Up, "ArrowUp"},    {Qt::Key_Down, "ArrowDown"},
        {Qt::Key_Delete, "Delete"}};
    for (const auto& [key, name] : kKeys) {
      if (event->key() == key) return Tell(std::string("key ") + name);
    }
    const QByteArray text = event->text().toUtf8();
    if (!text.isEmpty() && static_cast<unsigned char>(text[0]) >= 0x20)
      Tell("text " + text.toHex().toStdString());
  }
  bool event(QEvent* event) override {
    if (event->type() == QEvent::Close) Tell("closed");
    return QRasterWindow::event(event);
  }

 private:
  QImage frame_;
};

// Reads the commands of tnwebui-run as they come.
class Input {
 public:
  explicit Input(Viewer* viewer) : viewer_(viewer) {}

  // Takes what arrived; false when the input has ended.
  bool Read() {
    char chunk[65536];
    const ssize_t got = read(STDIN_FILENO, chunk, sizeof chunk);
    if (got == 0) return false;
    if (got < 0) return true;  // nothing yet
    buffer_.append(chunk, static_cast<std::size_t>(got));
    while (Take()) {
    }
    return true;
  }

 private:
  bool Take() {
    if (pending_ > 0) {
      if (buffer_.size() < pending_) return false;
      viewer_->Show(QImage::fromData(reinterpret_cast<const uchar*>(buffer_.data()),
                                     static_cast<int>(pending_), "PNG"));
      buffer_.erase(0, pending_);
      pending_ = 0;
      return true;
    }
    const std::size_t end = buffer_.find('\n');
    if (end == std::string::npos) return false;
    const std::string line = buffer_.substr(0, end);
    buffer_.erase(0, end + 1);
    if (line.rfind("frame ", 0) == 0) {
      pending_ = std::stoul(line.substr(6));
    } else if (line.rfind("title ", 0) == 0) {
      viewer_->setTitle(QString::fromStdString(line.substr(6)));
    }
    return true;
  }

  Viewer* viewer_;
  std::string buffer_;
  std::size_t pending_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  QGuiApplication app(argc, argv);
  fcntl(STDIN_FILENO, F_SETFL, fcntl(STDIN_FILENO, F_GETFL) | O_NONBLOCK);
  Viewer viewer;
  viewer.setTitle("tnwebui-run");
  viewer.show();
  Input input(&viewer);
  QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
  QObject::connect(&notifier, &QSocketNotifier::activated, [&] {
    if (!input.Read()) app.quit();
  });
  return app.exec();
}
