#include "requests/RequestsFixture.h"

#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <KblUtils/CastByName.h>

#include <map>

using namespace KBL;

namespace {
constexpr const char* urlKeys[] = {"urlLFServerUserSupportSession",      "urlLFServerUserSupportCode",
                                   "urlLFServerUserSupportToken",        "urlLFServerClientCredentials",
                                   "urlCloudDiskAuthGoogleDiskUserInfo", "urlYoutubeVideoCategories",
                                   "urlMediaAuthTiktokUserInfo",         "urlMediaAuthDouyinUserInfo",
                                   "urlUserSupportQueryConsume",         "testKey"};

template <class Interface>
RefPtr<Interface> makeInfoObject(int type, const char* name) {
  const RefPtr<IBsInfoReader> record = adoptRef(createInfoObject(type));
  return shareRef(queryInterface<Interface>(record.get(), name));
}
}  // namespace

RequestsFixture::RequestsFixture(std::int32_t platform) {
  context.platform = platform;
  context.logTag = ownerTag;
  context.pubInfo = publicInformation();
}

void RequestsFixture::SetUp() {
  std::map<std::string, std::string> urls;
  for (const char* const key : urlKeys) urls[key] = urlOf(key);
  setCloudConfig(urls);
  network.answer(okReply(R"({"code":0})"));
  manager = makeRef<FakeManager>(context);
}

void RequestsFixture::TearDown() {
  EXPECT_TRUE(settle()) << liveRequests() << " requests live, " << time->waiters() << " threads sleep";
  EXPECT_EQ(network.clientsAlive(), 0);
  for (const SentExchange& exchange : network.exchanges()) {
    EXPECT_TRUE(URL::FromString(exchange.url).IsValid()) << exchange.url;
    EXPECT_EQ(exchange.writer, nullptr);
    EXPECT_EQ(exchange.writerContext, nullptr);
    EXPECT_EQ(exchange.progress, nullptr);
    EXPECT_EQ(exchange.progressContext, nullptr);
  }
  killManager();
  clearCloudConfig();
}

RefPtr<IBsPubInfo> RequestsFixture::publicInformation() {
  auto info = makeInfoObject<IBsPubInfo>(infoObjectPubInfo, "IBsPubInfo");
  info->setCharKeyConfig(PubCharKey::appSecret, "hush");
  info->setCharKeyConfig(PubCharKey::clientType, "desktop");
  info->setCharKeyConfig(PubCharKey::lang, "en");
  return info;
}

RefPtr<IBsServerProxyInfo> RequestsFixture::proxyRecord() {
  auto proxy = makeInfoObject<IBsServerProxyInfo>(infoObjectServerProxy, "IBsServerProxyInfo");
  proxy->setIntKeyConfig(ServerProxyIntKey::mode, 0);
  proxy->setIntKeyConfig(ServerProxyIntKey::type, 3);
  proxy->setCharKeyConfig(ServerProxyCharKey::server, "proxy.test");
  proxy->setIntKeyConfig(ServerProxyIntKey::port, 1080);
  proxy->setCharKeyConfig(ServerProxyCharKey::user, "me");
  proxy->setCharKeyConfig(ServerProxyCharKey::password, "pw");
  return proxy;
}

int RequestsFixture::liveRequests() const {
  return static_cast<int>(log->linesWith("create:").size()) -
         static_cast<int>(log->linesWith("release:").size());
}

bool RequestsFixture::settle() {
  return time->advanceUntil([this] { return liveRequests() == 0 && time->waiters() == 0; }, 500);
}

void RequestsFixture::killManager() {
  if (manager) manager->dropAliveToken();
  manager.reset();
}

std::string errorText(IBsErrorInfo& error) {
  return std::to_string(error.errorCode()) + ", " + error.errorMessage();
}

std::string errorText(const BsExternlMediaAuthRequest& request) {
  return errorText(*request.errorInfo());
}
