#pragma once

#include "boundary/records/Records.h"
#include "requests/ConcreteAuthRequest.h"
#include "support/FakeManager.h"
#include "support/RecordingLogger.h"
#include "support/RecordingSink.h"
#include "support/TextIn.h"
#include "uploaders/proxies/DouyinUploader.h"
#include "uploaders/proxies/TiktokUploader.h"
#include "uploaders/proxies/YoutubeUploader.h"
#include <BsNet/BsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <ostream>
#include <string>

struct ProxyCase {
  const char* name;
  int transferPlatform;
  int managerIndex;
  int uploadRequestType;
  bool copiesUser;
  bool fillsCategories;
  KBL::UploadCallbackProxy& (*callbacks)();
};

inline void PrintTo(const ProxyCase& test, std::ostream* out) {
  *out << test.name;
}

inline const ProxyCase proxyCases[] = {
    {"Youtube", 1, 0, 7, false, true,
     []() -> KBL::UploadCallbackProxy& { return KBL::YoutubeUploadProxyCallbackProxy::instance(); }},
    {"Tiktok", 6, 2, 9, true, false,
     []() -> KBL::UploadCallbackProxy& { return KBL::TiktokUploadProxyCallbackProxy::instance(); }},
    {"Douyin", 7, 3, 11, true, false,
     []() -> KBL::UploadCallbackProxy& { return KBL::DouyinUploadProxyCallbackProxy::instance(); }},
};

inline std::string proxyCaseName(const testing::TestParamInfo<ProxyCase>& test) {
  return test.param.name;
}

class UploadProxyFixture : public testing::TestWithParam<ProxyCase> {
 protected:
  static std::shared_ptr<KBL::IPlatformUploadProxy> makeProxy(const std::shared_ptr<RecordingSink>& sink) {
    return KBL::findUploadPlatform(GetParam().transferPlatform)->makeProxy(sink);
  }

  const std::shared_ptr<RecordingSink> sink_ = std::make_shared<RecordingSink>();
};

/// A request of some kind, as a proxy gets to see it.
inline KBL::RefPtr<KBL::ConcreteAuthRequest> makeRequest(int type) {
  return KBL::makeRef<KBL::ConcreteAuthRequest>(
      KBL::RequestConstants{static_cast<KBL::ExternlMediaAuthRequestType>(type), KBL::httpPost, "", "test"});
}

inline KBL::hostTransferRecord someRecord() {
  KBL::hostTransferRecord record{};
  std::strcpy(record.filePath, "/videos/Müller.mp4");
  std::strcpy(record.title, "a title");
  std::strcpy(record.description, "a description");
  std::strcpy(record.tags, "one,two");
  std::strcpy(record.category, "22");
  std::strcpy(record.privacy, "unlisted");
  std::strcpy(record.thumbnailPath, "/videos/cover.png");
  std::strcpy(record.userUuid, "user-7");
  record.useClient = 3;
  record.actionType = -4;
  return record;
}

struct Delivery {
  const char* progress = nullptr;
  const char* videoUrl = nullptr;
  const char* stopFlag = nullptr;
  int code = 0;
  const char* message = "";
};

inline void deliver(KBL::IBsRequstCallback& callback, int requestType, const Delivery& delivery) {
  const auto request = makeRequest(requestType);
  const auto info = KBL::makeRef<KBL::BsExternlMediaUploadInfo>();
  const auto error = KBL::makeRef<KBL::BsErrorInfo>();
  if (delivery.progress != nullptr) info->setCharKeyConfig("upload_progress", delivery.progress);
  if (delivery.videoUrl != nullptr) info->setCharKeyConfig("upload_video_url", delivery.videoUrl);
  if (delivery.stopFlag != nullptr) info->setCharKeyConfig("upload_stop", delivery.stopFlag);
  error->setError(delivery.code, delivery.message);
  callback.queryResponse(request.get(), info.get(), error.get());
}
