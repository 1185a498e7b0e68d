#pragma once

#include "host/Host.h"
#include "options/Options.h"
#include "report/Report.h"
#include <ExternlMediaTransfer/HostRecords.h>
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>
#include <KblUtils/RefPtr.h>

#include <cstdint>
#include <string>

namespace host {

/// The upload record of the options. Throws Failure for a text that its field cannot hold.
[[nodiscard]] KBL::hostTransferRecord uploadRecord(const Options& options);

/// The title that the video gets at the service: that of the options, or the file's name, cut to what the
/// platform takes.
[[nodiscard]] std::string titleFor(const Options& options);
/// True when `titleFor` had to leave something out.
[[nodiscard]] bool isTitleCut(const Options& options);

/// The size of the video in bytes. Throws Failure when the video or the thumbnail is missing or no file.
[[nodiscard]] std::uint64_t checkedFileSize(const Options& options);

/// One upload transfer, from its start to its last event. Needs the platform's manager, which `host` holds.
class UploadJob {
 public:
  /// With a `transfer` that is set up already it runs on that one; null: on a new one.
  UploadJob(Host& host, const Options& options, Report& report,
            KBL::RefPtr<KBL::IExternlMediaTransfer> transfer = nullptr);

  /// Returns the exit code. `fileSize` is for the progress display.
  int run(const KBL::hostTransferRecord& record, std::uint64_t fileSize);

 private:
  using Clock = Host::Clock;

  void dropFormer();
  void start(const KBL::hostTransferRecord& record);
  int follow();
  void tellWait();
  int stop();
  void report(const Event& event);
  void remember(const Event& event);
  [[nodiscard]] bool isOver() const;
  [[nodiscard]] bool isWhole() const;
  [[nodiscard]] bool isGivenUp(const Event& event) const;
  [[nodiscard]] Clock::time_point deadline() const;
  [[nodiscard]] std::chrono::seconds lastWordLimit() const;
  [[nodiscard]] int outcome() const;
  [[nodiscard]] int endInSilence() const;
  [[nodiscard]] int endAfterStop();

  Host& host_;
  const Options& options_;
  Report& report_;
  const bool completesAlways_;
  KBL::RefPtr<KBL::IExternlMediaTransfer> transfer_;
  enum class Last { nothing, progress, finished, error } last_ = Last::nothing;
  int finishedCount_ = 0;
  int sentPercent_ = -1;        ///< the highest before the first `finished`, which brings 100s of its own
  int newest_ = -1;             ///< the last percentage
  bool failed_ = false;         ///< the last event that told of an end was an error
  bool refusedAtOnce_ = false;  ///< the manager itself refused the upload
  bool stopping_ = false;       ///< Ctrl-C came
  bool endIsLost_ = false;      ///< a part was given up, and the upload completed without it and what follows
  std::string lastHeard_ = "nothing at all";
};

}  // namespace host
