#pragma once

#include "foundation/BsNet/client/NetClientFixture.h"

#include <string>

/// Asks for `url` by a proxy on a port of 127.0.0.1.
inline KBL::NetReply getThrough(int type, int port, const std::string& user, const std::string& password,
                                const std::string& url) {
  const auto client = newClient();
  client->setProxy(type, "127.0.0.1", port, user, password);
  client->setBearerToken("for-the-server-alone");
  return perform(*client, url, KBL::httpGet);
}
