#pragma once

#include "requests/ConcreteAuthRequest.h"
#include <KblUtils/FileStream.h>

#include <cstdint>
#include <optional>
#include <string>

namespace KBL {

/// What the upload requests of all platforms share: the token, the upload record, reports, the pause before
/// another try and the result. Everything runs on the worker of the chain.
class UploadFileRequest : public ConcreteAuthRequest {
 public:
  using ConcreteAuthRequest::ConcreteAuthRequest;

  /// Keeps a copy of `info` as the reply when the service gave the upload a result; else 1.
  int handleRequestData(IBsBaseRequest* self, IBsInfoReader* info, IBsErrorInfo* error,
                        NetReply* reply) override;

 protected:
  static constexpr int httpOk = 200;
  static constexpr const char* tokenMissingMessage = "access token param invalid";
  static constexpr const char* cancelledMessage = "User cancelled!";

  /// The service's name of the finished video in a valid answer; none when the answer carries none.
  [[nodiscard]] virtual std::optional<std::string> resultIn(const Json::Value& root) const = 0;
  void clearMembers() override { resultId_.clear(); }
  /// Takes the result of a finished upload. An answer without one is an error with the transport's code.
  bool readReply(const Json::Value& root, const std::string& content, IBsErrorInfo& error,
                 const NetReply* reply) override;
  /// The service's name of the finished video, or empty.
  [[nodiscard]] const std::string& resultId() const { return resultId_; }

  /// Takes the user's platform token as it stands now. `token` keeps its former text when there is none, so
  /// that an upload which has begun outlasts its user's sign-out. False when it reads as empty afterwards.
  [[nodiscard]] bool fetchToken(std::string& token) const;

  /// Writes a text of the upload record.
  static void setText(IBsInfoReader* info, const char* key, const std::string& value);

  /// Writes the request's error state; code 0 clears it with the origin code.
  void report(int code, const std::string& message);
  /// The same, and marks the upload as failed.
  void fail(IBsInfoReader* info, int code, const std::string& message);
  /// Marks the upload as finished; `videoUrl` is what the host is told.
  void succeed(IBsInfoReader* info, const std::string& videoUrl);
  /// Tells the callbacks how the upload stands now.
  void deliver(IBsInfoReader* info);
  /// Stores the percentage and tells the callbacks at once.
  void deliverProgress(IBsInfoReader* info, int percent);
  /// Marks an upload as failed whose tries of one piece, at most `maxTries`, were all refused.
  void failAfterTries(IBsInfoReader* info, int maxTries);
  /// Sleeps 50 to 999 ms before the next try. A stopped upload goes on at once: a stop takes the delay away,
  /// not the tries.
  void pauseBeforeNextTry(IBsInfoReader* info) const;

 private:
  std::string resultId_;
};

/// The stop test of all uploads: true when the upload record says that the user cancelled or that the upload
/// failed, or when no live manager stands under `ownerTag` any more. A finished upload does not count as
/// stopped. A null record counts as one without a state. Any thread.
[[nodiscard]] bool isUploadStopped(const std::string& ownerTag, IBsInfoReader* uploadInfo);

/// What is wrong with a local file, as uploads report it; code 0 when nothing is.
struct FileFault {
  int code = 0;
  std::string message;
};

/// The largest file that a platform takes.
struct FileLimit {
  std::uint64_t bytes;  ///< the first size that is refused
  const char* text;     ///< as messages name it
};

/// Opens the file of an upload (UTF-8 path) and makes sure that it holds something.
[[nodiscard]] FileFault openVideoFile(const std::string& path, FileStream& file);
/// The same, and makes sure that the file is smaller than `limit`.
[[nodiscard]] FileFault openVideoFile(const std::string& path, FileStream& file, const FileLimit& limit);

}  // namespace KBL
