#pragma once

#include "sandbox/services/Service.h"

#include <memory>
#include <vector>

namespace sandbox {

/// One of each. Which comes first where several answer a path is the order of the list.
[[nodiscard]] std::vector<std::unique_ptr<Service>> makeServices(ServiceContext& context);

}  // namespace sandbox
