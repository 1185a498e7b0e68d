#pragma once

#include "report/Report.h"

#include <algorithm>
#include <string>

namespace host {

/// The text, filled up to the column's width, with two blanks behind it at least.
[[nodiscard]] std::string cell(const std::string& text, std::size_t width);

template <class Number>
[[nodiscard]] std::string counted(Number count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

/// "Ada Lovelace (ada@example.org)", as much of it as is known.
[[nodiscard]] std::string personText(const Person& person);
/// "films, travel" of the "films|travel|" of a user's record.
[[nodiscard]] std::string categoriesText(std::string text);
/// What became of a check, in its column; green, yellow or red where there are colours.
[[nodiscard]] std::string stateCell(Check::State state, bool isColoured);

}  // namespace host
