#include "UploadQueue.h"

#include "VideoRow.h"

#include <QFileInfo>
#include <algorithm>
#include <chrono>
#include <utility>

using namespace std::chrono_literals;
using KBL::host::UploadEnd;

namespace {

/// Some failures are silent, so that nobody should wait for ever.
constexpr auto patience = 3min;
/// A stopped upload may still be heard of for a moment, by whichever object is there.
constexpr auto afterAStop = 1s;

}  // namespace

UploadQueue::UploadQueue(KBL::host::Executor executor, QObject* parent)
    : QObject(parent), executor_(std::move(executor)) {
  silence_.setInterval(1s);
  connect(&silence_, &QTimer::timeout, this, &UploadQueue::lookForSilence);
}

void UploadQueue::add(VideoRow* row) {
  waiting_.push_back(row);
  connect(row, &VideoRow::stopWanted, this, [this, row] { stop(row); });
  startNext();
}

void UploadQueue::setSignedIn(bool isSignedIn) {
  isSignedIn_ = isSignedIn;
  startNext();
}

void UploadQueue::startNext() {
  if (!isSignedIn_ || upload_ || waiting_.empty()) return;
  current_ = waiting_.front();
  waiting_.pop_front();
  VideoRow* const row = current_;
  row->showBegin();
  upload_.emplace(KBL::transferYoutube,
                  KBL::host::UploadHandlers{[row](int percent) { row->showPercent(percent); }}, executor_);
  const std::string file = row->file().toStdString();
  const std::string title = QFileInfo(row->file()).completeBaseName().toStdString();
  silence_.start();
  upload_->start({file, title}).then([this, row](const UploadEnd& how) {
    if (row != current_) return;  // it was stopped
    end(how.isGood() ? tr("Uploaded: %1").arg(QString::fromStdString(how.address))
                     : QString::fromStdString(how.failure.message),
        how.isGood());
  });
}

void UploadQueue::stop(VideoRow* row) {
  if (row != current_) {
    waiting_.erase(std::remove(waiting_.begin(), waiting_.end(), row), waiting_.end());
    return row->showEnd(tr("Stopped before it began"), false);
  }
  row->showEnd(tr("Stopped"), false);
  current_ = nullptr;
  silence_.stop();
  upload_->stop();
  QTimer::singleShot(afterAStop, this, [this] {
    upload_.reset();
    startNext();
  });
}

void UploadQueue::end(const QString& how, bool isGood) {
  std::exchange(current_, nullptr)->showEnd(how, isGood);
  silence_.stop();
  upload_.reset();
  startNext();
}

void UploadQueue::lookForSilence() {
  // Its end comes to what `start` gave, as any other.
  if (upload_) (void)upload_->endAfter(patience);
}
