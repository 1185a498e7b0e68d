#include "options/NameTemplate.h"

#include "options/Failure.h"
#include "options/Suggestion.h"

#include <algorithm>
#include <vector>

namespace host {
namespace {

const std::vector<std::string>& fields() {
  static const std::vector<std::string> names{"title", "id", "index", "type", "ext"};
  return names;
}

[[noreturn]] void refuse(const std::string& what) {
  throw Failure(Exit::wrongUse,
                "--name-template: " + what + "; its fields are {title}, {id}, {index}, {type} and {ext}");
}

}  // namespace

void checkNameTemplate(const std::string& nameTemplate) {
  if (nameTemplate.empty()) refuse("it is empty");
  if (nameTemplate.find_first_of("/\\") != std::string::npos) refuse("it leads out of the folder");
  std::string_view rest = nameTemplate;
  while (true) {
    const std::size_t brace = rest.find_first_of("{}");
    if (brace == std::string_view::npos) return;
    const std::size_t end = rest.find('}', brace);
    if (rest[brace] == '}' || end == std::string_view::npos) refuse("a brace has no counterpart");
    const std::string field(rest.substr(brace + 1, end - brace - 1));
    if (std::find(fields().begin(), fields().end(), field) == fields().end()) {
      refuse("it has no field '" + field + "'" + didYouMean(field, fields()));
    }
    rest.remove_prefix(end + 1);
  }
}

std::string filledTemplate(std::string_view nameTemplate,
                           const std::function<std::string(std::string_view)>& valueOf) {
  std::string name;
  while (true) {
    const std::size_t brace = nameTemplate.find('{');
    const std::size_t end = nameTemplate.find('}', std::min(brace, nameTemplate.size()));
    name += nameTemplate.substr(0, brace);
    if (brace == std::string_view::npos || end == std::string_view::npos) return name;
    name += valueOf(nameTemplate.substr(brace + 1, end - brace - 1));
    nameTemplate.remove_prefix(end + 1);
  }
}

}  // namespace host
