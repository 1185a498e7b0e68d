#include "requests/ConcreteAuthRequest.h"

#include "boundary/records/Records.h"
#include "requests/logFrom.h"
#include <KblUtils/CastByName.h>
#include <KblUtils/StringUtil.h>

namespace KBL {

void* ConcreteAuthRequest::QueryInterfaceByName(const char* requested) {
  return castByName(this, requested, Named<BsExternlMediaAuthRequest>{"BsExternlMediaAuthRequest"});
}

_Result ConcreteAuthRequest::refuse(NetReply& reply, int code, const char* message) {
  reply.resultCode = code;
  reply.errorMessage = message;
  return resultFailed;
}

_Result ConcreteAuthRequest::exchange(INetworkClient& client, NetReply& reply, const std::string& address,
                                      const std::string& logSuffix, IBsProgressCallback* progress,
                                      const std::source_location& caller) {
  const URL url = URL::FromString(address);
  if (!url.IsValid()) return refuse(reply, ErrorCode::urlInvalid, "url invalid");
  logFrom(caller, [&](std::ostream& line) {
    line << name << ":" << StringUtil::excerpt(address) << StringUtil::excerpt(logSuffix);
  });
  reply = client.perform(url, httpMethod(), nullptr, nullptr, progress, nullptr);
  return resultOk;
}

int ConcreteAuthRequest::parseEnvelope(IBsInfoReader*, const std::string& content, IBsErrorInfo* error,
                                       NetReply* reply) {
  forgetReply();
  Json::Value root;
  gotResult_ = readEnvelope(content, root, *error) && readReply(root, content, *error, reply);
  return gotResult_ ? 1 : 0;
}

bool ConcreteAuthRequest::readReply(const Json::Value&, const std::string&, IBsErrorInfo&, const NetReply*) {
  return true;
}

void ConcreteAuthRequest::forgetReply() {
  gotResult_ = false;
  clearMembers();
}

std::string ConcreteAuthRequest::textOf(IBsInfoReader* info, const char* key) {
  return textOr(info, key, "");
}

std::string ConcreteAuthRequest::textOr(IBsInfoReader* info, const char* key, const char* otherwise) {
  const char* const text = info == nullptr ? nullptr : info->charKeyConfig(key);
  return text == nullptr ? otherwise : text;
}

void ConcreteAuthRequest::keepCopyAsReply(IBsInfoReader* info) {
  const auto copy = makeRef<BsExternlMediaAuthMixedInfo>();
  copy->CopyInfo(info);
  setReplyInfo(copy);
}

}  // namespace KBL
