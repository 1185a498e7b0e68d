#include "foundation/BsNet/client/CurlHeaders.h"

#include "foundation/Texts.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace KBL {
namespace {

constexpr std::string_view contentType = "content-type";
/// What the transfer itself decides.
constexpr std::string_view ofTheTransfer[] = {"accept-encoding", "content-length", "expect",
                                              "transfer-encoding"};
/// What another origin may see.
constexpr std::string_view harmless[] = {"accept", "accept-language", "user-agent"};

template <std::size_t Count>
bool isOneOf(const std::string& name, const std::string_view (&names)[Count]) {
  return std::any_of(std::begin(names), std::end(names),
                     [&](std::string_view one) { return readsLike(name, one); });
}

bool isToken(const std::string& name) {
  constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
  return !name.empty() && std::all_of(name.begin(), name.end(), [&](char c) {
    return isLetterOrDigit(c) || marks.find(c) != std::string_view::npos;
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

bool HeaderNameLess::operator()(const std::string& left, const std::string& right) const {
  const auto lower = [](char c) { return static_cast<unsigned char>(lowerCase(c)); };
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [&](char a, char b) { return lower(a) < lower(b); });
}

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
  // libcurl would wait for a "100 Continue" that many servers never send.
  CurlList list;
  if (!append(list, "Expect:")) return nullptr;
  // No content type but the caller's: libcurl would claim a url-encoded form.
  const bool hasContentType = caller_.contains("Content-Type");
  if (!isForm && !hasContentType && !append(list, "Content-Type:")) return nullptr;

  for (const auto& [name, value] : caller_) {
    if (isOneOf(name, ofTheTransfer)) continue;
    if (isForm && readsLike(name, contentType)) continue;
    if (!withCredentials && !isOneOf(name, harmless)) continue;
    if (!append(list, lineOf(name, value))) return nullptr;
  }
  const bool sendsBearer = withCredentials && !bearer_.empty() && !caller_.contains("Authorization");
  if (sendsBearer && !append(list, "Authorization: Bearer " + bearer_)) return nullptr;
  return list;
}

}  // namespace KBL
