#include "scripting/AuthNUploadObj.h"

#include "authorize/switchboard/AuthorizeTable.h"
#include "scripting/python/PythonRunTime.h"
#include "uploaders/proxies/UploadPlatform.h"
#include "uploaders/proxies/hostField.h"
#include <KblLogger/KblLogger.h>
#include <KblUtils/HostCode.h>
#include <KblUtils/Result.h>
#include <KblUtils/StringUtil.h>

#include <initializer_list>
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

/// Whether scripts can be given the host's texts, null included; logs when not. Such a text never reaches a
/// script, which could not say so.
bool areUtf8(const char* caller, std::initializer_list<const char*> texts) {
  for (const char* const text : texts) {
    if (text == nullptr || StringUtil::isUtf8(text)) continue;
    KBL_LOG_AS(severityWarning, caller, "[AuthNUpload] " << caller << ", text is not UTF-8");
    return false;
  }
  return true;
}

/// The same of what an upload's script always gets. It would fail at its first text otherwise, and no event
/// would ever tell.
bool isUtf8(const hostTransferRecord& record) {
  return areUtf8("CAuthNUploadObj::StartUpload",
                 {fieldText(record.filePath).c_str(), fieldText(record.title).c_str(),
                  fieldText(record.description).c_str(), fieldText(record.privacy).c_str(),
                  fieldText(record.tags).c_str(), fieldText(record.category).c_str()});
}

void writeObsolete(const char* caller, char* error) {
  if (error != nullptr) kbl_strcpy(error, (std::string(caller) + ", mark as obsolete").c_str());
}
}  // namespace

bool warnObsolete(int platform, const char* caller) {
  const UploadPlatform* const native = findUploadPlatform(platform);
  if (native == nullptr || findAuthorize(native->managerIndex) == nullptr) return false;
  KBL_LOG_AS(severityWarning, "warnObsolete",
             "[AuthNUpload] " << caller << ", " << native->name << " mark as obsolete");
  return true;
}

CAuthNUploadObj::CAuthNUploadObj() : events_(std::make_shared<UploadEventSink>()), scriptHandle_(events_) {}

CAuthNUploadObj::~CAuthNUploadObj() {
  end();
}

void CAuthNUploadObj::end() {
  events_->close();
  std::shared_ptr<IPlatformUploadProxy> last;
  {
    const std::lock_guard lock(proxyMutex_);
    ended_ = true;
    last.swap(proxy_);
  }
  if (last == nullptr) return;
  try {
    last->StopUpload();
  } catch (...) {
    passThreadEnd();
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
  KBL_LOG(severityInfo, "[AuthNUpload] LoginURL:" << text);
  return text.empty() ? resultNullArgument : resultOk;
}

std::int32_t CAuthNUploadObj::Logout() {
  if (const auto native = proxy()) return native->Logout();
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
  if (url == nullptr || error == nullptr || !areUtf8(caller, {url})) return resultNullArgument;
  KBL_LOG(severityInfo, "[AuthNUpload] VerifyRedirectURL:" << url);
  const int answer = script_->VerifyRedirectURL(url);
  KBL_LOG(severityInfo, "[AuthNUpload] Verify result:" << answer);
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
  if (token == nullptr || error == nullptr || !areUtf8(caller, {token})) return resultNullArgument;
  const bool refused = script_->SetAccessToken(token) == 0;
  const std::string text = script_->GetLastError();
  copyBounded(error, text, errorTextRoom);
  if (!refused) return resultOk;
  KBL_LOG(severityInfo, "[AuthNUpload] AccessToken error:" << text);
  return resultFailed;
}

std::int32_t CAuthNUploadObj::GetUserInfo(hostAccountRecord* record) {
  if (record == nullptr) return resultNullArgument;
  if (const auto native = ensureProxy()) return native->GetUserInfo(record);
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
  if (const auto native = ensureProxy()) return native->StartUpload(record);
  if (script_ == nullptr) return resultNoObject;
  if (!isUtf8(*record)) return resultNullArgument;
  script_->StartUpload(*record);
  return resultOk;
}

std::int32_t CAuthNUploadObj::StopUpload() {
  if (const auto native = proxy()) return native->StopUpload();
  if (script_ == nullptr) return resultNoObject;
  script_->StopUpload();
  return resultOk;
}

std::int32_t CAuthNUploadObj::SetAppIdAndSecret(const char* id, const char* secret, const char* redirectUrl) {
  static constexpr const char* caller = "CAuthNUploadObj::SetAppIdAndSecret";
  if (warnObsolete(platform_, caller)) return resultOk;
  if (script_ == nullptr) return resultNoObject;
  if (id == nullptr || secret == nullptr || !areUtf8(caller, {id, secret, redirectUrl}))
    return resultNullArgument;
  script_->SetAppKey(id);
  script_->SetAppSecret(secret);
  script_->SetRedirectURL(redirectUrl);
  return resultOk;
}

std::int32_t CAuthNUploadObj::PushMessage(hostShareRecord* record) {
  static constexpr const char* caller = "CAuthNUploadObj::PushMessage";
  if (warnObsolete(platform_, caller)) return resultOk;
  if (script_ == nullptr) return resultNoObject;
  if (record == nullptr) return resultNullArgument;
  const std::string first = fieldText(record->first);
  const std::string second = fieldText(record->second);
  if (!areUtf8(caller, {first.c_str(), second.c_str()})) return resultNullArgument;
  script_->ShareLink(first, second);
  return resultOk;
}

std::shared_ptr<IPlatformUploadProxy> CAuthNUploadObj::ensureProxy() {
  if (auto standing = proxy()) return standing;
  const UploadPlatform* const native = findUploadPlatform(platform_);
  if (native == nullptr || findAuthorize(native->managerIndex) == nullptr) return nullptr;
  const std::lock_guard lock(proxyMutex_);
  if (proxy_ == nullptr && !ended_) proxy_ = native->makeProxy(events_);
  return proxy_;
}

std::shared_ptr<IPlatformUploadProxy> CAuthNUploadObj::proxy() {
  const std::lock_guard lock(proxyMutex_);
  return proxy_;
}

}  // namespace KBL
