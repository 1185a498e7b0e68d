#include "options/Completion.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

namespace host {
namespace {

using Words = std::vector<std::string>;

std::string joined(const Words& words, std::string_view between) {
  std::string text;
  for (const std::string& word : words) {
    if (!text.empty()) text += between;
    text += word;
  }
  return text;
}

bool isFile(std::string_view value) {
  return value == "FILE" || value == "FILE|-";
}

bool isFolder(std::string_view value) {
  return value == "DIR";
}

Words commandNames(const ProgramText& program) {
  Words names;
  for (const CommandText& command : program.commands) names.push_back(command.name);
  names.emplace_back("help");
  return names;
}

Words optionNames(const CommandText& command) {
  Words names;
  for (const OptionText& option : command.options) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return names;
}

/// The names of all options with a value, whatever command takes them.
Words valueOptions(const ProgramText& program) {
  std::set<std::string> names;
  const auto add = [&names](const CommandText& command) {
    for (const OptionText& option : command.options) {
      if (!option.value.empty()) names.insert(option.names.begin(), option.names.end());
    }
  };
  add(program.whole);
  for (const CommandText& command : program.commands) add(command);
  return {names.begin(), names.end()};
}

// bash

std::string bashWords(const Words& words) {
  return "    mapfile -t COMPREPLY < <(compgen -W '" + joined(words, " ") + "' -- \"$word\")\n";
}

std::string bashCandidates(const std::string& value, const Words& choices) {
  if (!choices.empty()) return bashWords(choices);
  if (isFolder(value)) return "    compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- \"$word\")\n";
  if (isFile(value)) return "    compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n";
  return "    :\n";
}

std::string bashValues(const CommandText& command, const std::string& pattern) {
  std::string text;
  for (const OptionText& option : command.options) {
    if (option.value.empty()) continue;
    Words patterns;
    for (const std::string& name : option.names) patterns.push_back(pattern + name);
    text +=
        "  " + joined(patterns, " | ") + ")\n" + bashCandidates(option.value, option.choices) + "    ;;\n";
  }
  return text;
}

std::string bashArguments(const ProgramText& program) {
  std::string text;
  for (const CommandText& command : program.commands) {
    for (std::size_t i = 0; i < command.arguments.size(); ++i) {
      const ArgumentText& argument = command.arguments[i];
      text += "  " + command.name + ":" + (argument.isRepeated ? "*" : std::to_string(i)) + ")\n" +
              bashCandidates(argument.name, argument.choices) + "    ;;\n";
    }
  }
  Words names = commandNames(program);
  names.pop_back();
  return text + "  help:0)\n" + bashWords(names) + "    ;;\n";
}

std::string bashScript(const ProgramText& program) {
  std::string text =
      "# bash completion for mediatransfer\n"
      "_mediatransfer() {\n"
      "  local word=${COMP_WORDS[COMP_CWORD]} command='' expects='' count=0 i\n"
      "  COMPREPLY=()\n"
      "  # An equals sign is a word of its own here.\n"
      "  [ \"$word\" = = ] && word=''\n"
      "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
      "    [ \"${COMP_WORDS[i]}\" = = ] && continue\n"
      "    if [ -n \"$expects\" ]; then\n"
      "      expects=''\n"
      "      continue\n"
      "    fi\n"
      "    case ${COMP_WORDS[i]} in\n"
      "    " +
      joined(valueOptions(program), " | ") +
      ") expects=${COMP_WORDS[i]} ;;\n"
      "    -*) ;;\n"
      "    *)\n"
      "      if [ -z \"$command\" ]; then command=${COMP_WORDS[i]}; else count=$((count + 1)); fi\n"
      "      ;;\n"
      "    esac\n"
      "  done\n"
      "  if [ -n \"$expects\" ]; then\n"
      "    case $command:$expects in\n";
  for (const CommandText& command : program.commands) text += bashValues(command, command.name + ":");
  text += bashValues(program.whole, "*:");
  text +=
      "    esac\n"
      "    return\n"
      "  fi\n"
      "  case $word in\n"
      "  -*)\n"
      "    case $command in\n";
  for (const CommandText& command : program.commands) {
    Words names = optionNames(command);
    for (const std::string& name : optionNames(program.whole)) {
      if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
    text += "    " + command.name + ")\n  " + bashWords(names) + "      ;;\n";
  }
  text += "    *)\n  " + bashWords(optionNames(program.whole)) +
          "      ;;\n"
          "    esac\n"
          "    return\n"
          "    ;;\n"
          "  esac\n"
          "  if [ -z \"$command\" ]; then\n"
          "  " +
          bashWords(commandNames(program)) +
          "    return\n"
          "  fi\n"
          "  case $command:$count in\n" +
          bashArguments(program) +
          "  esac\n"
          "}\n"
          "complete -F _mediatransfer mediatransfer\n";
  return text;
}

// zsh

/// In single quotes, with what the specifications of _arguments take for themselves.
std::string zshText(std::string_view text, std::string_view special) {
  std::string safe;
  for (const char c : text) {
    if (c == '\'') {
      safe += "'\\''";
    } else {
      if (special.find(c) != std::string_view::npos) safe += '\\';
      safe += c;
    }
  }
  return safe;
}

std::string zshAction(const std::string& value, const Words& choices) {
  if (!choices.empty()) return "(" + joined(choices, " ") + ")";
  if (isFolder(value)) return "_files -/";
  return isFile(value) ? "_files" : " ";
}

std::string zshOptions(const CommandText& command) {
  std::string text;
  for (const OptionText& option : command.options) {
    for (const std::string& name : option.names) {
      text += "    '*" + name + (!option.value.empty() && name.starts_with("--") ? "=" : "") + "[" +
              zshText(option.description, "[]:\\") + "]";
      if (!option.value.empty()) {
        text += ":" + zshText(option.value, ":\\") + ":" + zshAction(option.value, option.choices);
      }
      text += "'\n";
    }
  }
  return text;
}

std::string zshArguments(const CommandText& command) {
  std::string text;
  for (const ArgumentText& argument : command.arguments) {
    text += std::string("      '") + (argument.isRepeated ? "*" : "") + (argument.isRequired ? ":" : "::") +
            argument.name + ":" + zshAction(argument.name, argument.choices) + "' \\\n";
  }
  return text;
}

std::string zshScript(const ProgramText& program) {
  std::string text =
      "#compdef mediatransfer\n"
      "# zsh completion for mediatransfer\n"
      "_mediatransfer() {\n"
      "  local curcontext=$curcontext state line\n"
      "  typeset -A opt_args\n"
      "  local -a shared own commands\n"
      "  shared=(\n" +
      zshOptions(program.whole) +
      "  )\n"
      "  commands=(\n";
  for (const CommandText& command : program.commands) {
    text += "    '" + command.name + ":" + zshText(command.description, ":\\") + "'\n";
  }
  text +=
      "    'help:Explain a command'\n"
      "  )\n"
      "  _arguments -C $shared ':command:->command' '*::argument:->argument' && return 0\n"
      "  if [ \"$state\" = command ]; then\n"
      "    _describe command commands\n"
      "    return\n"
      "  fi\n"
      "  [ \"$state\" = argument ] || return 1\n"
      "  case $line[1] in\n";
  for (const CommandText& command : program.commands) {
    text += "  " + command.name + ")\n    own=(\n" + zshOptions(command) +
            "    )\n    _arguments $own $shared \\\n" + zshArguments(command) + "      && return 0\n    ;;\n";
  }
  Words names = commandNames(program);
  names.pop_back();
  text += "  help)\n    _arguments ':command:(" + joined(names, " ") +
          ")' && return 0\n    ;;\n"
          "  esac\n"
          "  return 1\n"
          "}\n"
          "if [ \"$funcstack[1]\" = _mediatransfer ]; then\n"
          "  _mediatransfer \"$@\"\n"
          "else\n"
          "  compdef _mediatransfer mediatransfer\n"
          "fi\n";
  return text;
}

// fish

std::string fishText(std::string_view text) {
  std::string safe;
  for (const char c : text) {
    if (c == '\'' || c == '\\') safe += '\\';
    safe += c;
  }
  return "'" + safe + "'";
}

std::string fishCandidates(const std::string& value, const Words& choices) {
  if (!choices.empty()) return " -x -a " + fishText(joined(choices, " "));
  if (isFolder(value)) return " -x -a '(__fish_complete_directories)'";
  return isFile(value) ? " -r -F" : " -x";
}

std::string fishOptions(const CommandText& command, const std::string& start) {
  std::string text;
  for (const OptionText& option : command.options) {
    text += start;
    for (const std::string& name : option.names) {
      text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    if (!option.value.empty()) text += fishCandidates(option.value, option.choices);
    text += " -d " + fishText(option.description) + "\n";
  }
  return text;
}

std::string fishArguments(const CommandText& command) {
  std::string text;
  for (std::size_t i = 0; i < command.arguments.size(); ++i) {
    const ArgumentText& argument = command.arguments[i];
    if (argument.choices.empty() && !isFile(argument.name)) continue;
    text += "complete -c mediatransfer -n '__mediatransfer_at " + command.name + " " +
            (argument.isRepeated ? "-ge " : "-eq ") + std::to_string(i) + "'";
    text += argument.choices.empty() ? " -F" : " -a " + fishText(joined(argument.choices, " "));
    text += "\n";
  }
  return text;
}

std::string fishScript(const ProgramText& program) {
  std::string text =
      "# fish completion for mediatransfer\n"
      "function __mediatransfer_words --description 'The command and its arguments'\n"
      "    set -l expects 0\n"
      "    for word in (commandline -opc)[2..-1]\n"
      "        if test $expects -eq 1\n"
      "            set expects 0\n"
      "            continue\n"
      "        end\n"
      "        switch $word\n"
      "            case " +
      joined(valueOptions(program), " ") +
      "\n"
      "                set expects 1\n"
      "            case '-*'\n"
      "            case '*'\n"
      "                echo $word\n"
      "        end\n"
      "    end\n"
      "end\n"
      "function __mediatransfer_at --description 'Behind the command and so many arguments'\n"
      "    set -l words (__mediatransfer_words)\n"
      "    test (count $words) -gt 0; and test $words[1] = $argv[1]; and test (math (count $words) - 1) "
      "$argv[2] "
      "$argv[3]\n"
      "end\n"
      "complete -c mediatransfer -f\n";
  const std::string atFirst = "complete -c mediatransfer -n 'test (count (__mediatransfer_words)) -eq 0' -a ";
  for (const CommandText& command : program.commands) {
    text += atFirst + command.name + " -d " + fishText(command.description) + "\n";
  }
  text += atFirst + "help -d 'Explain a command'\n";
  Words names = commandNames(program);
  names.pop_back();
  text += "complete -c mediatransfer -n '__mediatransfer_at help -eq 0' -a " + fishText(joined(names, " ")) +
          "\n";
  text += fishOptions(program.whole, "complete -c mediatransfer");
  for (const CommandText& command : program.commands) {
    text += fishArguments(command);
    text +=
        fishOptions(command, "complete -c mediatransfer -n '__mediatransfer_at " + command.name + " -ge 0'");
  }
  return text;
}

}  // namespace

std::string completionScript(const ProgramText& program, std::string_view shell) {
  if (shell == "bash") return bashScript(program);
  return shell == "zsh" ? zshScript(program) : fishScript(program);
}

}  // namespace host
