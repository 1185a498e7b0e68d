#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

/// One line for people: what an error code of the library means, the library's or server's own text, and what
/// to do next. `platform` may be empty.
[[nodiscard]] std::string explainError(int code, const std::string& text, std::string_view platform);

/// The same for an account server that refused to renew the stored login, which an upload goes on with.
[[nodiscard]] std::string explainNotRenewed(int code, const std::string& text, std::string_view platform,
                                            bool goesOn);

/// The same for a token that a script calls invalid.
[[nodiscard]] std::string explainRefusedLogin(const std::string& text, std::string_view platform);

/// Splits the "code,message" text of an upload error; a text without a leading number has code 0.
struct UploadErrorText {
  int code = 0;
  std::string message;
};
[[nodiscard]] UploadErrorText splitUploadError(const std::string& text);

/// The text with every token-like value masked: a server's reply may stand in an error's message.
[[nodiscard]] std::string withoutSecrets(const std::string& text);

/// Control characters as blanks, what is no UTF-8 as U+FFFD, and no more than `limit` bytes, cut at a
/// character's end, so that a server's reply fits one line.
[[nodiscard]] std::string singleLine(const std::string& text, std::size_t limit = 2000);

}  // namespace host
