#pragma once

#include <memory>
#include <string>

namespace KBL {

/// The default certificate authorities of libcurl with those of a PEM file (UTF-8 path) added, as PEM text.
/// Null without a readable further file: libcurl's own defaults hold then.
[[nodiscard]] std::shared_ptr<const std::string> trustWith(const std::string& extraCaFile);

}  // namespace KBL
