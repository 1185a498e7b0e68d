#include "requests/BsExternlMediaAuthRequest.h"

#include "boundary/records/Records.h"
#include "requests/DetachedSleeper.h"
#include "requests/logFrom.h"
#include <BsNet/BsErrorInfo.h>
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <KblLogger/KblLogger.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/StringUtil.h>

#include <new>
#include <utility>

namespace KBL {

namespace {
constexpr RequestConstants noConstants = {requestNone, httpPost, "", "ExternlMediaAuthRequestNone"};
constexpr int firstFailureStatus = 400;
constexpr int codeNotChecked = 1000;

/// A new public-information record with a copy of `info`, or null when memory is short.
RefPtr<IBsPubInfo> copyOfPubInfo(IBsPubInfo* info) {
  const RefPtr<IBsInfoReader> record = adoptRef(createInfoObject(infoObjectPubInfo));
  RefPtr<IBsPubInfo> copy = shareRef(queryInterface<IBsPubInfo>(record.get(), "IBsPubInfo"));
  if (copy) copy->updataFrom(info);
  return copy;
}
}  // namespace

BsExternlMediaAuthRequest::BsExternlMediaAuthRequest() : BsExternlMediaAuthRequest(noConstants) {}

BsExternlMediaAuthRequest::BsExternlMediaAuthRequest(const RequestConstants& constants)
    : requestType_(constants.requestType),
      replyInfo_(makeRef<BsBaseInfoRW>()),
      errorInfo_(makeRef<BsErrorInfo>()),
      exchange_(constants.urlKey, constants.httpMethod),
      worker_(*this),
      chain_(*this) {
  name = constants.name;
  KBL_LOG(severityInfo, "create:" << name << ", " << static_cast<const void*>(this));
}

BsExternlMediaAuthRequest::~BsExternlMediaAuthRequest() {
  KBL_LOG(severityInfo, "release:" << name << ", " << static_cast<const void*>(this));
  replyInfo_.reset();
  errorInfo_.reset();
  pubInfoCopy_.reset();
}

void* BsExternlMediaAuthRequest::QueryInterfaceByName(const char* requested) {
  return KblBaseRequest::QueryInterfaceByName(requested);
}

_Result BsExternlMediaAuthRequest::setPubParam(IBsPubInfo* info) {
  if (info == nullptr) return resultFailed;
  const RefPtr<IBsPubInfo> withoutSecret = copyOfPubInfo(info);
  if (!withoutSecret) return resultFailed;
  withoutSecret->removeKey(PubCharKey::appSecret);
  KblBaseRequest::setPubParam(withoutSecret.get());

  if (pubInfoCopy_) {
    pubInfoCopy_->updataFrom(info);
  } else {
    pubInfoCopy_ = copyOfPubInfo(info);
  }
  exchange_.takeHeaders(*info);
  return resultOk;
}

RefPtr<IBsErrorInfo> BsExternlMediaAuthRequest::errorInfo() const {
  const std::lock_guard lock(resultMutex_);
  return errorInfo_;
}

RefPtr<IBsInfoReader> BsExternlMediaAuthRequest::replyInfo() const {
  const std::lock_guard lock(resultMutex_);
  return replyInfo_;
}

void BsExternlMediaAuthRequest::setErrorInfo(RefPtr<IBsErrorInfo> error) {
  if (!error) return;
  const std::lock_guard lock(resultMutex_);
  errorInfo_.swap(error);  // the former one goes when the argument does, outside the lock
}

void BsExternlMediaAuthRequest::setReplyInfo(RefPtr<IBsInfoReader> info) {
  if (!info) return;
  const std::lock_guard lock(resultMutex_);
  replyInfo_.swap(info);
}

void BsExternlMediaAuthRequest::syncRequestWithInfo(IBsInfoReader* info) {
  (void)exchange_.run(*this, info);
}

int BsExternlMediaAuthRequest::asyncRequestWithInfo(IBsInfoReader* info) {
  return worker_.start(info, RequestWorker::AbortFlag::clear) == RequestWorker::Started::yes ? 0 : 1;
}

void BsExternlMediaAuthRequest::_asyncRequestWithInfo(IBsInfoReader* info) {
  worker_.run(info);
}

_Result BsExternlMediaAuthRequest::goOnWith(RefPtr<BsExternlMediaAuthRequest> next) {
  return chain_.goOnWith(std::move(next));
}

_Result BsExternlMediaAuthRequest::queryResponse(IBsBaseRequest*, IBsInfoReader* info, IBsErrorInfo* error) {
  chain_.goOn(info, error);
  return resultOk;
}

void BsExternlMediaAuthRequest::delayRelease(int milliseconds) {
  // Without a thread for the sleep the reference goes at once, which is sound because every caller's call is
  // the last thing that it does with that reference.
  if (!runDetachedAfter(milliseconds, [this] { Release(); })) Release();
}

void BsExternlMediaAuthRequest::abortForGood() {
  if (flow_) flow_->cancel();
  worker_.abortForGood();
}

_Result BsExternlMediaAuthRequest::Request(IBsInfoReader*, INetworkClient* client, NetReply* reply) {
  const std::string address = configuredUrl();
  KBL_LOG(severityInfo, name << ":" << address);
  *reply = client->perform(URL::FromString(address), httpMethod(), nullptr, nullptr, nullptr, nullptr);
  return resultOk;
}

int BsExternlMediaAuthRequest::handleResponse(IBsInfoReader* info, const std::string& content,
                                              IBsErrorInfo* error, NetReply* reply) {
  parseEnvelope(info, content, error, reply);
  const int code = error->errorCode();
  // A failure status speaks for itself unless the body told a better reason.
  if (reply->httpCode >= firstFailureStatus && (code == ErrorCode::none || code == ErrorCode::replyNotRead)) {
    RequestExchange::fail(*this, info, *error, *reply);
    return 1;
  }
  if (code == ErrorCode::replyNotRead) return 1;
  return handleRequestData(this, info, error, reply);
}

int BsExternlMediaAuthRequest::parseEnvelope(IBsInfoReader*, const std::string& content, IBsErrorInfo* error,
                                             NetReply*) {
  Json::Value root;
  return readEnvelope(content, root, *error) ? 1 : 0;
}

bool BsExternlMediaAuthRequest::readEnvelope(const std::string& content, Json::Value& root,
                                             IBsErrorInfo& error) {
  std::string message;
  int code = codeNotChecked;
  if (checkResponseValid(content, root, message, code) != 0) return true;
  error.setError(code, message.c_str());
  return false;
}

int BsExternlMediaAuthRequest::checkResponseValid(const std::string& content, Json::Value& root,
                                                  std::string& message, int& code) {
  return checkReply(accountReply, content, root, message, code);
}

int BsExternlMediaAuthRequest::checkReply(const ReplyShape& shape, const std::string& content,
                                          Json::Value& root, std::string& message, int& code,
                                          const std::source_location& caller) {
  ReplyVerdict verdict = judgeReply(shape, content, root);
  code = verdict.code;
  if (!verdict.isSuccess) message = std::move(verdict.message);
  if (!verdict.deserves(shape.lines)) return verdict.isSuccess ? 1 : 0;
  const bool isGoodLine = verdict.isSuccess && shape.goodLine != nullptr;
  logFrom(caller, [&](std::ostream& line) {
    line << name << (isGoodLine ? shape.goodLine : shape.line) << code << ",msg:" << message
         << shape.contentMark << StringUtil::excerpt(content);
    if (!isGoodLine) line << ", url: " << configuredUrl();
  });
  return verdict.isSuccess ? 1 : 0;
}

int BsExternlMediaAuthRequest::hookRequestInfo(IBsInfoReader* info, IBsErrorInfo*, NetReply*) {
  if (auto* const record = dynamic_cast<IBsBaseInfoRW*>(info)) {
    BsBaseInfoRW address;
    address.setCharKeyConfig(RequestParamCharKey::url, configuredUrl().c_str());
    record->updataFrom(&address);
  }
  return 0;
}

int BsExternlMediaAuthRequest::hookNetError(IBsInfoReader* info, IBsErrorInfo* error, NetReply*) {
  if (auto* const param = dynamic_cast<IBsRequestParamReply*>(info)) {
    param->setCharKeyConfig(RequestParamCharKey::url, configuredUrl().c_str());
  }
  KblBaseRequest::hookCallback(this, info, error);
  const ErrorState state = errorStateOf(*error);
  KBL_LOG(severityError, name << ":network originCode:" << state.code << ", msg:" << state.message);
  return 1;
}

int BsExternlMediaAuthRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader*, IBsErrorInfo*, NetReply*) {
  setReplyInfo(makeRef<BsExternlMediaAuthMixedInfo>());
  return 0;
}

void initAuthRequest(const AuthContext& context, const std::string& uuid,
                     BsExternlMediaAuthRequest& request) {
  request.setServerProxy(context.serverProxy.get());
  const bool headersAreSet = request.setPubParam(context.pubInfo.get()) == resultOk;
  if (context.pubInfo && !headersAreSet) throw std::bad_alloc();
  request.setTimeout(context.timeoutSeconds * 1000);
  request.platform_ = context.platform;
  request.ownerTag_ = context.logTag;
  request.userUuid_ = uuid;
}

}  // namespace KBL
