#include "support/FakeManager.h"

#include "authorize/switchboard/AuthorizeTable.h"
#include <BsNet/IBsBaseRequest.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/CastByName.h>

#include <utility>

using namespace KBL;

FakeManager::FakeManager(AuthContext context) : context_(std::move(context)) {
  ExternlMediaAuthCallbackProxy::instance().registerManager(context_.logTag, alive_, this);
}

int FakeManager::Release() {
  const int left = dropReference();
  if (left != 0) return left;
  ExternlMediaAuthCallbackProxy::instance().removeManager(context_.logTag, this);
  destroyUnreferenced();
  return 0;
}

std::shared_ptr<ISwitchboardManager> FakeManager::core() {
  if (addReferenceUnlessZero() == 0) return nullptr;
  return {static_cast<ISwitchboardManager*>(this), [this](auto*) { Release(); }};
}

void* FakeManager::QueryInterfaceByName(const char* name) {
  if (!canUpload && std::string(name) == "IExternlMediaUploadFile") return nullptr;
  return castByName(this, name, Named<IBsExternlMediaAuthorize>{"IBsExternlMediaAuthorize"},
                    Named<IExternlMediaRefreshAccessTokenCallback>{"IExternlMediaRefreshAccessTokenCallback"},
                    Named<IBsRequstCallback>{"IBsRequstCallback"},
                    Named<IExternlMediaUploadFile>{"IExternlMediaUploadFile"});
}

std::vector<ManagerCall> FakeManager::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

std::vector<ManagerCall> FakeManager::calls(const std::string& operation) const {
  std::vector<ManagerCall> found;
  for (const ManagerCall& call : calls()) {
    if (call.operation == operation) found.push_back(call);
  }
  return found;
}

void FakeManager::onCall(const std::string& operation, std::function<void()> action) {
  const std::lock_guard lock(mutex_);
  actions_[operation] = std::move(action);
}

void FakeManager::setFlag(const std::string& operation, bool value) {
  const std::lock_guard lock(mutex_);
  flags_[operation] = value;
}

void FakeManager::record(const ManagerCall& call) {
  std::function<void()> action;
  {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
    if (const auto found = actions_.find(call.operation); found != actions_.end()) action = found->second;
  }
  if (action) action();
}

int FakeManager::flag(const std::string& operation, const std::string& uuid) {
  record({.operation = operation, .uuid = uuid});
  const std::lock_guard lock(mutex_);
  return flags_[operation] ? 1 : 0;
}

ManagerCall FakeManager::requestCall(const std::string& operation, IBsBaseRequest* request,
                                     IBsInfoReader* info, IBsErrorInfo* error) {
  ManagerCall call;
  call.operation = operation;
  if (request != nullptr) call.requestName = request->getRequestName();
  if (info != nullptr) call.infoType = info->infoType();
  if (error != nullptr) {
    call.code = error->errorCode();
    call.message = error->errorMessage();
  }
  return call;
}

_Result FakeManager::logout(const char* uuid) {
  logouts.emplace_back(uuid);
  return logoutResult;
}

_Result FakeManager::userInfo(const char* uuid, IBsExternlMediaAuthUserInfo* out) {
  userInfos.emplace_back(uuid);
  return onUserInfo(uuid, out);
}

void FakeManager::asyncUploadMediaFile(IBsExternlMediaUploadInfo* info, IBsRequstCallback* callback,
                                       int consume) {
  uploads.push_back({shareRef(info), callback, consume});
}

_Result FakeManager::queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) {
  record(requestCall("queryResponse", request, info, error));
  return resultOk;
}

int FakeManager::cbAsyncRefreshAccessToken(const std::string&) {
  return 0;
}

int FakeManager::cbRequestFailed(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) {
  record(requestCall("cbRequestFailed", request, info, error));
  return 0;
}

int FakeManager::cbRequestForward(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) {
  record(requestCall("cbRequestForward", request, info, error));
  return 0;
}

int FakeManager::cbQueryThirdLoginURL(const std::string& uuid, const std::string& loginUrl) {
  record({.operation = "cbQueryThirdLoginURL", .uuid = uuid, .text = loginUrl});
  return 0;
}

int FakeManager::cbQueryThirdLoginCallbackURL(const std::string& uuid, const std::string& callbackUrl) {
  record({.operation = "cbQueryThirdLoginCallbackURL", .uuid = uuid, .text = callbackUrl});
  return 0;
}

int FakeManager::cbRequestNotify(const std::string& uuid) {
  record({.operation = "cbRequestNotify", .uuid = uuid});
  return 0;
}

int FakeManager::setTimedOut(const std::string& uuid, bool timedOut) {
  record({.operation = timedOut ? "setTimedOut(true)" : "setTimedOut(false)", .uuid = uuid});
  return 0;
}

int FakeManager::setFinished(const std::string& uuid, bool finished) {
  record({.operation = finished ? "setFinished(true)" : "setFinished(false)", .uuid = uuid});
  return 0;
}

int FakeManager::copyAuthContext(AuthContext& out) {
  out = context_;
  return 1;
}

int FakeManager::updateInfo(const std::string& uuid, IBsInfoReader* info) {
  using Char = ExternlMediaMixedCharKey;
  using Int = ExternlMediaMixedIntKey;
  ManagerCall call;
  call.operation = "updateInfo";
  call.uuid = uuid;
  call.infoType = info->infoType();
  for (const char* const key :
       {Char::accessToken, Char::refreshToken, Char::thirdAccessToken, Char::userAccount,
        Char::userAccountUid, Char::userFirstName, Char::userLastName, Char::userNickName,
        Char::userAvatarLocal, Char::userAvatarUrl, Char::videoCategories, Char::userSessionId}) {
    if (const char* const text = info->charKeyConfig(key)) call.texts[key] = text;
  }
  for (const char* const key : {Int::expiresIn, Int::expiresTimestamp, Int::tokenType, Int::status}) {
    if (const long long value = info->intKeyConfig(key); value != absentIntValue) call.numbers[key] = value;
  }
  record(call);
  return 0;
}

InstalledManager::InstalledManager(int platform) : platform_(platform) {
  const std::lock_guard lock(authorizeTableMutex);
  tag_ = "fake." + std::to_string(++authorizeInstanceCounter);
  AuthContext context;
  context.logTag = tag_;
  context.platform = platform;
  manager_ = makeRef<FakeManager>(context);
  authorizeTable[platform_] = manager_.get();
}

InstalledManager::~InstalledManager() {
  die();
  const std::lock_guard lock(authorizeTableMutex);
  if (authorizeTable[platform_] == manager_.get()) authorizeTable[platform_] = nullptr;
}

void InstalledManager::die() {
  manager_->dropAliveToken();
  ExternlMediaAuthCallbackProxy::instance().removeManager(tag_, manager_.get());
}
