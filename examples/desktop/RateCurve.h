#pragma once

#include <QWidget>
#include <deque>

/// A picture of the latest rates of an upload, the last one in figures.
class RateCurve : public QWidget {
  Q_OBJECT

 public:
  explicit RateCurve(QWidget* parent = nullptr);

  void add(double bytesPerSecond);
  [[nodiscard]] QString text() const;

  [[nodiscard]] QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::deque<double> rates_;
};
