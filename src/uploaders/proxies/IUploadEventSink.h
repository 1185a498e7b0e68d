#pragma once

namespace KBL {

/// What can happen to an upload, native or scripted.
enum UploadEventKind : unsigned {
  uploadEventProgress = 1,
  uploadEventFinished = 2,
  uploadEventError = 3,
  uploadEventTokenInvalid = 4,
  uploadEventDebug = 99,
};

/// Where upload events go on their way to the host. Shared by everybody who reports, so that it outlives the
/// transfer that made it. Called from any thread.
class IUploadEventSink {
 public:
  virtual ~IUploadEventSink() = default;
  /// `code` is an UploadEventKind; `text` is borrowed for the call, null reads as empty; `value` is the
  /// host's number of an error, 0 for the general one. The host may end its transfer inside.
  virtual void userCallBack(unsigned code, const char* text, int value) = 0;
};

}  // namespace KBL
