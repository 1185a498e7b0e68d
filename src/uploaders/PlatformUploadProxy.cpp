#include "uploaders/PlatformUploadProxy.h"

#include "authorize/switchboard/AuthorizeTable.h"
#include "authorize/switchboard/IExternlMediaUploadFile.h"
#include "boundary/records/ExternlMediaInfoType.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/Records.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/KblUtils/StringUtil.h"
#include "foundation/object/CastByName.h"

#include <cstring>
#include <utility>

namespace KBL {

namespace {
/// Text of a host's field, which ends with the field where the host left no terminator.
template <std::size_t size>
std::string fieldText(const char (&field)[size]) {
  const void* const end = std::memchr(field, '\0', size);
  return {field, end == nullptr ? size : static_cast<std::size_t>(static_cast<const char*>(end) - field)};
}

void fillUploadInfo(BsBaseInfoRW& info, const hostTransferRecord& record) {
  using Key = ExternlMediaUploadCharKey;
  const auto set = [&info](const char* key, const std::string& text) {
    info.setCharKeyConfig(key, text.c_str());
  };
  set(Key::seq, "0");
  set(Key::filePath, fieldText(record.filePath));
  set(Key::title, fieldText(record.title));
  set(Key::desc, fieldText(record.description));
  set(Key::tags, fieldText(record.tags));
  set(Key::category, fieldText(record.category));
  set(Key::privacy, fieldText(record.privacy));
  set(Key::thumbnailPath, fieldText(record.thumbnailPath));
  set(ExternlMediaLoginCharKey::userSessionId, fieldText(record.userUuid));
  set(ExternlUserConsumeCharKey::use_client, std::to_string(record.useClient));
  set(ExternlUserConsumeCharKey::action_type, std::to_string(record.actionType));
}

/// Adds what the manager knows of the upload's user to its record.
void copyUser(IBsExternlMediaAuthorize& manager, const hostTransferRecord& record, BsBaseInfoRW& info) {
  const RefPtr<IBsInfoReader> user = adoptRef(createRecord(infoTypeUser));
  auto* const out = queryInterface<IBsExternlMediaAuthUserInfo>(user.get(), "IBsExternlMediaAuthUserInfo");
  if (out == nullptr) return;
  // Without such a user nothing is copied; the upload's own search for the user reports it.
  (void)manager.userInfo(fieldText(record.userUuid).c_str(), out);
  info.updataFrom(user.get());
}

/// Copies a text to a field of the host's, cut at a character's end where the field is shorter.
template <std::size_t size>
void copyToField(char (&field)[size], const char* text) {
  kbl_strcpy(field, StringUtil::cutUtf8(text == nullptr ? "" : text, size - 1).c_str());
}
}  // namespace

PlatformUploadProxy::PlatformUploadProxy(int transferPlatform, UploadCallbackProxy& callbacks,
                                         std::shared_ptr<IUploadEventSink> owner)
    : platform_(*findUploadPlatform(transferPlatform)),
      callbacks_(callbacks),
      lifeToken_(std::make_shared<UploadEventReporter>(platform_, std::move(owner))) {
  callbacks_.enter(lifeToken_);
}

std::int32_t PlatformUploadProxy::StartUpload(hostTransferRecord* record) {
  uploadInfo_ = adoptRef(createRecord(infoTypeUpload));
  auto* const info = queryInterface<BsBaseInfoRW>(uploadInfo_.get(), "BsBaseInfoRW");
  if (info != nullptr) fillUploadInfo(*info, *record);
  const RefPtr<IBsExternlMediaAuthorize> manager = holdAuthorize(platform_.managerIndex);
  if (!manager) return resultFailed;
  if (platform_.copiesUser && info != nullptr) copyUser(*manager, *record, *info);
  auto* const uploader = queryInterface<IExternlMediaUploadFile>(manager.get(), "IExternlMediaUploadFile");
  if (uploader == nullptr) return resultOk;
  // From here on a worker may report, and the host may end this proxy inside its callback: no member is
  // touched after the call.
  uploader->asyncUploadMediaFile(
      queryInterface<IBsExternlMediaUploadInfo>(uploadInfo_.get(), "IBsExternlMediaUploadInfo"), &callbacks_,
      1);
  return resultOk;
}

std::int32_t PlatformUploadProxy::StopUpload() {
  auto* const info = queryInterface<BsBaseInfoRW>(uploadInfo_.get(), "BsBaseInfoRW");
  if (info == nullptr) return resultOk;
  info->setCharKeyConfig(ExternlMediaUploadCharKey::stopFlag, UploadStopFlag::userCancelled);
  const char* const path = info->charKeyConfig(ExternlMediaUploadCharKey::filePath);
  KBL_LOG_AS(info, (std::string(platform_.proxyClassName) + "::StopUpload").c_str(),
             "user cancelled, " << (path == nullptr ? "" : path));
  return resultOk;
}

std::int32_t PlatformUploadProxy::Logout() {
  const RefPtr<IBsExternlMediaAuthorize> manager = holdAuthorize(platform_.managerIndex);
  if (!manager) return resultFailed;
  return manager->logout("") == resultOk ? resultOk : resultFailed;
}

std::int32_t PlatformUploadProxy::GetUserInfo(hostAccountRecord* record) {
  const RefPtr<IBsExternlMediaAuthorize> manager = holdAuthorize(platform_.managerIndex);
  if (!manager) return resultFailed;
  const RefPtr<IBsInfoReader> user = adoptRef(createRecord(infoTypeUser));
  auto* const out = queryInterface<IBsExternlMediaAuthUserInfo>(user.get(), "IBsExternlMediaAuthUserInfo");
  if (out == nullptr || manager->userInfo("", out) != resultOk) return resultFailed;
  copyToField(record->accessToken, user->charKeyConfig(ExternlMediaAuthUserCharKey::thirdAccessToken));
  copyToField(record->userName, user->charKeyConfig(ExternlMediaAuthUserCharKey::userNickName));
  if (platform_.fillsCategories) {
    // The one text without a limit of its own: it runs on behind the record to the end of the host's buffer.
    char* const categories = reinterpret_cast<char*>(record) + offsetof(hostAccountRecord, videoCategories);
    kbl_strcpy(categories, user->charKeyConfig(ExternlMediaAuthUserCharKey::videoCategories));
  }
  return resultOk;
}

_Result PlatformUploadProxy::queryResponse(IBsBaseRequest* request, IBsInfoReader* info,
                                           IBsErrorInfo* error) {
  return std::shared_ptr(lifeToken_)->queryResponse(request, info, error);
}

}  // namespace KBL
