#include "authorize/ExternlMediaAuthorize.h"

#include "authorize/switchboard/AuthorizeTable.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/ExternlMediaInfoType.h"
#include "boundary/records/RecordKeys.h"
#include "foundation/BsNet/IBsErrorInfo.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/object/CastByName.h"
#include "requests/BsExternlMediaAuthRequest.h"

#include <algorithm>
#include <utility>

namespace KBL {

namespace {
constexpr int runningRefreshWaitMs = 100;

AuthContext freshContext(std::int32_t platform, const std::string& logTag) {
  AuthContext context;
  context.platform = platform;
  context.logTag = logTag;
  return context;
}
}  // namespace

BsExternlMediaAuthorize::BsExternlMediaAuthorize(std::int32_t platform, int instanceNumber)
    : platform_(platform),
      logTag_(std::string(platformName(platform)) + "." + std::to_string(instanceNumber)),
      aliveToken_(std::make_shared<char>('0')),
      aliveWitness_(aliveToken_),
      context_(freshContext(platform, logTag_)) {
  registerRecordKeys();  // a host may hand in records of its own make
  ExternlMediaAuthCallbackProxy::instance().registerManager(logTag_, aliveToken_, this);
}

BsExternlMediaAuthorize::~BsExternlMediaAuthorize() {
  KBL_LOG(info, logTag_ << ", release begin");
  aliveToken_.reset();
  clearAuthCallbacks();
  KBL_LOG(info, logTag_ << ", release end");
}

// Unlike the template's: the end begins while the object is still whole, and is made one step against the
// look-ups of the table and of the switchboard. A reference that a worker added meanwhile may bring the end
// here twice, which is harmless. The object is destroyed, and its protocol told, with no lock held.
int BsExternlMediaAuthorize::Release() {
  int left = 0;
  {
    const std::lock_guard lock(authorizeTableMutex);
    constexpr int onlyThisOneAndOurs = 2;
    if (AddRef() == onlyThisOneAndOurs) beforeDestroy();
    dropReference();
    left = ExternlMediaAuthCallbackProxy::instance().decrementLocked(logTag_, this,
                                                                     [this] { return dropReference(); });
    if (left > 0) return left;
    const bool inTable = platform_ >= 0 && platform_ < ema_count;
    if (inTable && authorizeTable[platform_] == this) authorizeTable[platform_] = nullptr;
  }
  if (left == 0) destroyUnreferenced();
  return 0;
}

void BsExternlMediaAuthorize::beforeDestroy() {
  KBL_LOG(info, logTag_ << ", before destroy");
  aliveToken_.reset();
  clearAuthCallbacks();
  const auto proxies = tokenProxies_.read();
  for (const auto& [uuid, proxy] : *proxies) {
    proxy->waitToStop(proxy->refreshing() ? runningRefreshWaitMs : 0);
  }
  KBL_LOG(info, logTag_ << ", release destroy");
}

void BsExternlMediaAuthorize::clearAuthCallbacks() {
  context_.change([](AuthContext& context) { context.authCallbacks.clear(); });
}

void* BsExternlMediaAuthorize::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<IBsExternlMediaAuthorize>{"IBsExternlMediaAuthorize"},
                    Named<IExternlMediaRefreshAccessTokenCallback>{"IExternlMediaRefreshAccessTokenCallback"},
                    Named<IExternlMediaUploadFile>{"IExternlMediaUploadFile"},
                    Named<IBsRequstCallback>{"IBsRequstCallback"}, Named<IDmBaseObj>{"IDmBaseObj"});
}

_Result BsExternlMediaAuthorize::setPubParam(IBsPubInfo* info) {
  if (info == nullptr) return resultFailed;
  // The former record is given up after the change, since its end may call the host.
  RefPtr<IBsPubInfo> record = shareRef(info);
  RefPtr<IBsPubInfo> former;
  context_.change([&](AuthContext& context) { former = std::exchange(context.pubInfo, record); });
  return resultOk;
}

_Result BsExternlMediaAuthorize::setServerProxy(IBsServerProxyInfo* info) {
  if (info == nullptr) return resultFailed;
  RefPtr<IBsServerProxyInfo> record = shareRef(info);
  RefPtr<IBsServerProxyInfo> former;
  context_.change([&](AuthContext& context) { former = std::exchange(context.serverProxy, record); });
  return resultOk;
}

_Result BsExternlMediaAuthorize::addAuthCallback(IExternlMediaAuthCallback* callback) {
  if (callback == nullptr) return resultFailed;
  KBL_LOG(info, logTag_ << ", addAuthCallback," << static_cast<const void*>(callback));
  context_.change([&](AuthContext& context) {
    auto& list = context.authCallbacks;
    if (std::find(list.begin(), list.end(), callback) == list.end()) list.push_back(callback);
  });
  return resultOk;
}

