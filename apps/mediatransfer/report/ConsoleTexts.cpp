#include "report/ConsoleTexts.h"

#include "report/Colours.h"

#include <string_view>

namespace host {

std::string cell(const std::string& text, std::size_t width) {
  return text + std::string(std::max(width, text.size() + 2) - text.size(), ' ');
}

std::string personText(const Person& person) {
  std::string name = person.name;
  if (name.empty() && !(person.firstName.empty() && person.lastName.empty())) {
    name =
        person.firstName + (person.firstName.empty() || person.lastName.empty() ? "" : " ") + person.lastName;
  }
  const std::string& account = person.account.empty() ? person.accountUid : person.account;
  if (name.empty()) return account.empty() ? "user " + person.user : account;
  return account.empty() ? name : name + " (" + account + ")";
}

std::string categoriesText(std::string text) {
  if (text.ends_with('|')) text.pop_back();
  std::string shown;
  for (const char c : text) {
    if (c == '|') {
      shown += ", ";
    } else {
      shown += c;
    }
  }
  return shown;
}

std::string stateCell(Check::State state, bool isColoured) {
  constexpr std::size_t width = 9;
  const auto word = [&](std::string_view text, Colour colour) {
    return coloured(text, colour, isColoured) + std::string(width - text.size(), ' ');
  };
  switch (state) {
    case Check::State::ok:
      return word("ok", Colour::green);
    case Check::State::warning:
      return word("warning", Colour::yellow);
    case Check::State::fault:
      return word("fault", Colour::red);
  }
  return {};
}

}  // namespace host
