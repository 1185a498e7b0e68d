#pragma once

#include "MediaEvents.h"
#include "Options.h"
#include "Report.h"

#include <memory>
#include <string>

namespace host {

/// How a listing or a download came to its end.
enum class MediaEnd { good, failed, stopped };

/// How listings and downloads are shown: as tables and a progress bar for people, or as JSON lines. Used by
/// the main thread alone.
class MediaReport {
 public:
  virtual ~MediaReport() = default;
  virtual void album(const AlbumEvent& album) = 0;
  virtual void media(const MediaEvent& media) = 0;
  virtual void download(const DownloadEvent& download) = 0;
  virtual void error(const MediaErrorEvent& error) = 0;
  /// Nothing has come for a moment.
  virtual void tick() = 0;
  /// The last call.
  virtual void end(MediaEnd end) = 0;
};

/// One line for people: what an error of a listing or a download means, and what to do next.
[[nodiscard]] std::string explainMediaError(int code, const std::string& text);

/// `report` takes the errors.
[[nodiscard]] std::unique_ptr<MediaReport> makeMediaTable(const Options& options, Report& report);
[[nodiscard]] std::unique_ptr<MediaReport> makeMediaLines(Report& report);

}  // namespace host
