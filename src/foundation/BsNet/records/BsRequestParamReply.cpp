#include <BsNet/BsRequestParamReply.h>
#include <BsNet/NetKeys.h>

#include <string>

namespace KBL {

BsRequestParamReply::BsRequestParamReply() = default;
BsRequestParamReply::~BsRequestParamReply() = default;

const char* BsRequestParamReply::getRequestUrl() {
  return charKeyConfig(RequestParamCharKey::url);
}
const char* BsRequestParamReply::getRequestBody() {
  return charKeyConfig(RequestParamCharKey::body);
}

_BodyType BsRequestParamReply::getBodyType() {
  const long long type = intKeyConfig(RequestParamIntKey::bodyType);
  return type == bodyJson ? bodyJson : type == bodyForm ? bodyForm : bodyNone;
}

const char* BsRequestParamReply::getRequestheads() {
  return charKeyConfig(RequestParamCharKey::heads);
}

_Result BsRequestParamReply::setPubParam(IBsPubInfo* info) {
  RefPtr<IBsPubInfo> former = shareRef(info);
  const std::lock_guard lock(pubInfoMutex_);
  pubInfo_.swap(former);
  return resultOk;
}

IBsPubInfo* BsRequestParamReply::getPubParam() {
  const std::lock_guard lock(pubInfoMutex_);
  return pubInfo_.get();
}

const char* BsRequestParamReply::getResponseContent() {
  return charKeyConfig(ResponseCharKey::content);
}

_Result BsRequestParamReply::parseResponse(const char* content, long long size) {
  if (content == nullptr || size < 0) return resultFailed;
  try {
    const std::string body(content, static_cast<std::size_t>(size));
    return setCharKeyConfig(ResponseCharKey::content, body.c_str());
  } catch (...) {
    return resultFailed;
  }
}

_Result BsRequestParamReply::abord(int flag) {
  abordFlag_ = flag;
  return resultOk;
}

int BsRequestParamReply::isAbord() {
  return abordFlag_;
}

// The reference foundation keeps no task data.
IBsBaseTackInfo* BsRequestParamReply::getBsBaseTackInfo() {
  return nullptr;
}

}  // namespace KBL
