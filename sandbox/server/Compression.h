#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace sandbox {

/// The text as a gzip file.
[[nodiscard]] std::string gzipped(const std::string& text);

/// Makes a gzip file of the pieces that `source` gives until it gives an empty one, and hands it on as it
/// grows. False when `sink` refused.
bool gzipStream(const std::function<std::string()>& source,
                const std::function<bool(const std::string&)>& sink);

}  // namespace sandbox
