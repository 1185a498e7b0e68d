#include "foundation/KblLogger/LogSinks.h"

#include "foundation/KblUtils/FileUtil.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace KBL {

namespace {

constexpr const char* linePattern = "%Y-%m-%d %H:%M:%S.%e %^%-8l%$ [%t] %s:%# %! %v";

spdlog::level::level_enum levelOf(IBsLogger::Severity severity) {
  if (severity < IBsLogger::error) return spdlog::level::critical;
  switch (severity) {
    case IBsLogger::error:
      return spdlog::level::err;
    case IBsLogger::warning:
      return spdlog::level::warn;
    case IBsLogger::info:
      return spdlog::level::info;
    default:
      return spdlog::level::debug;
  }
}

/// One line stays one line, and nothing that a server sent steers a terminal.
std::string printableLine(const std::string& text) {
  constexpr char digits[] = "0123456789abcdef";
  std::string line;
  line.reserve(text.size());
  const std::size_t end = text.find_last_not_of("\r\n");
  for (std::size_t place = 0; end != std::string::npos && place <= end; ++place) {
    const auto letter = static_cast<unsigned char>(text[place]);
    if (letter == '\n') {
      line += "\\n";
    } else if (letter == '\t' || (letter >= 0x20 && letter != 0x7F)) {
      line += text[place];
    } else {
      line += "\\x";
      line += digits[letter >> 4];
      line += digits[letter & 0x0F];
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

std::filesystem::path pathOf(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

static_assert(std::is_same_v<spdlog::filename_t, std::filesystem::path::string_type>,
              "on Windows spdlog has to be built with SPDLOG_WCHAR_FILENAMES");

/// The file belongs to its owner alone before the first byte is in it, after each rotation too.
void makePrivateBeforeOpening(const spdlog::filename_t& name) {
  const std::filesystem::path path(name);
  const std::u8string text = path.u8string();
  std::error_code failure;
  if (std::filesystem::exists(path, failure)) {
    std::filesystem::permissions(
        path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, failure);
  } else {
    (void)FileUtil::writePrivateFile(Path(std::string(text.begin(), text.end())), "");
  }
}

spdlog::sink_ptr makeFileSink(const LogSettings& settings) {
  const std::u8string folder = std::filesystem::absolute(pathOf(settings.file)).parent_path().u8string();
  (void)FileUtil::makePrivateDirectory(Path(std::string(folder.begin(), folder.end())));
  spdlog::file_event_handlers handlers;
  handlers.before_open = makePrivateBeforeOpening;
  return std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
      pathOf(settings.file).native(), settings.maxFileBytes, settings.keptFiles, false, handlers);
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
