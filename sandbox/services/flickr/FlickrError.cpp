#include "sandbox/services/flickr/FlickrError.h"

#include "sandbox/base/JsonText.h"

#include <json/value.h>

namespace sandbox {

Reply flickrError(int code, const std::string& message) {
  Json::Value value;
  value["stat"] = "fail";
  value["code"] = code;
  value["message"] = message;
  Reply reply;
  reply.body = compactJson(value);
  return reply;
}

}  // namespace sandbox
