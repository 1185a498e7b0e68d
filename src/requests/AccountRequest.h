#pragma once

#include "requests/BsExternlMediaAuthRequest.h"

namespace KBL {

/// What the requests to the account server that read "data" share: the members are cleared before each reply
/// and filled out of a good envelope only, so that `parsed_` tells whether there is something to publish.
class AccountRequest : public ConcreteAuthRequest {
 public:
  using ConcreteAuthRequest::ConcreteAuthRequest;
  int parseEnvelope(IBsInfoReader* info, const std::string& content, IBsErrorInfo* error,
                    NetReply* reply) final;

 protected:
  virtual void clearMembers() = 0;
  /// Fills the members out of the member "data" of the envelope; null when the reply has none.
  virtual void readData(const Json::Value& data) = 0;

  /// Merges `info` into the user's record at the manager.
  void updateOwner(IBsInfoReader* info);

  bool parsed_ = false;  ///< a response passed the check of its envelope
};

/// Whole number of a decimal text, read like `atoi`: 0 for no number; a value out of range becomes the
/// nearest one.
[[nodiscard]] int decimalInt(const std::string& text);

}  // namespace KBL
