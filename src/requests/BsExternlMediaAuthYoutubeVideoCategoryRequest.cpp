#include "requests/BsExternlMediaAuthYoutubeVideoCategoryRequest.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "requests/JsonAccess.h"

namespace KBL {

namespace {
constexpr RequestConstants constants = {requestYoutubeVideoCategory, httpGet, "urlYoutubeVideoCategories",
                                        "ExternlMediaAuthYoutubeVideoCategory"};
}

BsExternlMediaAuthYoutubeVideoCategoryRequest::BsExternlMediaAuthYoutubeVideoCategoryRequest()
    : GoogleProfileRequest(constants) {}

_Result BsExternlMediaAuthYoutubeVideoCategoryRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                               NetReply* reply) {
  const std::string token = textOf(info, ExternlMediaMixedCharKey::thirdAccessToken);
  if (token.empty()) return refuse(*reply, ErrorCode::tokenMissing, "third access token param invalid");
  client->setHeaders({{"accept", "application/json"}, {"authorization", "Bearer " + token}});
  return exchange(*client, *reply, configuredUrl() + "?part=snippet&regionCode=us&alt=json");
}

int BsExternlMediaAuthYoutubeVideoCategoryRequest::checkResponseValid(const std::string& content,
                                                                      Json::Value& root, std::string& message,
                                                                      int& code) {
  return checkGoogleReply(content, root, message, code);
}

void BsExternlMediaAuthYoutubeVideoCategoryRequest::clearFields() {
  categories_.clear();
}

/// An item counts when it says at all whether it is assignable; what it says is not read, and the text keeps
/// its final bar. Both are to stay so.
void BsExternlMediaAuthYoutubeVideoCategoryRequest::readFields(const Json::Value& root) {
  const Json::Value& items = jsonMember(root, "items");
  if (!items.isArray()) return;
  for (const Json::Value& item : items) {
    const Json::Value& snippet = jsonMember(item, "snippet");
    if (jsonMember(snippet, "assignable").isNull()) continue;
    categories_ += jsonText(snippet, "title") + "|";
  }
}

void BsExternlMediaAuthYoutubeVideoCategoryRequest::publish(BsBaseInfoRW& record) {
  record.setCharKeyConfig(ExternlMediaMixedCharKey::videoCategories, categories_.c_str());
}

}  // namespace KBL
