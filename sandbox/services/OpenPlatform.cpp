#include "sandbox/services/OpenPlatform.h"

#include <algorithm>

namespace sandbox::open_platform {

bool hasExactly(const RecordedRequest& request, std::initializer_list<const char*> names) {
  const bool allThere = std::all_of(names.begin(), names.end(), [&](const char* name) {
    return !request.parameter(name).value_or("").empty();
  });
  return allThere && request.query.size() == names.size();
}

}  // namespace sandbox::open_platform
