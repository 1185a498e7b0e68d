#pragma once

#include "sandbox/services/OauthService.h"
#include "sandbox/services/flickr/NonceBook.h"

namespace sandbox {

/// What makes a call under OAuth 1.0a good: the application's key, HMAC-SHA1 over the method, the address and
/// all fields, a timestamp of now and a nonce that was never used with it. Thread-safe.
class OauthOneCheck {
 public:
  OauthOneCheck(const ServiceContext& context, NonceBook& nonces) : context_(context), nonces_(nonces) {}

  enum class Verdict {
    good,
    unknownKey,
    badSignature,
    badTimestamp,
    usedNonce,
    missingField,
    missingSignature
  };
  /// `fields` are those of the query, the Authorization header and the form; `tokenSecret` is empty where no
  /// token takes part.
  Verdict check(const Call& call, const FormFields& fields, const std::string& tokenSecret);
  /// The word of the OAuth problem reporting extension for a verdict that is not good.
  [[nodiscard]] static const char* problemWord(Verdict verdict);

  /// The fields of the query and of an "Authorization: OAuth ..." header.
  [[nodiscard]] static FormFields fieldsOf(const Call& call);
  /// The secret that belongs to a token: derived, so that it need not be kept.
  [[nodiscard]] static std::string secretOf(const std::string& token);

 private:
  const ServiceContext& context_;
  NonceBook& nonces_;
};

}  // namespace sandbox
