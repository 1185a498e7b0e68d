#include "options/Description.h"

#include "options/Examples.h"
#include "options/Failure.h"

#include <CLI/CLI.hpp>

namespace host {
namespace {

using Choices = std::map<const CLI::Option*, std::vector<std::string>>;

std::vector<std::string> choicesOf(const CLI::Option& option, const Choices& choices) {
  const auto place = choices.find(&option);
  return place == choices.end() ? std::vector<std::string>() : place->second;
}

OptionText optionText(const CLI::Option& option, const Choices& choices) {
  OptionText text;
  for (const std::string& name : option.get_snames()) text.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) text.names.push_back("--" + name);
  if (option.get_items_expected_max() > 0) text.value = option.get_option_text();
  text.description = option.get_description();
  text.choices = choicesOf(option, choices);
  return text;
}

ArgumentText argumentText(const CLI::Option& option, const Choices& choices) {
  ArgumentText text;
  text.name = option.get_name(true);
  text.description = option.get_description();
  text.choices = choicesOf(option, choices);
  text.isRequired = option.get_required();
  text.isRepeated = option.get_items_expected_max() > 1;
  return text;
}

CommandText commandText(const CLI::App& app, const std::string& name, const Choices& choices) {
  CommandText text;
  text.name = name;
  text.description = app.get_description();
  text.notes = app.get_footer();
  text.examples = examplesOf(name);
  for (const CLI::Option* const option : app.get_options()) {
    if (option->get_positional()) {
      text.arguments.push_back(argumentText(*option, choices));
    } else {
      text.options.push_back(optionText(*option, choices));
    }
  }
  return text;
}

}  // namespace

ProgramText describe(const CLI::App& app, const Choices& choices) {
  ProgramText text;
  text.version = app.version();
  text.whole = commandText(app, "", choices);
  for (const CLI::App* const command : app.get_subcommands({})) {
    if (command->get_group().empty()) continue;
    text.commands.push_back(commandText(*command, command->get_name(), choices));
    // A command without notes of its own has those of the program.
    if (text.commands.back().notes == text.whole.notes) text.commands.back().notes.clear();
  }
  return text;
}

std::string usageOf(const ArgumentText& argument) {
  const std::string name = argument.name + (argument.isRepeated ? "..." : "");
  return argument.isRequired ? name : "[" + name + "]";
}

std::string usageOf(const CommandText& command) {
  if (command.name.empty()) return "mediatransfer [OPTIONS] COMMAND";
  std::string usage = "mediatransfer " + command.name;
  for (const ArgumentText& argument : command.arguments) usage += " " + usageOf(argument);
  return usage + " [OPTIONS]";
}

std::string synopsisOf(const OptionText& option) {
  std::string text;
  for (const std::string& name : option.names) text += (text.empty() ? "" : ", ") + name;
  return option.value.empty() ? text : text + " " + option.value;
}

const std::vector<std::pair<int, std::string>>& exitCodes() {
  static const std::vector<std::pair<int, std::string>> codes{
      {Exit::done, "done"},
      {Exit::refused,
       "the service or the transfer said no, a local file or folder cannot be used, or the output cannot be "
       "written"},
      {Exit::wrongUse, "wrong use"},
      {Exit::interrupted, "stopped by Ctrl-C"}};
  return codes;
}

}  // namespace host
