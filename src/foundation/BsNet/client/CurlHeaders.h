#pragma once

#include "foundation/BsNet/client/CurlHandle.h"
#include <BsNet/NetReply.h>

#include <optional>
#include <string>

namespace KBL {

/// The request headers of an exchange, put together from what the caller set. What the transfer itself
/// decides is taken out: length, coding and expectation of the body, and the content type of a form.
class CurlHeaders {
 public:
  void replace(HeaderMap headers) { caller_ = std::move(headers); }
  void setBearer(std::string token) { bearer_ = std::move(token); }

  /// What is wrong with the first header that cannot be sent, or nothing.
  [[nodiscard]] std::optional<std::string> unusable() const;

  /// The codings that the caller accepts; empty: all that libcurl decodes.
  [[nodiscard]] std::string acceptedCodings() const;

  /// The lines for libcurl; null when memory is short. `withCredentials` false keeps nothing but what says
  /// how the reply should look, for another origin than the caller's.
  [[nodiscard]] CurlList lines(bool isForm, bool withCredentials) const;

 private:
  HeaderMap caller_;
  std::string bearer_;
};

}  // namespace KBL
