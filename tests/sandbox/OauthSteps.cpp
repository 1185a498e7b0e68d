#include "sandbox/OauthSteps.h"

#include "sandbox/base/Text.h"

std::string formOf(const Fields& fields) {
  std::string text;
  for (const auto& [name, value] : fields) {
    text += (text.empty() ? "" : "&") + sandbox::percentEncoded(name) + "=" + sandbox::percentEncoded(value);
  }
  return text;
}

std::string targetWith(const std::string& path, const Fields& fields) {
  return path + "?" + formOf(fields);
}

Fields loginFields() {
  return {{"client_id", appId},          {"redirect_uri", appRedirect},    {"response_type", "code"},
          {"state", "state 1"},          {"scope", "video upload"},        {"access_type", "offline"},
          {"code_challenge", challenge}, {"code_challenge_method", "S256"}};
}

Fields without(Fields fields, const std::string& name) {
  std::erase_if(fields, [&](const auto& field) { return field.first == name; });
  return fields;
}

Fields with(Fields fields, const std::string& name, const std::string& value) {
  fields = without(std::move(fields), name);
  fields.emplace_back(name, value);
  return fields;
}

std::string parameterOf(const std::string& address, const std::string& name) {
  const std::size_t question = address.find('?');
  if (question == std::string::npos) return {};
  for (const auto& [known, value] : sandbox::parseForm(std::string_view(address).substr(question + 1))) {
    if (known == name) return value;
  }
  return {};
}

std::string codeFrom(TestClient& client, const std::string& loginPath) {
  return parameterOf(client.get(targetWith(loginPath, loginFields())).header("Location"), "code");
}

Fields codeFields(const std::string& code) {
  return {{"grant_type", "authorization_code"},
          {"code", code},
          {"client_id", appId},
          {"client_secret", appSecret},
          {"redirect_uri", appRedirect},
          {"code_verifier", verifier}};
}

std::pair<std::string, std::string> formType() {
  return {"Content-Type", "application/x-www-form-urlencoded"};
}

Multipart multipart(const std::vector<FormPart>& parts) {
  const std::string boundary = "----border-of-the-parts";
  std::string body;
  for (const FormPart& part : parts) {
    body += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + part.name + "\"";
    if (!part.fileName.empty()) {
      body += "; filename=\"" + part.fileName + "\"\r\nContent-Type: " + part.contentType;
    }
    body += "\r\n\r\n" + part.content + "\r\n";
  }
  return {body + "--" + boundary + "--\r\n", {"Content-Type", "multipart/form-data; boundary=" + boundary}};
}
