#include "VideoRow.h"

#include "RateCurve.h"

#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <utility>

VideoRow::VideoRow(QString file, QWidget* parent)
    : QFrame(parent),
      file_(std::move(file)),
      bytes_(QFileInfo(file_).size()),
      state_(new QLabel(tr("Waits"))),
      bar_(new QProgressBar),
      curve_(new RateCurve),
      stop_(new QPushButton(tr("S&top"))) {
  setFrameShape(QFrame::StyledPanel);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
  auto* const name = new QLabel(QFileInfo(file_).fileName());
  name->setTextFormat(Qt::PlainText);  // a file's name is nobody's markup
  auto bold = name->font();
  bold.setBold(true);
  name->setFont(bold);
  auto* const size = new QLabel(QLocale().formattedDataSize(bytes_, 1));
  state_->setTextFormat(Qt::PlainText);
  state_->setWordWrap(true);
  state_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  bar_->setAccessibleName(tr("Progress of %1").arg(name->text()));
  stop_->setAccessibleName(tr("Stop %1").arg(name->text()));

  auto* const grid = new QGridLayout(this);
  grid->addWidget(name, 0, 0);
  grid->addWidget(size, 0, 1);
  grid->addWidget(bar_, 1, 0);
  grid->addWidget(stop_, 1, 1);
  grid->addWidget(curve_, 2, 0, 1, 2);
  grid->addWidget(state_, 3, 0, 1, 2);
  grid->setColumnStretch(0, 1);
  curve_->hide();
  connect(stop_, &QPushButton::clicked, this, &VideoRow::stopWanted);
}

QString VideoRow::stateText() const {
  return state_->text();
}

void VideoRow::showBegin() {
  state_->setText(tr("Begins"));
  sinceLast_.start();
}

void VideoRow::showPercent(int percent) {
  // What comes late says nothing, and a part that changes no percent is no standstill.
  if (isOver_ || percent <= lastPercent_) return;
  bar_->setValue(percent);
  state_->setText(tr("Uploads"));
  const double seconds = static_cast<double>(std::max<qint64>(sinceLast_.restart(), 1)) / 1000;
  const double bytes = static_cast<double>(bytes_) * (percent - lastPercent_) / 100;
  lastPercent_ = percent;
  curve_->show();
  curve_->add(bytes / seconds);
}

void VideoRow::showEnd(const QString& how, bool isGood) {
  if (isGood) bar_->setValue(100);
  isOver_ = true;
  state_->setText(how);
  stop_->hide();
}
