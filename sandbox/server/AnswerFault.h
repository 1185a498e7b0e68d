#pragma once

#include "sandbox/server/ConnectionStream.h"
#include "sandbox/server/Endpoint.h"
#include "sandbox/server/FaultBook.h"

#include <functional>

namespace sandbox {

/// Carries out what a fault does to an answer, on the connection's thread.
class AnswerFault {
 public:
  /// `stall` waits until a stall is released and says whether the exchange may go on; `reset` ends the
  /// connection.
  AnswerFault(const FaultBook::Delivery& delivery, FaultBook& faults, ConnectionStream& stream,
              std::function<bool()> stall, std::function<bool()> reset);

  /// The faults that answer in the service's place: the service must not be asked.
  [[nodiscard]] static bool replacesService(Fault::Kind kind);
  /// The faults that make a body of their own and can't have the HTTP library compress it.
  [[nodiscard]] static bool forbidsCompression(Fault::Kind kind);

  /// Fills the response with `reply` (empty for a fault in the service's place) as the fault distorts it.
  void answer(httplib::Response& response, Reply reply);

 private:
  void delivered();
  void answerDistorted(httplib::Response& response, Reply reply);
  void trickle(httplib::Response& response, Reply reply);
  void truncate(httplib::Response& response, Reply reply);
  void hugeBody(httplib::Response& response);
  void gzipBomb(httplib::Response& response);

  const FaultBook::Delivery& delivery_;
  const Fault& fault_;
  FaultBook& faults_;
  ConnectionStream& stream_;
  std::function<bool()> stall_;
  std::function<bool()> reset_;
};

/// Status, headers and body of a reply as they are.
void fillResponse(httplib::Response& response, const Reply& reply);

}  // namespace sandbox
