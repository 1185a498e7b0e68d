#include "sandbox/services/flickr/OauthOneCheck.h"

#include "sandbox/base/Text.h"
#include "sandbox/services/media/MediaSignatures.h"

namespace sandbox {

namespace {

constexpr std::string_view scheme = "OAuth ";
constexpr std::size_t secretLength = 16;

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

bool isTimely(const std::string& timestamp, std::chrono::minutes tolerance) {
  unsigned long long seconds = 0;
  if (!parseNumber(timestamp, seconds) || seconds > 100'000'000'000U) return false;
  const auto time = std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
  const auto distance = std::chrono::system_clock::now() - time;
  return distance < tolerance && distance > -tolerance;
}

}  // namespace

FormFields OauthOneCheck::fieldsOf(const Call& call) {
  FormFields fields = call.request.query;
  const std::string header = call.request.header("Authorization").value_or("");
  if (!header.starts_with(scheme)) return fields;
  std::string_view rest = std::string_view(header).substr(scheme.size());
  while (!rest.empty()) {
    const std::string_view piece = trimmed(rest.substr(0, rest.find(',')));
    rest.remove_prefix(std::min(rest.find(','), rest.size() - 1) + 1);
    const std::size_t equals = piece.find("=\"");
    if (equals == std::string_view::npos || !piece.ends_with('"') || piece.size() < equals + 3) continue;
    const std::string name = percentDecoded(piece.substr(0, equals));
    const std::string value = percentDecoded(piece.substr(equals + 2, piece.size() - equals - 3));
    if (name != "realm") fields.emplace_back(name, value);
  }
  return fields;
}

OauthOneCheck::Verdict OauthOneCheck::check(const Call& call, const FormFields& fields,
                                            const std::string& tokenSecret) {
  const std::string key = fieldText(fields, "oauth_consumer_key");
  const SandboxOptions& known = context_.options;
  if (key.empty() || (!known.appId.empty() && key != known.appId)) return Verdict::unknownKey;
  if (fieldText(fields, "oauth_signature").empty()) return Verdict::missingSignature;
  const bool rightMethod = fieldText(fields, "oauth_signature_method") == "HMAC-SHA1" &&
                           fieldOf(fields, "oauth_version").value_or("1.0") == "1.0";
  if (!rightMethod || fieldText(fields, "oauth_nonce").empty()) return Verdict::missingField;
  if (!isTimely(fieldText(fields, "oauth_timestamp"), NonceBook::clockTolerance))
    return Verdict::badTimestamp;
  const std::string expected = oauthSignature(context_.baseUrl + call.request.path, fields, known.appSecret,
                                              tokenSecret, call.request.method);
  if (fieldText(fields, "oauth_signature") != expected) return Verdict::badSignature;
  const bool isFresh = nonces_.take(key, fieldText(fields, "oauth_token"),
                                    fieldText(fields, "oauth_timestamp"), fieldText(fields, "oauth_nonce"));
  return isFresh ? Verdict::good : Verdict::usedNonce;
}

const char* OauthOneCheck::problemWord(Verdict verdict) {
  switch (verdict) {
    case Verdict::unknownKey:
      return "consumer_key_unknown";
    case Verdict::badSignature:
      return "signature_invalid";
    case Verdict::badTimestamp:
      return "timestamp_refused";
    case Verdict::usedNonce:
      return "nonce_used";
    case Verdict::missingField:
    case Verdict::missingSignature:
      return "parameter_absent";
    case Verdict::good:
      break;
  }
  return "";
}

std::string OauthOneCheck::secretOf(const std::string& token) {
  Sha256 hash;
  const std::string text = "secret of " + token;
  hash.add(text.data(), text.size());
  return hash.hex().substr(0, secretLength);
}

}  // namespace sandbox
