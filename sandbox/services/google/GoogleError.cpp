#include "sandbox/services/google/GoogleError.h"

#include "sandbox/base/JsonText.h"

namespace sandbox {

Reply googleError(int code, const std::string& message, const std::string& reason) {
  Json::Value detail;
  detail["domain"] = "global";
  detail["reason"] = reason;
  detail["message"] = message;
  Json::Value root;
  root["error"]["code"] = code;
  root["error"]["message"] = message;
  root["error"]["errors"].append(detail);
  Reply reply;
  reply.status = code;
  reply.body = compactJson(root);
  return reply;
}

Reply googleUnauthorized() {
  Reply reply = googleError(401, "Invalid Credentials", "authError");
  reply.headers.emplace_back("WWW-Authenticate", "Bearer realm=\"https://accounts.google.com/\"");
  return reply;
}

}  // namespace sandbox
