// The proxy of a request's attempt.
#include "requests/RequestExchangeFixture.h"
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <KblUtils/CastByName.h>

#include <gtest/gtest.h>

#include <functional>
#include <optional>

using namespace KBL;

namespace {

class RequestProxy : public RequestExchangeFixture {};

TEST_F(RequestProxy, AProxyIsGivenToTheClientAndLogged) {
  request->setServerProxy(proxyRecord().get());
  exchange();

  const auto proxy = network.onlyExchange().proxy;
  ASSERT_TRUE(proxy.has_value());
  EXPECT_EQ(proxy->type, 3);
  EXPECT_EQ(proxy->server, "proxy.test");
  EXPECT_EQ(proxy->port, 1080);
  EXPECT_EQ(proxy->user, "me");
  EXPECT_EQ(proxy->password, "pw");
  EXPECT_TRUE(log->hasLine("Probe, setProxy:Socks5,server:proxy.test,port:1080"));
  EXPECT_EQ(log->linesWith("setProxy")[0].severity, 4);
  EXPECT_EQ(log->linesWith("setProxy")[0].function, "KBL::BsExternlMediaAuthRequest::syncRequestWithInfo");
}

TEST_F(RequestProxy, EmptyUserAndPasswordAreGood) {
  const auto proxy = proxyRecord();
  proxy->setCharKeyConfig(ServerProxyCharKey::user, "");
  proxy->setCharKeyConfig(ServerProxyCharKey::password, "");
  request->setServerProxy(proxy.get());
  exchange();
  EXPECT_TRUE(network.onlyExchange().proxy.has_value());
}

TEST_F(RequestProxy, AModeOtherThan1UsesTheProxy) {
  const auto proxy = proxyRecord();
  proxy->setIntKeyConfig(ServerProxyIntKey::mode, 2);
  request->setServerProxy(proxy.get());
  exchange();
  EXPECT_TRUE(network.onlyExchange().proxy.has_value());
}

TEST_F(RequestProxy, AnUnusableProxyRecordIsIgnored) {
  using Spoil = std::function<void(IBsServerProxyInfo&)>;
  const std::pair<const char*, Spoil> cases[] = {
      {"mode 1", [](auto& proxy) { proxy.setIntKeyConfig(ServerProxyIntKey::mode, 1); }},
      {"mode 1 beside other good values",
       [](auto& proxy) {
         proxy.setIntKeyConfig(ServerProxyIntKey::mode, 1);
         proxy.setIntKeyConfig(ServerProxyIntKey::type, 1);
         proxy.setIntKeyConfig(ServerProxyIntKey::port, 65535);
         proxy.setCharKeyConfig(ServerProxyCharKey::server, "127.0.0.1");
         proxy.setCharKeyConfig(ServerProxyCharKey::user, "");
         proxy.setCharKeyConfig(ServerProxyCharKey::password, "");
       }},
      {"type 0", [](auto& proxy) { proxy.setIntKeyConfig(ServerProxyIntKey::type, 0); }},
      {"type -1", [](auto& proxy) { proxy.setIntKeyConfig(ServerProxyIntKey::type, -1); }},
      {"port 0", [](auto& proxy) { proxy.setIntKeyConfig(ServerProxyIntKey::port, 0); }},
      {"port 65536", [](auto& proxy) { proxy.setIntKeyConfig(ServerProxyIntKey::port, 65536); }},
  };
  for (const auto& [what, spoil] : cases) {
    const auto proxy = proxyRecord();
    spoil(*proxy);
    request->setServerProxy(proxy.get());
    exchange();
    EXPECT_FALSE(network.exchanges().back().proxy.has_value()) << what;
  }
}

TEST_F(RequestProxy, AProxyRecordThatLacksAKeyIsIgnored) {
  const char* const texts[] = {ServerProxyCharKey::server, ServerProxyCharKey::user,
                               ServerProxyCharKey::password};
  const char* const numbers[] = {ServerProxyIntKey::type, ServerProxyIntKey::port};
  const auto complete = proxyRecord();
  const auto expectIgnoredWithout = [&](const char* left) {
    const auto proxy = proxyRecord();
    auto* const record = static_cast<BsBaseInfoRW*>(proxy->QueryInterfaceByName("BsBaseInfoRW"));
    record->reset();
    for (const char* const key : texts) {
      if (key != left) proxy->setCharKeyConfig(key, complete->charKeyConfig(key));
    }
    for (const char* const key : numbers) {
      if (key != left) proxy->setIntKeyConfig(key, complete->intKeyConfig(key));
    }
    request->setServerProxy(proxy.get());
    exchange();
    EXPECT_FALSE(network.exchanges().back().proxy.has_value()) << left;
  };
  for (const char* const key : texts) expectIgnoredWithout(key);
  expectIgnoredWithout(ServerProxyIntKey::port);
}

/// A record that orders a proxy, of that kind or of none.
RefPtr<IBsServerProxyInfo> proxyOfKind(std::optional<long long> kind) {
  const auto reader = adoptRef(createInfoObject(infoObjectServerProxy));
  auto* const record = queryInterface<IBsServerProxyInfo>(reader.get(), "IBsServerProxyInfo");
  record->setCharKeyConfig(ServerProxyCharKey::server, "proxy.test");
  record->setCharKeyConfig(ServerProxyCharKey::user, "me");
  record->setCharKeyConfig(ServerProxyCharKey::password, "pw");
  record->setIntKeyConfig(ServerProxyIntKey::port, 1080);
  if (kind.has_value()) record->setIntKeyConfig(ServerProxyIntKey::type, *kind);
  return shareRef(record);
}

TEST_F(RequestProxy, NothingGoesAroundAProxyOfAnUnknownKind) {
  std::size_t exchanges = 0;
  for (const std::optional<long long> kind : {std::optional<long long>(), {4}, {4294967297}}) {
    request->setServerProxy(proxyOfKind(kind).get());

    exchange();

    ++exchanges;
    EXPECT_EQ(errorText(*request), "-10002, param invalid");
    const auto last = log->lines();
    ASSERT_GE(last.size(), 2U);
    EXPECT_EQ(last[last.size() - 2].text, "Probe, setProxy:unknow,server:proxy.test,port:1080");
    EXPECT_EQ(last.back().text, "Probe:network originCode:-10002, msg:param invalid");
    EXPECT_EQ(log->linesWith("setProxy").size(), exchanges);
  }
  EXPECT_TRUE(network.exchanges().empty());
  EXPECT_EQ(network.clientsAlive(), 0);
}

TEST_F(RequestProxy, AProxyWithoutAKindThatIsSwitchedOffIsIgnored) {
  const auto proxy = proxyOfKind(std::nullopt);
  proxy->setIntKeyConfig(ServerProxyIntKey::mode, 1);
  request->setServerProxy(proxy.get());

  exchange();

  EXPECT_FALSE(network.onlyExchange().proxy.has_value());
}

}  // namespace
