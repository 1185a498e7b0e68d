#pragma once

#include "requests/BsExternlMediaAuthRequest.h"

#include <source_location>
#include <string>

namespace KBL {

/// Base of the concrete requests: answers "BsExternlMediaAuthRequest" to the cast by name, and nothing else,
/// and keeps what their exchanges share.
class ConcreteAuthRequest : public BsExternlMediaAuthRequest {
 public:
  using BsExternlMediaAuthRequest::BsExternlMediaAuthRequest;
  void* QueryInterfaceByName(const char* requested) override;
  /// Clears the members, and fills them out of a good reply.
  int parseEnvelope(IBsInfoReader* info, const std::string& content, IBsErrorInfo* error,
                    NetReply* reply) override;

 protected:
  /// Clears what a former reply filled.
  virtual void clearMembers() {}
  /// Fills the members out of a reply that its service takes for good. False, with the error set, when the
  /// reply lacks what it must have.
  virtual bool readReply(const Json::Value& root, const std::string& content, IBsErrorInfo& error,
                         const NetReply* reply);
  /// True when the members were filled out of the last reply.
  [[nodiscard]] bool gotResult() const { return gotResult_; }
  void forgetReply();

  /// Refuses the exchange before any network use.
  static _Result refuse(NetReply& reply, int code, const char* message);
  /// Logs the name, the address and `logSuffix`, and runs the exchange there, watched by `progress` if that
  /// is not null. An address that is not usable, such as one that a blank in a token has spoilt, is refused
  /// with "url invalid".
  _Result exchange(INetworkClient& client, NetReply& reply, const std::string& address,
                   const std::string& logSuffix = {}, IBsProgressCallback* progress = nullptr,
                   const std::source_location& caller = std::source_location::current());
  /// The text under `key`, or empty, or `otherwise`, when it is unset.
  [[nodiscard]] static std::string textOf(IBsInfoReader* info, const char* key);
  [[nodiscard]] static std::string textOr(IBsInfoReader* info, const char* key, const char* otherwise);
  /// A new mixed record with a copy of `info`, as the reply.
  void keepCopyAsReply(IBsInfoReader* info);

 private:
  bool gotResult_ = false;
};

}  // namespace KBL
