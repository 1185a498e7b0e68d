#pragma once

#include "sandbox/base/RecordedRequest.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// Takes the next bytes of a body; false ends the reading.
using BodySink = std::function<bool(const char* bytes, std::size_t count)>;

/// One request in the hands of a service, on the thread of its connection.
struct Call {
  const RecordedRequest& request;
  /// The whole body, for endpoints that don't stream.
  std::string body;
  /// What Content-Length announced; 0 without a body or with a chunked one.
  std::uint64_t announcedLength = 0;
  /// Streaming endpoints: hands the body over piece by piece. False when it did not come to its end.
  std::function<bool(const BodySink& sink)> readBody;
  /// The part of the path behind the endpoint's own, for endpoints that take one ("SESSION" of
  /// "/code/SESSION").
  std::string rest;
  /// A fault orders that of the bytes so many count, whatever comes; `countedLess` says that it happened.
  std::optional<std::uint64_t> acceptAtMost = {};
  std::function<void()> countedLess = {};
};

struct Reply {
  int status = 200;
  std::string body;
  std::string contentType = "application/json";
  std::vector<std::pair<std::string, std::string>> headers;
  /// In place of a body: gives its next piece (it may wait for one, shortly at a time, and give an empty
  /// one), nothing at its end.
  std::function<std::optional<std::string>()> pieces = {};
};

using Handler = std::function<Reply(Call& call)>;

struct Endpoint {
  Route route;
  std::string method;
  std::string path;
  Handler handler;
  enum class Body { whole, streamed } body = Body::whole;
  /// The path ends in '/' and one more segment follows, which the handler gets as Call::rest.
  enum class Path { exact, withRest } match = Path::exact;
  /// How the rest has to end; Call::rest stops in front of it.
  std::string ending = {};
};

}  // namespace sandbox