_Result BsExternlMediaAuthorize::removeAuthCallback(IExternlMediaAuthCallback* callback) {
  if (callback == nullptr) return resultFailed;
  KBL_LOG(info, logTag_ << ", removeAuthCallback," << static_cast<const void*>(callback));
  context_.change([&](AuthContext& context) { std::erase(context.authCallbacks, callback); });
  return resultOk;
}

_Result BsExternlMediaAuthorize::queryResponse(IBsBaseRequest* request, IBsInfoReader* info,
                                               IBsErrorInfo* error) {
  if (!alive()) {
    KBL_LOG(info, logTag_ << ", nullptr");
    return resultFailed;
  }
  if (request == nullptr || info == nullptr || error == nullptr) {
    KBL_LOG(info, logTag_ << ", invalid args");
    return resultFailed;
  }
  switch (info->infoType()) {
    case infoTypeLogin:
      processLoginAuthRequest(request, info, error);
      return resultOk;
    case infoTypeRefreshToken:
      processRefreshTokenRequest(request, info, error);
      return resultOk;
    case infoTypeVerifyAccessToken:
      processVerifyAccessToken(request, info, error);
      return resultOk;
    case infoTypeConsume:
      processUserSupportQueryConsume(request, info, error);
      return resultOk;
    default:
      return resultFailed;
  }
}

void BsExternlMediaAuthorize::tellAuthCallbacks(
    const std::function<void(IExternlMediaAuthCallback&)>& tell) const {
  const auto now = context();
  for (IExternlMediaAuthCallback* const callback : now->authCallbacks) tell(*callback);
}

int BsExternlMediaAuthorize::cbRequestFailed(IBsBaseRequest* request, IBsInfoReader* info,
                                             IBsErrorInfo* error) {
  tellAuthCallbacks(
      [&](IExternlMediaAuthCallback& callback) { callback.queryResponse(request, info, error); });
  return 0;
}

int BsExternlMediaAuthorize::cbRequestForward(IBsBaseRequest* request, IBsInfoReader* info,
                                              IBsErrorInfo* error) {
  return cbRequestFailed(request, info, error);
}

void BsExternlMediaAuthorize::reportUnlessCanceled(IBsBaseRequest* request, IBsInfoReader* info,
                                                   IBsErrorInfo* error, bool always) {
  const int code = error->errorCode();
  if (code == ErrorCode::userCancelled) {
    KBL_LOG(info, logTag_ << ", user canceled");
    return;
  }
  if (code != ErrorCode::none || always) cbRequestForward(request, info, error);
}

int BsExternlMediaAuthorize::cbRequestNotify(const std::string& uuid) {
  tellAuthCallbacks([&](IExternlMediaAuthCallback& callback) { callback.onRequestFinished(uuid); });
  return 0;
}

void BsExternlMediaAuthorize::setSessionFlag(const std::string& uuid, SessionFlag flag, bool value) {
  if (!context()->sessions.contains(uuid)) return;
  context_.change([&](AuthContext& context) {
    const auto entry = context.sessions.find(uuid);
    if (entry != context.sessions.end()) entry->second.*flag = value;
  });
}

bool BsExternlMediaAuthorize::sessionFlag(const std::string& uuid, SessionFlag flag) const {
  const auto now = context();
  const auto entry = now->sessions.find(uuid);
  return entry != now->sessions.end() && entry->second.*flag;
}

int BsExternlMediaAuthorize::setTimedOut(const std::string& uuid, bool timedOut) {
  setSessionFlag(uuid, &SessionFlags::timedOut, timedOut);
  return 0;
}

int BsExternlMediaAuthorize::isTimedOut(const std::string& uuid) {
  return sessionFlag(uuid, &SessionFlags::timedOut) ? 1 : 0;
}

int BsExternlMediaAuthorize::setFinished(const std::string& uuid, bool finished) {
  setSessionFlag(uuid, &SessionFlags::finished, finished);
  return 0;
}

int BsExternlMediaAuthorize::isFinished(const std::string& uuid) {
  return sessionFlag(uuid, &SessionFlags::finished) ? 1 : 0;
}

int BsExternlMediaAuthorize::isCanceled(const std::string& uuid) {
  return sessionFlag(uuid, &SessionFlags::canceled) ? 1 : 0;
}

int BsExternlMediaAuthorize::copyAuthContext(AuthContext& out) {
  out = *context();
  return 1;
}

}  // namespace KBL
