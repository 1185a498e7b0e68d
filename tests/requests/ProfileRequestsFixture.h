#pragma once

#include "boundary/records/Records.h"
#include "requests/ProfileRequests.h"
#include "requests/RequestsFixture.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <string>

using GoogleUser = KBL::BsExternlMediaAuthYoutubeUserInfoRequest;
using Categories = KBL::BsExternlMediaAuthYoutubeVideoCategoryRequest;
using Tiktok = KBL::BsExternlMediaAuthTiktokUserInfoRequest;
using Douyin = KBL::BsExternlMediaAuthDouyinUserInfoRequest;

/// One profile request of a signed-in user against a fake network.
class ProfileRequests : public RequestsFixture {
 protected:
  void SetUp() override {
    RequestsFixture::SetUp();
    info = KBL::makeRef<KBL::BsExternlMediaAuthLoginInfo>();
    info->setCharKeyConfig(KBL::ExternlMediaMixedCharKey::thirdAccessToken, "platform-token");
    info->setCharKeyConfig(KBL::ExternlMediaMixedCharKey::userAccountUid, "uid-1");
  }
  void TearDown() override {
    info.reset();
    RequestsFixture::TearDown();
  }

  template <class Request>
  KBL::RefPtr<Request> run(const std::string& body = "{}", int status = 200) {
    network.answer(httpReply(status, body));
    auto request = makeRequest<Request>();
    request->syncRequestWithInfo(info.get());
    return request;
  }
  /// Nothing was learnt: the info and the user's record stay as they were.
  void expectNothingPublished() {
    EXPECT_EQ(manager->count("updateInfo"), 0U);
    EXPECT_EQ(textIn(*info, KBL::ExternlMediaMixedCharKey::userNickName), "(unset)");
    EXPECT_EQ(textIn(*info, KBL::ExternlMediaMixedCharKey::videoCategories), "(unset)");
    EXPECT_EQ(textIn(*info, KBL::ExternlMediaMixedCharKey::userAccountUid), "uid-1");
  }
  /// A copy as the reply, and one update with the info itself.
  void expectPublished(const KBL::BsExternlMediaAuthRequest& request) {
    EXPECT_EQ(request.replyInfo()->infoType(), KBL::infoTypeMixed);
    EXPECT_EQ(textIn(*request.replyInfo(), KBL::ExternlMediaMixedCharKey::thirdAccessToken),
              "platform-token");
    ASSERT_EQ(manager->count("updateInfo"), 1U);
    EXPECT_EQ(manager->calls("updateInfo")[0].uuid, uuid);
    EXPECT_EQ(manager->calls("updateInfo")[0].infoType, KBL::infoTypeLogin);
  }

  KBL::RefPtr<KBL::BsExternlMediaAuthLoginInfo> info;
};
