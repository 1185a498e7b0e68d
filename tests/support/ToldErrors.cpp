#include "support/ToldErrors.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace {
using Patterns = std::vector<std::string>;
using Table = std::map<int, Patterns>;

/// The texts in the last column of a row, which stand in backquotes.
Patterns patternsIn(const std::string& column) {
  Patterns found;
  std::istringstream parts(column);
  std::string part;
  for (bool isQuoted = false; std::getline(parts, part, '`'); isQuoted = !isQuoted) {
    if (isQuoted) found.push_back(part);
  }
  if (column.find("none") != std::string::npos) found.emplace_back();
  return found;
}

Table readTable(const std::string& heading) {
  std::ifstream page(EVENTS_AND_CODES);
  std::string line;
  while (std::getline(page, line) && line != "## " + heading) {
  }
  Table table;
  while (std::getline(page, line) && line.rfind("## ", 0) != 0) {
    if (line.rfind("| ", 0) != 0 || line.rfind("| number", 0) == 0) continue;
    const std::size_t last = line.rfind(" | ");
    table[std::atoi(line.c_str() + 2)] = patternsIn(line.substr(last));
  }
  if (table.empty()) throw std::runtime_error("no table of " + heading);
  return table;
}

/// `pattern` with "..." for anything.
bool matches(std::string_view pattern, std::string_view text) {
  constexpr std::string_view anything = "...";
  const std::size_t open = pattern.find(anything);
  if (open == std::string_view::npos) return pattern == text;
  if (text.substr(0, open) != pattern.substr(0, open)) return false;
  const std::string_view rest = pattern.substr(open + anything.size());
  for (std::size_t from = open; from <= text.size(); ++from) {
    if (matches(rest, text.substr(from))) return true;
  }
  return false;
}

bool has(const Table& table, int code, const std::string& text) {
  const auto row = table.find(code);
  return row == table.end() ||
         std::any_of(row->second.begin(), row->second.end(),
                     [&](const std::string& pattern) { return matches(pattern, text); });
}
}  // namespace

bool tableHasError(int code, const std::string& text) {
  static const Table table = readTable("Error codes");
  return has(table, code, text);
}

bool tableHasErrorEvent(const std::string& text) {
  const std::size_t comma = text.find(',');
  return comma != std::string::npos && tableHasError(std::atoi(text.c_str()), text.substr(comma + 1));
}

bool tableHasMediaError(int code, const std::string& text) {
  static const Table table = readTable("Error codes of listings and downloads");
  constexpr int withTextsOfLibcurl = 10;
  return code == withTextsOfLibcurl ? !text.empty() : has(table, code, text);
}
