#include "report/Advice.h"

#include "options/Secrets.h"
#include <BsNet/NetReply.h>
#include <ExternlMediaTransfer/DownloadRecords.h>
#include <KblLogger/LogSinks.h>
#include <KblUtils/Result.h>

#include <utf8.h>

#include <array>
#include <charconv>
#include <iterator>

namespace host {
namespace {

constexpr const char* tooLarge =
    "the file has 2 GiB or more, which no download takes (10); fetch it with another program";

std::string signInAgain(std::string_view platform, std::string_view program) {
  return "sign in with: " + std::string(program) + " login " +
         (platform.empty() ? "PLATFORM" : std::string(platform));
}

std::string seeWho(std::string_view platform, std::string_view program) {
  return "see who is with: " + std::string(program) + " whoami " +
         (platform.empty() ? "PLATFORM" : std::string(platform));
}

bool isTransportFailure(int code) {
  return code > KBL::transportErrorBase && code < KBL::transportErrorBase + 1000;
}

/// One code, many causes: the library's text tells which.
struct InvalidParameter {
  std::string_view text;
  std::string_view meaning;
  std::string_view nextStep;  ///< empty: to sign in again, or to see who is signed in
};
constexpr std::string_view noSuchUser = "empty data";
constexpr std::array<InvalidParameter, 5> invalidParameters{{
    {"no uploader", "the stored login is of no platform that the library uploads to", ""},
    {noSuchUser, "no such user is signed in", ""},
    {"account uid", "the stored login lacks the account id", ""},
    {"refresh token", "the stored login cannot be renewed", ""},
    {"param invalid", "something that the service needs is missing",
     "check --app-secret (or MEDIATRANSFER_APP_SECRET)"},
}};

const InvalidParameter& invalidParameter(const std::string& text) {
  for (const InvalidParameter& known : invalidParameters) {
    if (text.find(known.text) != std::string::npos) return known;
  }
  return invalidParameters.back();
}

/// TikTok's and Douyin's own codes for a token that they no longer take.
constexpr int tokenUnknownThere = 2190002;
constexpr int tokenExpiredThere = 2190008;

/// libcurl's code for a setting that cannot be sent, such as a header with a line break in it.
constexpr int notSendable = KBL::transportErrorBase + 43;

/// What the library says of a user who is not in a cache that has others.
bool isUnknownUser(int code, const std::string& text) {
  return code == KBL::ErrorCode::noUsableData && text.find("uuid empty data") != std::string::npos;
}

constexpr const char* checkSecret = "check --app-secret (or MEDIATRANSFER_APP_SECRET)";
constexpr const char* giveAnother = "give another file";
// Two steps whose words are not fixed.
constexpr const char* toSignIn = nullptr;
constexpr const char* toLook = "";

/// A code with what it means, what to do, and whose trouble it is.
struct KnownError {
  int code;
  const char* meaning;
  const char* nextStep;
  Cause cause;
};
constexpr const char* unusable = "the file cannot be uploaded";
constexpr const char* refused = "the service refused";
constexpr std::array<KnownError, 18> knownErrors{{
    {KBL::ErrorCode::urlInvalid, "the cloud configuration has no usable address for this service",
     "check the addresses of --cloud-config", Cause::call},
    {KBL::ErrorCode::loginTimeout, "nobody finished the login in the browser in time",
     "run the command again, --timeout SECONDS gives more time", Cause::login},
    {KBL::ErrorCode::userCancelled, "the service kept refusing, or the upload was stopped", toLook,
     Cause::refused},
    {KBL::ErrorCode::noUsableData, "nobody is signed in", toSignIn, Cause::login},
    {KBL::ErrorCode::tokenExpired, "the stored login has expired", toSignIn, Cause::login},
    {KBL::ErrorCode::tokenMissing, "there is no access token", toSignIn, Cause::login},
    {KBL::ErrorCode::replyNotRead, "the server's answer cannot be read", toLook, Cause::refused},
    {KBL::ErrorCode::fileNotExist, unusable, giveAnother, Cause::file},
    {KBL::ErrorCode::fileOpenFailed, unusable, giveAnother, Cause::file},
    {KBL::ErrorCode::fileEmpty, unusable, giveAnother, Cause::file},
    {KBL::ErrorCode::fileTooLarge, "the file is too large for the platform",
     "give a shorter or smaller video", Cause::file},
    {KBL::ErrorCode::idNotFound, "the server's last answer does not name the video", toLook, Cause::refused},
    {KBL::ErrorCode::triesExhausted, "the service kept refusing", toLook, Cause::refused},
    {KBL::ErrorCode::partReadFailed, "the file could not be read to its end", "check the file and its disk",
     Cause::file},
    {tokenUnknownThere, refused, toSignIn, Cause::login},
    {tokenExpiredThere, refused, toSignIn, Cause::login},
    {401, refused, toSignIn, Cause::login},
    {403, refused, toSignIn, Cause::login},
}};
constexpr KnownError notSent{notSendable, "what was given cannot be sent", checkSecret, Cause::call};
constexpr KnownError notReached{0, "the server cannot be reached",
                                "check the network, --proxy and the addresses of --cloud-config",
                                Cause::network};
constexpr KnownError unknownError{0, "the service said no", toLook, Cause::refused};

const KnownError& knownError(int code) {
  if (code == notSendable) return notSent;
  if (isTransportFailure(code)) return notReached;
  for (const KnownError& known : knownErrors) {
    if (known.code == code) return known;
  }
  return unknownError;
}

std::string meaningOf(int code, const std::string& text) {
  if (code == KBL::ErrorCode::paramInvalid) return std::string(invalidParameter(text).meaning);
  if (isUnknownUser(code, text)) return "no such user is signed in";
  const KnownError& known = knownError(code);
  if (&known == &unknownError && code >= 400 && code < 600) {
    return "the server answered with status " + std::to_string(code);
  }
  return known.meaning;
}

std::string nextStepForParameter(const InvalidParameter& known, std::string_view platform,
                                 std::string_view program) {
  if (known.text == noSuchUser) return seeWho(platform, program);
  return known.nextStep.empty() ? signInAgain(platform, program) : std::string(known.nextStep);
}

std::string nextStep(int code, const std::string& text, std::string_view platform, std::string_view program) {
  if (code == KBL::ErrorCode::paramInvalid) {
    return nextStepForParameter(invalidParameter(text), platform, program);
  }
  if (isUnknownUser(code, text)) return seeWho(platform, program);
  const char* const step = knownError(code).nextStep;
  if (step == toSignIn) return signInAgain(platform, program);
  if (*step != '\0') return step;
  return text.find("app_secret") != std::string::npos ? checkSecret : "run again with -v to see the exchange";
}

/// Whether a terminal takes the character for a command: controls of both blocks, and the marks that turn the
/// direction of writing, with which a text can look like another one.
bool steersTerminal(char32_t letter) {
  if (letter < 0x20 || (letter >= 0x7F && letter <= 0x9F)) return true;
  if (letter == 0x061C || letter == 0x200E || letter == 0x200F) return true;
  return (letter >= 0x2028 && letter <= 0x202E) || (letter >= 0x2066 && letter <= 0x2069);
}

std::string withoutSteering(const std::string& text) {
  const std::string readable = utf8::replace_invalid(text);
  std::string line;
  for (auto place = readable.begin(); place != readable.end();) {
    const auto letter = static_cast<char32_t>(utf8::next(place, readable.end()));
    utf8::append(steersTerminal(letter) ? U' ' : letter, std::back_inserter(line));
  }
  return line;
}

/// " (code: text)", as much of it as there is.
std::string detailOf(int code, const std::string& text) {
  const std::string shown = singleLine(withoutSecrets(text), 240);
  // Scripts give a text alone.
  std::string reason = code == 0 ? std::string() : std::to_string(code);
  if (!shown.empty()) reason += (reason.empty() ? "" : ": ") + shown;
  return reason.empty() ? std::string() : " (" + reason + ")";
}

/// Without settings, what the options hold was given.
SettingValue settingOf(const Options& options, std::string_view key, const std::string& value) {
  for (const SettingValue& one : options.settings) {
    if (one.key == key) return one;
  }
  return {key, value, value.empty() ? SettingSource::nowhere : SettingSource::commandLine, {}};
}

std::string profileOption(const Options& options) {
  const SettingValue given = settingOf(options, "profile", options.profile);
  const std::string ambient = given.value == usualProfile ? std::string() : given.value;
  const bool isGiven = given.source == SettingSource::commandLine && !given.value.empty();
  if (!isGiven && options.profile == ambient) return {};
  return "--profile " + (options.profile.empty() ? usualProfile : options.profile);
}

std::string sandboxOption(const Options& options) {
  const SettingValue given = settingOf(options, "sandbox", options.sandbox ? "true" : "");
  if (given.source != SettingSource::commandLine) return {};
  return options.sandbox ? "--sandbox" : given.value == "false" ? "--sandbox=false" : "";
}

/// What of these the next call needs as well, as it was given; the environment and the files are there still.
std::string givenOption(const Options& options, const Setting& setting) {
  struct Text {
    std::string_view key;
    const std::string& value;
  };
  const std::string consent = options.consentAsk ? "ask" : "";
  const std::array<Text, 8> texts{{{"consent", consent},
                                   {"cloud-config", options.cloudConfigFile},
                                   {"cache-dir", options.cacheDir},
                                   {"proxy", options.proxy},
                                   {"app-id", options.appId},
                                   {"app-secret", options.appSecret},
                                   {"app-redirect", options.appRedirect},
                                   {"python-home", options.pythonHome}}};
  if (setting.key == "profile") return profileOption(options);
  if (setting.key == "sandbox") return sandboxOption(options);
  for (const Text& text : texts) {
    if (text.key != setting.key || text.value.empty()) continue;
    SettingValue given = settingOf(options, text.key, text.value);
    if (given.source != SettingSource::commandLine) return {};
    // No secret is printed, not even to whoever gave it: a word stands where it has to be filled in.
    given.value = shownValue(given);
    if (const std::size_t mask = given.value.find("***"); mask != std::string::npos) {
      given.value.replace(mask, 3, "SECRET");
    }
    return "--" + std::string(text.key) + " " + shellWord(given.value);
  }
  return {};
}

}  // namespace

std::string shellWord(const std::string& text) {
  constexpr std::string_view plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./:,+@%=";
  if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
  std::string word = "'";
  for (const char c : text) {
    if (c == '\'') {
      word += "'\\''";
    } else {
      word += c;
    }
  }
  return word + "'";
}

std::string nextCall(const Options& options) {
  std::string call = "mediatransfer";
  for (const Setting& setting : allSettings) {
    const std::string word = givenOption(options, setting);
    if (!word.empty()) call += " " + word;
  }
  return call;
}

std::string platformAndWay(const Options& options) {
  if (options.platform == nullptr) return {};
  return std::string(options.platform->name) + (options.script    ? " --script"
                                                : options.manager ? " --manager"
                                                                  : "");
}

std::string signInCall(const Options& options) {
  return nextCall(options) + " login " + platformAndWay(options);
}

std::string whoCall(const Options& options) {
  return nextCall(options) + " whoami " + platformAndWay(options);
}

std::string explainError(int code, const std::string& text, std::string_view platform,
                         std::string_view program) {
  return meaningOf(code, text) + detailOf(code, text) + "; " + nextStep(code, text, platform, program);
}

std::string explainNotRenewed(int code, const std::string& text, std::string_view platform, bool goesOn,
                              std::string_view program) {
  const bool isPassing = code >= 500 && code < 600;
  const std::string step = goesOn      ? "going on with the stored token"
                           : isPassing ? "run the command again later"
                                       : signInAgain(platform, program);
  return "the account server does not renew the login" + detailOf(code, text) + "; " + step;
}

std::string explainRefusedLogin(const std::string& text, std::string_view platform,
                                std::string_view program) {
  const std::string shown = singleLine(withoutSecrets(text), 240);
  return "the stored login is not good any more" + (shown.empty() ? "" : " (" + shown + ")") + "; " +
         signInAgain(platform, program);
}

std::string explainMediaError(int code, const std::string& text, bool isTooLarge) {
  if (isTooLarge && code == KBL::MediaError::fetchFailed) return tooLarge;
  const std::string shown = singleLine(withoutSecrets(text), 240);
  const std::string figures = " (" + std::to_string(code) + (shown.empty() ? "" : ": " + shown) + "); ";
  if (code == KBL::MediaError::fetchFailed && text.starts_with("HTTP status ")) {
    return "the server gives no such file" + figures +
           "check the address; --keep-errors stores what the server says";
  }
  switch (code) {
    case KBL::MediaError::localFile:
      return "the file cannot be written" + figures + "check the folder, its rights and the room on the disk";
    case KBL::MediaError::fetchFailed:
      return "the transfer failed" + figures + "check the network, the address and those of --cloud-config";
    case KBL::MediaError::unusableReply:
      return "the service's answer cannot be read" + figures + "run the command again later";
    default:
      return "the service said no" + figures + "check the login (or --token) and what was asked for";
  }
}

UploadErrorText splitUploadError(const std::string& text) {
  UploadErrorText split{0, text};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), split.code);
  if (error != std::errc() || end == text.data() + text.size() || *end != ',') return {0, text};
  split.message = std::string(end + 1, text.data() + text.size());
  return split;
}

