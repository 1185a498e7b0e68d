// The place of every operation in its interface's table: what a host compiled against.
#include "foundation/BsNet/BsRequestParamReply.h"
#include "foundation/BsNet/IBsBaseRequest.h"
#include "foundation/BsNet/INetworkClient.h"
#include "foundation/BsNet/KblBaseRequest.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#if defined(__GXX_ABI_VERSION) && defined(__x86_64__)

namespace {

using namespace KBL;

/// Under the Itanium rules a pointer to a virtual operation holds its offset in the table, plus one.
template <class Operation>
std::ptrdiff_t slotOf(Operation operation) {
  std::ptrdiff_t parts[2];
  static_assert(sizeof(operation) == sizeof(parts));
  std::memcpy(parts, &operation, sizeof(parts));
  return (parts[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)) + 1;
}

template <class... Operations>
void expectOrder(int first, Operations... operations) {
  int place = first;
  (..., [&] { EXPECT_EQ(slotOf(operations), place++); }());
}

TEST(SlotOrder, IDmBaseObj) {
  expectOrder(1, &IDmBaseObj::AddRef, &IDmBaseObj::Release, &IDmBaseObj::GetProtocol,
              &IDmBaseObj::SetProtocol, &IDmBaseObj::QueryInterfaceByName);
  expectOrder(1, &IDmProtocol::onLastRelease);
}

TEST(SlotOrder, InfoRecords) {
  expectOrder(6, &IBsInfoReader::infoType, &IBsInfoReader::intKeyConfig, &IBsInfoReader::charKeyConfig,
              &IBsInfoReader::updataFrom, &IBsBaseInfoRW::setIntKeyConfig, &IBsBaseInfoRW::setCharKeyConfig);
  expectOrder(12, &IBsPubInfo::removeKey);
}

TEST(SlotOrder, IBsErrorInfo) {
  expectOrder(10, &IBsErrorInfo::errorCode, &IBsErrorInfo::originCode, &IBsErrorInfo::failed,
              &IBsErrorInfo::errorMessage, &IBsErrorInfo::setError);
}

TEST(SlotOrder, IBsRequestParamReply) {
  expectOrder(12, &IBsRequestParamReply::getRequestUrl, &IBsRequestParamReply::getRequestBody,
              &IBsRequestParamReply::getBodyType, &IBsRequestParamReply::getRequestheads,
              &IBsRequestParamReply::setPubParam, &IBsRequestParamReply::getPubParam,
              &IBsRequestParamReply::getResponseContent, &IBsRequestParamReply::parseResponse,
              &IBsRequestParamReply::abord, &IBsRequestParamReply::isAbord,
              &IBsRequestParamReply::getBsBaseTackInfo);
}

TEST(SlotOrder, IBsBaseRequest) {
  expectOrder(6, &IBsBaseRequest::setServerProxy, &IBsBaseRequest::getServerProxy,
              &IBsBaseRequest::setPubParam, &IBsBaseRequest::getPubParam, &IBsBaseRequest::setBearer,
              &IBsBaseRequest::setTimeout, &IBsBaseRequest::getTimeout, &IBsBaseRequest::setConnectTimeout,
              &IBsBaseRequest::getConnectTimeout, &IBsBaseRequest::SetLowSpeed,
              &IBsBaseRequest::SetRetryTimes, &IBsBaseRequest::setRequestName,
              &IBsBaseRequest::getRequestName, &IBsBaseRequest::addCallback, &IBsBaseRequest::removeCallback,
              &IBsBaseRequest::clearCallbacks, &IBsBaseRequest::syncRequest, &IBsBaseRequest::syncRequestEx,
              &IBsBaseRequest::asyncRequest, &IBsBaseRequest::clearAsyncRequest,
              &IBsBaseRequest::abordAsyncRequest, &IBsBaseRequest::download);
}

TEST(SlotOrder, Callbacks) {
  expectOrder(1, &IBsRequstCallback::queryResponse);
  expectOrder(1, &IBsProgressCallback::onProgress, &IBsProgressCallback::onReplyStarted);
  expectOrder(1, &IBsResponseWriteCallback::onResponseData);
}

TEST(SlotOrder, INetworkClient) {
  expectOrder(1, &INetworkClient::setProxy, &INetworkClient::setConnectTimeout,
              &INetworkClient::setTotalTimeout, &INetworkClient::setLowSpeed, &INetworkClient::setHeaders,
              &INetworkClient::setBody, &INetworkClient::setUploadSource, &INetworkClient::setBearerToken,
              &INetworkClient::perform, &INetworkClient::destroy);
}

}  // namespace

#endif
