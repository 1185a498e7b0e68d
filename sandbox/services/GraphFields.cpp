#include "sandbox/services/GraphFields.h"

#include <algorithm>

namespace sandbox {

std::vector<std::string> graphFields(const std::string& fields) {
  std::vector<std::string> names(1);
  int depth = 0;
  for (const char letter : fields) {
    if (letter == '}') --depth;
    if (depth == 0 && letter == ',') {
      names.emplace_back();
    } else if (depth == 0 && letter != '{' && letter != '}') {
      names.back() += letter;
    }
    if (letter == '{') ++depth;
  }
  return names;
}

std::string strangeGraphField(const std::string& fields, std::initializer_list<std::string_view> known) {
  const std::vector<std::string> names = graphFields(fields);
  const auto strange = std::find_if(names.begin(), names.end(), [&](const std::string& name) {
    return std::find(known.begin(), known.end(), name) == known.end();
  });
  return strange == names.end() ? std::string() : *strange;
}

}  // namespace sandbox
