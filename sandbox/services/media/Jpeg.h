#pragma once

#include <cstdint>
#include <string>

namespace sandbox {

/// A baseline JPEG of this size, a mosaic of plain squares whose colours follow from `seed`: equal arguments
/// give equal bytes. Sizes are 1 to 65535.
[[nodiscard]] std::string makeJpeg(unsigned width, unsigned height, std::uint64_t seed);

}  // namespace sandbox
