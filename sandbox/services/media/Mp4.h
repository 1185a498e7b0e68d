#pragma once

#include <cstdint>
#include <string>

namespace sandbox {

/// A small MP4 of `frames` pictures at ten a second, each a JPEG whose colours follow from `seed`. Equal
/// arguments give equal bytes.
[[nodiscard]] std::string makeMp4(unsigned width, unsigned height, unsigned frames, std::uint64_t seed);

}  // namespace sandbox
