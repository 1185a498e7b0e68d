#pragma once

#include "sandbox/server/FaultBook.h"
#include "sandbox/server/RequestLog.h"
#include "sandbox/server/Router.h"

#include <cstddef>
#include <memory>

namespace sandbox {

class ExchangeJournal;
class TlsContext;

/// Listens on 127.0.0.1, serves each connection on a thread of its own and keeps the port while it is not
/// listening. Every operation may be called from any thread but those of its connections.
class HttpServer {
 public:
  /// `receiveBuffer` 0 is the system's choice; `journal` and `tls` may be null. All arguments outlive the
  /// server. Throws std::runtime_error when the port is taken.
  HttpServer(int port, const Router& router, FaultBook& faults, RequestLog& log, ExchangeJournal* journal,
             const TlsContext* tls, int receiveBuffer);
  ~HttpServer();

  /// Throws std::runtime_error when the port can't be listened on.
  void startListening();
  /// Ends the listening and every connection, and joins their threads.
  void stopListening();

  [[nodiscard]] int port() const;
  [[nodiscard]] std::size_t connectionCount() const;
  [[nodiscard]] std::size_t openConnections() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace sandbox
