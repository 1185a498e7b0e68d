#include "authorize/AuthorizeLogin.h"

#include "authorize/AuthRequestChain.h"
#include "authorize/managerLog.h"
#include "boundary/records/Records.h"
#include "foundation/Texts.h"
#include "requests/AccountRequests.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"
#include <BsNet/IBsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/CastByName.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

namespace KBL {

namespace {
constexpr int canceledRequestReleaseMs = 500;

/// Scopes of a login whose host names none; empty: the login opens without.
std::string defaultScope(std::int32_t platform) {
  const std::string google = "https://www.googleapis.com";  // of Google's scopes, whatever the installation
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
}  // namespace

AuthorizeLogin::AuthorizeLogin(ManagerState& state, AuthorizeCache& cache, AuthorizeTokens& tokens)
    : state_(state), cache_(cache), tokens_(tokens) {}

AuthorizeLogin::~AuthorizeLogin() = default;

_Result AuthorizeLogin::start(IBsInfoReader* loginInfo) {
  const auto info = makeRef<BsExternlMediaAuthLoginInfo>();
  if (info->updataFrom(loginInfo) != resultOk) return resultFailed;

  const std::string uuid = chooseUuid(info->charKeyConfig(ExternlMediaLoginCharKey::userSessionId));
  if (info->setCharKeyConfig(ExternlMediaLoginCharKey::userSessionId, uuid.c_str()) != resultOk) {
    return resultFailed;
  }
  KBL_MANAGER_LOG(severityInfo, "toExternlMediaAuth", state_.logTag << ", uuid: " << uuid);
  const std::string scope = defaultScope(state_.platform);
  if (!scope.empty() && info->charKeyConfig(ExternlMediaLoginCharKey::scope) == nullptr &&
      info->setCharKeyConfig(ExternlMediaLoginCharKey::scope, scope.c_str()) != resultOk) {
    return resultFailed;
  }

  const AuthContext context = state_.requestContext();
  AuthRequestChain chain(context, uuid, std::make_shared<RequestFlow>());
  chain.append<BsExternlMediaAuthClientCredentialsRequest>();
  const RefPtr<BsExternlMediaAuthRequest> session =
      chain.append<BsExternlMediaAuthUserSupportSessionRequest>();
  {
    const std::lock_guard lock(liveRequestsMutex_);
    liveRequests_.push_back(session);
  }
  // A logout notes the user before it ends the user's logins, so that one of both sees what the other did.
  if (state_.hasSignedOut(uuid)) cancelLoginsOf(uuid);
  state_.sessions.set(uuid, &SessionFlags::canceled, false);
  const _Result result = chain.start(info.get());
  if (result != resultOk) {
    const std::lock_guard lock(liveRequestsMutex_);
    std::erase_if(liveRequests_, [&](const auto& request) { return request.get() == session.get(); });
  }
  return result;
}

// A login without a known uuid signs the most recent user in again and adds no user; only on an empty list it
// makes a record. Choosing and making are one step, so that two first logins at once share one record.
std::string AuthorizeLogin::chooseUuid(const char* wantedUuid) {
  const ExternlMediaCacheInfo prepared = cache_.newRecord();
  return state_.users.change([&](ManagerUsers& users) -> std::string {
    CacheEntries& list = users.entries;
    if (wantedUuid != nullptr && findCacheInfo(list, wantedUuid) != nullptr) return wantedUuid;
    if (list.empty()) list.emplace_back(prepared);
    return list.back()->userUuid;
  });
}

void AuthorizeLogin::processAnswer(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) {
  KBL_MANAGER_LOG(
      severityInfo, "processLoginAuthRequest",
      state_.logTag << ", name: " << request->getRequestName() << ", infoType: " << info->infoType());
  auto* const authRequest = queryInterface<BsExternlMediaAuthRequest>(request, "BsExternlMediaAuthRequest");
  if (authRequest == nullptr) return;
  const std::string& uuid = authRequest->userUuid();
  const auto users = state_.users.read();
  const ExternlMediaCacheInfo* const record = findCacheInfo(users->entries, uuid);

  const int code = error->errorCode();
  const bool succeeded = hasText(info->charKeyConfig(ExternlMediaMixedCharKey::refreshToken)) &&
                         isProfileRequest(authRequest->requestType()) && code == ErrorCode::none;
  if (succeeded) {
    tokens_.schedule(uuid, info, true);
    state_.callbacks.forward(request, info, error);
  } else if (record != nullptr && !record->refreshToken.empty() && code != ErrorCode::none) {
    tokens_.schedule(uuid, info, false);
  }
  if (code == ErrorCode::userCancelled) {
    KBL_MANAGER_LOG(severityInfo, "processLoginAuthRequest", state_.logTag << ", user canceled");
  } else if (code != ErrorCode::none) {
    state_.callbacks.forward(request, info, error);
  }
}

void AuthorizeLogin::tellLoginUrl(const std::string& uuid, const std::string& loginUrl) {
  KBL_MANAGER_LOG(severityInfo, "cbQueryThirdLoginURL",
                  state_.logTag << ", uuid: " << uuid << ", login url: " << loginUrl);
  const auto tell = [&](IExternlMediaAuthCallback& callback) {
    callback.onLoginUrl(uuid.c_str(), loginUrl.c_str());
  };
  state_.callbacks.tell(std::cref(tell));
}

void AuthorizeLogin::tellCallbackUrl(const std::string& uuid, const std::string& callbackUrl) {
  KBL_MANAGER_LOG(severityInfo, "cbQueryThirdLoginCallbackURL",
                  state_.logTag << ", uuid: " << uuid << ", cb url: " << callbackUrl);
  const auto tell = [&](IExternlMediaAuthCallback& callback) {
    callback.onLoginCallbackUrl(uuid.c_str(), callbackUrl.c_str());
  };
  state_.callbacks.tell(std::cref(tell));
}

_Result AuthorizeLogin::cancel() try {
  KBL_MANAGER_LOG(severityInfo, "cancelLogin", state_.logTag << ", to cancelLogin");
  const auto users = state_.users.read();
  for (const CacheEntry& user : users->entries) {
    state_.sessions.set(user->userUuid, &SessionFlags::finished, false);
    state_.sessions.set(user->userUuid, &SessionFlags::canceled, true);
  }
  cancelLoginsOf("");
  return resultOk;
} catch (...) {
  return resultOfException();
}

void AuthorizeLogin::cancelLoginsOf(const std::string& uuid) {
  while (RefPtr<BsExternlMediaAuthRequest> request = takeLoginOf(uuid)) {
    request->clearCallbacks();
    request->abortForGood();
    // The list's reference goes late, since a worker or a poll may still run.
    request.leak()->delayRelease(canceledRequestReleaseMs);
  }
  state_.callbacks.settle();
}

RefPtr<BsExternlMediaAuthRequest> AuthorizeLogin::takeLoginOf(const std::string& uuid) {
  const std::lock_guard lock(liveRequestsMutex_);
  const auto found = std::find_if(liveRequests_.begin(), liveRequests_.end(), [&](const auto& request) {
    return uuid.empty() || request->userUuid() == uuid;
  });
  if (found == liveRequests_.end()) return nullptr;
  RefPtr<BsExternlMediaAuthRequest> taken = std::move(*found);
  liveRequests_.erase(found);
  return taken;
}

}  // namespace KBL
