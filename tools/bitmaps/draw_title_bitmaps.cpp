// Draws the title bar's bitmaps: one PNG per resource number, into the folder given.
// Run by `make bitmaps`; the PNGs are kept with the sources.

#include <QColor>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>
#include <QString>
#include <cmath>
#include <functional>

namespace {

enum class State { kNormal, kHover, kDisabled };

using Glyph = std::function<void(QPainter&, double)>;  // draws in a box of the given size

void Save(const QString& folder, int id, int size, State state, const Glyph& glyph,
          bool danger = false) {
  QImage image(size, size, QImage::Format_ARGB32);
  image.fill(Qt::white);
  QPainter p(&image);
  p.setRenderHint(QPainter::Antialiasing);
  QColor ink(0x55, 0x5a, 0x64);
  if (state == State::kHover) {
    p.setPen(Qt::NoPen);
    p.setBrush(danger ? QColor(0xe8, 0x3b, 0x3b) : QColor(0xe4, 0xe6, 0xea));
    p.drawRoundedRect(QRectF(0, 0, size, size), 4, 4);
    ink = danger ? Qt::white : QColor(0x1f, 0x6f, 0xeb);
  } else if (state == State::kDisabled) {
    ink = QColor(0xc8, 0xca, 0xcf);
  }
  QPen pen(ink, size >= 26 ? 1.8 : 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
  p.setPen(pen);
  p.setBrush(Qt::NoBrush);
  glyph(p, size);
  p.end();
  image.save(folder + "/" + QString::number(id) + ".png", "PNG");
}

void Set(const QString& folder, int size, int normal, int hover, int disabled, const Glyph& g,
         bool danger = false) {
  Save(folder, normal, size, State::kNormal, g, danger);
  Save(folder, hover, size, State::kHover, g, danger);
  if (disabled > 0) Save(folder, disabled, size, State::kDisabled, g, danger);
}

}  // namespace

int main(int argc, char** argv) {
  QGuiApplication app(argc, argv);
  const QString folder = argc > 1 ? argv[1] : ".";
  const auto back = [](QPainter& p, double s) {
    p.drawLine(QPointF(s * 0.7, s / 2), QPointF(s * 0.3, s / 2));
    p.drawPolyline(QPolygonF({{s * 0.48, s * 0.3}, {s * 0.28, s / 2}, {s * 0.48, s * 0.7}}));
  };
  const auto refresh = [](QPainter& p, double s) {
    p.drawArc(QRectF(s * 0.27, s * 0.27, s * 0.46, s * 0.46), 60 * 16, 290 * 16);
    p.drawPolyline(QPolygonF({{s * 0.62, s * 0.2}, {s * 0.64, s * 0.33}, {s * 0.51, s * 0.35}}));
  };
  const auto link = [](QPainter& p, double s) {
    p.save();
    p.translate(s / 2, s / 2);
    p.rotate(-45);
    p.drawRoundedRect(QRectF(-s * 0.36, -s * 0.1, s * 0.36, s * 0.2), s * 0.1, s * 0.1);
    p.drawRoundedRect(QRectF(0, -s * 0.1, s * 0.36, s * 0.2), s * 0.1, s * 0.1);
    p.drawLine(QPointF(-s * 0.12, 0), QPointF(s * 0.12, 0));
    p.restore();
  };
  const auto open = [](QPainter& p, double s) {
    p.drawPolyline(QPolygonF({{s * 0.45, s * 0.27},
                              {s * 0.27, s * 0.27},
                              {s * 0.27, s * 0.73},
                              {s * 0.73, s * 0.73},
                              {s * 0.73, s * 0.55}}));
    p.drawLine(QPointF(s * 0.5, s * 0.5), QPointF(s * 0.75, s * 0.25));
    p.drawPolyline(QPolygonF({{s * 0.58, s * 0.25}, {s * 0.75, s * 0.25}, {s * 0.75, s * 0.42}}));
  };
  const auto close = [](QPainter& p, double s) {
    p.drawLine(QPointF(s * 0.33, s * 0.33), QPointF(s * 0.67, s * 0.67));
    p.drawLine(QPointF(s * 0.67, s * 0.33), QPointF(s * 0.33, s * 0.67));
  };
  const auto maximise = [](QPainter& p, double s) {
    p.drawRect(QRectF(s * 0.32, s * 0.32, s * 0.36, s * 0.36));
  };
  const auto restore = [](QPainter& p, double s) {
    p.drawRect(QRectF(s * 0.3, s * 0.38, s * 0.3, s * 0.3));
    p.drawPolyline(QPolygonF({{s * 0.4, s * 0.38},
                              {s * 0.4, s * 0.3},
                              {s * 0.7, s * 0.3},
                              {s * 0.7, s * 0.6},
                              {s * 0.6, s * 0.6}}));
  };
  const auto minimise = [](QPainter& p, double s) {
    p.drawLine(QPointF(s * 0.32, s / 2), QPointF(s * 0.68, s / 2));
  };
  const auto star = [](QPainter& p, double s) {
    QPolygonF points;
    for (int i = 0; i < 10; ++i) {
      const double r = (i % 2 ? 0.14 : 0.32) * s, a = M_PI / 5 * i - M_PI / 2;
      points << QPointF(s / 2 + r * std::cos(a), s * 0.53 + r * std::sin(a));
    }
    p.drawPolygon(points);
  };
  const auto share = [](QPainter& p, double s) {
    p.drawEllipse(QPointF(s * 0.68, s * 0.3), s * 0.08, s * 0.08);
    p.drawEllipse(QPointF(s * 0.68, s * 0.7), s * 0.08, s * 0.08);
    p.drawEllipse(QPointF(s * 0.32, s * 0.5), s * 0.08, s * 0.08);
    p.drawLine(QPointF(s * 0.39, s * 0.46), QPointF(s * 0.61, s * 0.34));
    p.drawLine(QPointF(s * 0.39, s * 0.54), QPointF(s * 0.61, s * 0.66));
  };
  Set(folder, 22, 125, 124, 123, back);
  Set(folder, 22, 138, 137, 0, refresh);
  Set(folder, 22, 134, 133, 0, link);
  Set(folder, 22, 136, 135, 0, open);
  Set(folder, 26, 148, 147, 146, close, true);
  Set(folder, 26, 143, 142, 0, maximise);
  Set(folder, 26, 151, 150, 0, restore);
  Set(folder, 26, 145, 144, 0, minimise);
  Set(folder, 22, 132, 131, 0, star);
  Set(folder, 22, 141, 140, 139, share);
  // The copy tip's marks: a tick for success, a bar for failure.
  const auto tick = [](QPainter& p, double s) {
    p.setPen(QPen(QColor(0x2e, 0xa0, 0x4a), 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPolyline(QPolygonF({{s * 0.2, s * 0.52}, {s * 0.42, s * 0.74}, {s * 0.8, s * 0.3}}));
  };
  const auto cross = [](QPainter& p, double s) {
    p.setPen(QPen(QColor(0xf6, 0x5a, 0x5f), 2, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(s * 0.25, s * 0.25), QPointF(s * 0.75, s * 0.75));
    p.drawLine(QPointF(s * 0.75, s * 0.25), QPointF(s * 0.25, s * 0.75));
  };
  Save(folder, 152, 16, State::kNormal, tick);
  Save(folder, 153, 16, State::kNormal, cross);
  return 0;
}
