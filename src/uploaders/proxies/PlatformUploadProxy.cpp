#include "uploaders/proxies/PlatformUploadProxy.h"

#include "authorize/switchboard/AuthorizeTable.h"
#include "authorize/switchboard/SwitchboardInterfaces.h"
#include "boundary/records/Records.h"
#include "foundation/Texts.h"
#include "uploaders/proxies/hostField.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>
#include <KblLogger/KblLogger.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/StringUtil.h>

#include <utility>

namespace KBL {

namespace {
/// resultFailed when memory is short.
_Result fillUploadInfo(BsBaseInfoRW& info, const hostTransferRecord& record) {
  using Key = ExternlMediaUploadCharKey;
  _Result result = resultOk;
  const auto set = [&](const char* key, const std::string& text) {
    if (info.setCharKeyConfig(key, text.c_str()) != resultOk) result = resultFailed;
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
  return result;
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
}  // namespace

PlatformUploadProxy::PlatformUploadProxy(int transferPlatform, UploadCallbackProxy& callbacks,
                                         std::shared_ptr<IUploadEventSink> owner)
    : platform_(*findUploadPlatform(transferPlatform)),
      callbacks_(callbacks),
      lifeToken_(std::make_shared<UploadEventReporter>(platform_, std::move(owner))) {
  callbacks_.enter(lifeToken_);
}

std::int32_t PlatformUploadProxy::StartUpload(hostTransferRecord* record) {
  const RefPtr<IBsInfoReader> made = adoptRef(createRecord(infoTypeUpload));
  if (!made) return resultFailed;
  {
    RefPtr<IBsInfoReader> former = made;
    const std::lock_guard lock(infoMutex_);
    uploadInfo_.swap(former);
  }
  auto* const info = queryInterface<BsBaseInfoRW>(made.get(), "BsBaseInfoRW");
  if (info != nullptr && fillUploadInfo(*info, *record) != resultOk) return resultFailed;
  const std::shared_ptr<IBsExternlMediaAuthorize> manager = holdAuthorize(platform_.managerIndex);
  if (!manager) return resultFailed;
  if (platform_.copiesUser && info != nullptr) copyUser(*manager, *record, *info);
  auto* const uploader = queryInterface<IExternlMediaUploadFile>(manager.get(), "IExternlMediaUploadFile");
  if (uploader == nullptr) return resultOk;
  // From here on a worker may report, and the host may end this proxy inside its callback: no member is
  // touched after the call.
  uploader->asyncUploadMediaFile(
      queryInterface<IBsExternlMediaUploadInfo>(made.get(), "IBsExternlMediaUploadInfo"), &callbacks_, 1);
  return resultOk;
}

RefPtr<IBsInfoReader> PlatformUploadProxy::uploadInfo() {
  const std::lock_guard lock(infoMutex_);
  return uploadInfo_;
}

std::int32_t PlatformUploadProxy::StopUpload() {
  const RefPtr<IBsInfoReader> record = uploadInfo();
  auto* const info = queryInterface<BsBaseInfoRW>(record.get(), "BsBaseInfoRW");
  if (info == nullptr) return resultOk;
  info->setCharKeyConfig(ExternlMediaUploadCharKey::stopFlag, UploadStopFlag::userCancelled);
  const char* const path = info->charKeyConfig(ExternlMediaUploadCharKey::filePath);
  KBL_LOG_AS(severityInfo, (std::string(platform_.proxyClassName) + "::StopUpload").c_str(),
             "user cancelled, " << textOrEmpty(path));
  return resultOk;
}

std::int32_t PlatformUploadProxy::Logout() {
  const std::shared_ptr<IBsExternlMediaAuthorize> manager = holdAuthorize(platform_.managerIndex);
  if (!manager) return resultFailed;
  return manager->logout("") == resultOk ? resultOk : resultFailed;
}

std::int32_t PlatformUploadProxy::GetUserInfo(hostAccountRecord* record) {
  const std::shared_ptr<IBsExternlMediaAuthorize> manager = holdAuthorize(platform_.managerIndex);
  if (!manager) return resultFailed;
  const RefPtr<IBsInfoReader> user = adoptRef(createRecord(infoTypeUser));
  auto* const out = queryInterface<IBsExternlMediaAuthUserInfo>(user.get(), "IBsExternlMediaAuthUserInfo");
  if (out == nullptr || manager->userInfo("", out) != resultOk) return resultFailed;
  copyToField(record->accessToken,
              textOrEmpty(user->charKeyConfig(ExternlMediaAuthUserCharKey::thirdAccessToken)));
  copyToField(record->userName, textOrEmpty(user->charKeyConfig(ExternlMediaAuthUserCharKey::userNickName)));
  if (platform_.fillsCategories) {
    copyToRecordsEnd(*record, textOrEmpty(user->charKeyConfig(ExternlMediaAuthUserCharKey::videoCategories)));
  }
  return resultOk;
}

_Result PlatformUploadProxy::queryResponse(IBsBaseRequest* request, IBsInfoReader* info,
                                           IBsErrorInfo* error) {
  return std::shared_ptr(lifeToken_)->queryResponse(request, info, error);
}

}  // namespace KBL
