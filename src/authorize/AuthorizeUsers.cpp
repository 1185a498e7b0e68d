#include "authorize/AuthorizeUsers.h"

#include "authorize/AuthRequestChain.h"
#include "authorize/managerLog.h"
#include "boundary/records/Records.h"
#include "foundation/Texts.h"
#include "requests/AccountRequests.h"
#include "uploaders/requests/makeUploadRequest.h"
#include <BsNet/IBsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/CastByName.h>

#include <algorithm>

namespace KBL {

namespace {
constexpr std::size_t maxHandedOutToken = 8192;
}  // namespace

_Result AuthorizeUsers::userInfo(const std::string& uuid, IBsExternlMediaAuthUserInfo& out) const {
  const auto users = state_.users.read();
  KBL_MANAGER_LOG(severityInfo, "userInfo",
                  state_.logTag << ", session id: " << uuid << ", size:" << users->entries.size());
  const ExternlMediaCacheInfo* const record = findUserOrLast(users->entries, uuid);
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
  _Result result = resultOk;
  for (const auto& [key, value] : rows) {
    if (out.setCharKeyConfig(key, value.c_str()) != resultOk) result = resultFailed;  // memory is short
  }
  return result;
}

_Result AuthorizeUsers::logout(const std::string& wanted) {
  const std::size_t size = state_.users.read()->entries.size();
  KBL_MANAGER_LOG(severityInfo, "logout", state_.logTag << ", session id: " << wanted << ", size:" << size);
  // No login of this platform goes on, whichever user logs out.
  login_.cancel();
  if (state_.users.read()->entries.empty()) {
    // The type of a verification, although nothing is verified: hosts tell the answers apart by it.
    state_.reportAuthError(wanted, infoTypeVerifyAccessToken, ErrorCode::noUsableData,
                           state_.logTag + ", empty data");
    return resultFailed;
  }
  const std::string uuid = removeUser(wanted);
  if (uuid.empty()) {
    KBL_MANAGER_LOG(severityError, "logout",
                    state_.logTag << ", remove session id: " << wanted << " not exist");
    return resultFailed;
  }
  KBL_MANAGER_LOG(severityInfo, "logout", state_.logTag << ", remove session id: " << uuid);
  // A login of the user may have started since, and an answer of one may have made a refresher.
  login_.cancelLoginsOf(uuid);
  tokens_.stop(uuid);
  // From here on nothing throws: who has gone has gone, whatever becomes of the file.
  const bool saved = cache_.save();
  KBL_MANAGER_LOG(severityInfo, "logout",
                  state_.logTag << ", save cloud disk cache, " << (saved ? "OK" : "FAILED"));
  return resultOk;
}

std::string AuthorizeUsers::removeUser(const std::string& wanted) {
  return state_.users.change([&](ManagerUsers& users) -> std::string {
    CacheEntries& list = users.entries;
    const ExternlMediaCacheInfo* const found = findUserOrLast(list, wanted);
    if (found == nullptr) return {};
    std::string uuid = found->userUuid;
    list.erase(
        std::find_if(list.begin(), list.end(), [&](const CacheEntry& user) { return &*user == found; }));
    if (!uuid.empty()) users.signedOut.insert(uuid);
    return uuid;
  });
}

std::string AuthorizeUsers::accessToken(const std::string& uuid) const {
  const auto users = state_.users.read();
  KBL_MANAGER_LOG(severityInfo, "getAccessToken",
                  state_.logTag << ", uuid: " << uuid << ", cache size: " << users->entries.size());
  const ExternlMediaCacheInfo* const record = findUserOrLast(users->entries, uuid);
  return record == nullptr ? std::string() : record->thirdAccessToken.substr(0, maxHandedOutToken);
}

_Result AuthorizeUsers::getAccessToken(const std::string& uuid, char* buffer) const {
  const auto users = state_.users.read();
  KBL_MANAGER_LOG(severityInfo, "getAccessToken",
                  state_.logTag << ", uuid: " << uuid << ", cache size: " << users->entries.size());
  const ExternlMediaCacheInfo* const record = findUserOrLast(users->entries, uuid);
  if (record == nullptr || buffer == nullptr) return resultFailed;
  // The caller's buffer takes the stored length: what lies past the cut is filled with zeros, and a shorter
  // token gets no terminator of its own. Hosts rely on it.
  const std::string& token = record->thirdAccessToken;
  const std::size_t copied = std::min(token.size(), maxHandedOutToken);
  char* const end = std::copy_n(token.data(), copied, buffer);
  std::fill_n(end, token.size() - copied, '\0');
  return resultOk;
}

// The account token is fetched first. The record is copied, so that the host may release its own and the
// answer's type is that of a consume query whatever it was given.
_Result AuthorizeUsers::consume(IBsInfoReader* consumeInfo) {
  const auto info = makeRef<BsExternlMediaAuthUseSupportQueryConsumeInfo>();
  if (info->updataFrom(consumeInfo) != resultOk) return resultFailed;
  const auto users = state_.users.read();
  const std::string wanted = textOrEmpty(info->charKeyConfig(ExternlMediaLoginCharKey::userSessionId));
  const ExternlMediaCacheInfo* const record = findUserOrLast(users->entries, wanted);
  const std::string uuid = record == nullptr ? std::string() : record->userUuid;
  KBL_MANAGER_LOG(severityInfo, "toConsume", state_.logTag << ", uuid: " << uuid << ", consume");
  const AuthContext context = state_.requestContext();
  AuthRequestChain chain(context, uuid);
  chain.append<BsExternlMediaAuthClientCredentialsRequest>();
  chain.append<BsExternlMediaAuthUserSupportConsumeRequest>();
  return chain.start(info.get());
}

// The host gets one answer: the query's own, or the failure of the step before it.
void AuthorizeUsers::processConsumeAnswer(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) {
  KBL_MANAGER_LOG(
      severityInfo, "processUserSupportQueryConsume",
      state_.logTag << ", name: " << request->getRequestName() << ", infoType: " << info->infoType());
  auto* const authRequest = queryInterface<BsExternlMediaAuthRequest>(request, "BsExternlMediaAuthRequest");
  if (authRequest == nullptr) return;
  const bool isQuery = authRequest->requestType() == requestUserSupportConsume;
  if (isQuery || error->errorCode() != ErrorCode::none) state_.callbacks.forward(request, info, error);
}

void AuthorizeUsers::upload(IBsExternlMediaUploadInfo* info, IBsRequstCallback* callback, int consume) {
  KBL_MANAGER_LOG(severityInfo, "asyncUploadMediaFile", state_.logTag << "id: " << state_.logTag);
  const char* const wanted = info->charKeyConfig(ExternlMediaLoginCharKey::userSessionId);
  const auto users = state_.users.read();
  const ExternlMediaCacheInfo* const record = findUserOrLast(users->entries, textOrEmpty(wanted));
  if (record == nullptr) {
    state_.reportAuthError(textOrEmpty(wanted), infoTypeUpload, ErrorCode::paramInvalid,
                           state_.logTag + ", empty data");
    return;
  }
  const auto request = makeUploadRequest(record->diskType);
  if (!request) {
    // Only a record that was tampered with leads here; the host hears of it like of a missing user.
    KBL_MANAGER_LOG(severityError, "asyncUploadMediaFile",
                    state_.logTag << ", no uploader, disk type: " << record->diskType);
    state_.reportAuthError(record->userUuid, infoTypeUpload, ErrorCode::paramInvalid,
                           state_.logTag + ", no uploader");
    return;
  }
  info->setCharKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken, record->thirdAccessToken.c_str());

  const AuthContext context = state_.requestContext();
  AuthRequestChain chain(context, record->userUuid);
  chain.append<BsExternlMediaAuthClientCredentialsRequest>();
  if (consume != 0) chain.append<BsExternlMediaAuthUserSupportConsumeRequest>();
  chain.append(request);
  request->keepRecord(shareRef<IBsInfoReader>(info));
  if (chain.start(info, callback) == resultOk) return;
  KBL_MANAGER_LOG(severityError, "asyncUploadMediaFile", state_.logTag << ", upload not started");
  state_.reportAuthError(record->userUuid, infoTypeUpload, ErrorCode::noNetworkClient,
                         "create network request failed");
}

}  // namespace KBL
