#pragma once

#include "requests/ProfileRequest.h"

namespace KBL {

/// Who the user is at Douyin.
class BsExternlMediaAuthDouyinUserInfoRequest final : public ProfileRequest {
 public:
  BsExternlMediaAuthDouyinUserInfoRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                         int& code) override;

 protected:
  void clearFields() override;
  void readFields(const Json::Value& root) override;
  void publish(BsBaseInfoRW& record) override;

 private:
  std::string openId_;
  std::string nickName_;
  std::string unionId_;
  std::string avatarUrl_;
};

}  // namespace KBL
