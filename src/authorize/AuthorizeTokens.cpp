#include "authorize/AuthorizeTokens.h"

#include "authorize/AuthRequestChain.h"
#include "authorize/managerLog.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/Records.h"
#include "foundation/Texts.h"
#include "requests/AccountRequests.h"
#include <BsNet/IBsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/TimeUtil.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace KBL {

namespace {
constexpr int failedRefreshRetryMs = 120000;
constexpr std::int64_t secondsBeforeTokenEnd = 300;
constexpr int runningRefreshWaitMs = 100;
constexpr int triesForMemory = 10;
constexpr int memoryPauseMs = 100;

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

/// The first failure ends a renewal, and else the answer of the chain's last request.
bool endsRenewal(const BsExternlMediaAuthRequest& step, IBsErrorInfo& error) {
  return error.errorCode() != ErrorCode::none || step.requestType() == requestUserSupportToken;
}

/// Lets the user's next renewal begin; the verifications that waited for this one.
std::vector<Verification> endRenewal(const BsExternlMediaAuthRequest& step) {
  auto* const renewal = dynamic_cast<TokenRenewal*>(step.flow().get());
  return renewal == nullptr ? std::vector<Verification>() : renewal->end();
}

void fillRefreshInfo(BsBaseInfoRW& info, const ExternlMediaCacheInfo& record) {
  info.setCharKeyConfig(ExternlMediaMixedCharKey::refreshToken, record.refreshToken.c_str());
  info.setCharKeyConfig(ExternlMediaLoginCharKey::userSessionId, record.userUuid.c_str());
}
}  // namespace

AuthorizeTokens::AuthorizeTokens(ManagerState& state)
    : state_(state), renewals_(std::make_shared<TokenRenewals>(state.logTag)) {}

int AuthorizeTokens::refresh(const std::string& uuid) {
  const auto refuse = [&](const char* reason) {
    KBL_MANAGER_LOG(severityError, "cbAsyncRefreshAccessToken",
                    state_.logTag << ", uuid: " << uuid << reason);
    return 1;
  };
  if (uuid.empty()) {
    KBL_MANAGER_LOG(severityError, "cbAsyncRefreshAccessToken", state_.logTag << ", uuid is empty");
    return 1;
  }
  const auto proxy = standingProxy(uuid);
  if (proxy == nullptr) return refuse(", AccessTokenProxy not exist");
  const auto users = state_.users.read();
  const ExternlMediaCacheInfo* const record = findCacheInfo(users->entries, uuid);
  if (record == nullptr) return refuse(" is not exist");
  if (record->refreshToken.empty()) return refuse(", refresh token is empty");
  if (proxy->stopping()) return refuse(", wait to stop");

  const auto info = makeRef<BsExternlMediaAuthRefreshTokenInfo>();
  fillRefreshInfo(*info, *record);
  const auto renewal = renewals_->begin(uuid, nullptr);
  if (renewal == nullptr) return 0;  // the answer of the one that runs arms the refresher
  useNewestRefreshToken(uuid, *info);
  const char* const refreshToken = info->charKeyConfig(ExternlMediaMixedCharKey::refreshToken);
  KBL_MANAGER_LOG(severityError, "cbAsyncRefreshAccessToken",
                  state_.logTag << ", " << secureInfoText("refreshAccessToken", textOrEmpty(refreshToken)));
  return startChain(uuid, *info, renewal);
}

// The renewal that ran until now may have stored another one than was read before.
void AuthorizeTokens::useNewestRefreshToken(const std::string& uuid, BsBaseInfoRW& info) const {
  const auto users = state_.users.read();
  if (const auto* const record = findCacheInfo(users->entries, uuid)) fillRefreshInfo(info, *record);
}

// A fresh account token is fetched every time; the stored one is not used again.
_Result AuthorizeTokens::startChain(const std::string& uuid, BsBaseInfoRW& info,
                                    const std::shared_ptr<TokenRenewal>& renewal) {
  _Result result = resultFailed;
  try {
    const AuthContext context = state_.requestContext();
    AuthRequestChain chain(context, uuid, renewal);
    chain.append<BsExternlMediaAuthClientCredentialsRequest>();
    chain.append<BsExternlMediaAuthUserSupportTokenRequest>();
    result = chain.start(&info);
  } catch (...) {
    passThreadEnd();  // memory is short
  }
  // Whoever asked for this renewal has the result; who came behind is waiting.
  if (result != resultOk) failVerifications(renewal->end(), uuid);
  return result;
}