std::string withoutSecrets(const std::string& text) {
  return withoutGivenSecrets(KBL::maskSecrets(text));
}

std::string singleLine(const std::string& text, std::size_t limit) {
  std::string line = withoutSteering(text);
  const bool isLonger = line.size() > limit;
  if (isLonger) {
    std::size_t length = limit;
    while (length > 0 && (static_cast<unsigned char>(line[length]) & 0xC0U) == 0x80U) --length;
    line.resize(length);
  }
  while (line.ends_with(' ')) line.pop_back();
  return isLonger ? line + "..." : line;
}

Cause causeOfError(int code, const std::string& text) {
  if (code == KBL::ErrorCode::paramInvalid) {
    return invalidParameter(text).nextStep.empty() ? Cause::login : Cause::call;
  }
  return knownError(code).cause;
}

Cause causeOfMediaError(int code, const std::string& text) {
  switch (code) {
    case KBL::MediaError::localFile:
      return Cause::file;
    case KBL::MediaError::fetchFailed:
      return text.starts_with("HTTP status ") ? Cause::refused : Cause::network;
    default:
      return Cause::refused;
  }
}

Cause causeOfUploadError(int value, const std::string& text) {
  // Only an invalid token comes without a value.
  if (value == 0) return Cause::login;
  const UploadErrorText split = splitUploadError(text);
  return causeOfError(split.code, split.message);
}

}  // namespace host
