#include "options/ManPage.h"

#include <algorithm>
#include <string_view>

namespace host {
namespace {

/// Of the page's contents; to be changed with what the page says beyond the options.
constexpr const char* pageDate = "November 22, 2026";

/// A text that the macros take as it is: hyphens that can be copied, no commands, no escapes.
std::string escaped(std::string_view text) {
  std::string safe;
  for (const char c : text) {
    if (c == '\\') {
      safe += "\\e";
    } else if (c == '-') {
      safe += "\\-";
    } else if (c == '\'' && safe.empty()) {
      safe += "\\(aq";
    } else if (c == '"') {
      safe += "\\(dq";
    } else if (c == '~') {
      safe += "\\(ti";
    } else if (c == '^') {
      safe += "\\(ha";
    } else {
      safe += c;
    }
  }
  return safe.starts_with('.') ? "\\&" + safe : safe;
}

std::string bold(std::string_view text) {
  return "\\fB" + escaped(text) + "\\fR";
}

std::string italic(std::string_view text) {
  return "\\fI" + escaped(text) + "\\fR";
}

class PageWriter {
 public:
  void line(const std::string& text) { text_ += text + "\n"; }
  void section(const std::string& name) { line(".SH " + name); }

  /// Words that flow, in lines that editors show whole.
  void words(std::string_view rest) {
    constexpr std::size_t longest = 78;
    std::string text;
    while (true) {
      rest.remove_prefix(std::min(rest.find_first_not_of(" \n"), rest.size()));
      if (rest.empty()) break;
      const std::string_view word = rest.substr(0, rest.find_first_of(" \n"));
      rest.remove_prefix(word.size());
      const std::string escapedWord = escaped(word);
      if (!text.empty() && text.size() + 1 + escapedWord.size() > longest) {
        line(text);
        text.clear();
      }
      text += (text.empty() ? "" : " ") + escapedWord;
    }
    if (!text.empty()) line(text);
  }

  void row(const std::string& term, const std::string& explanation) {
    line(".TP");
    line(term);
    words(explanation);
  }

  /// Each line with columns is a row, and the others flow.
  void notes(const std::string& text) {
    std::string_view rest = text;
    bool flows = false;
    while (!rest.empty()) {
      const std::string_view one = rest.substr(0, rest.find('\n'));
      rest.remove_prefix(std::min(one.size() + 1, rest.size()));
      const std::size_t gap = one.find("   ");
      if (gap != std::string_view::npos) {
        row(bold(one.substr(0, gap)), std::string(one.substr(gap)));
      } else {
        if (!flows) line(".PP");
        words(one);
      }
      flows = gap == std::string_view::npos;
    }
  }

  void options(const CommandText& command) {
    for (const OptionText& option : command.options) {
      std::string term;
      for (const std::string& name : option.names) term += (term.empty() ? "" : ", ") + bold(name);
      if (!option.value.empty()) term += " " + italic(option.value);
      row(term, option.description);
    }
  }

  void examples(const CommandText& command) {
    for (const ExampleText& example : command.examples)
      row(bold("mediatransfer " + example.call), example.what);
  }

  void command(const CommandText& command) {
    line(".SS " + escaped(command.name));
    std::string usage = bold("mediatransfer " + command.name);
    for (const ArgumentText& argument : command.arguments) usage += " " + italic(usageOf(argument));
    line(usage + " [" + italic("OPTIONS") + "]");
    line(".PP");
    words(command.description + ".");
    for (const ArgumentText& argument : command.arguments) row(italic(argument.name), argument.description);
    options(command);
    notes(command.notes);
    if (command.examples.empty()) return;
    line(".PP");
    line("Examples:");
    examples(command);
  }

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace

std::string manPage(const ProgramText& program) {
  PageWriter page;
  page.line(std::string(".TH MEDIATRANSFER 1 \"") + pageDate + "\" \"" + program.version +
            "\" \"User Commands\"");
  page.section("NAME");
  page.line("mediatransfer \\- sign in to media platforms, upload videos, list media");
  page.section("SYNOPSIS");
  page.line(bold("mediatransfer") + " [" + italic("OPTIONS") + "] " + italic("COMMAND") + " [" +
            italic("ARGUMENTS") + "]");
  page.section("DESCRIPTION");
  page.words(program.whole.description);
  page.section("EXAMPLES");
  page.examples(program.whole);
  page.section("COMMANDS");
  for (const CommandText& command : program.commands) page.command(command);
  page.section("OPTIONS OF EVERY COMMAND");
  page.options(program.whole);
  page.section("ENVIRONMENT");
  page.words(program.whole.notes);
  page.section("EXIT STATUS");
  for (const auto& [code, meaning] : exitCodes()) page.row(bold(std::to_string(code)), meaning);
  return page.text();
}

}  // namespace host
