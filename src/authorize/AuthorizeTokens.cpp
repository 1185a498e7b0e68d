// Life of a platform token: background refresh, verification of a cached login, and handing tokens out.

#include "authorize/AuthRequestChain.h"
#include "authorize/ExternlMediaAuthorize.h"
#include "authorize/SecureInfo.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/Records.h"
#include "foundation/BsNet/IBsErrorInfo.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/KblUtils/TimeUtil.h"
#include "foundation/object/CastByName.h"
#include "requests/BsExternlMediaAuthClientCredentialsRequest.h"
#include "requests/BsExternlMediaAuthUserSupportTokenRequest.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace KBL {

namespace {
constexpr int failedRefreshRetryMs = 120000;
constexpr std::int64_t secondsBeforeTokenEnd = 300;
constexpr std::size_t maxHandedOutToken = 8192;

std::string textOrEmpty(const char* text) {
  return text == nullptr ? std::string() : text;
}

/// Interval that ends five minutes before the token does. A life of 300 seconds or less gives zero or less,
/// so that the next tick refreshes at once. Servers may send any number.
std::int64_t refreshIntervalOf(long long expiresInSeconds) {
  constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / 1000;
  return (std::clamp<std::int64_t>(expiresInSeconds, -most + secondsBeforeTokenEnd, most) -
          secondsBeforeTokenEnd) *
         1000;
}

/// The request as one of a refresh chain, or null.
BsExternlMediaAuthRequest* refreshChainRequest(IBsBaseRequest* request) {
  auto* const authRequest = queryInterface<BsExternlMediaAuthRequest>(request, "BsExternlMediaAuthRequest");
  if (authRequest == nullptr) return nullptr;
  const int type = authRequest->requestType();
  return type == requestClientCredentials || type == requestUserSupportToken ? authRequest : nullptr;
}

void fillRefreshInfo(BsBaseInfoRW& info, const ExternlMediaCacheInfo& record) {
  info.setCharKeyConfig(ExternlMediaMixedCharKey::refreshToken, record.refreshToken.c_str());
  info.setCharKeyConfig(ExternlMediaLoginCharKey::userSessionId, record.userUuid.c_str());
}
}  // namespace

int BsExternlMediaAuthorize::cbAsyncRefreshAccessToken(const std::string& uuid) {
  const auto refuse = [&](const char* reason) {
    KBL_LOG(error, logTag_ << ", uuid: " << uuid << reason);
    return 1;
  };
  if (uuid.empty()) {
    KBL_LOG(error, logTag_ << ", uuid is empty");
    return 1;
  }
  const auto proxies = tokenProxies_.read();
  const auto proxy = proxies->find(uuid);
  if (proxy == proxies->end()) return refuse(", AccessTokenProxy not exist");
  const auto now = context();
  const ExternlMediaCacheInfo* const record = findCacheInfo(now->cacheEntries, uuid);
  if (record == nullptr) return refuse(" is not exist");
  if (record->refreshToken.empty()) return refuse(", refresh token is empty");
  if (proxy->second->stopping()) return refuse(", wait to stop");

  KBL_LOG(error, logTag_ << ", " << secureInfoText("refreshAccessToken", record->refreshToken));
  const auto info = makeRef<BsExternlMediaAuthRefreshTokenInfo>();
  fillRefreshInfo(*info, *record);
  return startRefreshChain(uuid, info.get());
}

// A fresh account token is fetched every time; the stored one is not used again.
_Result BsExternlMediaAuthorize::startRefreshChain(const std::string& uuid, IBsInfoReader* info) const {
  const auto now = context();
  AuthRequestChain chain(*now, uuid);
  chain.append<BsExternlMediaAuthClientCredentialsRequest>();
  chain.append<BsExternlMediaAuthUserSupportTokenRequest>();
  return chain.start(info);
}

_Result BsExternlMediaAuthorize::toVerifyAccessToken(const char* uuidText) {
  const Self self = holdSelf();
  const std::string uuid = textOrEmpty(uuidText);
  const auto now = context();
  const CacheEntries& list = now->cacheEntries;
  KBL_LOG(info, logTag_ << ", uuid: " << uuid << ", size:" << list.size());
  const auto refuse = [&](int code, const char* reason) {
    reportAuthError(uuid, infoTypeVerifyAccessToken, code, logTag_ + reason);
    return resultFailed;
  };
  if (list.empty()) return refuse(ErrorCode::noUsableData, ", empty data");
  const ExternlMediaCacheInfo* const found = findUserOrLast(list, uuid);
  const ExternlMediaCacheInfo record = found == nullptr ? ExternlMediaCacheInfo{} : *found;
  if (record.userUuid.empty()) return refuse(ErrorCode::noUsableData, ", uuid empty data");
  if (record.userAccountUid.empty()) return refuse(ErrorCode::noUsableData, ", user_cloud_disk_uid empty");
  // A token whose end has passed is not refreshed here, even where its refresh token might still work.
  const auto nowSeconds = static_cast<std::int64_t>(TimeUtil::nowSinceEpoch() / 1000);
  if (record.expiresTimeout < nowSeconds) return refuse(ErrorCode::tokenExpired, ", token expired");

  const auto info = makeRef<BsExternlMediaVerifyAccessTokenInfo>();
  fillRefreshInfo(*info, record);
  KBL_LOG(info, logTag_ << ", uuid: " << record.userUuid << ", verify access token");
  return startRefreshChain(record.userUuid, info.get());
}

