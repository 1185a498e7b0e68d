#pragma once

#include <KblUtils/Export.h>

#include <string>

namespace KBL {

/// An absolute http or https address.
class KBL_BSNET_API URL {
 public:
  /// Never fails; a text that is no usable address gives a URL whose IsValid is false.
  static URL FromString(const std::string& text);

  /// Scheme http or https, a host, a port of 1 to 65535 where one is given, no blank or control character.
  [[nodiscard]] bool IsValid() const;
  [[nodiscard]] const std::string& string() const { return text_; }

 private:
  explicit URL(std::string text);

  std::string text_;
  bool valid_;
};

}  // namespace KBL
