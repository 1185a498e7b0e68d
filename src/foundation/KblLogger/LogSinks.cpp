#include "foundation/Texts.h"
#include "foundation/system/System.h"
#include <KblLogger/LogSinks.h>
#include <KblUtils/FileUtil.h>

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <utf8.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace KBL {

namespace {

constexpr const char* linePattern = "%Y-%m-%d %H:%M:%S.%e %^%-8l%$ [%t] %s:%# %! %v";

spdlog::level::level_enum levelOf(IBsLogger::Severity severity) {
  if (severity < IBsLogger::severityError) return spdlog::level::critical;
  switch (severity) {
    case IBsLogger::severityError:
      return spdlog::level::err;
    case IBsLogger::severityWarning:
      return spdlog::level::warn;
    case IBsLogger::severityInfo:
      return spdlog::level::info;
    default:
      return spdlog::level::debug;
  }
}

/// Whether a terminal takes the character for a command: controls of both blocks, what breaks a line, and the
/// marks that turn the direction of writing, with which a text can look like another one.
bool steersTerminal(char32_t letter) {
  if (letter == U'\t') return false;
  if (letter < 0x20 || (letter >= 0x7F && letter <= 0x9F)) return true;
  if (letter == 0x061C || letter == 0x200E || letter == 0x200F) return true;
  return (letter >= 0x2028 && letter <= 0x202E) || (letter >= 0x2066 && letter <= 0x2069);
}

/// Where the UTF-8 character at `place` ends; `place` itself when there is none.
std::string::const_iterator characterEnd(std::string::const_iterator place, std::string::const_iterator end) {
  const std::ptrdiff_t longest = std::min<std::ptrdiff_t>(4, end - place);
  for (std::ptrdiff_t size = 1; size <= longest; ++size) {
    if (utf8::is_valid(place, place + size)) return place + size;
  }
  return place;
}

/// One line stays one line, and nothing that a server sent steers a terminal.
std::string printableLine(const std::string& text) {
  std::string line;
  line.reserve(text.size());
  auto place = text.begin();
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(text.find_last_not_of("\r\n") + 1);
  while (place != end) {
    const auto next = characterEnd(place, end);
    if (*place == '\n') {
      line += "\\n";
      ++place;
    } else if (next != place && !steersTerminal(utf8::unchecked::peek_next(place))) {
      line.append(place, next);
      place = next;
    } else {
      // Bytes that are no character are no text either: a terminal of another coding may know them.
      const auto escapedEnd = next != place ? next : place + 1;
      for (; place != escapedEnd; ++place) {
        line += "\\x";
        writeHex(std::back_inserter(line), static_cast<unsigned char>(*place));
      }
    }
  }
  return line;
}

/// The text without the secrets that the host named.
std::string withoutTexts(std::string text, const std::vector<std::string>& secrets) {
  for (const std::string& secret : secrets) {
    std::size_t place = 0;
    while ((place = text.find(secret, place)) != std::string::npos) {
      text.replace(place, secret.size(), "***");
      place += 3;
    }
  }
  return text;
}

class SinkLogger final : public IBsLogger {
 public:
  SinkLogger(const LogSettings& settings, std::vector<spdlog::sink_ptr> sinks)
      : maxSeverity_(settings.maxSeverity), logger_("mediatransfer", sinks.begin(), sinks.end()) {
    // What is shorter stands in every other word.
    constexpr std::size_t shortestSecret = 4;
    for (const std::string& secret : settings.secrets) {
      if (secret.size() >= shortestSecret) secrets_.push_back(secret);
    }
    // Files look the same on every system.
    logger_.set_formatter(
        std::make_unique<spdlog::pattern_formatter>(linePattern, spdlog::pattern_time_type::local, "\n"));
    logger_.set_level(spdlog::level::trace);
    logger_.flush_on(spdlog::level::trace);
    // A full disk must not make a library write to its host's error stream.
    logger_.set_error_handler([](const std::string&) {});
  }

  bool testSeverity(Severity severity) override { return severity <= maxSeverity_; }

  void write(Severity severity, const char* file, int line, const char* function,
             const std::string& text) override {
    if (!testSeverity(severity)) return;
    logger_.log(spdlog::source_loc{file, line, function}, levelOf(severity),
                spdlog::string_view_t(printableLine(withoutTexts(maskSecrets(text), secrets_))));
  }

 private:
  const int maxSeverity_;
  std::vector<std::string> secrets_;
  spdlog::logger logger_;
};

static_assert(std::is_same_v<spdlog::filename_t, std::filesystem::path::string_type>,
              "on Windows spdlog has to be built with SPDLOG_WCHAR_FILENAMES");

/// The file belongs to its owner alone before the first byte is in it, after each rotation too.
void makePrivateBeforeOpening(const spdlog::filename_t& name) {
  const std::filesystem::path path(name);
  std::error_code failure;
  if (std::filesystem::exists(path, failure)) {
    std::filesystem::permissions(
        path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, failure);
  } else {
    (void)FileUtil::writePrivateFile(Path(System::utf8Text(path.u8string())), "");
  }
}

spdlog::sink_ptr makeFileSink(const LogSettings& settings) {
  const std::filesystem::path file = System::nativePath(settings.file);
  const std::filesystem::path folder = std::filesystem::absolute(file).parent_path();
  (void)FileUtil::makePrivateDirectory(Path(System::utf8Text(folder.u8string())));
  spdlog::file_event_handlers handlers;
  handlers.before_open = makePrivateBeforeOpening;
  handlers.after_open = [](const spdlog::filename_t&, std::FILE* opened) {
    FileUtil::keepFromChildren(opened);
  };
  return std::make_shared<spdlog::sinks::rotating_file_sink_mt>(file.native(), settings.maxFileBytes,
                                                                settings.keptFiles, false, handlers);
}

}  // namespace

std::shared_ptr<IBsLogger> makeLogger(const LogSettings& settings) {
  try {
    std::vector<spdlog::sink_ptr> sinks;
    if (settings.console) sinks.push_back(std::make_shared<spdlog::sinks::stderr_color_sink_mt>());
    if (!settings.file.empty()) sinks.push_back(makeFileSink(settings));
    return std::make_shared<SinkLogger>(settings, std::move(sinks));
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace KBL
