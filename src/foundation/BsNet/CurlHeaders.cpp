#include "foundation/BsNet/CurlHeaders.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <string_view>

namespace KBL {
namespace {

using HeaderNames = std::set<std::string, HeaderNameLess>;

bool isToken(const std::string& name) {
  constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
  return !name.empty() && std::all_of(name.begin(), name.end(), [&](unsigned char c) {
    return (c < 0x80 && std::isalnum(c) != 0) || marks.find(static_cast<char>(c)) != std::string_view::npos;
  });
}

bool hasLineBreak(const std::string& value) {
  return value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos;
}

/// libcurl reads "name:" as "leave this header out" and "name;" as "send it empty".
std::string lineOf(const std::string& name, const std::string& value) {
  std::string line = name;
  return value.empty() ? line.append(";") : line.append(": ").append(value);
}

/// Adds a line to the list; a failure gives the list up.
bool append(CurlList& list, const std::string& line) {
  curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
  if (longer == nullptr) return false;
  (void)list.release();
  list.reset(longer);
  return true;
}

}  // namespace

std::optional<std::string> CurlHeaders::unusable() const {
  for (const auto& [name, value] : caller_) {
    if (!isToken(name)) return "a header's name is none";
    if (hasLineBreak(value)) return "the header " + name + " holds a line break";
  }
  if (hasLineBreak(bearer_)) return "the bearer token holds a line break";
  return std::nullopt;
}

std::string CurlHeaders::acceptedCodings() const {
  const auto found = caller_.find("Accept-Encoding");
  return found == caller_.end() ? "" : found->second;
}

CurlList CurlHeaders::lines(bool isForm, bool withCredentials) const {
  static const auto& ofTheTransfer =
      *new HeaderNames{"Accept-Encoding", "Content-Length", "Expect", "Transfer-Encoding"};
  static const auto& contentType = *new HeaderNames{"Content-Type"};
  static const auto& harmless = *new HeaderNames{"Accept", "Accept-Language", "User-Agent"};

  // libcurl would wait for a "100 Continue" that many servers never send.
  CurlList list;
  if (!append(list, "Expect:")) return nullptr;
  // No content type but the caller's: libcurl would claim a url-encoded form.
  const bool hasContentType = caller_.contains("Content-Type");
  if (!isForm && !hasContentType && !append(list, "Content-Type:")) return nullptr;

  for (const auto& [name, value] : caller_) {
    if (ofTheTransfer.contains(name)) continue;
    if (isForm && contentType.contains(name)) continue;
    if (!withCredentials && !harmless.contains(name)) continue;
    if (!append(list, lineOf(name, value))) return nullptr;
  }
  const bool sendsBearer = withCredentials && !bearer_.empty() && !caller_.contains("Authorization");
  if (sendsBearer && !append(list, "Authorization: Bearer " + bearer_)) return nullptr;
  return list;
}

}  // namespace KBL
