#pragma once

#include "foundation/BsNet/client/CurlConnections.h"

#include <string>

namespace KBL {

/// Watches the sendings of one request. When a connection that was used before breaks without a byte of a
/// reply, libcurl sends the request again, whatever it is: to the caller one exchange, to the server up to
/// six. The first request that a client sends on an inherited connection does not leave again; the exchange
/// ends as it would have on a fresh connection.
class CurlSending {
 public:
  /// `errorText` is what libcurl writes its own text into.
  CurlSending(const CurlEasy& easy, CurlConnections& connections, const char* errorText)
      : easy_(easy), connections_(connections), errorText_(errorText) {}

  /// Ahead of each connection that is opened for the request, and of the look-up of its name. False when it
  /// must not leave again; it is refused then.
  [[nodiscard]] bool mayConnect();
  /// The same ahead of each sending.
  [[nodiscard]] bool mayLeave(CurlEnds ends);

  [[nodiscard]] bool isRefused() const { return isRefused_; }
  /// What broke the connection, in libcurl's terms, once the request was refused.
  [[nodiscard]] CURLcode code() const { return text_.empty() ? CURLE_GOT_NOTHING : CURLE_RECV_ERROR; }
  [[nodiscard]] const char* text() const { return text_.empty() ? "Empty reply from server" : text_.c_str(); }

 private:
  const CurlEasy& easy_;
  CurlConnections& connections_;
  const char* const errorText_;
  bool isInherited_ = false;  // the connection of the last sending
  long bytesBefore_ = 0;      // what had left ahead of it
  long opened_ = 0;           // connections so far
  bool isRefused_ = false;
  std::string text_;
};

}  // namespace KBL
