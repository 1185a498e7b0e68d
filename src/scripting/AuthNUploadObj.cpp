#include "scripting/AuthNUploadObj.h"

#include "authorize/switchboard/AuthorizeTable.h"
#include "foundation/BsNet/Result.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/KblUtils/StringUtil.h"
#include "scripting/PythonRunTime.h"
#include "uploaders/UploadPlatform.h"
#include "uploaders/hostField.h"

#include <iterator>
#include <string>

namespace KBL {

namespace {
constexpr const char* brandNames[] = {"lumenfold", "orbitfern"};
/// What a script says instead of a token without a valid login; in these letters only.
constexpr const char* noToken = "error";

/// Answers of a script's VerifyRedirectURL; any other number means that the address is good.
enum VerifyAnswer : int { verifyNotUsable = 1, verifyFailed = 2 };

void copyBounded(char* buffer, const std::string& text, std::size_t room) {
  kbl_strcpy(buffer, StringUtil::cutUtf8(text, room - 1).c_str());
}

void writeObsolete(const char* caller, char* error) {
  if (error != nullptr) kbl_strcpy(error, (std::string(caller) + ", mark as obsolete").c_str());
}
}  // namespace

bool warnObsolete(int platform, const char* caller) {
  const UploadPlatform* const native = findUploadPlatform(platform);
  if (native == nullptr || findAuthorize(native->managerIndex) == nullptr) return false;
  KBL_LOG_AS(warning, "warnObsolete",
             "[AuthNUpload] " << caller << ", " << native->name << " mark as obsolete");
  return true;
}

CAuthNUploadObj::CAuthNUploadObj() : events_(std::make_shared<UploadEventSink>()), scriptHandle_(events_) {}

CAuthNUploadObj::~CAuthNUploadObj() {
  events_->close();
  if (proxy_ == nullptr) return;
  try {
    proxy_->StopUpload();
  } catch (...) {
    // Memory is short: the upload may go on, unheard.
  }
}

std::int32_t CAuthNUploadObj::SetPlatform(std::uint32_t platform) {
  platform_ = static_cast<std::int32_t>(platform);
  const auto environment = CPythonRunTime::getEnvironment();
  if (environment != nullptr) script_ = environment->CreateAuInstance(platform);
  if (script_ == nullptr) return findUploadPlatform(platform_) != nullptr ? resultOk : resultNoObject;
  script_->SetCallback(scriptEventEntry, scriptHandle_.value());
  return resultOk;
}

std::int32_t CAuthNUploadObj::SetAppBrand(int brand) {
  if (warnObsolete(platform_, "CAuthNUploadObj::SetAppBrand")) return resultOk;
  if (script_ == nullptr) return resultNoObject;
  if (brand < 0 || brand >= static_cast<int>(std::size(brandNames))) return resultUnknownCommand;
  script_->SetBrand(brandNames[brand]);
  return resultOk;
}

std::int32_t CAuthNUploadObj::GetLoginURL(char* url) {
  if (warnObsolete(platform_, "CAuthNUploadObj::GetLoginURL")) return resultOk;
  if (script_ == nullptr) return resultNoObject;
  if (url == nullptr) return resultNullArgument;
  const std::string text = script_->GetLoginURL();
  copyBounded(url, text, loginUrlRoom);
  KBL_LOG(info, "[AuthNUpload] LoginURL:" << text);
  return text.empty() ? resultNullArgument : resultOk;
}

std::int32_t CAuthNUploadObj::Logout() {
  if (proxy_ != nullptr) return proxy_->Logout();
  if (script_ == nullptr) return resultNoObject;
  script_->Logout();
  return resultOk;
}

std::int32_t CAuthNUploadObj::VerifyRedirectURL(const char* url, char* error) {
  static constexpr const char* caller = "CAuthNUploadObj::VerifyRedirectURL";
  if (warnObsolete(platform_, caller)) {
    writeObsolete(caller, error);
    return resultOk;
  }
  if (script_ == nullptr) return resultNoObject;
  if (url == nullptr || error == nullptr) return resultNullArgument;
  KBL_LOG(info, "[AuthNUpload] VerifyRedirectURL:" << url);
  const int answer = script_->VerifyRedirectURL(url);
  KBL_LOG(info, "[AuthNUpload] Verify result:" << answer);
  if (answer == verifyNotUsable) return resultNullArgument;
  if (answer != verifyFailed) return resultOk;
  copyBounded(error, script_->GetLastError(), errorTextRoom);
  return resultFailed;
}

std::int32_t CAuthNUploadObj::SetAccessToken(const char* token, char* error) {
  static constexpr const char* caller = "CAuthNUploadObj::SetAccessToken";
  if (warnObsolete(platform_, caller)) {
    writeObsolete(caller, error);
    return resultOk;
  }
  if (script_ == nullptr) return resultNoObject;
  if (token == nullptr || error == nullptr) return resultNullArgument;
  const bool refused = script_->SetAccessToken(token) == 0;
  const std::string text = script_->GetLastError();
  copyBounded(error, text, errorTextRoom);
  if (!refused) return resultOk;
  KBL_LOG(info, "[AuthNUpload] AccessToken error:" << text);
  return resultFailed;
}

std::int32_t CAuthNUploadObj::GetUserInfo(hostAccountRecord* record) {
  if (record == nullptr) return resultNullArgument;
  if (IPlatformUploadProxy* const proxy = ensureProxy()) return proxy->GetUserInfo(record);
  if (script_ == nullptr) return resultNoObject;
  const std::string token = script_->GetAccessToken();
  if (token == noToken) return resultFailed;
  const std::string appKey = script_->GetAppKey();
  const std::string appSecret = script_->GetAppSecret();
  const std::string categories = script_->callForText("GetVideoCategories");
  record->videoHd = script_->callForNumber("GetVideoHD");
  record->videoSd = script_->callForNumber("GetVideoSD");
  record->limitSpace = script_->callForNumber("GetLimitSpace");
  copyToField(record->accessToken, token);
  copyToField(record->appKey, appKey);
  copyToField(record->appSecret, appSecret);
  copyToRecordsEnd(*record, categories);
  copyToField(record->userName, script_->GetUserName());
  return resultOk;
}

std::int32_t CAuthNUploadObj::SetCallback(TransferCallback callback) {
  events_->setCallback(callback);
  return resultOk;
}

std::int32_t CAuthNUploadObj::StartUpload(hostTransferRecord* record) {
  if (record == nullptr) return resultNullArgument;
  if (IPlatformUploadProxy* const proxy = ensureProxy()) return proxy->StartUpload(record);
  if (script_ == nullptr) return resultNoObject;
  script_->StartUpload(*record);
  return resultOk;
}

std::int32_t CAuthNUploadObj::StopUpload() {
  if (proxy_ != nullptr) return proxy_->StopUpload();
  if (script_ == nullptr) return resultNoObject;
  script_->StopUpload();
  return resultOk;
}

std::int32_t CAuthNUploadObj::SetAppIdAndSecret(const char* id, const char* secret, const char* redirectUrl) {
  if (warnObsolete(platform_, "CAuthNUploadObj::SetAppIdAndSecret")) return resultOk;
  if (script_ == nullptr) return resultNoObject;
  if (id == nullptr || secret == nullptr) return resultNullArgument;
  script_->SetAppKey(id);
  script_->SetAppSecret(secret);
  script_->SetRedirectURL(redirectUrl);
  return resultOk;
}

std::int32_t CAuthNUploadObj::PushMessage(hostShareRecord* record) {
  if (warnObsolete(platform_, "CAuthNUploadObj::PushMessage")) return resultOk;
  if (script_ == nullptr) return resultNoObject;
  if (record == nullptr) return resultNullArgument;
  script_->ShareLink(fieldText(record->first), fieldText(record->second));
  return resultOk;
}

IPlatformUploadProxy* CAuthNUploadObj::ensureProxy() {
  if (proxy_ != nullptr) return proxy_.get();
  const UploadPlatform* const native = findUploadPlatform(platform_);
  if (native == nullptr || findAuthorize(native->managerIndex) == nullptr) return nullptr;
  proxy_ = native->makeProxy(events_);
  return proxy_.get();
}

}  // namespace KBL
