#pragma once

#include "requests/ProfileRequest.h"

namespace KBL {

/// Who the user is at Google.
class BsExternlMediaAuthYoutubeUserInfoRequest final : public GoogleProfileRequest {
 public:
  BsExternlMediaAuthYoutubeUserInfoRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                         int& code) override;

 protected:
  void clearFields() override;
  void readFields(const Json::Value& root) override;
  void publish(BsBaseInfoRW& record) override;

 private:
  void fetchAvatar(BsBaseInfoRW& record);

  std::string id_;
  std::string email_;
  std::string name_;
  std::string givenName_;
  std::string familyName_;
  std::string picture_;
  std::string avatarPath_;  // stays empty: no place for avatars is set up
  std::string locale_;
};

}  // namespace KBL
