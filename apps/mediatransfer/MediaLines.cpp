// Listings and downloads as JSON lines.
#include "JsonLine.h"
#include "MediaReport.h"

#include <iostream>

namespace host {
namespace {

class MediaLines final : public MediaReport {
 public:
  explicit MediaLines(Report& report) : report_(report) {}

  void album(const AlbumEvent& album) override {
    write(JsonLine("album").text("id", album.id).text("name", album.name).number("more", album.more));
  }
  void media(const MediaEvent& media) override {
    write(JsonLine("media")
              .number("type", media.type)
              .text("url", media.url)
              .text("thumbnail", media.thumbnail)
              .number("more", media.more));
  }
  void download(const DownloadEvent& download) override {
    write(JsonLine("progress")
              .number("bytes", download.bytes)
              .number("total", download.total)
              .number("finished", download.finished ? 1 : 0));
  }
  void error(const MediaErrorEvent& error) override { report_.error(error.code, error.text); }
  void tick() override {}
  void end(MediaEnd) override {}

 private:
  static void write(const JsonLine& line) { std::cout << line.line() << std::flush; }

  Report& report_;
};

}  // namespace

std::unique_ptr<MediaReport> makeMediaLines(Report& report) {
  return std::make_unique<MediaLines>(report);
}

}  // namespace host
