#include "sandbox/server/Connection.h"

#include "sandbox/server/AnswerFault.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace sandbox {

namespace {

thread_local Exchange* currentExchange = nullptr;

bool isKnownMethod(std::string_view method) {
  constexpr std::array<std::string_view, 7> methods{"GET",   "HEAD",   "POST",   "PUT",
                                                    "PATCH", "DELETE", "OPTIONS"};
  return std::find(methods.begin(), methods.end(), method) != methods.end();
}

/// Methods whose body the HTTP library leaves in the connection.
bool leavesBody(std::string_view method) {
  return method == "GET" || method == "HEAD" || method == "OPTIONS";
}

Route routeOf(const Router::Match& match, const std::string& path) {
  if (match.endpoint) return match.endpoint->route;
  return path.starts_with("/sandbox/") ? Route::inspection : Route::unknown;
}

}  // namespace

Connection::Connection(Transport& transport, std::uint64_t number, const Services& services)
    : stream_(transport), number_(number), services_(services) {}

Exchange* Connection::current() {
  return currentExchange;
}

void Connection::run() {
  while (serveOne()) {
  }
}

bool Connection::serveOne() {
  std::string text;
  const ConnectionStream::Head state = stream_.readHead(text);
  if (state == ConnectionStream::Head::closed) return false;
  if (state == ConnectionStream::Head::tooLong) {
    refuse("431 Request Header Fields Too Large");
    return false;
  }
  std::optional<RequestHead> head = parseHead(text);
  if (!head || !isKnownMethod(head->request.method)) {
    refuse(head ? "501 Not Implemented" : "400 Bad Request");
    return false;
  }

  RecordedRequest& request = head->request;
  Router::Match match = services_.router.find(request.method, request.path);
  request.connection = number_;
  request.time = std::chrono::system_clock::now();
  request.route = routeOf(match, request.path);
  std::optional<FaultBook::Delivery> delivery;
  if (request.route != Route::inspection) delivery = services_.faults.take(request.route);
  if (delivery) request.fault = delivery->id;
  request.serial = services_.log.begin(request);

  ExchangeJournal* const journal = request.route == Route::inspection ? nullptr : services_.journal;
  stream_.watchAnswer(journal ? ExchangeJournal::replyLimit : 0);
  if (journal) journal->begin(request);
  ExchangeJournal::End end;
  const bool goesOn = serve(*head, std::move(match), std::move(delivery), end);
  if (journal) {
    end.replySize = stream_.answerSize();
    end.reply.sent = stream_.takeAnswer();
    journal->end(request.serial, std::move(end));
  }
  return goesOn;
}

bool Connection::serve(const RequestHead& head, Router::Match match,
                       std::optional<FaultBook::Delivery> delivery, ExchangeJournal::End& end) {
  const RecordedRequest& request = head.request;
  if (delivery && endsAtOnce(*delivery, request.route)) return false;
  const bool compression = !delivery || !AnswerFault::forbidsCompression(delivery->fault.kind);
  // What people's pages are made of is as good unpacked, and events must not wait for more to pack.
  stream_.prepend(head.framing(compression && request.route != Route::inspection));
  Exchange exchange(head, std::move(match), std::move(delivery), services_.faults, services_.log, stream_);
  if (services_.journal) exchange.keepReplyBody(ExchangeJournal::replyLimit);
  bool closed = false;
  const bool last = leavesBody(request.method) && head.hasBody();
  currentExchange = &exchange;
  const bool processed = services_.process(stream_, last, closed);
  currentExchange = nullptr;
  end.requestSize = exchange.bodySize();
  end.reply.body = exchange.takeReplyBody();
  return processed && !closed && !last && !stream_.ended();
}

void Connection::refuse(const std::string& statusLine) {
  stream_.write("HTTP/1.1 " + statusLine + "\r\nConnection: close\r\nContent-Length: 0\r\n\r\n");
}

bool Connection::endsAtOnce(const FaultBook::Delivery& delivery, Route route) {
  const bool resets = delivery.fault.kind == Fault::Kind::resetAtOnce;
  if (!resets && delivery.fault.kind != Fault::Kind::closeAtOnce) return false;
  if (resets) stream_.resetAtEnd();
  services_.faults.delivered(delivery.id);
  services_.log.arrived(route);
  return true;
}

}  // namespace sandbox
