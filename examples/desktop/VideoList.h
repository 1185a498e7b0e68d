#pragma once

#include <QScrollArea>
#include <QStringList>

class QLabel;
class QVBoxLayout;
class VideoRow;

/// The videos, one below the other. Files are dropped here.
class VideoList : public QScrollArea {
  Q_OBJECT

 public:
  explicit VideoList(QWidget* parent = nullptr);

  VideoRow* add(const QString& file);

 Q_SIGNALS:
  void dropped(const QStringList& files);

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  QVBoxLayout* const rows_;
  QLabel* const hint_;
};
