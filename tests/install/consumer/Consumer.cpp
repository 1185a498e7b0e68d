// Uses each of the five libraries once.
#include "boundary/ExternlMediaTransfer.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/RecordInterfaces.h"
#include "foundation/BsCloudConfig/BsCloudConfig.h"
#include "foundation/BsNet/createInfoObject.h"
#include "foundation/KblLogger/LogSinks.h"
#include "foundation/KblUtils/TimeUtil.h"
#include "foundation/object/CastByName.h"
#include "foundation/object/RefPtr.h"

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
  return KBL::adoptRef(createEMTUpTransfer(1)).get() != nullptr;
}

bool foundationAnswers() {
  KBL::installLogger(KBL::makeLogger({}));
  KBL_LOG(info, "a line at " << KBL::TimeUtil::nowSinceEpoch());
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
