#include "sandbox/base/Fault.h"

#include <string_view>

namespace sandbox {

namespace {

Fault make(Fault::Kind kind, std::uint64_t bytes = 0) {
  Fault fault;
  fault.kind = kind;
  fault.bytes = bytes;
  return fault;
}

constexpr int leastStatus = 200;
constexpr int largestStatus = 599;
/// No array of an answer is nearly as long.
constexpr std::size_t mostDigits = 6;

/// "data.items.0.id": no part is empty, and one of digits alone may be an index.
bool isPath(std::string_view path) {
  while (true) {
    const std::string_view part = path.substr(0, path.find('.'));
    const bool isNumber = part.find_first_not_of("0123456789") == std::string_view::npos;
    if (part.empty() || (isNumber && part.size() > mostDigits)) return false;
    if (part.size() == path.size()) return true;
    path.remove_prefix(part.size() + 1);
  }
}

}  // namespace

Fault Fault::closeAtOnce() {
  return make(Kind::closeAtOnce);
}
Fault Fault::resetAtOnce() {
  return make(Kind::resetAtOnce);
}
Fault Fault::resetRequestAfter(std::uint64_t bytes) {
  return make(Kind::resetRequestAfter, bytes);
}
Fault Fault::resetAnswerAfter(std::uint64_t bytes) {
  return make(Kind::resetAnswerAfter, bytes);
}
Fault Fault::stall() {
  return make(Kind::stall);
}
Fault Fault::stallRequestAfter(std::uint64_t bytes) {
  return make(Kind::stallRequestAfter, bytes);
}
Fault Fault::slowRequest(std::size_t bytes, std::chrono::milliseconds pause) {
  Fault fault = make(Kind::slowRequest, bytes);
  fault.delay = pause;
  return fault;
}

Fault Fault::stallAnswerAfter(std::uint64_t bytes) {
  return make(Kind::stallAnswerAfter, bytes);
}

Fault Fault::slowAnswer(std::chrono::milliseconds delay) {
  Fault fault = make(Kind::slowAnswer);
  fault.delay = delay;
  return fault;
}

Fault Fault::trickle(std::size_t bytes, std::chrono::milliseconds pause) {
  Fault fault = make(Kind::trickle, bytes);
  fault.delay = pause;
  return fault;
}

Fault Fault::status(int code, std::string body, std::string contentType) {
  Fault fault = make(Kind::status);
  fault.code = code;
  fault.text = std::move(body);
  fault.contentType = std::move(contentType);
  return fault;
}

Fault Fault::statusAfterAct(int code, std::string body, std::string contentType) {
  Fault fault = status(code, std::move(body), std::move(contentType));
  fault.kind = Kind::statusAfterAct;
  return fault;
}

Fault Fault::body(std::string text, std::string contentType) {
  return status(200, std::move(text), std::move(contentType));
}

Fault Fault::brokenJson() {
  return make(Kind::brokenJson);
}

Fault Fault::replaceMember(std::string path, std::string json) {
  Fault fault = make(Kind::replaceMember);
  fault.path = std::move(path);
  fault.text = std::move(json);
  return fault;
}

Fault Fault::removeMember(std::string path) {
  Fault fault = make(Kind::removeMember);
  fault.path = std::move(path);
  return fault;
}

Fault Fault::truncatedBody(std::uint64_t bytes) {
  return make(Kind::truncatedBody, bytes);
}
Fault Fault::gzip() {
  return make(Kind::gzip);
}
Fault Fault::gzipBomb(std::uint64_t inflatedBytes) {
  return make(Kind::gzipBomb, inflatedBytes);
}
Fault Fault::hugeBody(std::uint64_t bytes) {
  return make(Kind::hugeBody, bytes);
}
Fault Fault::deepNesting(std::size_t depth) {
  return make(Kind::deepNesting, depth);
}

Fault Fault::acceptLess(std::uint64_t bytes) {
  return make(Kind::acceptLess, bytes);
}

Fault Fault::withHeader(std::string name, std::string value) const {
  Fault fault = *this;
  fault.headers.emplace_back(std::move(name), std::move(value));
  return fault;
}

std::string mistakeIn(const Fault& fault, Route route) {
  const bool hasPath = fault.kind == Fault::Kind::replaceMember || fault.kind == Fault::Kind::removeMember;
  if (hasPath && !isPath(fault.path))
    return "path \"" + fault.path + "\" is none: names of members and numbers, with a dot between two";
  if (fault.kind == Fault::Kind::replaceMember && fault.text.empty())
    return "text is the JSON that stands in the member's place, and is missing";
  const bool hasCode = fault.kind == Fault::Kind::status || fault.kind == Fault::Kind::statusAfterAct;
  if (hasCode && (fault.code < leastStatus || fault.code > largestStatus))
    return "code is an HTTP status of 200 to 599";
  if (fault.kind == Fault::Kind::acceptLess && route != Route::youtubeUploadChunk)
    return "acceptLess is for the route youtubeUploadChunk alone";
  return {};
}

}  // namespace sandbox
