#pragma once

#include "QtLoop.h"
#include <ExternlMediaTransfer/host/Accounts.h>

#include <QWidget>

class SignInBar;
class UploadQueue;
class VideoList;

/// Who is signed in above, the videos below.
class MainWindow : public QWidget {
  Q_OBJECT

 public:
  explicit MainWindow(const KBL::host::AccountSettings& settings);

 private:
  const QtLoop loop_;  // goes ahead of the widgets: nothing is told to those that go
  SignInBar* const bar_;
  VideoList* const videos_;
  UploadQueue* const queue_;
};
