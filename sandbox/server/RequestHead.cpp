#include "sandbox/server/RequestHead.h"

#include "sandbox/base/Text.h"

#include <string_view>

namespace sandbox {

namespace {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

/// Takes the next line off the text.
std::string_view nextLine(std::string_view& text) {
  const std::size_t end = text.find("\r\n");
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
  return line;
}

bool parseRequestLine(std::string_view line, RecordedRequest& request) {
  const std::size_t first = line.find(' ');
  const std::size_t last = line.rfind(' ');
  if (first == std::string_view::npos || first == last || first == 0) return false;
  if (line.substr(last + 1) != "HTTP/1.1") return false;
  request.method = line.substr(0, first);
  request.target = line.substr(first + 1, last - first - 1);
  if (!request.target.starts_with('/') || request.target.find(' ') != std::string::npos) return false;
  const std::size_t question = request.target.find('?');
  request.path = request.target.substr(0, question);
  if (question != std::string::npos)
    request.query = parseForm(std::string_view(request.target).substr(question + 1));
  return true;
}

bool parseHeaderLine(std::string_view line, RecordedRequest& request) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos || colon == 0) return false;
  const std::string_view name = line.substr(0, colon);
  if (trimmed(name) != name) return false;
  request.headers.emplace_back(name, trimmed(line.substr(colon + 1)));
  return true;
}

bool readFraming(RequestHead& head) {
  for (const auto& [name, value] : head.request.headers) {
    if (equalIgnoringCase(name, "Transfer-Encoding")) {
      if (!equalIgnoringCase(value, "chunked")) return false;
      head.chunked = true;
    }
    if (!equalIgnoringCase(name, "Content-Length")) continue;
    unsigned long long length = 0;
    if (!parseNumber(value, length)) return false;
    if (head.contentLength && *head.contentLength != length) return false;
    head.contentLength = length;
  }
  return !(head.chunked && head.contentLength);
}

}  // namespace

std::optional<RequestHead> parseHead(const std::string& head) {
  RequestHead parsed;
  std::string_view rest = head;
  if (!parseRequestLine(nextLine(rest), parsed.request)) return std::nullopt;
  for (std::string_view line = nextLine(rest); !line.empty(); line = nextLine(rest)) {
    if (!parseHeaderLine(line, parsed.request)) return std::nullopt;
  }
  if (!parsed.request.header("Host")) return std::nullopt;
  return readFraming(parsed) ? std::optional(std::move(parsed)) : std::nullopt;
}

std::string RequestHead::framing(bool withCompression) const {
  constexpr std::size_t lineLimit = 4096;
  std::string text = request.method + " / HTTP/1.1\r\n";
  const auto pass = [&](const char* name) {
    const std::optional<std::string> value = request.header(name);
    if (value && value->size() < lineLimit) text += std::string(name) + ": " + *value + "\r\n";
  };
  pass("Connection");
  pass("Expect");
  // gzip alone: the library's Brotli takes a millisecond for a small answer.
  const std::string codings = request.header("Accept-Encoding").value_or("");
  if (withCompression && codings.find("gzip") != std::string::npos) text += "Accept-Encoding: gzip\r\n";
  if (chunked) {
    text += "Transfer-Encoding: chunked\r\n";
  } else {
    // Without a length the library would read until the connection ends.
    text += "Content-Length: " + std::to_string(contentLength.value_or(0)) + "\r\n";
  }
  return text + "\r\n";
}

}  // namespace sandbox
