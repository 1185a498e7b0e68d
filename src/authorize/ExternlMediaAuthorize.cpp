#include "authorize/ExternlMediaAuthorize.h"

#include "authorize/switchboard/AuthorizeTable.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/Records.h"
#include "foundation/Texts.h"
#include <ExternlMediaTransfer/RecordInterfaces.h>
#include <KblLogger/KblLogger.h>
#include <KblUtils/CastByName.h>

#include <algorithm>
#include <functional>

namespace KBL {

BsExternlMediaAuthorize::BsExternlMediaAuthorize(std::int32_t platform, int instanceNumber)
    : state_(platform, instanceNumber),
      cache_(state_),
      login_(state_, cache_, tokens_),
      tokens_(state_),
      users_(state_, cache_, tokens_, login_) {
  registerRecordKeys();  // a host may hand in records of its own make
  ExternlMediaAuthCallbackProxy::instance().registerManager(state_.logTag, state_.aliveToken(), this);
}

BsExternlMediaAuthorize::~BsExternlMediaAuthorize() = default;

int BsExternlMediaAuthorize::dropHostReference() {
  const std::lock_guard lock(authorizeTableMutex);
  const int left = dropReference();
  if (left != 0) return left;
  const std::int32_t platform = state_.platform;
  const bool inTable = platform >= 0 && platform < ema_count;
  if (inTable && authorizeTable[platform] == this) authorizeTable[platform] = nullptr;
  state_.callbacks.close();
  return left;
}

void BsExternlMediaAuthorize::beforeDestroy() {
  KBL_LOG(severityInfo, state_.logTag << ", before destroy");
  state_.endLife();
  ExternlMediaAuthCallbackProxy::instance().removeManager(state_.logTag, this);
  tokens_.stopAll();
  KBL_LOG(severityInfo, state_.logTag << ", release destroy");
}

// The lines tell the host that its manager has gone. The core goes without: a flow that still passes through
// it ends what it began, the save of a new token among it, so the users stay until then. The host's callbacks
// stand in a list that nothing is called from any more.
void BsExternlMediaAuthorize::windUp() {
  constexpr const char* logFunction = "KBL::BsExternlMediaAuthorize::~BsExternlMediaAuthorize";
  KBL_LOG_AS(severityInfo, logFunction, state_.logTag << ", release begin");
  KBL_LOG_AS(severityInfo, logFunction, state_.logTag << ", release end");
}

void* BsExternlMediaAuthorize::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<IBsExternlMediaAuthorize>{"IBsExternlMediaAuthorize"},
                    Named<IExternlMediaRefreshAccessTokenCallback>{"IExternlMediaRefreshAccessTokenCallback"},
                    Named<IExternlMediaUploadFile>{"IExternlMediaUploadFile"},
                    Named<IBsRequstCallback>{"IBsRequstCallback"}, Named<IDmBaseObj>{"IDmBaseObj"});
}

// What a host asks for.

_Result BsExternlMediaAuthorize::init(const char* cacheDir, int refreshIntervalMs) try {
  if (cacheDir == nullptr) return resultFailed;
  KBL_LOG(severityInfo, state_.logTag << ", externlmediaauthorize 20220829");
  cache_.load(cacheDir);
  const int interval = std::clamp(refreshIntervalMs, minRefreshIntervalMs, maxRefreshIntervalMs);
  state_.settings.change([&](ManagerSettings& settings) { settings.refreshIntervalMs = interval; });
  KBL_LOG(severityInfo, state_.logTag << ", refresh access token interval " << interval << " ms");
  return resultOk;
} catch (...) {
  return resultOfException();
}

_Result BsExternlMediaAuthorize::setPubParam(IBsPubInfo* info) try {
  if (info == nullptr) return resultFailed;
  // Holds the former record behind the change, and gives it up outside of the lock.
  std::shared_ptr<IBsPubInfo> record = countOnce(info);
  state_.settings.change([&](ManagerSettings& settings) { settings.pubInfo.swap(record); });
  return resultOk;
} catch (...) {
  return resultOfException();
}

_Result BsExternlMediaAuthorize::setServerProxy(IBsServerProxyInfo* info) try {
  if (info == nullptr) return resultFailed;
  std::shared_ptr<IBsServerProxyInfo> record = countOnce(info);
  state_.settings.change([&](ManagerSettings& settings) { settings.serverProxy.swap(record); });
  return resultOk;
} catch (...) {
  return resultOfException();
}

_Result BsExternlMediaAuthorize::addAuthCallback(IExternlMediaAuthCallback* callback) try {
  if (callback == nullptr) return resultFailed;
  KBL_LOG(severityInfo, state_.logTag << ", addAuthCallback," << static_cast<const void*>(callback));
  state_.callbacks.add(callback);
  return resultOk;
} catch (...) {
  return resultOfException();
}

_Result BsExternlMediaAuthorize::removeAuthCallback(IExternlMediaAuthCallback* callback) try {
  if (callback == nullptr) return resultFailed;
  KBL_LOG(severityInfo, state_.logTag << ", removeAuthCallback," << static_cast<const void*>(callback));
  state_.callbacks.remove(callback);
  return resultOk;
} catch (...) {
  return resultOfException();
}

_Result BsExternlMediaAuthorize::toExternlMediaAuth(IBsInfoReader* loginInfo) try {
  if (loginInfo == nullptr) return resultFailed;
  const Self self = holdSelf();
  return login_.start(loginInfo);
} catch (...) {
  return resultOfException();
}

