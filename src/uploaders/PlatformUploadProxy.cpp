#include "uploaders/PlatformUploadProxy.h"

#include "authorize/switchboard/AuthorizeTable.h"
#include "authorize/switchboard/IExternlMediaUploadFile.h"
#include "boundary/records/ExternlMediaInfoType.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/Records.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/KblUtils/StringUtil.h"
#include "foundation/object/CastByName.h"
#include "uploaders/hostField.h"

#include <utility>

namespace KBL {

namespace {
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

/// A text of a record, empty where it has none.
std::string orEmpty(const char* text) {
  return text == nullptr ? std::string() : std::string(text);
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
  copyToField(record->accessToken,
              orEmpty(user->charKeyConfig(ExternlMediaAuthUserCharKey::thirdAccessToken)));
  copyToField(record->userName, orEmpty(user->charKeyConfig(ExternlMediaAuthUserCharKey::userNickName)));
  if (platform_.fillsCategories) {
    copyToRecordsEnd(*record, orEmpty(user->charKeyConfig(ExternlMediaAuthUserCharKey::videoCategories)));
  }
  return resultOk;
}

_Result PlatformUploadProxy::queryResponse(IBsBaseRequest* request, IBsInfoReader* info,
                                           IBsErrorInfo* error) {
  return std::shared_ptr(lifeToken_)->queryResponse(request, info, error);
}

}  // namespace KBL
