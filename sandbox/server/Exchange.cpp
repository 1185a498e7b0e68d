#include "sandbox/server/Exchange.h"

#include "sandbox/server/AnswerFault.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

namespace sandbox {

namespace {

/// How often a stalled exchange looks whether the peer has gone.
constexpr std::chrono::milliseconds stallSlice{10};
/// No body that is read into memory is anywhere near as long.
constexpr std::size_t wholeBodyLimit = std::size_t{16} * 1024 * 1024;

}  // namespace

Exchange::Exchange(const RequestHead& head, Router::Match match, std::optional<FaultBook::Delivery> delivery,
                   FaultBook& faults, RequestLog& log, ConnectionStream& stream)
    : head_(head),
      match_(std::move(match)),
      delivery_(std::move(delivery)),
      faults_(faults),
      log_(log),
      stream_(stream) {}

void Exchange::serve(httplib::Response& response, const httplib::ContentReader* reader) {
  reader_ = reader;
  Reply reply;
  const bool replaced = delivery_ && AnswerFault::replacesService(delivery_->fault.kind);
  if (!replaced) reply = askService();
  readBody({});
  if (stream_.ended()) return;
  const Fault* const instead = faultIf(Fault::Kind::status);
  const Fault* const ownStatus = instead ? instead : faultIf(Fault::Kind::statusAfterAct);
  log_.answered(head_.request.serial, ownStatus ? ownStatus->code : reply.status);
  answer(response, std::move(reply));
  if (replyBodyLimit_ > 0) replyBody_ = response.body.substr(0, replyBodyLimit_);
}

void Exchange::answer(httplib::Response& response, Reply reply) {
  if (!delivery_) return fillResponse(response, reply);
  AnswerFault fault(
      *delivery_, faults_, stream_, [this] { return stall(); }, [this] { return resetHere(); });
  fault.answer(response, std::move(reply));
}

void Exchange::faultDelivered() {
  if (delivery_) faults_.delivered(delivery_->id);
}

void Exchange::markArrived() {
  if (std::exchange(arrived_, true)) return;
  log_.body(head_.request.serial, keptBody_, bodySize_);
  log_.arrived(head_.request.route);
}

/// Reads what is left of the body, so that the connection is ready for its next request whatever the service
/// read.
bool Exchange::readBody(const BodySink& sink) {
  if (std::exchange(bodyRead_, true)) return bodyWhole_;
  const auto take = [&](const char* bytes, std::size_t count) { return takePiece(bytes, count, sink); };
  bodyWhole_ = !stream_.ended() && (!reader_ || !head_.hasBody() || (*reader_)(take));
  if (reader_ && head_.contentLength && bodySize_ != *head_.contentLength) bodyWhole_ = false;
  if (bodyWhole_) bodyWhole_ = reachEndOfBody();
  if (!bodyWhole_) stream_.end();
  markArrived();
  bodyWhole_ = bodyWhole_ && sinkContent_;
  return bodyWhole_;
}

bool Exchange::takePiece(const char* bytes, std::size_t count, const BodySink& sink) {
  const Fault* const resets = faultIf(Fault::Kind::resetRequestAfter);
  const Fault* const stalls = faultIf(Fault::Kind::stallRequestAfter);
  const Fault* const ends = resets ? resets : stalls;
  const bool here = ends && bodySize_ < ends->bytes + (ends->bytes == 0) && bodySize_ + count >= ends->bytes;
  bodySize_ += count;
  if (keptBody_.size() < log_.bodyLimit())
    keptBody_.append(bytes, std::min(count, log_.bodyLimit() - keptBody_.size()));
  if (here && resets) return resetHere();
  if (here && stalls && !stall()) return false;
  const Fault* const slow = faultIf(Fault::Kind::slowRequest);
  if (slow && !slowDown(*slow, count)) return false;
  if (sink && sinkContent_) sinkContent_ = sink(bytes, count);
  return true;
}

bool Exchange::reachEndOfBody() {
  if (!delivery_) return true;
  const bool shorter = bodySize_ < delivery_->fault.bytes || bodySize_ == 0;
  if (faultIf(Fault::Kind::resetRequestAfter)) return resetHere();
  if (faultIf(Fault::Kind::stall) || (faultIf(Fault::Kind::stallRequestAfter) && shorter)) return stall();
  return true;
}

bool Exchange::slowDown(const Fault& fault, std::size_t count) {
  sincePause_ += count;
  if (sincePause_ < fault.bytes) return true;
  sincePause_ -= fault.bytes;
  if (!std::exchange(slowed_, true)) faultDelivered();
  return faults_.pause(fault.delay);
}

bool Exchange::stall() {
  markArrived();
  const std::uint64_t generation = faults_.stallGeneration();
  faultDelivered();
  while (true) {
    const FaultBook::Stall state = faults_.holdStall(generation, stallSlice);
    if (state == FaultBook::Stall::released) return true;
    if (state == FaultBook::Stall::stopping || stream_.peerClosed()) {
      stream_.end();
      return false;
    }
  }
}

bool Exchange::resetHere() {
  markArrived();
  faultDelivered();
  stream_.resetAtEnd();
  stream_.end();
  return false;
}

Reply Exchange::askService() {
  if (!match_.endpoint) return noSuchEndpoint();
  Call call{head_.request, {}, head_.contentLength.value_or(0), {}, match_.rest};
  if (const Fault* const less = faultIf(Fault::Kind::acceptLess)) {
    call.acceptAtMost = less->bytes;
    call.countedLess = [this] { faultDelivered(); };
  }
  if (match_.endpoint->body == Endpoint::Body::streamed) {
    call.readBody = [this](const BodySink& sink) { return readBody(sink); };
    // A stall without a body has to come before the service, as one with a body does.
    if (!head_.hasBody() && !readBody({})) return {};
    return askHandler(call);
  }
  const bool whole = readBody([&](const char* bytes, std::size_t count) {
    call.body.append(bytes, count);
    return call.body.size() <= wholeBodyLimit;
  });
  if (stream_.ended()) return {};
  return whole ? askHandler(call) : Reply{413, "", "text/plain", {}};
}

Reply Exchange::askHandler(Call& call) const {
  try {
    return match_.endpoint->handler(call);
  } catch (const std::exception& error) {
    return Reply{500, error.what(), "text/plain", {}};
  }
}

Reply Exchange::noSuchEndpoint() const {
  const int status = match_.otherMethod ? 405 : 404;
  const std::string message = match_.otherMethod ? "method not allowed" : "no such address in the sandbox";
  Reply reply;
  reply.status = status;
  reply.body = R"({"code":)" + std::to_string(status) + R"(,"msg":")" + message + R"(","data":{}})";
  return reply;
}

}  // namespace sandbox
