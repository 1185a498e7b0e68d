#include "foundation/Texts.h"
#include <KblLogger/LogSinks.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace KBL {

namespace {

constexpr std::string_view mask = "***";

constexpr std::string_view numberBegins = "-0123456789";
constexpr std::string_view numberLetters = "+-.0123456789eE";

/// What ends a value that stands bare in a text.
constexpr std::string_view bareEnds = " \t\r\n\"'\\,;<>&";

/// What the stored logins of the script package begin with, in front of a full stop.
constexpr std::string_view scriptLogin = "mt1";

bool isNameLetter(char letter) {
  return isLetterOrDigit(letter) || letter == '_' || letter == '-';
}

bool isCode(const std::string& name) {
  static constexpr std::array<std::string_view, 5> codes = {"code", "auth_code", "authorization_code",
                                                            "device_code", "user_code"};
  return std::find(codes.begin(), codes.end(), name) != codes.end();
}

bool isSecretName(const std::string& name) {
  return isCode(name) || name.ends_with("token") || name.ends_with("secret") || name == "open_id" ||
         name.ends_with("verifier") || name == "password" || name == "bearer" || name == "upload_id";
}

/// A status code is no secret, and one has to see it.
bool isShortNumber(std::string_view value) {
  constexpr std::size_t longestStatus = 8;
  value = value.substr(0, value.find_last_not_of(",.:)]}") + 1);
  return value.size() <= longestStatus && std::all_of(value.begin(), value.end(), [](char letter) {
           return letter == '-' || isDigit(letter);
         });
}

/// The form that the library's own masking gives: stars in place of the middle third.
bool isMasked(std::string_view value) {
  const std::size_t third = value.size() / 3;
  return third > 0 && value.substr(third, third).find_first_not_of('*') == std::string_view::npos;
}

/// Copies a text from left to right and puts the mask in place of what follows a telling name.
class SecretMasker {
 public:
  explicit SecretMasker(std::string_view text) : text_(text) { out_.reserve(text.size()); }

  std::string run() {
    while (place_ < text_.size()) {
      if (atEscape()) {
        copy(3);
      } else if (text_[place_] == ':' && startsWith("://")) {
        copy(3);
        maskUserInfo();
      } else if (isNameLetter(text_[place_])) {
        readName();
      } else {
        copy(1);
      }
    }
    return std::move(out_);
  }

 private:
  /// "%3D" and the like: the letters in it belong to no name.
  [[nodiscard]] bool atEscape() const {
    return text_[place_] == '%' && place_ + 2 < text_.size() && hexValue(text_[place_ + 1]) >= 0 &&
           hexValue(text_[place_ + 2]) >= 0;
  }

  [[nodiscard]] bool startsWith(std::string_view lower) const {
    return readsLike(text_.substr(place_, lower.size()), lower);
  }

  void copy(std::size_t count) {
    out_ += text_.substr(place_, count);
    place_ += std::min(count, text_.size() - place_);
  }

  /// Copies the letters of `set`; true when there was one.
  bool copyAnyOf(std::string_view set) {
    const std::size_t end = std::min(text_.find_first_not_of(set, place_), text_.size());
    const bool some = end > place_;
    copy(end - place_);
    return some;
  }

  void readName() {
    std::size_t end = place_;
    while (end < text_.size() && isNameLetter(text_[end])) ++end;
    const std::string name = lowerCase(text_.substr(place_, end - place_));
    copy(end - place_);
    if (name == scriptLogin && startsWith(".")) {
      copy(1);
      maskValue(bareEnds, false);
    } else if (name.ends_with("authorization")) {
      maskCredentials();
    } else if (name == "bearer" && copyAnyOf(" +")) {
      maskValue(bareEnds, false);
    } else if (isSecretName(name)) {
      maskParameter(isCode(name)) || maskMember(isCode(name)) || maskField(name);
    }
  }

  /// "Authorization: Basic ..." and every other scheme; a bearer is left to its own rule.
  void maskCredentials() {
    copyAnyOf("\\\"'");
    if (!copyAnyOf(":=")) return;
    copyAnyOf(" \\\"'");
    if (!startsWith("bearer")) maskValue("\r\n\"'\\", false);
  }

