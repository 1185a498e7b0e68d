#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// The names of all platforms as arguments take them.
[[nodiscard]] std::vector<std::string> platformList();
/// The same in a row, with commas.
[[nodiscard]] std::string platformNames();
/// The services that have media to list, or albums; in the order of the table.
[[nodiscard]] std::vector<std::string> mediaServiceNames(bool withAlbums);
/// What the platforms call those who may see a video, each word once.
[[nodiscard]] std::vector<std::string> privacyWords();

/// The words of a text, which blanks divide.
[[nodiscard]] std::vector<std::string> wordsOf(std::string_view text);
/// "one, other or last"
[[nodiscard]] std::string choiceText(const std::vector<std::string>& names);

}  // namespace host
