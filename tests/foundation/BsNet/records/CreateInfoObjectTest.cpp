#include <BsNet/BsInfoReader.h>
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>

#include <gtest/gtest.h>

namespace {

TEST(CreateInfoObject, UnknownTypesGiveNull) {
  EXPECT_EQ(createInfoObject(0), nullptr);
  EXPECT_EQ(createInfoObject(3), nullptr);
  EXPECT_EQ(createInfoObject(-1), nullptr);
}

TEST(CreateInfoObject, PublicInformationAnswersItsInterfaces) {
  const auto record = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));

  auto* const pubInfo = KBL::queryInterface<KBL::IBsPubInfo>(record.get(), "IBsPubInfo");
  ASSERT_NE(pubInfo, nullptr);
  EXPECT_EQ(static_cast<KBL::IBsInfoReader*>(pubInfo), record.get());
  EXPECT_NE(record->QueryInterfaceByName("BsBaseInfoRW"), nullptr);
  EXPECT_EQ(record->QueryInterfaceByName("IBsServerProxyInfo"), nullptr);
  EXPECT_EQ(record->infoType(), 1);
}

TEST(CreateInfoObject, CallerHoldsTheOnlyReference) {
  KBL::IBsInfoReader* const record = createInfoObject(KBL::infoObjectPubInfo);

  EXPECT_EQ(record->AddRef(), 2);
  EXPECT_EQ(record->Release(), 1);
  EXPECT_EQ(record->Release(), 0);
}

TEST(CreateInfoObject, RemoveKeyTakesTheKeyFromThatCopyAlone) {
  const auto original = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));
  const auto copy = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));
  KBL::queryInterface<KBL::BsBaseInfoRW>(original.get(), "BsBaseInfoRW")
      ->setCharKeyConfig(KBL::PubCharKey::appSecret, "secret");
  copy->updataFrom(original.get());
  auto* const pubInfo = KBL::queryInterface<KBL::IBsPubInfo>(copy.get(), "IBsPubInfo");

  EXPECT_EQ(pubInfo->removeKey(KBL::PubCharKey::appSecret), KBL::resultOk);
  EXPECT_EQ(pubInfo->removeKey(nullptr), KBL::resultFailed);

  EXPECT_EQ(copy->charKeyConfig(KBL::PubCharKey::appSecret), nullptr);
  EXPECT_STREQ(original->charKeyConfig(KBL::PubCharKey::appSecret), "secret");
}

TEST(CreateInfoObject, ServerProxyAnswersItsInterfaces) {
  const auto record = KBL::adoptRef(createInfoObject(KBL::infoObjectServerProxy));

  EXPECT_NE(record->QueryInterfaceByName("IBsServerProxyInfo"), nullptr);
  EXPECT_NE(record->QueryInterfaceByName("BsBaseInfoRW"), nullptr);
  EXPECT_EQ(record->QueryInterfaceByName("IBsPubInfo"), nullptr);
}

TEST(CreateInfoObject, RunTimeCastCrossesTheLibrary) {
  const auto record = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));

  EXPECT_NE(dynamic_cast<KBL::BsBaseInfoRW*>(record.get()), nullptr);
  EXPECT_NE(dynamic_cast<KBL::IBsBaseInfoRW*>(record.get()), nullptr);
  EXPECT_NE(dynamic_cast<KBL::IBsPubInfo*>(record.get()), nullptr);
}

}  // namespace
