#include "boundary/records/Records.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/object/CastByName.h"
#include "requests/BsExternlMediaAuthRequest.h"

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
  KBL_LOG_AS(info, qualifiedFunctionName(caller.function_name()).c_str(),
             name << ":" << address << logSuffix);
  reply = client.perform(url, httpMethod_, nullptr, nullptr, progress, nullptr);
  return resultOk;
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
