#pragma once

#include "sandbox/TestClient.h"

#include <string>

/// What the application of a test says of itself; the sandbox's own defaults.
inline constexpr const char* appId = "sandbox-app-id";
inline constexpr const char* appSecret = "sandbox-app-secret";
inline constexpr const char* appRedirect = "http://localhost/mediatransfer/signed-in";
/// A code verifier and its challenge, the known answer of RFC 7636, appendix B.
inline constexpr const char* verifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
inline constexpr const char* challenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

/// "a=1&b=2", encoded.
[[nodiscard]] std::string formOf(const Fields& fields);
[[nodiscard]] std::string targetWith(const std::string& path, const Fields& fields);
/// The fields of a login address that every service accepts.
[[nodiscard]] Fields loginFields();
/// The fields without one, or with another value for it.
[[nodiscard]] Fields without(Fields fields, const std::string& name);
[[nodiscard]] Fields with(Fields fields, const std::string& name, const std::string& value);
/// The decoded value of a parameter of an address; empty without it.
[[nodiscard]] std::string parameterOf(const std::string& address, const std::string& name);
/// Signs in with automatic consent and returns the code.
[[nodiscard]] std::string codeFrom(TestClient& client, const std::string& loginPath);
/// The fields that trade a code in.
[[nodiscard]] Fields codeFields(const std::string& code);
[[nodiscard]] std::pair<std::string, std::string> formType();

/// A multipart body; a field with a file name is a file.
struct FormPart {
  std::string name;
  std::string content;
  std::string fileName = {};
  std::string contentType = "application/octet-stream";
};
struct Multipart {
  std::string body;
  std::pair<std::string, std::string> type;  ///< the header
};
[[nodiscard]] Multipart multipart(const std::vector<FormPart>& parts);
