#pragma once

#include "sandbox/base/RecordedRequest.h"

#include <cstdint>
#include <optional>
#include <string>

namespace sandbox {

/// A request's head, read by the letter.
struct RequestHead {
  RecordedRequest request;  ///< method, target, path, query and headers
  std::optional<std::uint64_t> contentLength;
  bool chunked = false;

  [[nodiscard]] bool hasBody() const { return chunked || contentLength.value_or(0) > 0; }
  /// The head that the HTTP library gets in its place: only what frames the message, every line short.
  [[nodiscard]] std::string framing(bool withCompression) const;
};

/// Nothing for a head that breaks HTTP/1.1: a bad request line, a header without a colon, a length that is no
/// number or comes twice with different values, a length beside chunks, no Host.
[[nodiscard]] std::optional<RequestHead> parseHead(const std::string& head);

}  // namespace sandbox
