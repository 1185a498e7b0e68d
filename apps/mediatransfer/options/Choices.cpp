#include "options/Choices.h"

#include "options/Platforms.h"

#include <algorithm>
#include <set>

namespace host {

std::string platformNames() {
  std::string names;
  for (const Platform& platform : platforms) {
    if (!names.empty()) names += ", ";
    names += platform.name;
  }
  return names;
}

std::vector<std::string> platformList() {
  std::vector<std::string> names;
  for (const Platform& platform : platforms) names.emplace_back(platform.name);
  return names;
}

std::vector<std::string> wordsOf(std::string_view text) {
  std::vector<std::string> words;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    if (!word.empty()) words.emplace_back(word);
  }
  return words;
}

std::vector<std::string> mediaServiceNames(bool withAlbums) {
  std::vector<std::string> names;
  for (const MediaService& service : mediaServices) {
    if (service.hasAlbums || !withAlbums) names.emplace_back(service.name);
  }
  return names;
}

std::vector<std::string> privacyWords() {
  std::set<std::string> words;
  for (const Platform& platform : platforms) {
    for (std::string& word : wordsOf(platform.privacyWords)) words.insert(std::move(word));
  }
  return {words.begin(), words.end()};
}

std::string choiceText(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 == names.size() ? " or " : ", ";
    text += names[i];
  }
  return text;
}

}  // namespace host
