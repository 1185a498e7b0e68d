#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace host {

/// The command line in words: what help, completion and manual are made from.
struct OptionText {
  std::vector<std::string> names;  ///< with their hyphens, the long one last
  std::string value;               ///< what its value is ("FILE"); empty for a flag
  std::string description;
  std::vector<std::string> choices;  ///< the words that it takes, where they are known
};

struct ArgumentText {
  std::string name;
  std::string description;
  std::vector<std::string> choices;
  bool isRequired = false;
  bool isRepeated = false;
};

struct ExampleText {
  std::string call;  ///< without the program's name
  std::string what;
};

struct CommandText {
  std::string name;
  std::string description;
  std::string notes;  ///< lines
  std::vector<ExampleText> examples;
  std::vector<ArgumentText> arguments;
  std::vector<OptionText> options;
};

struct ProgramText {
  std::string version;
  CommandText whole;  ///< the program itself, with the options of all commands
  std::vector<CommandText> commands;
};

/// `choices` are the words that options and arguments take.
[[nodiscard]] ProgramText describe(const CLI::App& app,
                                   const std::map<const CLI::Option*, std::vector<std::string>>& choices);

/// "FILE...", "[KEY]"
[[nodiscard]] std::string usageOf(const ArgumentText& argument);
/// "mediatransfer upload PLATFORM FILE... [OPTIONS]"
[[nodiscard]] std::string usageOf(const CommandText& command);
/// "-q, --quiet" or "--title T"
[[nodiscard]] std::string synopsisOf(const OptionText& option);

/// The exit codes with their meaning.
[[nodiscard]] const std::vector<std::pair<int, std::string>>& exitCodes();

}  // namespace host
