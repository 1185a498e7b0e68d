#include "foundation/BsNet/client/CurlReply.h"

#include "foundation/BsNet/client/hostAnswer.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

namespace KBL {
namespace {

/// Limit of all header and trailer lines of one request's responses together.
constexpr std::size_t maxHeaderBytes = 256U << 10;
/// How much memory an announced length is trusted with; a longer body grows as it comes.
constexpr std::size_t maxTrustedBytes = 8U << 20;

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

/// The status in "HTTP/1.1 200 OK", 0 when there is none.
int statusOf(std::string_view statusLine) {
  const auto blank = statusLine.find(' ');
  if (blank == std::string_view::npos) return 0;
  const std::string_view digits = trimmed(statusLine.substr(blank));
  int status = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), status);
  return status;
}

/// Header lines of one name make one list.
void addField(HeaderMap& fields, std::string_view line) {
  const auto colon = line.find(':');
  if (colon == std::string_view::npos) return;
  const std::string_view value = trimmed(line.substr(colon + 1));
  const auto [place, isNew] = fields.try_emplace(std::string(trimmed(line.substr(0, colon))), value);
  if (!isNew) place->second.append(", ").append(value);
}

bool isRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

}  // namespace

std::size_t CurlReply::takeHeader(char* line, std::size_t size, std::size_t count, void* self) {
  try {
    return static_cast<CurlReply*>(self)->takeHeaderLine(std::string(line, size * count)) ? size * count : 0;
  } catch (...) {
    passThreadEnd();
    return 0;
  }
}

std::size_t CurlReply::takeBody(char* data, std::size_t size, std::size_t count, void* self) {
  // An answer of any other number than what was given ends the transfer; 0 would not, for 0 bytes.
  constexpr auto refused = static_cast<std::size_t>(-1);
  try {
    return static_cast<CurlReply*>(self)->takeData(data, size * count) ? size * count : refused;
  } catch (...) {
    passThreadEnd();
    return refused;
  }
}

bool CurlReply::takeHeaderLine(const std::string& line) {
  headerBytes_ += line.size();
  if (headerBytes_ > maxHeaderBytes) return refuse(Refusal::headersTooLarge);
  const bool isFinal = headersEnded_ && httpCode_ >= 200;
  if (isFinal) {
    addField(trailers_, line);
    return true;
  }
  if (line.starts_with("HTTP/")) {
    beginResponse(line);
    return true;
  }
  if (trimmed(line).empty()) return endHeaders();
  addField(headers_, line);
  return true;
}

void CurlReply::beginResponse(const std::string& statusLine) {
  headers_.clear();
  httpCode_ = statusOf(statusLine);
  headersEnded_ = false;
}

bool CurlReply::endHeaders() {
  headersEnded_ = true;
  if (httpCode_ < 200) return true;
  heldBack_ = sinks_.holdsBackRedirects && isRedirect(httpCode_) && headers_.contains("Location");
  expectBody();
  return heldBack_ || announce();
}

/// Takes the memory for a body at once: one that grows is copied over and over.
void CurlReply::expectBody() {
  const auto length = headers_.find("Content-Length");
  if (length == headers_.end() || (sinks_.writer != nullptr && !heldBack_)) return;
  std::size_t bytes = 0;
  const std::string& digits = length->second;
  if (std::from_chars(digits.data(), digits.data() + digits.size(), bytes).ec != std::errc()) return;
  content_.reserve(std::min({bytes, sinks_.maxBodyBytes, maxTrustedBytes}));
}

bool CurlReply::announce() {
  if (sinks_.progress == nullptr) return true;
  const bool goesOn =
      hostAnswer(true, "a progress callback", [&] { return sinks_.progress->onReplyStarted(httpCode_); });
  return goesOn || refuse(Refusal::byProgress);
}

bool CurlReply::takeData(const char* data, std::size_t size) {
  if (!heldBack_ && sinks_.writer != nullptr) return writeOut(data, size);
  if (size > sinks_.maxBodyBytes - content_.size()) return refuse(Refusal::tooLarge);
  content_.append(data, size);
  return true;
}

bool CurlReply::writeOut(const char* data, std::size_t size) {
  const bool isTaken = hostAnswer(false, "the writer of a reply", [&] {
    return sinks_.writer->onResponseData(data, size, sinks_.writerContext);
  });
  return isTaken || refuse(Refusal::byWriter);
}

bool CurlReply::deliverHeldBack() {
  if (!std::exchange(heldBack_, false)) return true;
  if (!announce()) return false;
  if (sinks_.writer == nullptr || content_.empty()) return true;
  const std::string content = std::exchange(content_, {});
  return writeOut(content.data(), content.size());
}

void CurlReply::moveTo(NetReply& reply) {
  reply.httpCode = httpCode_;
  reply.content = std::move(content_);
  reply.headers = std::move(headers_);
  reply.trailers = std::move(trailers_);
}

bool CurlReply::refuse(Refusal why) {
  refusal_ = why;
  return false;
}

}  // namespace KBL
