#pragma once

#include "MediaEvents.h"
#include "MediaReport.h"
#include "Options.h"
#include "authorize/switchboard/IExternlMediaTransfer.h"
#include "foundation/object/RefPtr.h"

namespace host {

/// One listing or one download, from its command to its last record.
class MediaJob {
 public:
  /// Throws Failure when the library makes no transfer.
  explicit MediaJob(MediaReport& report);
  /// Ends the job, before the events that its callbacks reach.
  ~MediaJob();
  MediaJob(const MediaJob&) = delete;
  MediaJob& operator=(const MediaJob&) = delete;

  // Each runs the job and returns the exit code.
  int listAlbums(const std::string& token);
  int listFacebook(const std::string& token, const std::string& album);
  int listFlickr(const std::string& key, const std::string& secret, const std::string& tokenPair);
  int listInstagram(const std::string& token);
  /// `path` is in the system's narrow encoding.
  int download(const std::string& url, const std::string& path);

 private:
  int follow(bool endsWithError);
  [[nodiscard]] bool show(const TransferEvent& event);

  MediaReport& report_;
  MediaEvents events_;
  KBL::RefPtr<KBL::IExternlMediaTransfer> transfer_;
  bool failed_ = false;
};

}  // namespace host
