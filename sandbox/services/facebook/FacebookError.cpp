#include "sandbox/services/facebook/FacebookError.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"

namespace sandbox {

Reply facebookError(int code, const std::string& message, int subcode, const Json::Value& data) {
  Json::Value value;
  Json::Value& error = value["error"];
  error["message"] = message;
  error["type"] = "OAuthException";
  error["code"] = code;
  if (subcode != 0) error["error_subcode"] = subcode;
  if (!data.isNull()) error["error_data"] = data;
  error["is_transient"] = false;
  error["fbtrace_id"] = randomText(11);
  Reply reply;
  reply.status = 400;
  reply.body = compactJson(value);
  return reply;
}

Reply facebookUnauthorized() {
  Reply reply = facebookError(190, "Invalid OAuth access token.");
  reply.status = 401;
  return reply;
}

Reply facebookBadParameter(const std::string& message) {
  return facebookError(100, "(#100) " + message);
}

Reply facebookNoSuchField(const std::string& name) {
  return facebookBadParameter("Tried accessing nonexisting field (" + name + ")");
}

}  // namespace sandbox
