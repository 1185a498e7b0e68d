#pragma once

#include <ExternlMediaTransfer/host/Upload.h>

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <deque>
#include <optional>

class VideoRow;

/// Uploads one video after the other, as soon as somebody is signed in.
class UploadQueue : public QObject {
  Q_OBJECT

 public:
  explicit UploadQueue(KBL::host::Executor executor, QObject* parent = nullptr);

  void add(VideoRow* row);
  /// Whether there is somebody to upload for. Without, videos wait.
  void setSignedIn(bool isSignedIn);

 private:
  void startNext();
  void stop(VideoRow* row);
  /// Takes the end of an upload, once.
  void end(const QString& how, bool isGood);
  void lookForSilence();

  const KBL::host::Executor executor_;
  std::deque<VideoRow*> waiting_;
  VideoRow* current_ = nullptr;
  std::optional<KBL::host::Upload> upload_;
  QTimer silence_;
  bool isSignedIn_ = false;
};
