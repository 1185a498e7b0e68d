// The place of every operation in its interface's table: what a host compiled against.
#include "support/SlotOf.h"
#include <BsNet/BsRequestParamReply.h>
#include <BsNet/IBodySource.h>
#include <BsNet/IBsBaseRequest.h>
#include <BsNet/INetworkClient.h>
#include <BsNet/KblBaseRequest.h>

#include <gtest/gtest.h>

#if defined(__GXX_ABI_VERSION) && defined(__x86_64__)

namespace {

using namespace KBL;

TEST(SlotOrder, IDmBaseObj) {
  expectSlots(0, &IDmBaseObj::AddRef, &IDmBaseObj::Release, &IDmBaseObj::GetProtocol,
              &IDmBaseObj::SetProtocol, &IDmBaseObj::QueryInterfaceByName);
  expectSlots(0, &IDmProtocol::onLastRelease);
}

TEST(SlotOrder, InfoRecords) {
  expectSlots(5, &IBsInfoReader::infoType, &IBsInfoReader::intKeyConfig, &IBsInfoReader::charKeyConfig,
              &IBsInfoReader::updataFrom, &IBsBaseInfoRW::setIntKeyConfig, &IBsBaseInfoRW::setCharKeyConfig);
  expectSlots(11, &IBsPubInfo::removeKey);
}

TEST(SlotOrder, IBsErrorInfo) {
  expectSlots(9, &IBsErrorInfo::errorCode, &IBsErrorInfo::originCode, &IBsErrorInfo::failed,
              &IBsErrorInfo::errorMessage, &IBsErrorInfo::setError);
}

TEST(SlotOrder, IBsRequestParamReply) {
  expectSlots(11, &IBsRequestParamReply::getRequestUrl, &IBsRequestParamReply::getRequestBody,
              &IBsRequestParamReply::getBodyType, &IBsRequestParamReply::getRequestheads,
              &IBsRequestParamReply::setPubParam, &IBsRequestParamReply::getPubParam,
              &IBsRequestParamReply::getResponseContent, &IBsRequestParamReply::parseResponse,
              &IBsRequestParamReply::abord, &IBsRequestParamReply::isAbord,
              &IBsRequestParamReply::getBsBaseTackInfo);
}

TEST(SlotOrder, IBsBaseRequest) {
  expectSlots(5, &IBsBaseRequest::setServerProxy, &IBsBaseRequest::getServerProxy,
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
  expectSlots(0, &IBsRequstCallback::queryResponse);
  expectSlots(0, &IBsProgressCallback::onProgress, &IBsProgressCallback::onReplyStarted);
  expectSlots(0, &IBsResponseWriteCallback::onResponseData);
}

TEST(SlotOrder, INetworkClient) {
  expectSlots(0, &INetworkClient::setProxy, &INetworkClient::setConnectTimeout,
              &INetworkClient::setTotalTimeout, &INetworkClient::setLowSpeed, &INetworkClient::setHeaders,
              &INetworkClient::setBody, &INetworkClient::setUploadSource, &INetworkClient::setBearerToken,
              &INetworkClient::perform, &INetworkClient::destroy);
}

TEST(SlotOrder, BodySource) {
  expectSlots(0, &IBodySource::readBody);
  expectSlots(0, &IBodySourceClient::setBodySource);
}

}  // namespace

#endif
