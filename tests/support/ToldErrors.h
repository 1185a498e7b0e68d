#pragma once

#include <string>

/// Whether docs/events-and-codes.md tells of this error: its code is one of the library's and the
/// text one of that code's, or the code is another one's.
[[nodiscard]] bool tableHasError(int code, const std::string& text);
/// The same for "code,message", the text of an upload's error event.
[[nodiscard]] bool tableHasErrorEvent(const std::string& text);
/// The same for an error of a listing or download, whose own texts of libcurl stand in no table.
[[nodiscard]] bool tableHasMediaError(int code, const std::string& text);
