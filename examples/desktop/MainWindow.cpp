#include "MainWindow.h"

#include "SignInBar.h"
#include "UploadQueue.h"
#include "VideoList.h"

#include <QVBoxLayout>

MainWindow::MainWindow(const KBL::host::AccountSettings& settings)
    : bar_(new SignInBar(settings, loop_.executor())),
      videos_(new VideoList),
      queue_(new UploadQueue(loop_.executor(), this)) {
  setWindowTitle(tr("Upload"));
  resize(560, 640);
  auto* const column = new QVBoxLayout(this);
  column->addWidget(bar_);
  column->addWidget(videos_, 1);
  connect(bar_, &SignInBar::changed, queue_, &UploadQueue::setSignedIn);
  connect(videos_, &VideoList::dropped, this, [this](const QStringList& files) {
    for (const QString& file : files) queue_->add(videos_->add(file));
  });
  queue_->setSignedIn(bar_->isSignedIn());
}
