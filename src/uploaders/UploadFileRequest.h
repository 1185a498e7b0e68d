#pragma once

#include "requests/BsExternlMediaAuthRequest.h"

#include <optional>
#include <string>

namespace KBL {

/// What the upload requests of all platforms share: the token, the upload record, reports, the pause before
/// another try and the result. Everything runs on the worker of the chain.
class UploadFileRequest : public ConcreteAuthRequest {
 public:
  using ConcreteAuthRequest::ConcreteAuthRequest;

  /// Reads the result of a finished upload: 1 with it, else 0 with what went wrong in `error`.
  int parseEnvelope(IBsInfoReader* info, const std::string& content, IBsErrorInfo* error,
                    NetReply* reply) override;
  /// Keeps a copy of `info` as the reply when the service gave the upload a result; else 1.
  int handleRequestData(IBsBaseRequest* self, IBsInfoReader* info, IBsErrorInfo* error,
                        NetReply* reply) override;

 protected:
  static constexpr int httpOk = 200;
  static constexpr const char* tokenMissingMessage = "access token param invalid";

  /// The service's name of the finished video in a valid answer; none when the answer carries none.
  [[nodiscard]] virtual std::optional<std::string> resultIn(const Json::Value& root) const = 0;
  void forgetResult();

  /// Takes the user's platform token as it stands now. `token` keeps its former text when there is none, so
  /// that an upload which has begun outlasts its user's sign-out. False when it reads as empty afterwards.
  [[nodiscard]] bool fetchToken(std::string& token) const;

  /// Writes a text of the upload record.
  static void setText(IBsInfoReader* info, const char* key, const std::string& value);

  /// Writes the request's error state; code 0 clears it with the origin code.
  void report(int code, const std::string& message);
  /// The same, and marks the upload as failed.
  void fail(IBsInfoReader* info, int code, const std::string& message);
  /// Reports the failure of an exchange: a transport failure by its code, any status but 200 by the status
  /// and the body, and nothing for a 200.
  void reportReply(const NetReply& reply);
  /// Marks the upload as finished; `videoUrl` is what the host is told.
  void succeed(IBsInfoReader* info, const std::string& videoUrl);
  /// Tells the callbacks how the upload stands now.
  void deliver(IBsInfoReader* info);
  /// Stores the percentage and tells the callbacks at once.
  void deliverProgress(IBsInfoReader* info, int percent);
  /// Sleeps 50 to 999 ms before the next try. A stopped upload goes on at once: a stop takes the delay away,
  /// not the tries.
  void pauseBeforeNextTry(IBsInfoReader* info) const;

  bool gotResult_ = false;  ///< a response carried the result
  std::string resultId_;    ///< the service's name of the finished video
};

}  // namespace KBL
