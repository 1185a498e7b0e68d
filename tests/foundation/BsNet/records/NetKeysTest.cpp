#include <BsNet/NetKeys.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

using KBL::PubCharKey;

namespace {

TEST(NetKeys, PublicKeysAreDistinctHeaderNames) {
  const char* const keys[] = {PubCharKey::appSecret,   PubCharKey::clientType, PubCharKey::clientSn,
                              PubCharKey::appKey,      PubCharKey::prodId,     PubCharKey::prodVer,
                              PubCharKey::contentType, PubCharKey::ver,        PubCharKey::lang};
  std::set<std::string> names;
  for (const std::string name : keys) {
    EXPECT_EQ(name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-"), name.npos)
        << name;
    names.insert(name);
  }

  EXPECT_EQ(names.size(), std::size(keys));
  EXPECT_STREQ(PubCharKey::contentType, "Content-Type");
  EXPECT_STREQ(PubCharKey::lang, "Accept-Language");
  EXPECT_STREQ(PubCharKey::appSecret, "X-App-Secret");
  EXPECT_STREQ(PubCharKey::clientType, "X-Client-Type");
}

TEST(NetKeys, OtherKeysAreDistinct) {
  const std::set<std::string> keys{
      KBL::RequestParamCharKey::url,     KBL::RequestParamCharKey::body,    KBL::RequestParamCharKey::heads,
      KBL::RequestParamIntKey::bodyType, KBL::ResponseCharKey::content,     KBL::ServerProxyCharKey::server,
      KBL::ServerProxyCharKey::user,     KBL::ServerProxyCharKey::password, KBL::ServerProxyIntKey::type,
      KBL::ServerProxyIntKey::mode,      KBL::ServerProxyIntKey::port};

  EXPECT_EQ(keys.size(), 11U);
}

}  // namespace
