#include "scripting/AuthNUploadObj.h"

#include "authorize/switchboard/AuthorizeTable.h"
#include "foundation/BsNet/Result.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/KblUtils/StringUtil.h"
#include "uploaders/UploadPlatform.h"

#include <string>

namespace KBL {

namespace {
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

CAuthNUploadObj::CAuthNUploadObj() : events_(std::make_shared<UploadEventSink>()) {}

CAuthNUploadObj::~CAuthNUploadObj() {
  events_->close();
  if (proxy_ != nullptr) proxy_->StopUpload();
}

std::int32_t CAuthNUploadObj::SetPlatform(std::uint32_t platform) {
  platform_ = static_cast<std::int32_t>(platform);
  return findUploadPlatform(platform_) != nullptr ? resultOk : resultNoObject;
}

std::int32_t CAuthNUploadObj::SetAppBrand(int) {
  return warnObsolete(platform_, "CAuthNUploadObj::SetAppBrand") ? resultOk : resultNoObject;
}

std::int32_t CAuthNUploadObj::GetLoginURL(char*) {
  return warnObsolete(platform_, "CAuthNUploadObj::GetLoginURL") ? resultOk : resultNoObject;
}

std::int32_t CAuthNUploadObj::Logout() {
  return proxy_ != nullptr ? proxy_->Logout() : resultNoObject;
}

std::int32_t CAuthNUploadObj::VerifyRedirectURL(const char*, char* error) {
  static constexpr const char* caller = "CAuthNUploadObj::VerifyRedirectURL";
  if (!warnObsolete(platform_, caller)) return resultNoObject;
  writeObsolete(caller, error);
  return resultOk;
}

std::int32_t CAuthNUploadObj::SetAccessToken(const char*, char* error) {
  static constexpr const char* caller = "CAuthNUploadObj::SetAccessToken";
  if (!warnObsolete(platform_, caller)) return resultNoObject;
  writeObsolete(caller, error);
  return resultOk;
}

std::int32_t CAuthNUploadObj::GetUserInfo(hostAccountRecord* record) {
  if (record == nullptr) return resultNullArgument;
  IPlatformUploadProxy* const proxy = ensureProxy();
  return proxy != nullptr ? proxy->GetUserInfo(record) : resultNoObject;
}

std::int32_t CAuthNUploadObj::SetCallback(TransferCallback callback) {
  events_->setCallback(callback);
  return resultOk;
}

std::int32_t CAuthNUploadObj::StartUpload(hostTransferRecord* record) {
  if (record == nullptr) return resultNullArgument;
  IPlatformUploadProxy* const proxy = ensureProxy();
  return proxy != nullptr ? proxy->StartUpload(record) : resultNoObject;
}

std::int32_t CAuthNUploadObj::StopUpload() {
  return proxy_ != nullptr ? proxy_->StopUpload() : resultNoObject;
}

std::int32_t CAuthNUploadObj::SetAppIdAndSecret(const char*, const char*, const char*) {
  return warnObsolete(platform_, "CAuthNUploadObj::SetAppIdAndSecret") ? resultOk : resultNoObject;
}

std::int32_t CAuthNUploadObj::PushMessage(hostShareRecord*) {
  return warnObsolete(platform_, "CAuthNUploadObj::PushMessage") ? resultOk : resultNoObject;
}

IPlatformUploadProxy* CAuthNUploadObj::ensureProxy() {
  if (proxy_ != nullptr) return proxy_.get();
  const UploadPlatform* const native = findUploadPlatform(platform_);
  if (native == nullptr || findAuthorize(native->managerIndex) == nullptr) return nullptr;
  proxy_ = native->makeProxy(events_);
  return proxy_.get();
}

}  // namespace KBL
