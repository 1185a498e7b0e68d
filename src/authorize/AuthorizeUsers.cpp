// What a host asks of a signed-in user: profile, consume query, logout.

#include "authorize/AuthRequestChain.h"
#include "authorize/CacheFile.h"
#include "authorize/ExternlMediaAuthorize.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/Records.h"
#include "foundation/BsNet/IBsErrorInfo.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/object/CastByName.h"
#include "requests/BsExternlMediaAuthClientCredentialsRequest.h"
#include "requests/BsExternlMediaAuthUserSupportConsumeRequest.h"

namespace KBL {

namespace {
constexpr int runningRefreshWaitMs = 100;

std::string textOrEmpty(const char* text) {
  return text == nullptr ? std::string() : text;
}
}  // namespace

_Result BsExternlMediaAuthorize::userInfo(const char* uuidText, IBsExternlMediaAuthUserInfo* out) {
  if (out == nullptr) return resultFailed;
  const std::string uuid = textOrEmpty(uuidText);
  const auto now = context();
  KBL_LOG(info, logTag_ << ", session id: " << uuid << ", size:" << now->cacheEntries.size());
  const ExternlMediaCacheInfo* const record = findUserOrLast(now->cacheEntries, uuid);
  if (record == nullptr) return resultFailed;
  const std::pair<const char*, const std::string&> rows[] = {
      {ExternlMediaAuthUserCharKey::userSessionId, record->userUuid},
      {ExternlMediaAuthUserCharKey::userFirstName, record->userFirstName},
      {ExternlMediaAuthUserCharKey::userLastName, record->userLastName},
      {ExternlMediaAuthUserCharKey::userNickName, record->userNickName},
      {ExternlMediaAuthUserCharKey::userAccount, record->userAccount},
      {ExternlMediaMixedCharKey::userAccountUid, record->userAccountUid},
      {ExternlMediaAuthUserCharKey::videoCategories, record->videoCategories},
      {ExternlMediaAuthUserCharKey::thirdAccessToken, record->thirdAccessToken},
  };
  for (const auto& [key, value] : rows) out->setCharKeyConfig(key, value.c_str());
  return resultOk;
}

_Result BsExternlMediaAuthorize::logout(const char* uuidText) {
  const Self self = holdSelf();
  const std::string wanted = textOrEmpty(uuidText);
  const std::size_t size = context()->cacheEntries.size();
  KBL_LOG(info, logTag_ << ", session id: " << wanted << ", size:" << size);
  // No login of this platform goes on, whichever user logs out.
  cancelLogin();
  if (context()->cacheEntries.empty()) {
    // The type of a verification, although nothing is verified: hosts tell the answers apart by it.
    reportAuthError(wanted, infoTypeVerifyAccessToken, ErrorCode::noUsableData, logTag_ + ", empty data");
    return resultFailed;
  }
  const std::string uuid = removeUser(wanted);
  if (uuid.empty()) {
    KBL_LOG(error, logTag_ << ", remove session id: " << wanted << " not exist");
    return resultFailed;
  }
  KBL_LOG(info, logTag_ << ", remove session id: " << uuid);
  stopTokenProxy(uuid);
  bool saved = false;
  {
    const std::lock_guard lock(stateMutex_);
    saved = saveNewestLocked();
  }
  KBL_LOG(info, logTag_ << ", save cloud disk cache, " << (saved ? "OK" : "FAILED"));
  return resultOk;
}

std::string BsExternlMediaAuthorize::removeUser(const std::string& wanted) {
  return context_.change([&](AuthContext& context) -> std::string {
    CacheEntries& list = context.cacheEntries;
    const ExternlMediaCacheInfo* const found = findUserOrLast(list, wanted);
    if (found == nullptr) return {};
    std::string uuid = found->userUuid;
    list.erase(list.begin() + (found - list.data()));
    return uuid;
  });
}

void BsExternlMediaAuthorize::stopTokenProxy(const std::string& uuid) {
  const auto proxies = tokenProxies_.read();
  const auto proxy = proxies->find(uuid);
  if (proxy == proxies->end()) return;
  proxy->second->waitToStop(runningRefreshWaitMs);
  tokenProxies_.change([&](TokenProxies& map) { map.erase(uuid); });
}

// The account token is fetched first. The record is copied, so that the host may release its own and the
// answer's type is that of a consume query whatever it was given.
_Result BsExternlMediaAuthorize::toConsume(IBsInfoReader* consumeInfo) {
  if (consumeInfo == nullptr) return resultFailed;
  const Self self = holdSelf();
  const auto info = makeRef<BsExternlMediaAuthUseSupportQueryConsumeInfo>();
  info->updataFrom(consumeInfo);
  const auto now = context();
  const std::string wanted = textOrEmpty(info->charKeyConfig(ExternlMediaLoginCharKey::userSessionId));
  const ExternlMediaCacheInfo* const record = findUserOrLast(now->cacheEntries, wanted);
  const std::string uuid = record == nullptr ? std::string() : record->userUuid;
  KBL_LOG(info, logTag_ << ", uuid: " << uuid << ", consume");
  AuthRequestChain chain(*now, uuid);
  chain.append<BsExternlMediaAuthClientCredentialsRequest>();
  chain.append<BsExternlMediaAuthUserSupportConsumeRequest>();
  return chain.start(info.get());
}

// The host gets one answer: the query's own, or the failure of the step before it.
void BsExternlMediaAuthorize::processUserSupportQueryConsume(IBsBaseRequest* request, IBsInfoReader* info,
                                                             IBsErrorInfo* error) {
  KBL_LOG(info, logTag_ << ", name: " << request->getRequestName() << ", infoType: " << info->infoType());
  auto* const authRequest = queryInterface<BsExternlMediaAuthRequest>(request, "BsExternlMediaAuthRequest");
  if (authRequest == nullptr) return;
  const bool isQuery = authRequest->requestType() == requestUserSupportConsume;
  if (isQuery || error->errorCode() != ErrorCode::none) cbRequestForward(request, info, error);
}

}  // namespace KBL