_Result AuthorizeTokens::verify(const std::string& uuid) {
  const auto users = state_.users.read();
  const CacheEntries& list = users->entries;
  KBL_MANAGER_LOG(severityInfo, "toVerifyAccessToken",
                  state_.logTag << ", uuid: " << uuid << ", size:" << list.size());
  const auto refuse = [&](int code, const char* reason) {
    state_.reportAuthError(uuid, infoTypeVerifyAccessToken, code, state_.logTag + reason);
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
  KBL_MANAGER_LOG(severityInfo, "toVerifyAccessToken",
                  state_.logTag << ", uuid: " << record.userUuid << ", verify access token");
  const auto renewal = renewals_->begin(record.userUuid, info);
  if (renewal == nullptr) return resultOk;  // answered with the one that runs
  useNewestRefreshToken(record.userUuid, *info);
  return startChain(record.userUuid, *info, renewal);
}

void AuthorizeTokens::scheduleAfterAnswer(const std::string& uuid, IBsInfoReader* info, IBsErrorInfo* error) {
  if (error->errorCode() != ErrorCode::none) {
    (void)scheduleRetry(uuid, info);
  } else if (!hasText(info->charKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken))) {
    retryWithoutResult(uuid, info);
  } else if (hasText(info->charKeyConfig(ExternlMediaMixedCharKey::refreshToken))) {
    schedule(uuid, info, true);
  } else if (const auto proxy = standingProxy(uuid)) {
    proxy->endRefresh();
  }
}

void AuthorizeTokens::processRefresh(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) {
  KBL_MANAGER_LOG(
      severityInfo, "processRefreshTokenRequest",
      state_.logTag << ", name: " << request->getRequestName() << ", infoType: " << info->infoType());
  auto* const step = refreshChainRequest(request);
  if (step == nullptr || !endsRenewal(*step, *error)) return;
  const auto waiting = endRenewal(*step);
  scheduleAfterAnswer(step->userUuid(), info, error);
  const int code = error->errorCode();
  if (code == ErrorCode::userCancelled) {
    KBL_MANAGER_LOG(severityInfo, "processRefreshTokenRequest", state_.logTag << ", user canceled");
    return;
  }
  if (code != ErrorCode::none) state_.callbacks.forward(request, info, error);
  answerVerifications(waiting, step->userUuid(), request, error);
}

// Unlike a refresh, a verification tells the host of its success, too.
void AuthorizeTokens::processVerification(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) {
  KBL_MANAGER_LOG(
      severityInfo, "processVerifyAccessToken",
      state_.logTag << ", name: " << request->getRequestName() << ", infoType: " << info->infoType());
  auto* const step = refreshChainRequest(request);
  if (step == nullptr || !endsRenewal(*step, *error)) return;
  const auto waiting = endRenewal(*step);
  scheduleAfterAnswer(step->userUuid(), info, error);
  if (error->errorCode() == ErrorCode::userCancelled) {
    KBL_MANAGER_LOG(severityInfo, "processVerifyAccessToken", state_.logTag << ", user canceled");
    return;
  }
  state_.callbacks.forward(request, info, error);
  answerVerifications(waiting, step->userUuid(), request, error);
}

void AuthorizeTokens::answerVerifications(const std::vector<Verification>& verifications,
                                          const std::string& uuid, IBsBaseRequest* request,
                                          IBsErrorInfo* error) {
  const ScopedRequestFlow ofNoFlow(nullptr);  // it may be a login's callback that leads here
  for (const Verification& verification : verifications) {
    useNewestRefreshToken(uuid, *verification);
    // Through the switchboard, where a manager that has fallen silent is not reached.
    ExternlMediaAuthCallbackProxy::instance().cbRequestForward(state_.logTag, request, verification.get(),
                                                               error);
  }
}

void AuthorizeTokens::failVerifications(const std::vector<Verification>& verifications,
                                        const std::string& uuid) {
  if (verifications.empty()) return;
  if (const auto request = makeFailedRequest(uuid)) {
    return answerVerifications(verifications, uuid, request.get(), request->errorInfo().get());
  }
  KBL_MANAGER_LOG(severityError, "failVerifications",
                  state_.logTag << ", uuid: " << uuid << ", verification without answer, no memory");
}

