#include "json/JsonAccess.h"

#include <algorithm>

namespace KBL {

namespace {
// Measured with jsoncpp 1.9.5 on a 64-bit system, as what the heap holds a value, with the allocator's own
// share: 96 bytes for a number or literal in an array or object, 160 for an empty array or object, and 128
// for an empty string. A text of n bytes takes n + 5 and what the allocator rounds up, at most n + 32, and so
// does a member's name, which stands beside its value.
constexpr std::size_t valueCost = 96;      // a node of the tree
constexpr std::size_t containerCost = 64;  // the list of an array's or object's members
constexpr std::size_t textCost = 32;       // beside the bytes of the text
/// The most that one byte of a text can cost, a bracket's.
constexpr std::size_t costOfAByte = valueCost + containerCost;

constexpr std::string_view endOfScalar = " \t\r\n,:[]{}\"/";

std::size_t skipTo(std::size_t found, std::string_view text) {
  return std::min(found, text.size());
}

/// The place behind the string that begins at `begin`, its quote.
std::size_t endOfString(std::string_view text, std::size_t begin) {
  const std::size_t quote = skipTo(text.find('"', begin + 1), text);
  const std::size_t escape = text.substr(0, quote).find('\\', begin + 1);
  if (escape == std::string_view::npos) return std::min(quote + 1, text.size());
  for (std::size_t at = escape; at < text.size(); ++at) {
    if (text[at] == '\\') {
      ++at;
    } else if (text[at] == '"') {
      return at + 1;
    }
  }
  return text.size();
}

/// The place behind the comment that begins at `begin`, or of a lone slash. A quote within a comment must not
/// hide the values behind it.
std::size_t endOfComment(std::string_view text, std::size_t begin) {
  const std::string_view mark = text.substr(begin, 2);
  if (mark == "//") return skipTo(text.find_first_of("\r\n", begin), text);
  if (mark != "/*") return begin + 1;
  const std::size_t end = text.find("*/", begin + 2);
  return end == std::string_view::npos ? text.size() : end + 2;
}
}  // namespace

std::size_t jsonTreeCost(std::string_view text, std::size_t limit) {
  std::size_t cost = 0;
  bool afterString = false;
  for (std::size_t at = 0; at < text.size() && cost <= limit;) {
    switch (text[at]) {
      case ' ':
      case '\t':
      case '\r':
      case '\n':
        ++at;
        continue;
      case '/':
        at = endOfComment(text, at);
        continue;
      case '"': {
        const std::size_t end = endOfString(text, at);
        cost += valueCost + textCost + (end - at);
        at = end;
        afterString = true;
        continue;
      }
      case ':':
        if (afterString) cost -= valueCost;  // it was a name: its value counts for both
        ++at;
        break;
      case '[':
      case '{':
        cost += valueCost + containerCost;
        ++at;
        break;
      case ',':
      case ']':
      case '}':
        ++at;
        break;
      default:
        cost += valueCost;
        at = skipTo(text.find_first_of(endOfScalar, at + 1), text);
    }
    afterString = false;
  }
  return cost;
}

bool costsMoreThan(std::size_t limit, std::string_view text) {
  return text.size() > limit / costOfAByte && jsonTreeCost(text, limit) > limit;
}

}  // namespace KBL
