#include "options/Suggestion.h"

#include <algorithm>
#include <cstddef>

namespace host {
namespace {

/// How many letters have to be put in, taken out, exchanged or swapped with their neighbour.
std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> before(other.size() + 1);
  std::vector<std::size_t> last(other.size() + 1);
  std::vector<std::size_t> row(other.size() + 1);
  for (std::size_t j = 0; j <= other.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= one.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const std::size_t exchange = last[j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
      row[j] = std::min({exchange, last[j] + 1, row[j - 1] + 1});
      const bool isSwap = i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1];
      if (isSwap) row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before.swap(last);
    last.swap(row);
  }
  return last[other.size()];
}

}  // namespace

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

std::string nearest(std::string_view word, const std::vector<std::string>& candidates) {
  constexpr std::size_t longest = 64;
  const std::string wanted = lowerCase(word.substr(0, longest));
  // A third of the letters may differ; what is shorter is near to everything.
  std::size_t least = std::max<std::size_t>(wanted.size() / 3, wanted.size() > 2 ? 1 : 0) + 1;
  std::string found;
  for (const std::string& candidate : candidates) {
    const std::size_t letters = distance(wanted, lowerCase(candidate));
    if (letters >= least) continue;
    least = letters;
    found = candidate;
  }
  return found;
}

std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates) {
  const std::string found = nearest(word, candidates);
  return found.empty() ? found : " (did you mean " + found + "?)";
}

}  // namespace host
