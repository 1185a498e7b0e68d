#include "sandbox/base/Fault.h"

namespace sandbox {

namespace {

Fault make(Fault::Kind kind, std::uint64_t bytes = 0) {
  Fault fault;
  fault.kind = kind;
  fault.bytes = bytes;
  return fault;
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

Fault Fault::withHeader(std::string name, std::string value) const {
  Fault fault = *this;
  fault.headers.emplace_back(std::move(name), std::move(value));
  return fault;
}

}  // namespace sandbox
