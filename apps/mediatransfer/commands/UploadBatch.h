#pragma once

#include "options/Options.h"
#include "report/Report.h"
#include <ExternlMediaTransfer/HostRecords.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// How a platform takes uploads: the session that they share, and one of them.
class UploadWay {
 public:
  virtual ~UploadWay() = default;
  /// Once, before the first upload. The exit code when none can go; throws Failure, too.
  [[nodiscard]] virtual std::optional<int> begin() = 0;
  /// One upload with the options of its file. The exit code; throws Failure, too.
  [[nodiscard]] virtual int upload(const Options& options, const KBL::hostTransferRecord& record,
                                   std::uint64_t size) = 0;
};

/// The files of the options, with the videos of a folder in its place, in the order of their names. Throws
/// Failure for a folder without a video.
[[nodiscard]] std::vector<std::string> videosOf(const std::vector<std::string>& named);

/// Uploads all files of the options, one after the other, and returns the exit code. All of them are looked
/// at before anything is sent.
[[nodiscard]] int uploadAll(const Options& options, Report& report, UploadWay& way);

}  // namespace host
