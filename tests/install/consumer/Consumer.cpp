// Uses each of the five libraries once.
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblLogger/LogSinks.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>
#include <KblUtils/TimeUtil.h>

#include <cstdio>
#include <string>

namespace {

bool recordKeepsATitle() {
  const auto record = KBL::adoptRef(createExternlMediaAuthInfoObject(KBL::infoTypeUpload));
  auto* const upload =
      KBL::queryInterface<KBL::IBsExternlMediaUploadInfo>(record.get(), "IBsExternlMediaUploadInfo");
  if (upload == nullptr) return false;
  upload->setCharKeyConfig(KBL::ExternlMediaUploadCharKey::title, "a title");
  return std::string(record->charKeyConfig(KBL::ExternlMediaUploadCharKey::title)) == "a title";
}

bool transferIsMade() {
  return KBL::adoptRef(createEMTUpTransfer(KBL::transferYoutube)).get() != nullptr;
}

bool foundationAnswers() {
  KBL::installLogger(KBL::makeLogger({}));
  KBL_LOG(severityInfo, "a line at " << KBL::TimeUtil::nowSinceEpoch());
  KBL::setCloudConfig({{"key", "https://host"}});
  char url[KBL::urlBufferSize] = {};
  getBsCloudConfigManager()->urlConfig()->urlForKey("key", url, 0);
  const auto pubInfo = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));
  return std::string(url) == "https://host" && pubInfo.get() != nullptr;
}

}  // namespace

int main() {
  if (getExternlMediaAuthorize(0) != nullptr || !recordKeepsATitle() || !transferIsMade()) return 1;
  if (!foundationAnswers()) return 1;
  std::puts("a host runs");
  return 0;
}
