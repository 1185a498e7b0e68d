// The polling of a login session: one tick, its end test, and what a tick does with the answer.
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/KblLogger/KblLogger.h"
#include "requests/BsExternlMediaAuthDouyinUserInfoRequest.h"
#include "requests/BsExternlMediaAuthTiktokUserInfoRequest.h"
#include "requests/BsExternlMediaAuthUserSupportCodeRequest.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"
#include "requests/BsExternlMediaAuthYoutubeUserInfoRequest.h"
#include "requests/BsExternlMediaAuthYoutubeVideoCategoryRequest.h"

namespace KBL {

namespace {
using MakeRequest = RefPtr<BsExternlMediaAuthRequest> (*)();

template <class Request>
RefPtr<BsExternlMediaAuthRequest> make() {
  return makeRef<Request>();
}

/// What is asked of a platform once the person has signed in, in this order; a platform without rows has no
/// profile.
struct ProfileRow {
  std::int32_t platform;
  MakeRequest makeRequest;
};
constexpr ProfileRow profileRows[] = {
    {ema_youtube, make<BsExternlMediaAuthYoutubeUserInfoRequest>},
    {ema_youtube, make<BsExternlMediaAuthYoutubeVideoCategoryRequest>},
    {ema_tiktok, make<BsExternlMediaAuthTiktokUserInfoRequest>},
    {ema_douyin, make<BsExternlMediaAuthDouyinUserInfoRequest>},
};
}  // namespace

void BsExternlMediaAuthUserSupportSessionRequest::codePolling(IBsInfoReader* info) {
  const RefPtr<IBsInfoReader> held = shareRef(info);
  if (isPollingFinished(nullptr, info, errorInfo().get()) != 0) return;
  const std::optional<AuthContext> context =
      ExternlMediaAuthCallbackProxy::instance().copyAuthContext(ownerTag_);
  if (!context) return;

  const auto codeRequest = makeRef<BsExternlMediaAuthUserSupportCodeRequest>();
  initAuthRequest(*context, userUuid_, *codeRequest);
  codeRequest->syncRequestWithInfo(info);
  takeOverResults(*codeRequest);
  const RefPtr<IBsErrorInfo> error = errorInfo();
  if (processUserSupportCodeRequest(codeRequest.get(), info, error.get()) != 0) {
    const std::string text = std::to_string(error->errorCode()) + "," + error->errorMessage();
    pollingProxy_->finishThirdProcess(info, text);
    return;
  }
  if (isPollingFinished(codeRequest.get(), info, error.get()) != 0) return;
  if (codeRequest->status() == loginDone && fetchProfile(*context, *codeRequest, info)) return;
  actOnStatus(info);
}

void BsExternlMediaAuthUserSupportSessionRequest::takeOverResults(const BsExternlMediaAuthRequest& other) {
  setReplyInfo(other.replyInfo());
  setErrorInfo(other.errorInfo());
}

/// True when the polling has ended meanwhile. A request that fails here does not end it: the token is stored
/// already.
bool BsExternlMediaAuthUserSupportSessionRequest::fetchProfile(const AuthContext& context,
                                                               BsExternlMediaAuthRequest& codeRequest,
                                                               IBsInfoReader* info) {
  ExternlMediaAuthCallbackProxy& switchboard = ExternlMediaAuthCallbackProxy::instance();
  for (const ProfileRow& row : profileRows) {
    if (row.platform != context.platform) continue;
    const RefPtr<BsExternlMediaAuthRequest> request = row.makeRequest();
    initAuthRequest(context, userUuid_, *request);
    request->addCallback(&switchboard, false);
    request->syncRequestWithInfo(info);
    takeOverResults(*request);
    const RefPtr<IBsErrorInfo> error = request->errorInfo();
    if (isPollingFinished(&codeRequest, info, error.get()) != 0) return true;
    switchboard.queryResponse(request.get(), info, error.get());
  }
  return false;
}

/// Status 2 ends nothing: such a login goes on to its time limit, which is required as it stands.
void BsExternlMediaAuthUserSupportSessionRequest::actOnStatus(IBsInfoReader* info) {
  constexpr const char* function = "KBL::BsExternlMediaAuthUserSupportSessionRequest::codePolling";
  const long long status = info->intKeyConfig(ExternlMediaMixedIntKey::status);
  const std::string callbackUrl = textOf(info, ExternlMediaMixedCharKey::callbackUrl);
  if (status == loginPending) {
    KBL_LOG_AS(info, function, "cloud_user_support_code failed,not login,status=0");
  } else if (status == loginDone) {
    KBL_LOG_AS(info, function, "code get success, code is in redirectUrl");
    ExternlMediaAuthCallbackProxy::instance().cbQueryThirdLoginCallbackURL(ownerTag_, userUuid_, callbackUrl);
    pollingProxy_->finishThirdProcess(info, "success");
  } else if (status == loginCanceledOrFailed) {
    KBL_LOG_AS(info, function, "cloud_user_support_code failed,login canceled or failed, status=2");
  } else {
    KBL_LOG_AS(info, function, "cloud_user_support_code failed,unkown error status=" << status << '\n');
  }
}

int BsExternlMediaAuthUserSupportSessionRequest::isPollingFinished(BsExternlMediaAuthRequest*,
                                                                   IBsInfoReader* info,
                                                                   IBsErrorInfo* errorInfo) {
  ExternlMediaAuthCallbackProxy& switchboard = ExternlMediaAuthCallbackProxy::instance();
  const std::string& text = pollingProxy_->name();
  if (!switchboard.knowsOwner(ownerTag_)) {
    pollingProxy_->finishThirdProcess(info, text + ", param error");
    return 1;
  }
  if (switchboard.isFinished(ownerTag_, userUuid_) != 0) {
    pollingProxy_->finishThirdProcess(info, text + ", success");
    return 1;
  }
  if (switchboard.isCanceled(ownerTag_, userUuid_) != 0) {
    if (errorInfo != nullptr)
      errorInfo->setError(ErrorCode::userCancelled, (text + ", user canceled").c_str());
    pollingProxy_->finishThirdProcess(info, "user canceled");
    return 1;
  }
  if (pollingProxy_->timeLimitReached()) {
    pollingProxy_->setPollingTimeout(info);
    pollingProxy_->finishThirdProcess(info, text + ", timeout1");
    return 1;
  }
  if (switchboard.isTimedOut(ownerTag_, userUuid_) != 0) {
    pollingProxy_->setPollingTimeout(info);
    pollingProxy_->finishThirdProcess(info, text + ", timeout2");
    return 1;
  }
  if (aborted()) {
    pollingProxy_->finishThirdProcess(info, text + ", abort");
    return 1;
  }
  return 0;
}

int BsExternlMediaAuthUserSupportSessionRequest::processUserSupportCodeRequest(
    BsExternlMediaAuthRequest* codeRequest, IBsInfoReader* info, IBsErrorInfo* errorInfo) {
  ExternlMediaAuthCallbackProxy& switchboard = ExternlMediaAuthCallbackProxy::instance();
  if (!switchboard.knowsOwner(ownerTag_)) return 1;
  if (codeRequest == nullptr || info == nullptr || errorInfo == nullptr) {
    KBL_LOG(error, "invalid args");
    return 1;
  }
  KBL_LOG(info, codeRequest->getRequestName());
  if (errorInfo->errorCode() == ErrorCode::none) return 0;
  switchboard.cbRequestForward(ownerTag_, codeRequest, info, errorInfo);
  return 1;
}

}  // namespace KBL
