#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/Records.h"
#include "foundation/Texts.h"
#include "json/JsonAccess.h"
#include "requests/ProfileRequests.h"
#include <BsNet/BsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblLogger/KblLogger.h>
#include <KblUtils/StringUtil.h>

#include <cstddef>

namespace KBL {

namespace {
constexpr RequestConstants constants = {requestUserSupportSession, httpPost, "urlLFServerUserSupportSession",
                                        "ExternlMediaAuthUserSupportSession"};
constexpr std::int32_t pollingTimeoutMs = 180000;

/// The text split at each comma, empty words included.
Json::Value wordsOf(const std::string& text) {
  Json::Value words(Json::arrayValue);
  for (std::size_t begin = 0; begin != std::string::npos;) {
    const std::size_t comma = text.find(',', begin);
    const std::size_t length = comma == std::string::npos ? comma : comma - begin;
    words.append(text.substr(begin, length));
    begin = comma == std::string::npos ? comma : comma + 1;
  }
  return words;
}

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

BsExternlMediaAuthUserSupportSessionRequest::BsExternlMediaAuthUserSupportSessionRequest()
    : AccountRequest(constants),
      pollingProxy_(
          std::make_shared<ExternlMediaAuthThirdPollingProxy>("third_share", pollingTimeoutMs, this)) {}

BsExternlMediaAuthUserSupportSessionRequest::~BsExternlMediaAuthUserSupportSessionRequest() = default;

_Result BsExternlMediaAuthUserSupportSessionRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                             NetReply* reply) {
  const std::string accessToken = textOf(info, ExternlMediaMixedCharKey::accessToken);
  const std::string platformId = textOf(info, ExternlMediaLoginCharKey::platformId);
  if (accessToken.empty() || platformId.empty()) {
    return refuse(*reply, ErrorCode::paramInvalid, "param invalid");
  }
  Json::Value body(Json::objectValue);
  if (const char* const url = info->charKeyConfig(ExternlMediaLoginCharKey::url)) body["url"] = url;
  body["platform"] = decimalNumber(platformId.c_str());
  body["use_client"] = decimalNumber(textOr(info, ExternlMediaLoginCharKey::use_client, "1").c_str());
  body["is_callback_token"] = 1;
  const std::string scope = textOf(info, ExternlMediaLoginCharKey::scope);
  if (!scope.empty()) body["scope"] = wordsOf(scope);
  client->setBody(compactJson(body));
  client->setBearerToken(accessToken);
  return exchange(*client, *reply, configuredUrl());
}

void BsExternlMediaAuthUserSupportSessionRequest::clearMembers() {
  openUrl_.clear();
  sessionId_.clear();
}

void BsExternlMediaAuthUserSupportSessionRequest::readData(const Json::Value& data) {
  openUrl_ = jsonText(data, "open_url");
  sessionId_ = jsonText(data, "session_id");
}

int BsExternlMediaAuthUserSupportSessionRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info,
                                                                   IBsErrorInfo*, NetReply*) {
  if (!gotResult()) return 1;
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) {
    record->setCharKeyConfig(ExternlMediaMixedCharKey::sessionId, sessionId_.c_str());
    record->setCharKeyConfig(ExternlMediaMixedCharKey::openUrl, openUrl_.c_str());
  }
  KBL_LOG(severityInfo, "seesion id: " << StringUtil::excerpt(
                            sessionId_));  // spelled so in every log that support has collected

  const auto login = makeRef<BsExternlMediaAuthLoginInfo>();
  login->CopyInfo(info);
  setReplyInfo(login);
  keepRecord(shareRef(info));
  ExternlMediaAuthCallbackProxy::instance().cbQueryThirdLoginURL(ownerTag(), userUuid(), openUrl_);

  // A tick holds references on both, so the function needs none of its own.
  pollingProxy_->setTimerFunction([this, info] { codePolling(info); });
  pollingProxy_->startThirdProcess(info);
  return 0;
}

// --- The polling: one tick, what it does with the answer, and its end test

void BsExternlMediaAuthUserSupportSessionRequest::codePolling(IBsInfoReader* info) {
  const RefPtr<IBsInfoReader> held = shareRef(info);
  const ScopedRequestFlow scope(flow().get());
  if (isPollingFinished(nullptr, info, errorInfo().get()) != 0) return;
  const std::optional<AuthContext> context =
      ExternlMediaAuthCallbackProxy::instance().copyAuthContext(ownerTag());
  if (!context) return;

  const auto codeRequest = makeRef<BsExternlMediaAuthUserSupportCodeRequest>();
  initAuthRequest(*context, userUuid(), *codeRequest);
  codeRequest->syncRequestWithInfo(info);
  takeOverResults(*codeRequest);
  const RefPtr<IBsErrorInfo> error = errorInfo();
  if (processUserSupportCodeRequest(codeRequest.get(), info, error.get()) != 0) {
    const ErrorState state = errorStateOf(*error);
    pollingProxy_->finishThirdProcess(info, std::to_string(state.code) + "," + state.message);
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
    initAuthRequest(context, userUuid(), *request);
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
    KBL_LOG_AS(severityInfo, function, "cloud_user_support_code failed,not login,status=0");
  } else if (status == loginDone) {
    KBL_LOG_AS(severityInfo, function, "code get success, code is in redirectUrl");
    ExternlMediaAuthCallbackProxy::instance().cbQueryThirdLoginCallbackURL(ownerTag(), userUuid(),
                                                                           callbackUrl);
    pollingProxy_->finishThirdProcess(info, "success");
  } else if (status == loginCanceledOrFailed) {
    KBL_LOG_AS(severityInfo, function, "cloud_user_support_code failed,login canceled or failed, status=2");
  } else {
    KBL_LOG_AS(severityInfo, function,
               "cloud_user_support_code failed,unkown error status=" << status << '\n');
  }
}

int BsExternlMediaAuthUserSupportSessionRequest::isPollingFinished(BsExternlMediaAuthRequest*,
                                                                   IBsInfoReader* info,
                                                                   IBsErrorInfo* errorInfo) {
  ExternlMediaAuthCallbackProxy& switchboard = ExternlMediaAuthCallbackProxy::instance();
  const std::string& text = pollingProxy_->name();
  if (!switchboard.knowsOwner(ownerTag())) {
    pollingProxy_->finishThirdProcess(info, text + ", param error");
    return 1;
  }
  if (switchboard.isFinished(ownerTag(), userUuid()) != 0) {
    pollingProxy_->finishThirdProcess(info, text + ", success");
    return 1;
  }
  if (switchboard.isCanceled(ownerTag(), userUuid()) != 0) {
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
  if (switchboard.isTimedOut(ownerTag(), userUuid()) != 0) {
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
  if (!switchboard.knowsOwner(ownerTag())) return 1;
  if (codeRequest == nullptr || info == nullptr || errorInfo == nullptr) {
    KBL_LOG(severityError, "invalid args");
    return 1;
  }
  KBL_LOG(severityInfo, codeRequest->getRequestName());
  if (errorInfo->errorCode() == ErrorCode::none) return 0;
  switchboard.cbRequestForward(ownerTag(), codeRequest, info, errorInfo);
  return 1;
}

}  // namespace KBL
