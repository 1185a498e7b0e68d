#pragma once

#include "sandbox/server/ConnectionStream.h"
#include "sandbox/server/FaultBook.h"
#include "sandbox/server/RequestHead.h"
#include "sandbox/server/RequestLog.h"
#include "sandbox/server/Router.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace sandbox {

/// One request from its head to its answer, with the fault that was ordered for it. Lives on its connection's
/// thread.
class Exchange {
 public:
  Exchange(const RequestHead& head, Router::Match match, std::optional<FaultBook::Delivery> delivery,
           FaultBook& faults, RequestLog& log, ConnectionStream& stream);

  /// Reads the body, asks the service and fills the library's response. `reader` is null for methods without
  /// a body.
  void serve(httplib::Response& response, const httplib::ContentReader* reader);

  /// Keeps the first `limit` bytes of the reply's body as it is before the HTTP library packs it.
  void keepReplyBody(std::size_t limit) { replyBodyLimit_ = limit; }
  [[nodiscard]] std::string takeReplyBody() { return std::move(replyBody_); }
  /// Bytes of the request's body that were read.
  [[nodiscard]] std::uint64_t bodySize() const { return bodySize_; }

 private:
  void answer(httplib::Response& response, Reply reply);
  /// The ordered fault if it is of that kind, else null.
  [[nodiscard]] const Fault* faultIf(Fault::Kind kind) const {
    return delivery_ && delivery_->fault.kind == kind ? &delivery_->fault : nullptr;
  }
  void faultDelivered();
  /// The request counts as arrived: it has come to its end, or a fault keeps it from there.
  void markArrived();

  bool readBody(const BodySink& sink);
  bool takePiece(const char* bytes, std::size_t count, const BodySink& sink);
  bool reachEndOfBody();
  /// Pauses each time that another piece of the body is full. False when the sandbox stopped meanwhile.
  bool slowDown(const Fault& fault, std::size_t count);
  /// Waits until the stall is released. False when the peer or the sandbox ended it, and the connection with
  /// it.
  bool stall();
  bool resetHere();

  [[nodiscard]] Reply askService();
  [[nodiscard]] Reply askHandler(Call& call) const;
  [[nodiscard]] Reply noSuchEndpoint() const;

  const RequestHead& head_;
  const Router::Match match_;
  const std::optional<FaultBook::Delivery> delivery_;
  FaultBook& faults_;
  RequestLog& log_;
  ConnectionStream& stream_;

  const httplib::ContentReader* reader_ = nullptr;
  std::uint64_t bodySize_ = 0;
  std::uint64_t sincePause_ = 0;
  std::string keptBody_;
  std::size_t replyBodyLimit_ = 0;
  std::string replyBody_;
  bool bodyRead_ = false;
  bool bodyWhole_ = false;
  bool arrived_ = false;
  bool slowed_ = false;
  bool sinkContent_ = true;
};

}  // namespace sandbox
