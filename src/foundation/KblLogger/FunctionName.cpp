#include "foundation/Texts.h"
#include <KblLogger/KblLogger.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace KBL {

namespace {

bool isIdentifierLetter(char letter) {
  return isLetterOrDigit(letter) || letter == '_' || letter == '~' || letter == '$' || (letter & 0x80) != 0;
}

/// Reads a function's full form from left to right and keeps the qualified name alone. What stands before the
/// name (return type, storage class, calling convention) is thrown away at each space; parameters and
/// template arguments are jumped over as a whole; a lambda ends the name of the function around it.
class FunctionNameReader {
 public:
  explicit FunctionNameReader(std::string_view text) : text_(text) {}

  std::string read() {
    while (place_ < text_.size() && !done_) step();
    if (name_.ends_with("::")) name_.resize(name_.size() - 2);
    return name_;
  }

 private:
  void step() {
    if (skipAnonymousNamespace()) return;
    const char letter = text_[place_];
    if (atLambda()) {
      done_ = true;
    } else if (letter == '(') {
      readParenthesis();
    } else if (letter == '<' || letter == '[') {
      skipBracket();
    } else if (isIdentifierLetter(letter)) {
      readIdentifier();
    } else if (startsWith("::")) {
      name_ += "::";
      place_ += 2;
    } else {
      readSeparator();
    }
  }

  [[nodiscard]] bool startsWith(std::string_view prefix) const {
    return text_.substr(place_).starts_with(prefix);
  }

  [[nodiscard]] bool atNewPart() const { return name_.empty() || name_.ends_with("::"); }

  bool skipAnonymousNamespace() {
    static constexpr std::array<std::string_view, 5> forms = {"{anonymous}", "(anonymous namespace)",
                                                              "`anonymous-namespace'",
                                                              "`anonymous namespace'", "<unnamed>"};
    for (const std::string_view form : forms) {
      if (!startsWith(form)) continue;
      place_ += form.size();
      if (startsWith("::")) place_ += 2;
      return true;
    }
    return false;
  }

  [[nodiscard]] bool atLambda() const {
    static constexpr std::array<std::string_view, 4> forms = {"<lambda", "{lambda", "(anonymous class)",
                                                              "(lambda"};
    return std::any_of(forms.begin(), forms.end(),
                       [this](std::string_view form) { return startsWith(form); });
  }

  /// Parameters, or what else stands in parentheses.
  void readParenthesis() {
    if (name_ == "decltype" || name_ == "noexcept") {
      skipBracket();
      name_.clear();
    } else if (atNewPart()) {
      ++place_;  // the outer part of a function that returns a pointer to a function
    } else {
      skipBracket();
      finishUnlessQualifiesMore();
    }
  }

  /// Behind the parameters comes the end, unless a local class or a lambda stands there.
  void finishUnlessQualifiesMore() {
    const std::size_t qualifier = text_.find("::", place_);
    const std::string_view between = qualifier == std::string_view::npos
                                         ? std::string_view("[")
                                         : text_.substr(place_, qualifier - place_);
    const auto isPlain = [](char letter) {
      return letter == ' ' || (isLetterOrDigit(letter) && !isDigit(letter));
    };
    if (!std::all_of(between.begin(), between.end(), isPlain)) {
      done_ = true;
      return;
    }
    place_ = qualifier;
  }

  /// Jumps behind the bracket that closes the one here.
  void skipBracket() {
    int depth = 0;
    for (; place_ < text_.size(); ++place_) {
      const char letter = text_[place_];
      const bool arrow = letter == '>' && place_ > 0 && text_[place_ - 1] == '-';
      if (letter == '(' || letter == '<' || letter == '[') ++depth;
      if ((letter == ')' || letter == '>' || letter == ']') && !arrow) --depth;
      if (depth == 0) break;
    }
    if (place_ < text_.size()) ++place_;
  }

  void readIdentifier() {
    const std::size_t begin = place_;
    while (place_ < text_.size() && isIdentifierLetter(text_[place_])) ++place_;
    const std::string_view word = text_.substr(begin, place_ - begin);
    if (!atNewPart()) name_.clear();
    name_ += word;
    if (word == "operator") readOperator();
  }

  /// Everything up to the parameters belongs to an operator's name, its own parentheses included.
  void readOperator() {
    while (startsWith(" ")) ++place_;
    if (startsWith("()")) {
      name_ += "()";
      place_ += 2;
      return;
    }
    if (place_ < text_.size() && isIdentifierLetter(text_[place_])) name_ += ' ';
    while (place_ < text_.size() && text_[place_] != '(') {
      const bool templateArguments = text_[place_] == '<' && isIdentifierLetter(name_.back());
      if (templateArguments && name_.find("operator ") != std::string::npos) {
        skipBracket();
      } else {
        name_ += text_[place_++];
      }
    }
    while (name_.ends_with(' ')) name_.pop_back();
  }

  /// A space or a mark of a type: what was read so far was no name.
  void readSeparator() {
    name_.clear();
    ++place_;
  }

  std::string_view text_;
  std::size_t place_ = 0;
  std::string name_;
  bool done_ = false;
};

}  // namespace

std::string qualifiedFunctionName(const char* compilerName) {
  if (compilerName == nullptr) return {};
  const std::string name = FunctionNameReader(compilerName).read();
  return name.empty() ? compilerName : name;
}

}  // namespace KBL
