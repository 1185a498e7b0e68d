#pragma once

#include "Host.h"
#include "Options.h"
#include "Report.h"
#include "authorize/switchboard/IExternlMediaTransfer.h"
#include "boundary/records/HostRecords.h"
#include "foundation/object/RefPtr.h"

#include <cstdint>
#include <string>

namespace host {

/// The upload record of the options. Throws Failure for a text that its field cannot hold.
[[nodiscard]] KBL::hostTransferRecord uploadRecord(const Options& options);

/// The size of the video in bytes. Throws Failure when the video or the thumbnail is missing or no file.
[[nodiscard]] std::uint64_t checkedFileSize(const Options& options);

/// One upload transfer, from its start to its last event. Needs the platform's manager, which `host` holds.
class UploadJob {
 public:
  UploadJob(Host& host, const Options& options, Report& report);

  /// Returns the exit code. `fileSize` is for the progress display.
  int run(const KBL::hostTransferRecord& record, std::uint64_t fileSize);

 private:
  using Clock = Host::Clock;

  void start(const KBL::hostTransferRecord& record);
  int follow();
  int stop();
  void report(const Event& event);
  [[nodiscard]] bool endsUpload(const Event& event);
  [[nodiscard]] Clock::time_point deadline() const;
  [[nodiscard]] int endInSilence();

  Host& host_;
  const Options& options_;
  Report& report_;
  KBL::RefPtr<KBL::IExternlMediaTransfer> transfer_;
  int finishedCount_ = 0;
  bool failed_ = false;
  std::string lastHeard_ = "nothing at all";
};

}  // namespace host
