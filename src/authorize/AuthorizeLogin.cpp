// Login in a browser: its start, its outcome, its end by the host.

#include "authorize/AuthRequestChain.h"
#include "authorize/ExternlMediaAuthorize.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/Records.h"
#include "foundation/BsNet/IBsErrorInfo.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/object/CastByName.h"
#include "requests/BsExternlMediaAuthClientCredentialsRequest.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"
#include "requests/Endpoints.h"

#include <algorithm>
#include <utility>

namespace KBL {

namespace {
constexpr int canceledRequestReleaseMs = 500;

/// Scopes of a login whose host names none; empty: the login opens without.
std::string defaultScope(std::int32_t platform) {
  const std::string google = Endpoint::googleScopeHost;
  switch (platform) {
    case ema_youtube:
      return google + "/auth/userinfo.profile," + google + "/auth/youtube.upload," + google +
             "/auth/youtube.readonly";
    case ema_tiktok:
      return "user.info.basic,video.upload";
    case ema_douyin:
      return "user_info,renew_refresh_token";
    default:
      return {};
  }
}

bool isProfileRequest(int requestType) {
  return requestType == requestYoutubeUserInfo || requestType == requestTiktokUserInfo ||
         requestType == requestDouyinUserInfo;
}

bool hasText(const char* text) {
  return text != nullptr && *text != '\0';
}
}  // namespace

_Result BsExternlMediaAuthorize::toExternlMediaAuth(IBsInfoReader* loginInfo) {
  if (loginInfo == nullptr) return resultFailed;
  const Self self = holdSelf();
  const auto info = makeRef<BsExternlMediaAuthLoginInfo>();
  info->updataFrom(loginInfo);

  const std::string uuid = chooseLoginUuid(info->charKeyConfig(ExternlMediaLoginCharKey::userSessionId));
  info->setCharKeyConfig(ExternlMediaLoginCharKey::userSessionId, uuid.c_str());
  KBL_LOG(info, logTag_ << ", uuid: " << uuid);
  const std::string scope = defaultScope(platform_);
  if (!scope.empty() && info->charKeyConfig(ExternlMediaLoginCharKey::scope) == nullptr) {
    info->setCharKeyConfig(ExternlMediaLoginCharKey::scope, scope.c_str());
  }

  const auto now = context();
  AuthRequestChain chain(*now, uuid);
  chain.append<BsExternlMediaAuthClientCredentialsRequest>();
  const RefPtr<BsExternlMediaAuthRequest> session =
      chain.append<BsExternlMediaAuthUserSupportSessionRequest>();
  {
    const std::lock_guard lock(liveRequestsMutex_);
    liveRequests_.push_back(session);
  }
  setSessionFlag(uuid, &SessionFlags::canceled, false);
  const _Result result = chain.start(info.get());
  if (result != resultOk) {
    const std::lock_guard lock(liveRequestsMutex_);
    std::erase_if(liveRequests_, [&](const auto& request) { return request.get() == session.get(); });
  }
  return result;
}

// A login without a known uuid signs the most recent user in again and adds no user; only on an empty list it
// makes a record. Choosing and making are one step, so that two first logins at once share one record.
std::string BsExternlMediaAuthorize::chooseLoginUuid(const char* wantedUuid) {
  const ExternlMediaCacheInfo prepared = initCacheInfo();
  return context_.change([&](AuthContext& context) -> std::string {
    CacheEntries& list = context.cacheEntries;
    if (wantedUuid != nullptr && findCacheInfo(list, wantedUuid) != nullptr) return wantedUuid;
    if (list.empty()) list.push_back(prepared);
    return list.back().userUuid;
  });
}

void BsExternlMediaAuthorize::processLoginAuthRequest(IBsBaseRequest* request, IBsInfoReader* info,
                                                      IBsErrorInfo* error) {
  KBL_LOG(info, logTag_ << ", name: " << request->getRequestName() << ", infoType: " << info->infoType());
  auto* const authRequest = queryInterface<BsExternlMediaAuthRequest>(request, "BsExternlMediaAuthRequest");
  if (authRequest == nullptr) return;
  const std::string uuid = authRequest->userUuid();
  const auto now = context();
  const ExternlMediaCacheInfo* const record = findCacheInfo(now->cacheEntries, uuid);

  const bool succeeded = hasText(info->charKeyConfig(ExternlMediaMixedCharKey::refreshToken)) &&
                         isProfileRequest(authRequest->requestType()) &&
                         error->errorCode() == ErrorCode::none;
  if (succeeded) {
    scheduleTokenRefresh(uuid, info, true);
    cbRequestForward(request, info, error);
  } else if (record != nullptr && !record->refreshToken.empty() && error->errorCode() != ErrorCode::none) {
    scheduleTokenRefresh(uuid, info, false);
  }
  reportUnlessCanceled(request, info, error, false);
}

int BsExternlMediaAuthorize::cbQueryThirdLoginURL(const std::string& uuid, const std::string& loginUrl) {
  KBL_LOG(info, logTag_ << ", uuid: " << uuid << ", login url: " << loginUrl);
  tellAuthCallbacks(
      [&](IExternlMediaAuthCallback& callback) { callback.onLoginUrl(uuid.c_str(), loginUrl.c_str()); });
  return 0;
}

int BsExternlMediaAuthorize::cbQueryThirdLoginCallbackURL(const std::string& uuid,
                                                          const std::string& callbackUrl) {
  KBL_LOG(info, logTag_ << ", uuid: " << uuid << ", cb url: " << callbackUrl);
  tellAuthCallbacks([&](IExternlMediaAuthCallback& callback) {
    callback.onLoginCallbackUrl(uuid.c_str(), callbackUrl.c_str());
  });
  return 0;
}

_Result BsExternlMediaAuthorize::cancelLogin() {
  KBL_LOG(info, logTag_ << ", to cancelLogin");
  const auto now = context();
  for (const ExternlMediaCacheInfo& record : now->cacheEntries) {
    setFinished(record.userUuid, false);
    setSessionFlag(record.userUuid, &SessionFlags::canceled, true);
  }
  std::vector<RefPtr<BsExternlMediaAuthRequest>> canceled;
  {
    const std::lock_guard lock(liveRequestsMutex_);
    canceled.swap(liveRequests_);
  }
  for (auto& request : canceled) {
    request->clearCallbacks();
    request->abortForGood();
    // The list's reference goes late, since a worker or a poll may still run.
    request.leak()->delayRelease(canceledRequestReleaseMs);
  }
  return resultOk;
}

}  // namespace KBL
