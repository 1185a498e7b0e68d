#pragma once

#include "requests/ProfileRequest.h"

namespace KBL {

/// The video categories of YouTube, as one text: each title followed by "|".
class BsExternlMediaAuthYoutubeVideoCategoryRequest final : public GoogleProfileRequest {
 public:
  BsExternlMediaAuthYoutubeVideoCategoryRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                         int& code) override;

 protected:
  void clearFields() override;
  void readFields(const Json::Value& root) override;
  void publish(BsBaseInfoRW& record) override;

 private:
  std::string categories_;
};

}  // namespace KBL
