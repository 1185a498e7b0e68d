#include "RateCurve.h"

#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>

namespace {

constexpr std::size_t shownRates = 60;
constexpr qreal margin = 3;

}  // namespace

RateCurve::RateCurve(QWidget* parent) : QWidget(parent) {
  setMinimumHeight(44);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setAccessibleName(tr("Rate"));
}

void RateCurve::add(double bytesPerSecond) {
  rates_.push_back(bytesPerSecond);
  if (rates_.size() > shownRates) rates_.pop_front();
  setAccessibleDescription(text());
  update();
}

QString RateCurve::text() const {
  if (rates_.empty()) return {};
  return tr("%1/s").arg(QLocale().formattedDataSize(static_cast<qint64>(rates_.back()), 1));
}

QSize RateCurve::sizeHint() const {
  return {200, 44};
}

/// Colours come from the palette, so that the curve is at home in the light and in the dark.
void RateCurve::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const qreal figures = fontMetrics().horizontalAdvance(tr("%1/s").arg("0000.0 MiB")) + 2 * margin;
  const QRectF whole = QRectF(rect()).adjusted(margin, margin, -margin, -margin);
  const QRectF area = whole.adjusted(0, 0, -figures, 0);
  painter.setPen(palette().color(QPalette::Mid));
  painter.drawLine(area.bottomLeft(), area.bottomRight());
  if (rates_.empty()) return;

  const double most = std::max(*std::max_element(rates_.begin(), rates_.end()), 1.0);
  const qreal step = area.width() / static_cast<qreal>(std::max<std::size_t>(rates_.size() - 1, 1));
  QPainterPath curve;
  curve.moveTo(area.bottomLeft());
  for (std::size_t at = 0; at < rates_.size(); ++at) {
    curve.lineTo(area.left() + step * static_cast<qreal>(at),
                 area.bottom() - area.height() * rates_[at] / most);
  }
  if (rates_.size() == 1) curve.lineTo(area.right(), curve.currentPosition().y());
  QPainterPath filled = curve;
  filled.lineTo(area.bottomRight());
  filled.closeSubpath();
  QColor colour = palette().color(QPalette::Highlight);
  painter.setPen(QPen(colour, 2));
  painter.drawPath(curve);
  colour.setAlpha(60);
  painter.fillPath(filled, colour);

  painter.setPen(palette().color(QPalette::Text));
  painter.drawText(whole, Qt::AlignRight | Qt::AlignVCenter, text());
}
