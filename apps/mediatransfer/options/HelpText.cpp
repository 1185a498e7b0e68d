#include "options/HelpText.h"

#include <algorithm>
#include <cstddef>
#include <set>

namespace host {
namespace {

constexpr std::size_t wideColumn = 30;
constexpr std::size_t narrowColumn = 6;
/// Below this many columns explanations stand under what they explain.
constexpr int narrowWidth = 64;

class HelpWriter {
 public:
  explicit HelpWriter(int width)
      : width_(static_cast<std::size_t>(std::max(width, 20))),
        column_(width < narrowWidth ? narrowColumn : wideColumn) {}

  void line(const std::string& text = {}) { text_ += text + "\n"; }

  void heading(const std::string& text) {
    line();
    line(text);
  }

  /// Words in lines that begin with blanks; the first goes on where the text is.
  void wrapped(const std::string& words, std::size_t indent, std::size_t at = 0) {
    std::string_view rest = words;
    bool isFirst = true;
    while (true) {
      rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
      if (rest.empty()) break;
      const std::string_view word = rest.substr(0, rest.find(' '));
      rest.remove_prefix(word.size());
      if (!isFirst && at + 1 + word.size() > width_) {
        text_ += "\n";
        at = 0;
        isFirst = true;
      }
      const std::size_t blanks = !isFirst ? 1 : indent > at ? indent - at : 0;
      text_ += std::string(blanks, ' ') + std::string(word);
      at += blanks + word.size();
      isFirst = false;
    }
    text_ += "\n";
  }

  void row(const std::string& name, const std::string& explanation) {
    text_ += "  " + name;
    std::size_t at = 2 + name.size();
    if (explanation.empty()) return line();
    if (at + 2 > column_) {
      line();
      at = 0;
    }
    wrapped(explanation, column_, at);
  }

  /// Lines of their own stay so.
  void notes(const std::string& text) {
    if (text.empty()) return;
    line();
    std::string_view rest = text;
    while (!rest.empty()) {
      const std::string one(rest.substr(0, rest.find('\n')));
      rest.remove_prefix(std::min(one.size() + 1, rest.size()));
      if (one.size() <= width_) {
        line(one);
      } else {
        wrapped(one, 0);
      }
    }
  }

  void examples(const CommandText& command) {
    if (command.examples.empty()) return;
    heading("Examples:");
    for (const ExampleText& example : command.examples) {
      line("  mediatransfer " + example.call);
      wrapped(example.what, narrowColumn);
    }
  }

  void usage(const CommandText& command) {
    line();
    wrapped("Usage: " + usageOf(command), 0);
  }

  void arguments(const CommandText& command) {
    if (command.arguments.empty()) return;
    heading("Arguments:");
    for (const ArgumentText& argument : command.arguments) row(usageOf(argument), argument.description);
  }

  void options(const std::string& title, const CommandText& command) {
    heading(title);
    for (const OptionText& option : command.options) {
      if (!isShown(option)) continue;
      row(synopsisOf(option), option.description);
      shown_.insert(option.names.back());
    }
  }

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  /// A command has a --help of its own, and its --version is the program's.
  [[nodiscard]] bool isShown(const OptionText& option) const {
    return !shown_.contains(option.names.back()) && (shown_.empty() || option.names.back() != "--version");
  }

  const std::size_t width_;
  const std::size_t column_;
  std::string text_;
  std::set<std::string> shown_;  ///< options
};

}  // namespace

std::string helpText(const ProgramText& program, const std::string& command, int width) {
  HelpWriter writer(width);
  const auto found = std::find_if(program.commands.begin(), program.commands.end(),
                                  [&](const CommandText& one) { return one.name == command; });
  const bool isWhole = found == program.commands.end();
  const CommandText& shown = isWhole ? program.whole : *found;
  writer.wrapped(shown.description, 0);
  writer.examples(shown);
  writer.usage(shown);
  if (isWhole) {
    writer.heading("Commands:");
    for (const CommandText& one : program.commands) writer.row(one.name, one.description);
    writer.options("Options:", program.whole);
    writer.heading("Exit codes:");
    for (const auto& [code, meaning] : exitCodes()) writer.row(std::to_string(code), meaning);
  } else {
    writer.arguments(shown);
    writer.options("Options:", shown);
    writer.notes(shown.notes);
    writer.options("Options of every command:", program.whole);
  }
  writer.notes(program.whole.notes);
  return writer.text();
}

}  // namespace host
