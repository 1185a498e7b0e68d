#include "boundary/transfers/SignedInHost.h"

#include "authorize/switchboard/SwitchboardInterfaces.h"
#include <BsNet/BsInfoReader.h>
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/CastByName.h>

#include <cstring>
#include <thread>

using namespace KBL;

SignedInManager::SignedInManager(const std::string& cacheDir, const std::string& platformToken,
                                 const SignIn& signIn)
    : accountUid_(signIn.accountUid) {
  // A worker may still hold the manager of an earlier host for the length of a call.
  while (getExternlMediaAuthorize(signIn.platform) != nullptr) std::this_thread::yield();
  manager_ = adoptRef(getOrCreateExternlMediaAuthorize(signIn.platform));
  manager_->init(cacheDir.c_str(), 0);
  const RefPtr<IBsInfoReader> pubInfo = adoptRef(createInfoObject(infoObjectPubInfo));
  queryInterface<BsBaseInfoRW>(pubInfo.get(), "BsBaseInfoRW")
      ->setCharKeyConfig(PubCharKey::appSecret, "sandbox-app-secret");
  manager_->setPubParam(queryInterface<IBsPubInfo>(pubInfo.get(), "IBsPubInfo"));
  if (!platformToken.empty()) learnToken("new", platformToken);
}

void SignedInManager::replaceToken(const std::string& platformToken) const {
  const RefPtr<IBsInfoReader> user = adoptRef(createExternlMediaAuthInfoObject(infoTypeUser));
  manager_->userInfo("",
                     queryInterface<IBsExternlMediaAuthUserInfo>(user.get(), "IBsExternlMediaAuthUserInfo"));
  learnToken(user->charKeyConfig(ExternlMediaAuthUserCharKey::userSessionId), platformToken);
}

void SignedInManager::learnToken(const std::string& uuid, const std::string& platformToken) const {
  const RefPtr<IBsInfoReader> info = adoptRef(createExternlMediaAuthInfoObject(infoTypeMixed));
  auto* const writable = queryInterface<BsBaseInfoRW>(info.get(), "BsBaseInfoRW");
  writable->setCharKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken, platformToken.c_str());
  if (!accountUid_.empty()) {
    writable->setCharKeyConfig(ExternlMediaMixedCharKey::userAccountUid, accountUid_.c_str());
  }
  writable->setCharKeyConfig(ExternlMediaMixedCharKey::userNickName, "Zoë");
  writable->setCharKeyConfig(ExternlMediaMixedCharKey::videoCategories, "Film|Music|");
  writable->setIntKeyConfig(ExternlMediaMixedIntKey::expiresTimestamp, 4102444800);
  queryInterface<IExternlMediaRefreshAccessTokenCallback>(manager_.get(),
                                                          "IExternlMediaRefreshAccessTokenCallback")
      ->updateInfo(uuid, info.get());
}

std::unique_ptr<hostTransferRecord> makeUploadJob(const std::string& path) {
  auto job = std::make_unique<hostTransferRecord>();
  path.copy(job->filePath, sizeof job->filePath - 1);
  std::strcpy(job->title, "A day in Zürich");
  std::strcpy(job->description, "Two\nlines");
  std::strcpy(job->tags, "one,two");
  std::strcpy(job->privacy, "private");
  job->useClient = 1;
  job->actionType = 1;
  return job;
}

RefPtr<IExternlMediaTransfer> makeUpload(EventLog& log, const std::string& path, int transferPlatform) {
  RefPtr<IExternlMediaTransfer> transfer = adoptRef(createEMTUpTransfer(transferPlatform));
  const TransferCallback callback = EventLog::record;
  transfer->Command(KBL::commandSetCallback, callback);
  transfer->Command(KBL::commandSetContext, &log);
  transfer->Command(KBL::commandSetRecord, makeUploadJob(path).get());
  return transfer;
}