  /// "name=value", also percent-encoded inside another parameter.
  bool maskParameter(bool numbersStay) {
    constexpr std::string_view encodedEquals = "%3d";
    if (startsWith("=")) {
      copy(1);
      maskValue("& \t\r\n\"'<>;#\\", numbersStay);
      return true;
    }
    if (!startsWith(encodedEquals)) return false;
    copy(encodedEquals.size());
    maskValue("&% \t\r\n\"'<>;#\\", numbersStay);
    return true;
  }

  /// "user:password@" in front of an address's host.
  void maskUserInfo() {
    const std::size_t end = std::min(text_.find_first_of("/?#<> \t\r\n\"'\\", place_), text_.size());
    const std::size_t at = text_.substr(place_, end - place_).rfind('@');
    if (at != std::string_view::npos) maskUpTo(place_ + at, false);
  }

  /// "Name: value", as headers are quoted. A short number stays behind a name that may be a word of a
  /// sentence, since that is a count or a code.
  bool maskField(const std::string& name) {
    if (name == "code" || !startsWith(":") || startsWith("::")) return false;
    copy(1);
    copyAnyOf(" \t");
    maskValue(bareEnds, name.find('-') == std::string::npos);
    return true;
  }

  /// "name": "value", "name": 5 or "name": ["value", 5], also inside a text that is quoted itself, where the
  /// quotes carry backslashes.
  bool maskMember(bool numbersStay) {
    const std::size_t start = place_;
    const std::size_t startOut = out_.size();
    copyAnyOf("\\");
    const bool quoted = copyAnyOf("\"'");
    copyAnyOf(" \t\r\n");
    const bool colon = quoted && copyAnyOf(":");
    if (!colon) return goBackTo(start, startOut);
    copyAnyOf(" \t\r\n");
    if (!copyAnyOf("[")) return maskScalar(numbersStay) || goBackTo(start, startOut);
    copyAnyOf(" \t\r\n");
    while (maskScalar(numbersStay)) copyAnyOf(", \t\r\n[");
    return true;
  }

  bool goBackTo(std::size_t place, std::size_t outSize) {
    place_ = place;
    out_.resize(outSize);
    return false;
  }

  /// A quoted text up to its closing quote, or a number.
  bool maskScalar(bool numbersStay) {
    if (place_ < text_.size() && numberBegins.find(text_[place_]) != std::string_view::npos) {
      maskUpTo(std::min(text_.find_first_not_of(numberLetters, place_), text_.size()), numbersStay);
      return true;
    }
    const std::size_t start = place_;
    const std::size_t startOut = out_.size();
    copyAnyOf("\\");
    const std::size_t backslashes = place_ - start;
    if (place_ >= text_.size() || (text_[place_] != '"' && text_[place_] != '\'')) {
      return goBackTo(start, startOut);
    }
    const char quote = text_[place_];
    copy(1);
    maskUpTo(closingQuote(quote, backslashes), numbersStay);
    copy(backslashes + 1);
    return true;
  }

  /// The quote, or the backslashes before it, that ends a text whose opening quote carried `backslashes`.
  /// More of them make the quote part of the text, unless they are whole escaped backslashes.
  [[nodiscard]] std::size_t closingQuote(char quote, std::size_t backslashes) const {
    std::size_t run = 0;
    for (std::size_t place = place_; place < text_.size(); ++place) {
      if (text_[place] == '\\') {
        ++run;
        continue;
      }
      const bool closes = run >= backslashes && (run - backslashes) % (2 * (backslashes + 1)) == 0;
      if (text_[place] == quote && closes) return place - backslashes;
      run = 0;
    }
    return text_.size();
  }

  /// Masks up to the first of `ends` or the end of the text.
  void maskValue(std::string_view ends, bool numbersStay) {
    maskUpTo(std::min(text_.find_first_of(ends, place_), text_.size()), numbersStay);
  }

  void maskUpTo(std::size_t end, bool numbersStay) {
    const std::string_view value = text_.substr(place_, end - place_);
    const bool stays = value.empty() || isMasked(value) || (numbersStay && isShortNumber(value));
    out_ += stays ? value : mask;
    place_ = end;
  }

  std::string_view text_;
  std::size_t place_ = 0;
  std::string out_;
};

}  // namespace

std::string maskSecrets(const std::string& text) {
  return SecretMasker(text).run();
}

}  // namespace KBL