bool BsExternlMediaAuthorize::scheduleAfterTokenAnswer(BsExternlMediaAuthRequest& request,
                                                       IBsInfoReader* info, IBsErrorInfo* error) {
  const std::string& uuid = request.userUuid();
  const auto now = context();
  const ExternlMediaCacheInfo* const record = findCacheInfo(now->cacheEntries, uuid);
  const std::string refreshToken = textOrEmpty(info->charKeyConfig(ExternlMediaMixedCharKey::refreshToken));
  const bool failed = error->errorCode() != ErrorCode::none;
  const bool isTokenRequest = request.requestType() == requestUserSupportToken;
  if (!refreshToken.empty() && !failed && isTokenRequest) {
    scheduleTokenRefresh(uuid, info, true);
  } else if (record != nullptr && !record->refreshToken.empty() && failed) {
    scheduleTokenRefresh(uuid, info, false);
  }
  return isTokenRequest;
}

void BsExternlMediaAuthorize::processRefreshTokenRequest(IBsBaseRequest* request, IBsInfoReader* info,
                                                         IBsErrorInfo* error) {
  KBL_LOG(info, logTag_ << ", name: " << request->getRequestName() << ", infoType: " << info->infoType());
  auto* const tokenRequest = refreshChainRequest(request);
  if (tokenRequest == nullptr) return;
  scheduleAfterTokenAnswer(*tokenRequest, info, error);
  reportUnlessCanceled(request, info, error, false);
}

// Unlike a refresh, a verification tells the host of its success, too.
void BsExternlMediaAuthorize::processVerifyAccessToken(IBsBaseRequest* request, IBsInfoReader* info,
                                                       IBsErrorInfo* error) {
  KBL_LOG(info, logTag_ << ", name: " << request->getRequestName() << ", infoType: " << info->infoType());
  auto* const tokenRequest = refreshChainRequest(request);
  if (tokenRequest == nullptr) return;
  const bool isTokenRequest = scheduleAfterTokenAnswer(*tokenRequest, info, error);
  reportUnlessCanceled(request, info, error, isTokenRequest);
}

int BsExternlMediaAuthorize::scheduleTokenRefresh(const std::string& uuid, IBsInfoReader* info,
                                                  bool succeeded) {
  if (uuid.empty() || info == nullptr) return 0;
  const auto proxy = tokenProxyFor(uuid);
  if (!alive()) return 1;
  std::int64_t interval = failedRefreshRetryMs;
  if (succeeded) {
    const long long expiresIn = info->intKeyConfig(ExternlMediaMixedIntKey::expiresIn);
    interval = expiresIn == absentIntValue ? context()->refreshIntervalMs : refreshIntervalOf(expiresIn);
  }
  proxy->setRefreshInterval(interval);
  proxy->start();
  proxy->endRefresh();
  return 0;
}

std::shared_ptr<AccessTokenProxy> BsExternlMediaAuthorize::tokenProxyFor(const std::string& uuid) {
  const auto proxies = tokenProxies_.read();
  const auto standing = proxies->find(uuid);
  if (standing != proxies->end()) return standing->second;
  const auto made = std::make_shared<AccessTokenProxy>(uuid, logTag_);
  made->setRefreshInterval(context()->refreshIntervalMs);
  return tokenProxies_.change([&](TokenProxies& map) { return map.emplace(uuid, made).first->second; });
}

void BsExternlMediaAuthorize::reportAuthError(const std::string& uuid, int infoType, int code,
                                              const std::string& message) {
  const auto request = makeRef<BsExternlMediaAuthRequest>();
  const auto info = adoptRef(createRecord(infoType));
  initAuthRequest(*context(), uuid, *request);
  const auto error = request->errorInfo();
  error->setError(code, message.c_str());
  cbRequestForward(request.get(), info.get(), error.get());
}

std::string BsExternlMediaAuthorize::accessToken(const std::string& uuid) {
  const auto now = context();
  KBL_LOG(info, logTag_ << ", uuid: " << uuid << ", cache size: " << now->cacheEntries.size());
  const ExternlMediaCacheInfo* const record = findUserOrLast(now->cacheEntries, uuid);
  return record == nullptr ? std::string() : record->thirdAccessToken.substr(0, maxHandedOutToken);
}

_Result BsExternlMediaAuthorize::getAccessToken(const char* uuidText, char* buffer) {
  const std::string uuid = textOrEmpty(uuidText);
  const auto now = context();
  KBL_LOG(info, logTag_ << ", uuid: " << uuid << ", cache size: " << now->cacheEntries.size());
  const ExternlMediaCacheInfo* const record = findUserOrLast(now->cacheEntries, uuid);
  if (record == nullptr || buffer == nullptr) return resultFailed;
  // The caller's buffer takes the stored length: what lies past the cut is filled with zeros, and a shorter
  // token gets no terminator of its own. Hosts rely on it.
  const std::string& token = record->thirdAccessToken;
  const std::size_t copied = std::min(token.size(), maxHandedOutToken);
  char* const end = std::copy_n(token.data(), copied, buffer);
  std::fill_n(end, token.size() - copied, '\0');
  return resultOk;
}

}  // namespace KBL
