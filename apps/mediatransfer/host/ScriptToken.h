#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace host {

/// What the script package keeps in the text of a login, as far as a listing of media needs it.
struct ScriptToken {
  std::string access;
  std::string secret;        ///< of OAuth 1.0a; empty elsewhere
  std::int64_t expires = 0;  ///< seconds since the epoch; 0: never
};

/// Nothing for a text that the script package did not make for the platform of this name.
[[nodiscard]] std::optional<ScriptToken> readScriptToken(const std::string& text,
                                                         const std::string& platform);

}  // namespace host
