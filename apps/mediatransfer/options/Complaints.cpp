#include "options/Complaints.h"

#include "options/Suggestion.h"

#include <CLI/CLI.hpp>
#include <vector>

namespace host {
namespace {

std::vector<std::string> commandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* const command : app.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

/// Those of the called command, and those of every command.
std::vector<std::string> optionNames(const CLI::App& app) {
  std::vector<std::string> names;
  const auto add = [&names](const CLI::App& command) {
    for (const CLI::Option* const option : command.get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back(name);
    }
  };
  for (const CLI::App* const command : app.get_subcommands()) add(*command);
  add(app);
  return names;
}

/// What of the arguments nobody knows; empty when all are known. Values stay out of it: behind a misspelt
/// option stands perhaps a secret.
std::string strangeArgument(const CLI::App& app) {
  const std::vector<std::string> strange = app.remaining(true);
  for (const std::string& argument : strange) {
    if (argument.size() < 2 || argument.front() != '-' || argument == "--") continue;
    const bool isLong = argument[1] == '-';
    if (!isLong) return "unknown option " + argument.substr(0, 2);
    const std::string option = argument.substr(0, argument.find('='));
    const std::string known = nearest(option.substr(2), optionNames(app));
    return "unknown option " + option + (known.empty() ? known : " (did you mean --" + known + "?)");
  }
  if (strange.empty()) return {};
  const std::string command = calledCommand(app);
  if (command.empty()) {
    return "unknown command '" + strange.front() + "'" + didYouMean(strange.front(), commandNames(app));
  }
  return "there is an argument too many behind " + command;
}

}  // namespace

std::string calledCommand(const CLI::App& app) {
  const auto called = app.get_subcommands();
  return called.empty() ? std::string() : called.front()->get_name();
}

std::string explain(const CLI::App& app, const CLI::ParseError& error) {
  std::string reason = error.what();
  if (reason.find(" required ") != std::string::npos && reason.ends_with(" missing")) {
    return reason.substr(0, reason.find(':')) + " needs a value";
  }
  const bool isStrange = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  if (!isStrange && dynamic_cast<const CLI::RequiredError*>(&error) == nullptr) return reason;
  std::string strange = strangeArgument(app);
  if (!strange.empty()) return strange;
  return calledCommand(app).empty() ? "no command is given" : reason;
}

}  // namespace host
