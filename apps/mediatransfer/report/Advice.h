#pragma once

#include "options/Failure.h"
#include "options/Options.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

// Every printed call of the program comes from these, so that it can be pasted as it stands.

/// How a next call of the program begins: with those options of this one's command line that say which
/// servers, logins and application it is about, each as one word of a shell. What the environment and the
/// configuration give is in force there, too.
[[nodiscard]] std::string nextCall(const Options& options);
/// The platform of the options with the way that was chosen for it, as it stands behind a command; empty
/// without a platform.
[[nodiscard]] std::string platformAndWay(const Options& options);

/// The text as one word of a command line.
[[nodiscard]] std::string shellWord(const std::string& text);

/// The next call that signs in anew.
[[nodiscard]] std::string signInCall(const Options& options);

/// The next call that shows who is signed in.
[[nodiscard]] std::string whoCall(const Options& options);

// `platform` is what stands behind the command of a next call, and may be empty; `program` is how that
// begins.

/// One line for people: what an error code of the library means, the library's or server's own text, and what
/// to do next.
[[nodiscard]] std::string explainError(int code, const std::string& text, std::string_view platform,
                                       std::string_view program = "mediatransfer");

/// The same for an account server that refused to renew the stored login, which an upload goes on with.
[[nodiscard]] std::string explainNotRenewed(int code, const std::string& text, std::string_view platform,
                                            bool goesOn, std::string_view program = "mediatransfer");

/// The same for a token that a script calls invalid.
[[nodiscard]] std::string explainRefusedLogin(const std::string& text, std::string_view platform,
                                              std::string_view program = "mediatransfer");

/// The same for an error of a listing or a download. `isTooLarge`: the file has a size that no download
/// takes, where the library's own text speaks of a write that failed.
[[nodiscard]] std::string explainMediaError(int code, const std::string& text, bool isTooLarge = false);

// What kind of trouble an error is.
[[nodiscard]] Cause causeOfError(int code, const std::string& text);
[[nodiscard]] Cause causeOfMediaError(int code, const std::string& text);
/// `value` is that of an upload's error event.
[[nodiscard]] Cause causeOfUploadError(int value, const std::string& text);

/// Splits the "code,message" text of an upload error; a text without a leading number has code 0.
struct UploadErrorText {
  int code = 0;
  std::string message;
};
[[nodiscard]] UploadErrorText splitUploadError(const std::string& text);

/// The text with every token-like value and every given secret masked: a server's reply, which may quote what
/// it was sent, may stand in an error's message.
[[nodiscard]] std::string withoutSecrets(const std::string& text);

/// Control characters and marks that turn the direction of writing as blanks, what is no UTF-8 as U+FFFD, and
/// no more than `limit` bytes, cut at a character's end, so that a server's reply fits one line.
[[nodiscard]] std::string singleLine(const std::string& text, std::size_t limit = 2000);

}  // namespace host
