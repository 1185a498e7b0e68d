#pragma once

#include "sandbox/server/ConnectionStream.h"
#include "sandbox/server/Exchange.h"
#include "sandbox/server/ExchangeJournal.h"

#include <cstdint>
#include <functional>
#include <string>

namespace sandbox {

/// One connection from its first byte to its close, on its thread.
class Connection {
 public:
  struct Services {
    const Router& router;
    FaultBook& faults;
    RequestLog& log;
    ExchangeJournal* journal;  ///< null when nobody looks on
    /// The HTTP library's own handling of one request, which calls Exchange::serve of `current`. False ends
    /// the connection, as does a true `closed`.
    std::function<bool(ConnectionStream& stream, bool closeAfterwards, bool& closed)> process;
  };

  Connection(Transport& transport, std::uint64_t number, const Services& services);

  /// Serves requests until either side ends the connection. The socket is still open afterwards.
  void run();
  /// The connection is to end by a reset instead of in order.
  [[nodiscard]] bool resets() const { return stream_.resets(); }

  /// The exchange that this thread is in, for the HTTP library's handlers; null outside of one.
  static Exchange* current();

 private:
  bool serveOne();
  /// False ends the connection.
  bool serve(const RequestHead& head, Router::Match match, std::optional<FaultBook::Delivery> delivery,
             ExchangeJournal::End& end);
  void refuse(const std::string& statusLine);
  bool endsAtOnce(const FaultBook::Delivery& delivery, Route route);

  ConnectionStream stream_;
  const std::uint64_t number_;
  const Services& services_;
};

}  // namespace sandbox
