#include "sandbox/base/RecordedRequest.h"

#include "sandbox/base/Text.h"

#include <string_view>

namespace sandbox {

std::optional<std::string> RecordedRequest::header(const std::string& name) const {
  for (const auto& [known, value] : headers) {
    if (equalIgnoringCase(known, name)) return value;
  }
  return std::nullopt;
}

std::optional<std::string> RecordedRequest::parameter(const std::string& name) const {
  for (const auto& [known, value] : query) {
    if (known == name) return value;
  }
  return std::nullopt;
}

std::string RecordedRequest::bearer() const {
  constexpr std::string_view scheme = "Bearer ";
  const std::string value = header("Authorization").value_or("");
  if (!equalIgnoringCase(std::string_view(value).substr(0, scheme.size()), scheme)) return {};
  return value.substr(scheme.size());
}

}  // namespace sandbox
