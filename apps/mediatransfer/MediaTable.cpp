// Listings as tables and downloads with a progress bar, for people.
#include "Advice.h"
#include "MediaMeter.h"
#include "MediaReport.h"

#include <algorithm>
#include <iostream>
#include <limits>

namespace host {
namespace {

constexpr std::size_t idColumn = 20;
constexpr std::size_t typeColumn = 9;

// Codes of the library's own errors.
constexpr int localFile = 1;
constexpr int fetchFailed = 10;
constexpr int unusableReply = 11;

constexpr const char* tooLarge =
    "the file has 2 GiB or more, which no download takes (10); fetch it with another program";

/// The text, filled up to the column's width, with two blanks behind it at least.
std::string cell(const std::string& text, std::size_t width) {
  return text + std::string(std::max(width, text.size() + 2) - text.size(), ' ');
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

class MediaTable final : public MediaReport {
 public:
  MediaTable(const Options& options, Report& report) : options_(options), report_(report) {}

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
    totalBytes_ = download.total;
    meter_.show(download);
  }

  void tick() override { meter_.tick(); }

  void error(const MediaErrorEvent& error) override {
    meter_.close();
    report_.trouble(isTooLarge(error) ? tooLarge : explainMediaError(error.code, error.text));
  }

  void end(MediaEnd end) override {
    meter_.close();
    std::cout << std::flush;
    if (end == MediaEnd::stopped) return report_.note("stopped");
    if (end == MediaEnd::failed) return;
    if (options_.command == Command::download) return report_.note("stored in " + options_.file);
    if (options_.command == Command::albums) return report_.note(counted(rows_, "album", "albums"));
    report_.note(counted(rows_, "entry", "entries"));
  }

 private:
  /// The library's own text speaks of a write that failed, which nobody would take for a limit.
  [[nodiscard]] bool isTooLarge(const MediaErrorEvent& error) const {
    return error.code == fetchFailed && totalBytes_ == std::numeric_limits<std::int32_t>::max();
  }

  const Options& options_;
  Report& report_;
  MediaMeter meter_;
  std::size_t rows_ = 0;
  int totalBytes_ = 0;
};

}  // namespace

std::string explainMediaError(int code, const std::string& text) {
  const std::string shown = singleLine(withoutSecrets(text), 240);
  const std::string figures = " (" + std::to_string(code) + (shown.empty() ? "" : ": " + shown) + "); ";
  switch (code) {
    case localFile:
      return "the file cannot be written" + figures + "check the folder, its rights and the room on the disk";
    case fetchFailed:
      return "the transfer failed" + figures + "check the network, the address and those of --cloud-config";
    case unusableReply:
      return "the service's answer cannot be read" + figures + "run the command again later";
    default:
      return "the service said no" + figures + "check --token and what was asked for";
  }
}

std::unique_ptr<MediaReport> makeMediaTable(const Options& options, Report& report) {
  return std::make_unique<MediaTable>(options, report);
}

}  // namespace host
