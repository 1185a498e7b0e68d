#pragma once

#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"

#include <gtest/gtest.h>

#include <string>

/// A sandbox, a client and one route that faults are ordered for.
class FaultFixture : public testing::Test {
 protected:
  /// A small exchange that succeeds when nothing is wrong with it.
  Answer ask() { return client.get(target); }
  std::string rawRequest() { return "GET " + target + " HTTP/1.1\r\nHost: x\r\n\r\n"; }
  sandbox::FaultId order(const sandbox::Fault& fault, unsigned nth = 1, unsigned times = 1) {
    return server.orderFault(sandbox::Route::googleUserInfo, fault, nth, times);
  }
  /// A chunk as bytes on the wire.
  std::string rawChunk(const std::string& chunkTarget, const std::string& file) {
    return "PUT " + chunkTarget + " HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " + token +
           "\r\nContent-Range: bytes 0-" + std::to_string(file.size() - 1) + "/" +
           std::to_string(file.size()) + "\r\nContent-Length: " + std::to_string(file.size()) + "\r\n\r\n" +
           file;
  }

  sandbox::Sandbox server;
  TestClient client{server};
  std::string token = server.issueTokens(sandbox::Platform::youtube).accessToken;
  std::string target = "/google/oauth2/v2/userinfo?alt=json&access_token=" + token;
};
