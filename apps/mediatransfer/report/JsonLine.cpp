#include "report/JsonLine.h"

#include <utf8.h>

namespace host {
namespace {

void appendQuoted(std::string& out, std::string_view text) {
  static constexpr char digits[] = "0123456789abcdef";
  out += '"';
  for (const char c : utf8::replace_invalid(std::string(text))) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\r') {
      out += "\\r";
    } else if (byte < 0x20) {
      out += "\\u00";
      out += digits[byte >> 4U];
      out += digits[byte & 0xFU];
    } else {
      out += c;
    }
  }
  out += '"';
}

}  // namespace

JsonLine::JsonLine(std::string_view event) {
  text("event", event);
}

void JsonLine::name(std::string_view name) {
  if (line_.size() > 1) line_ += ',';
  appendQuoted(line_, name);
  line_ += ':';
}

JsonLine& JsonLine::text(std::string_view memberName, std::string_view value) {
  name(memberName);
  appendQuoted(line_, value);
  return *this;
}

JsonLine& JsonLine::textIfKnown(std::string_view memberName, std::string_view value) {
  return value.empty() ? *this : text(memberName, value);
}

JsonLine& JsonLine::number(std::string_view memberName, long long value) {
  name(memberName);
  line_ += std::to_string(value);
  return *this;
}

JsonLine& JsonLine::json(std::string_view memberName, std::string_view json) {
  name(memberName);
  line_ += json;
  return *this;
}

}  // namespace host
