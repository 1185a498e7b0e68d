#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using sandbox::Certificate;
using sandbox::Fault;
using sandbox::Route;
using sandbox::Sandbox;
using sandbox::SandboxOptions;

SandboxOptions withTls(Certificate certificate = Certificate::valid) {
  SandboxOptions options;
  options.tls = true;
  options.certificate = certificate;
  return options;
}

TEST(Tls, ClientThatTrustsTheAuthorityIsServed) {
  Sandbox server(withTls());
  TestClient client(server);
  const std::string token = server.issueTokens(sandbox::Platform::youtube).accessToken;
  const std::string file = someFile(700'000);

  EXPECT_EQ(server.baseUrl().rfind("https://127.0.0.1:", 0), 0U);
  EXPECT_EQ(putChunk(client, openUpload(client, token, file.size()), token, file, 0, file.size()).status,
            200);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
  EXPECT_EQ(server.cloudConfig().at("urlLFServerUserSupportCode").rfind("https://", 0), 0U);
}

TEST(Tls, ClientOfAnotherAuthorityRefusesTheServer) {
  const Sandbox server(withTls());
  const Sandbox other(withTls());

  EXPECT_FALSE(TestClient(server.baseUrl(), other.caFile()).get("/nowhere").arrived);
  EXPECT_EQ(server.requests().size(), 0U);
}

TEST(Tls, BadCertificatesAreRefusedByAClientThatVerifies) {
  for (const Certificate kind :
       {Certificate::expired, Certificate::wrongHost, Certificate::unknownAuthority}) {
    const Sandbox server(withTls(kind));
    EXPECT_FALSE(TestClient(server).get("/nowhere").arrived);
  }
}

TEST(Tls, FaultsStrikeWithinTls) {
  Sandbox server(withTls());
  TestClient client(server);
  const auto reset = server.orderFault(Route::avatar, Fault::resetAnswerAfter(10));
  EXPECT_FALSE(client.get("/avatar/x").arrived);
  EXPECT_EQ(server.faultsDelivered(reset), 1U);

  const auto broken = server.orderFault(Route::avatar, Fault::status(500));
  EXPECT_EQ(client.get("/avatar/x").status, 500);
  EXPECT_EQ(server.faultsDelivered(broken), 1U);
}

TEST(Tls, AuthorityFileIsRemovedWithTheSandbox) {
  std::string file;
  {
    const Sandbox server(withTls());
    file = server.caFile();
    EXPECT_TRUE(std::filesystem::exists(file));
  }
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_EQ(Sandbox().caFile(), "");
}

}  // namespace
