// Listings as tables and downloads with a progress bar, for people.
#include "Advice.h"
#include "MediaReport.h"
#include "Progress.h"
#include "system/Terminal.h"

#include <algorithm>
#include <iostream>
#include <optional>

namespace host {
namespace {

constexpr std::size_t idColumn = 20;
constexpr std::size_t typeColumn = 9;

/// The text, filled up to the column's width, with two blanks behind it at least.
std::string cell(const std::string& text, std::size_t width) {
  return text + std::string(std::max(width, text.size() + 2) - text.size(), ' ');
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

class MediaTable final : public MediaReport {
 public:
  MediaTable(const Options& options, Report& report)
      : options_(options), report_(report), terminal_(outputIsTerminal()) {}

  void album(const AlbumEvent& album) override {
    if (album.id.empty() && album.more == 0) return;  // the end of the list, and nothing else
    if (rows_++ == 0) std::cout << cell("ALBUM", idColumn) << "NAME\n";
    std::cout << cell(singleLine(album.id), idColumn) << singleLine(album.name) << '\n' << std::flush;
  }

  void media(const MediaEvent& media) override {
    if (media.more == 0) return;
    if (rows_++ == 0) std::cout << cell("TYPE", typeColumn) << "ADDRESS  THUMBNAIL\n";
    const std::string url = media.url.empty() ? "-" : singleLine(media.url);
    std::cout << cell(media.type == KBL::mediaVideo ? "video" : "picture", typeColumn) << url << "  "
              << singleLine(media.thumbnail) << '\n'
              << std::flush;
  }

  void download(const DownloadEvent& download) override {
    if (download.finished) {
      finishBar();
      return;
    }
    if (download.total <= 0) return;
    const int percent = static_cast<int>(static_cast<long long>(download.bytes) * 100 / download.total);
    if (!progress_) progress_.emplace(static_cast<std::uint64_t>(download.total), start_);
    progress_->advance(percent);
    show(percent);
  }

  void error(const MediaErrorEvent& error) override {
    keepBar();
    report_.trouble(explainMediaError(error.code, error.text));
  }

  void end(bool good) override {
    keepBar();
    if (!good) return;
    if (options_.command == Command::download) return report_.note("stored in " + options_.file);
    if (options_.command == Command::albums) return report_.note(counted(rows_, "album", "albums"));
    report_.note(counted(rows_, "entry", "entries"));
  }

 private:
  /// On a terminal a bar that stays on the last line; elsewhere a line every ten per cent.
  void show(int percent) {
    if (terminal_) {
      std::cout << "\r\x1b[K" << progress_->bar(Progress::Clock::now(), terminalWidth() - 1) << std::flush;
      barShown_ = true;
    } else if (lastPrinted_ < 0 || percent / 10 != lastPrinted_ / 10) {
      std::cout << progress_->line(Progress::Clock::now()) << std::endl;
      lastPrinted_ = percent;
    }
  }

  void finishBar() {
    if (!progress_) return;
    progress_->advance(100);
    if (terminal_ || lastPrinted_ < 100) show(100);
  }

  void keepBar() {
    if (barShown_) std::cout << std::endl;
    barShown_ = false;
    std::cout << std::flush;
  }

  const Options& options_;
  Report& report_;
  const bool terminal_;
  const Progress::Clock::time_point start_ = Progress::Clock::now();
  std::size_t rows_ = 0;
  std::optional<Progress> progress_;
  bool barShown_ = false;
  int lastPrinted_ = -1;
};

}  // namespace

std::string explainMediaError(int code, const std::string& text) {
  const std::string shown = singleLine(withoutSecrets(text), 240);
  const std::string figures = " (" + std::to_string(code) + (shown.empty() ? "" : ": " + shown) + "); ";
  switch (code) {
    case 1:
      return "the file cannot be written" + figures + "check the folder, its rights and the room on the disk";
    case 10:
      return "the transfer failed" + figures + "check the network, the address and those of --cloud-config";
    case 11:
      return "the service's answer cannot be read" + figures + "run the command again later";
    default:
      return "the service said no" + figures + "check --token and what was asked for";
  }
}

std::unique_ptr<MediaReport> makeMediaTable(const Options& options, Report& report) {
  return std::make_unique<MediaTable>(options, report);
}

}  // namespace host