_Result BsExternlMediaAuthorize::cancelLogin() {
  return login_.cancel();
}

_Result BsExternlMediaAuthorize::toVerifyAccessToken(const char* uuid) try {
  const Self self = holdSelf();
  return tokens_.verify(textOrEmpty(uuid));
} catch (...) {
  return resultOfException();
}

_Result BsExternlMediaAuthorize::userInfo(const char* uuid, IBsExternlMediaAuthUserInfo* out) try {
  if (out == nullptr) return resultFailed;
  return users_.userInfo(textOrEmpty(uuid), *out);
} catch (...) {
  return resultOfException();
}

_Result BsExternlMediaAuthorize::getAccessToken(const char* uuid, char* buffer) try {
  return users_.getAccessToken(textOrEmpty(uuid), buffer);
} catch (...) {
  return resultOfException();
}

_Result BsExternlMediaAuthorize::logout(const char* uuid) try {
  const Self self = holdSelf();
  return users_.logout(textOrEmpty(uuid));
} catch (...) {
  return resultOfException();
}

_Result BsExternlMediaAuthorize::toConsume(IBsInfoReader* consumeInfo) try {
  if (consumeInfo == nullptr) return resultFailed;
  const Self self = holdSelf();
  return users_.consume(consumeInfo);
} catch (...) {
  return resultOfException();
}

void BsExternlMediaAuthorize::asyncUploadMediaFile(IBsExternlMediaUploadInfo* info,
                                                   IBsRequstCallback* callback, int consume) {
  if (info == nullptr) return;
  const Self self = holdSelf();
  users_.upload(info, callback, consume);
}

// What requests and timers ask for, through the switchboard.

_Result BsExternlMediaAuthorize::queryResponse(IBsBaseRequest* request, IBsInfoReader* info,
                                               IBsErrorInfo* error) {
  if (!state_.alive()) {
    KBL_LOG(severityInfo, state_.logTag << ", nullptr");
    return resultFailed;
  }
  if (request == nullptr || info == nullptr || error == nullptr) {
    KBL_LOG(severityInfo, state_.logTag << ", invalid args");
    return resultFailed;
  }
  switch (info->infoType()) {
    case infoTypeLogin:
      login_.processAnswer(request, info, error);
      return resultOk;
    case infoTypeRefreshToken:
      tokens_.processRefresh(request, info, error);
      return resultOk;
    case infoTypeVerifyAccessToken:
      tokens_.processVerification(request, info, error);
      return resultOk;
    case infoTypeConsume:
      users_.processConsumeAnswer(request, info, error);
      return resultOk;
    default:
      return resultFailed;
  }
}

int BsExternlMediaAuthorize::cbRequestFailed(IBsBaseRequest* request, IBsInfoReader* info,
                                             IBsErrorInfo* error) {
  state_.callbacks.forward(request, info, error);
  return 0;
}

int BsExternlMediaAuthorize::cbRequestForward(IBsBaseRequest* request, IBsInfoReader* info,
                                              IBsErrorInfo* error) {
  return cbRequestFailed(request, info, error);
}

int BsExternlMediaAuthorize::cbRequestNotify(const std::string& uuid) {
  const auto tell = [&](IExternlMediaAuthCallback& callback) { callback.onRequestFinished(uuid); };
  state_.callbacks.tell(std::cref(tell));
  return 0;
}

int BsExternlMediaAuthorize::cbQueryThirdLoginURL(const std::string& uuid, const std::string& loginUrl) {
  login_.tellLoginUrl(uuid, loginUrl);
  return 0;
}

int BsExternlMediaAuthorize::cbQueryThirdLoginCallbackURL(const std::string& uuid,
                                                          const std::string& callbackUrl) {
  login_.tellCallbackUrl(uuid, callbackUrl);
  return 0;
}

int BsExternlMediaAuthorize::cbAsyncRefreshAccessToken(const std::string& uuid) {
  return tokens_.refresh(uuid);
}

void BsExternlMediaAuthorize::renewalUnanswered(const std::string& uuid,
                                                const std::vector<Verification>& verifications) {
  tokens_.renewalUnanswered(uuid, verifications);
}

int BsExternlMediaAuthorize::updateInfo(const std::string& uuid, IBsInfoReader* info) {
  return cache_.updateInfo(uuid, info);
}

std::string BsExternlMediaAuthorize::accessToken(const std::string& uuid) {
  return users_.accessToken(uuid);
}

int BsExternlMediaAuthorize::copyAuthContext(AuthContext& out) {
  out = state_.context();
  return 1;
}

int BsExternlMediaAuthorize::setTimedOut(const std::string& uuid, bool timedOut) {
  state_.sessions.set(uuid, &SessionFlags::timedOut, timedOut);
  return 0;
}

int BsExternlMediaAuthorize::isTimedOut(const std::string& uuid) {
  return state_.sessions.get(uuid, &SessionFlags::timedOut) ? 1 : 0;
}

int BsExternlMediaAuthorize::setFinished(const std::string& uuid, bool finished) {
  state_.sessions.set(uuid, &SessionFlags::finished, finished);
  return 0;
}

int BsExternlMediaAuthorize::isFinished(const std::string& uuid) {
  return state_.sessions.get(uuid, &SessionFlags::finished) ? 1 : 0;
}

int BsExternlMediaAuthorize::isCanceled(const std::string& uuid) {
  return state_.sessions.get(uuid, &SessionFlags::canceled) ? 1 : 0;
}

}  // namespace KBL
