#pragma once

#include "media_tasks/ScriptedFetcher.h"
#include "support/MediaHost.h"
#include "support/PageServer.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

/// What the tests of lists share: a fetcher that brings the pages from where the services' addresses lead,
/// and a host.
class ListFixture : public testing::Test {
 protected:
  using Album = MediaHost::Album;
  using Error = MediaHost::Error;
  using Media = MediaHost::Media;

  /// The record that ends a list of media.
  static inline const Media closing{0, "", "", 0};

  /// The bodies of the pages, in order.
  void answer(const std::vector<std::string>& bodies) {
    std::vector<ScriptedReply> replies;
    replies.reserve(bodies.size());
    for (const std::string& body : bodies) replies.push_back({.body = body});
    fetcher.answerInOrder(replies);
  }

  ScriptedFetcher fetcher;
  ScopedMediaHosts hosts{ScriptedFetcher::url()};
  MediaHost host;
};
