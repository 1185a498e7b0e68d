#include "support/ReferenceCount.h"
#include <BsNet/BsRequestParamReply.h>
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <KblUtils/CastByName.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(RequestParamReply, ReadsItsPartsFromTheRecord) {
  KBL::BsRequestParamReply param;
  EXPECT_EQ(param.getRequestUrl(), nullptr);
  EXPECT_EQ(param.getRequestBody(), nullptr);
  EXPECT_EQ(param.getRequestheads(), nullptr);
  EXPECT_EQ(param.getResponseContent(), nullptr);
  EXPECT_EQ(param.getBodyType(), KBL::bodyNone);
  EXPECT_EQ(param.getBsBaseTackInfo(), nullptr);

  param.setCharKeyConfig(KBL::RequestParamCharKey::url, "http://a/");
  param.setCharKeyConfig(KBL::RequestParamCharKey::body, "{}");
  param.setCharKeyConfig(KBL::RequestParamCharKey::heads, "A: b");
  param.setIntKeyConfig(KBL::RequestParamIntKey::bodyType, KBL::bodyJson);

  EXPECT_STREQ(param.getRequestUrl(), "http://a/");
  EXPECT_STREQ(param.getRequestBody(), "{}");
  EXPECT_STREQ(param.getRequestheads(), "A: b");
  EXPECT_EQ(param.getBodyType(), KBL::bodyJson);
}

TEST(RequestParamReply, StoresTheResponseOfTheGivenLength) {
  KBL::BsRequestParamReply param;

  EXPECT_EQ(param.parseResponse("content-and-more", 7), KBL::resultOk);
  EXPECT_STREQ(param.getResponseContent(), "content");
  EXPECT_EQ(param.parseResponse(nullptr, 0), KBL::resultFailed);
  EXPECT_EQ(param.parseResponse("x", -1), KBL::resultFailed);
  EXPECT_STREQ(param.getResponseContent(), "content");
}

TEST(RequestParamReply, HoldsAReferenceOnThePublicInformation) {
  auto* const record = createInfoObject(KBL::infoObjectPubInfo);
  auto* const pubInfo = KBL::queryInterface<KBL::IBsPubInfo>(record, "IBsPubInfo");
  {
    KBL::BsRequestParamReply param;
    param.setPubParam(pubInfo);
    EXPECT_EQ(param.getPubParam(), pubInfo);
    EXPECT_EQ(referencesTo(*record), 2);
  }
  EXPECT_EQ(record->Release(), 0);
}

TEST(RequestParamReply, AbordFlagIsKept) {
  KBL::BsRequestParamReply param;
  EXPECT_EQ(param.isAbord(), 0);

  param.abord(1);

  EXPECT_EQ(param.isAbord(), 1);
}

TEST(RequestParamReply, CastsFromTheReader) {
  KBL::BsRequestParamReply param;
  KBL::IBsInfoReader* const reader = &param;

  EXPECT_NE(dynamic_cast<KBL::IBsRequestParamReply*>(reader), nullptr);
  EXPECT_NE(dynamic_cast<KBL::BsBaseInfoRW*>(reader), nullptr);
}

}  // namespace
