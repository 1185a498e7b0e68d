#include "VideoList.h"

#include "VideoRow.h"

#include <QDragEnterEvent>
#include <QFileInfo>
#include <QLabel>
#include <QMimeData>
#include <QUrl>
#include <QVBoxLayout>

namespace {

/// The files on this machine among what is dragged.
QStringList filesOf(const QMimeData* data) {
  QStringList files;
  for (const QUrl& url : data->urls()) {
    if (url.isLocalFile() && QFileInfo(url.toLocalFile()).isFile()) files << url.toLocalFile();
  }
  return files;
}

}  // namespace

VideoList::VideoList(QWidget* parent)
    : QScrollArea(parent), rows_(new QVBoxLayout), hint_(new QLabel(tr("Drop videos here"))) {
  auto* const content = new QWidget;
  content->setLayout(rows_);
  hint_->setAlignment(Qt::AlignCenter);
  hint_->setMinimumHeight(120);
  rows_->addWidget(hint_);
  rows_->addStretch();
  setWidget(content);
  setWidgetResizable(true);
  setAcceptDrops(true);
  setAccessibleName(tr("Videos"));
}

VideoRow* VideoList::add(const QString& file) {
  hint_->hide();
  auto* const row = new VideoRow(file);
  rows_->insertWidget(rows_->count() - 1, row);
  return row;
}

void VideoList::dragEnterEvent(QDragEnterEvent* event) {
  if (!filesOf(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void VideoList::dragMoveEvent(QDragMoveEvent* event) {
  event->acceptProposedAction();
}

void VideoList::dropEvent(QDropEvent* event) {
  const QStringList files = filesOf(event->mimeData());
  event->acceptProposedAction();
  Q_EMIT dropped(files);
}
