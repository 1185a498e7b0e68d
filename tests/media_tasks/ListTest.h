#pragma once

#include "media_tasks/MediaHost.h"
#include "media_tasks/PageServer.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

/// What the tests of lists share: a server for the pages, which the services' addresses lead to, and a host.
class ListTest : public testing::Test {
 protected:
  using Album = MediaHost::Album;
  using Error = MediaHost::Error;
  using Media = MediaHost::Media;

  /// The record that ends a list of media.
  static inline const Media closing{0, "", "", 0};

  /// The bodies of the pages, in order.
  void answer(const std::vector<std::string>& bodies) {
    std::vector<PageReply> replies;
    replies.reserve(bodies.size());
    for (const std::string& body : bodies) replies.push_back({.body = body});
    server.answerInOrder(replies);
  }

  PageServer server;
  ScopedMediaHosts hosts{server};
  MediaHost host;
};
