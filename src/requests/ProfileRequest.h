#pragma once

#include "foundation/BsNet/BsBaseInfoRW.h"
#include "requests/BsExternlMediaAuthRequest.h"

#include <source_location>
#include <string>

namespace KBL {

/// What the four requests share that ask a platform itself who the user is. They use the platform token that
/// the info carries, and publish what they learn into the info and into the user's record.
class ProfileRequest : public ConcreteAuthRequest {
 public:
  using ConcreteAuthRequest::ConcreteAuthRequest;
  int parseEnvelope(IBsInfoReader* info, const std::string& content, IBsErrorInfo* error,
                    NetReply* reply) final;
  int handleRequestData(IBsBaseRequest* self, IBsInfoReader* info, IBsErrorInfo* error,
                        NetReply* reply) final;

 protected:
  virtual void clearFields() = 0;
  /// Fills the fields out of a valid reply; a missing member reads as empty text.
  virtual void readFields(const Json::Value& root) = 0;
  virtual void publish(BsBaseInfoRW& record) = 0;

  /// One line about a reply; `what` stands before the code, `contentMark` before the content.
  void logReply(const char* what, int code, const std::string& message, const char* contentMark,
                const std::string& content,
                const std::source_location& caller = std::source_location::current());

  bool gotResult_ = false;  ///< the last reply was valid
};

/// The error shape of Google's services: a reply without "error" is valid.
class GoogleProfileRequest : public ProfileRequest {
 public:
  using ProfileRequest::ProfileRequest;

 protected:
  int checkGoogleReply(const std::string& content, Json::Value& root, std::string& message, int& code,
                       const std::source_location& caller = std::source_location::current());
};

}  // namespace KBL
