#pragma once

#include <string>
#include <string_view>

namespace host {

/// Builds one JSON object on one line, members in the order of the calls. Bytes that are no UTF-8 become the
/// replacement character, so that the line is JSON whatever a server sent.
class JsonLine {
 public:
  explicit JsonLine(std::string_view event);

  JsonLine& text(std::string_view name, std::string_view value);
  /// Left out when the value is empty.
  JsonLine& textIfKnown(std::string_view name, std::string_view value);
  JsonLine& number(std::string_view name, long long value);
  /// `json` is JSON text without line ends.
  JsonLine& json(std::string_view name, std::string_view json);

  /// The object, with its line end.
  [[nodiscard]] std::string line() const { return line_ + "}\n"; }

 private:
  void name(std::string_view name);

  std::string line_ = "{";
};

}  // namespace host
