#pragma once

#include "MediaEvents.h"
#include "Options.h"
#include "Report.h"

#include <memory>
#include <string>

namespace host {

/// How listings and downloads are shown: as tables and a progress bar for people, or as JSON lines. Used by
/// the main thread alone.
class MediaReport {
 public:
  virtual ~MediaReport() = default;
  virtual void album(const AlbumEvent& album) = 0;
  virtual void media(const MediaEvent& media) = 0;
  virtual void download(const DownloadEvent& download) = 0;
  virtual void error(const MediaErrorEvent& error) = 0;
  /// The last call; `good` when the job came to its end.
  virtual void end(bool good) = 0;
};

/// One line for people: what an error of a listing or a download means, and what to do next.
[[nodiscard]] std::string explainMediaError(int code, const std::string& text);

/// `report` takes the errors.
[[nodiscard]] std::unique_ptr<MediaReport> makeMediaTable(const Options& options, Report& report);
[[nodiscard]] std::unique_ptr<MediaReport> makeMediaLines(Report& report);

}  // namespace host
