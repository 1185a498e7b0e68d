#pragma once

#include <QElapsedTimer>
#include <QFrame>

class QLabel;
class QProgressBar;
class QPushButton;
class RateCurve;

/// One video: its name, how far it is, how fast it goes, and a button that stops it.
class VideoRow : public QFrame {
  Q_OBJECT

 public:
  explicit VideoRow(QString file, QWidget* parent = nullptr);

  [[nodiscard]] const QString& file() const { return file_; }
  [[nodiscard]] QString stateText() const;

  void showBegin();
  void showPercent(int percent);
  /// Tells how it ended, and takes the button away.
  void showEnd(const QString& how, bool isGood);

 Q_SIGNALS:
  void stopWanted();

 private:
  const QString file_;
  const qint64 bytes_;
  QLabel* const state_;
  QProgressBar* const bar_;
  RateCurve* const curve_;
  QPushButton* const stop_;
  QElapsedTimer sinceLast_;
  int lastPercent_ = 0;
  bool isOver_ = false;
};
