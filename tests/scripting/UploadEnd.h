#pragma once

#include "boundary/records/Records.h"
#include "support/FakeManager.h"
#include "uploaders/requests/BsExternlMediaAuthYoutubeUploadFileRequest.h"
#include <BsNet/BsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/HostRecords.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <functional>
#include <string>

/// A host's upload to YouTube whose events a test brings about.
class FakeUpload {
 public:
  explicit FakeUpload(InstalledManager& manager) : transfer(createEMTUpTransfer(KBL::transferYoutube)) {
    const KBL::TransferCallback function = &FakeUpload::tell;
    transfer->Command(KBL::commandSetCallback, function);
    transfer->Command(KBL::commandSetContext, static_cast<void*>(&onEvent));
    const KBL::hostTransferRecord job{};
    transfer->Command(KBL::commandSetRecord, &job);
    transfer->Start();
    callback_ = manager->uploads.back().callback;
    info_->setCharKeyConfig(KBL::ExternlMediaUploadCharKey::progress, "42");
  }

  /// What the upload's worker does when a part has arrived.
  void report() const {
    callback_->queryResponse(request_.get(), info_.get(), KBL::makeRef<KBL::BsErrorInfo>().get());
  }

  KBL::IExternlMediaTransfer* transfer;
  std::function<void(KBL::IExternlMediaTransfer*)> onEvent = [](KBL::IExternlMediaTransfer*) {};

 private:
  static int tell(void* context, KBL::IExternlMediaTransfer* transfer, int, int, const char*) {
    (*static_cast<decltype(onEvent)*>(context))(transfer);
    return 0;
  }

  KBL::IBsRequstCallback* callback_ = nullptr;
  KBL::RefPtr<KBL::BsExternlMediaUploadInfo> info_ = KBL::makeRef<KBL::BsExternlMediaUploadInfo>();
  KBL::RefPtr<KBL::BsExternlMediaAuthRequest> request_ =
      KBL::makeRef<KBL::BsExternlMediaAuthYoutubeUploadFileRequest>();
};
