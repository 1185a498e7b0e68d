// Versions of TLS before 1.2 are refused by ourselves, also on a machine whose OpenSSL still allows them.
#include "foundation/BsNet/client/TlsServer.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// The settings of a machine that allows what it can.
constexpr const char* everything = R"(openssl_conf = all
[all]
ssl_conf = libraries
[libraries]
system_default = versions
[versions]
MinProtocol = TLSv1
CipherString = DEFAULT:@SECLEVEL=0
)";

}  // namespace

TEST(OldTls, IsRefusedByClientsAndDownloadsWhereTheMachineAllowsIt) {
  TestAuthority authority;
  const TlsServer server(authority.sign(loopbackNames), 60, TlsServer::Versions::upTo11);
  const TemporaryDirectory directory;
  ChildProcess program({"/usr/bin/env", "OPENSSL_CONF=" + directory.write("openssl.cnf", everything),
                        KBL_OLD_TLS_PROGRAM, server.url(), authority.file(), directory.file("download")});

  std::vector<std::string> said;
  for (std::string line; program.readLine(line);) said.push_back(line);

  EXPECT_EQ(program.wait(), 0);
  const std::string refused = std::to_string(CURLE_SSL_CONNECT_ERROR);
  ASSERT_EQ(said.size(), 3U);
  EXPECT_EQ(said[0], "every version: 0") << "the server can be reached";
  EXPECT_EQ(said[1], "client: " + refused);
  EXPECT_EQ(said[2], std::string("download: ") + curl_easy_strerror(CURLE_SSL_CONNECT_ERROR));
  EXPECT_EQ(server.connections(), 1);
}
