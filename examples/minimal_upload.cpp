// The smallest upload: whoever signed in last (see minimal_login.cpp) sends one video to YouTube.
// Usage: minimal_upload CLOUD_CONFIG APP_SECRET VIDEO
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetKeys.h>
#include <BsNet/cipher.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/HostRecords.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>

#include <chrono>
#include <future>
#include <iostream>
#include <string>

namespace {

std::promise<int> ended;

// Comes on a worker of the library: 7 progress, 8 finished, 12 error; one of the last two, once.
int onEvent(void*, KBL::IExternlMediaTransfer*, int event, int value, const char* text) {
  std::cout << "event " << event << ", value " << value << ", " << (text == nullptr ? "" : text) << std::endl;
  if (event != 7) ended.set_value(event == 8 ? 0 : 1);
  return 0;
}

KBL::hostTransferRecord jobFor(const std::string& video) {
  KBL::hostTransferRecord job{};  // zero-filled, so that every text is terminated
  video.copy(job.filePath, sizeof job.filePath - 1);
  std::string("A small host's video").copy(job.title, sizeof job.title - 1);
  std::string("private").copy(job.privacy, sizeof job.privacy - 1);
  job.useClient = 1;  // the account server is told both numbers as they are
  job.actionType = 1;
  return job;
}

// Some failures are silent, so nobody should wait for ever; a real host counts from the last event.
int waitForEnd() {
  auto outcome = ended.get_future();
  return outcome.wait_for(std::chrono::minutes(3)) == std::future_status::ready ? outcome.get() : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 || !KBL::loadCloudConfig(argv[1]).empty()) return 2;
  const KBL::hostTransferRecord job = jobFor(argv[3]);
  const std::string cacheDir = KBL::defaultKeyDirectory() + "/cache";

  const auto manager = KBL::adoptRef(getOrCreateExternlMediaAuthorize(KBL::ema_youtube));
  const auto record = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));
  auto* const info = KBL::queryInterface<KBL::IBsPubInfo>(record.get(), "IBsPubInfo");
  info->setCharKeyConfig(KBL::PubCharKey::appSecret, argv[2]);
  manager->setPubParam(info);
  manager->init(cacheDir.c_str(), 3300000);
  const auto transfer = KBL::adoptRef(createEMTUpTransfer(KBL::transferYoutube));
  transfer->Command(KBL::commandSetCallback, &onEvent);
  transfer->Command(KBL::commandSetRecord, &job);
  transfer->Start();

  return waitForEnd();
}
