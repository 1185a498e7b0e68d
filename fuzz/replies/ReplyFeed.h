#pragma once

#include "requests/BsExternlMediaAuthRequest.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Brings the replies of an input to the requests, in order, in place of the network, for its own life.
/// Replies are separated by a zero byte, which no JSON text contains; the last one comes again and again. The
/// log takes every line.
class ReplyFeed {
 public:
  ReplyFeed(const std::uint8_t* data, std::size_t size);
  ~ReplyFeed();
  ReplyFeed(const ReplyFeed&) = delete;
  ReplyFeed& operator=(const ReplyFeed&) = delete;

  /// Runs one attempt of a new request with that status, as its manager would.
  template <class Request>
  void run(int status) {
    const auto request = KBL::makeRef<Request>();
    runRequest(*request, status);
  }

 private:
  class Client;
  void runRequest(KBL::BsExternlMediaAuthRequest& request, int status);

  const std::string_view replies_;
};

/// Everything that a signed-in user's request may need to know.
[[nodiscard]] KBL::RefPtr<KBL::IBsInfoReader> signedInUser();
/// Ends the program at an error that breaks its promises.
void checkError(KBL::BsExternlMediaAuthRequest& request);