RefPtr<BsExternlMediaAuthRequest> AuthorizeTokens::makeFailedRequest(const std::string& uuid) const {
  for (int tries = 0; tries < triesForMemory; ++tries) {
    try {
      const auto request = makeRef<BsExternlMediaAuthUserSupportTokenRequest>();
      initAuthRequest(state_.requestContext(), uuid, *request);
      const auto error = request->errorInfo();
      error->setError(ErrorCode::noNetworkClient, "create network request failed");
      if (error->errorCode() != ErrorCode::none) return request;
    } catch (const std::bad_alloc&) {
      // as with an error that could not be kept
    }
    TimeUtil::sleepMs(memoryPauseMs);
  }
  return nullptr;
}

void AuthorizeTokens::renewalUnanswered(const std::string& uuid,
                                        const std::vector<Verification>& verifications) {
  try {
    retryWithoutResult(uuid, makeRef<BsExternlMediaAuthRefreshTokenInfo>().get());
  } catch (const std::bad_alloc&) {
    if (const auto proxy = standingProxy(uuid)) proxy->endRefresh();
  }
  failVerifications(verifications, uuid);
}

void AuthorizeTokens::retryWithoutResult(const std::string& uuid, IBsInfoReader* info) {
  if (scheduleRetry(uuid, info))
    KBL_MANAGER_LOG(severityWarning, "retryWithoutResult",
                    state_.logTag << ", refresh without result, try again");
}

bool AuthorizeTokens::scheduleRetry(const std::string& uuid, IBsInfoReader* info) {
  const auto users = state_.users.read();
  const ExternlMediaCacheInfo* const record = findCacheInfo(users->entries, uuid);
  if (record != nullptr && !record->refreshToken.empty()) {
    schedule(uuid, info, false);
    return true;
  }
  if (const auto proxy = standingProxy(uuid)) proxy->endRefresh();
  return false;
}

int AuthorizeTokens::schedule(const std::string& uuid, IBsInfoReader* info, bool succeeded) try {
  if (uuid.empty() || info == nullptr) return 0;
  const auto proxy = proxyFor(uuid);
  if (proxy == nullptr) {
    state_.tellLateAnswer(uuid);
    return 0;
  }
  if (!state_.alive()) return 1;
  std::int64_t interval = failedRefreshRetryMs;
  if (succeeded) {
    const long long expiresIn = info->intKeyConfig(ExternlMediaMixedIntKey::expiresIn);
    interval = expiresIn == absentIntValue ? state_.settings.read()->refreshIntervalMs
                                           : refreshIntervalOf(expiresIn);
  }
  proxy->setRefreshInterval(interval);
  proxy->start();
  proxy->endRefresh();
  return 0;
} catch (...) {
  passThreadEnd();
  // Memory is short: a refresher that stands goes on as it was.
  if (const auto proxy = standingProxy(uuid)) proxy->endRefresh();
  return 1;
}

std::shared_ptr<AccessTokenProxy> AuthorizeTokens::standingProxy(const std::string& uuid) const {
  const auto proxies = proxies_.read();
  const auto standing = proxies->find(uuid);
  return standing == proxies->end() ? nullptr : standing->second;
}

std::shared_ptr<AccessTokenProxy> AuthorizeTokens::proxyFor(const std::string& uuid) {
  // One that a logout has stopped may still stand; it does nothing any more.
  if (state_.hasSignedOut(uuid)) return nullptr;
  if (auto proxy = standingProxy(uuid); proxy && !proxy->stopping()) return proxy;
  const auto made = std::make_shared<AccessTokenProxy>(uuid, state_.logTag);
  // A logout notes the user before it takes the refresher out, so that none stays behind.
  const auto kept = proxies_.change([&](Proxies& map) -> std::shared_ptr<AccessTokenProxy> {
    if (state_.hasSignedOut(uuid)) return nullptr;
    auto& place = map[uuid];
    if (place == nullptr || place->stopping()) place = made;
    return place;
  });
  if (kept == made) made->setRefreshInterval(state_.settings.read()->refreshIntervalMs);
  return kept;
}

void AuthorizeTokens::stop(const std::string& uuid) {
  const auto proxy = standingProxy(uuid);
  if (proxy == nullptr) return;
  proxy->waitToStop(runningRefreshWaitMs);
  try {
    proxies_.change(
        [&](Proxies& map) { std::erase_if(map, [&](const auto& entry) { return entry.second == proxy; }); });
  } catch (const std::bad_alloc&) {
    // It stays in the map and does nothing any more.
  }
}

void AuthorizeTokens::stopAll() {
  const auto proxies = proxies_.read();
  for (const auto& [uuid, proxy] : *proxies) {
    proxy->waitToStop(proxy->refreshing() ? runningRefreshWaitMs : 0);
  }
}

}  // namespace KBL
