#pragma once

#include "host/MediaEvents.h"
#include "options/Options.h"
#include "report/Report.h"
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>
#include <KblUtils/RefPtr.h>

#include <string>
#include <vector>

namespace host {

/// What a listing of media is asked with; empty where its service takes none.
struct MediaRequest {
  std::string token;  ///< or a pair of tokens
  std::string album;
  std::string key;  ///< of an application
  std::string secret;
};

/// One listing or one download, from its command to its last record.
class MediaJob {
 public:
  /// Throws Failure when the library makes no transfer.
  explicit MediaJob(Report& report);
  /// Ends the job, before the events that its callbacks reach.
  ~MediaJob();
  MediaJob(const MediaJob&) = delete;
  MediaJob& operator=(const MediaJob&) = delete;

  // Each runs the job and returns the exit code.
  int listAlbums(const std::string& token);
  /// `list` gets the entries, too.
  int listMedia(const MediaService& service, const MediaRequest& request,
                std::vector<MediaEvent>* list = nullptr);
  /// `path` is in the system's narrow encoding. `keepErrors`: what comes with an error status is stored, too.
  int download(const std::string& url, const std::string& path, bool keepErrors);

 private:
  int follow(bool endsWithError);
  [[nodiscard]] bool isNews(const MediaNews& event);
  [[nodiscard]] bool show(const MediaNews& event);

  Report& report_;
  MediaEvents events_;
  KBL::RefPtr<KBL::IExternlMediaTransfer> transfer_;
  std::string what_;  ///< that is waited for
  int bytes_ = 0;
  bool failed_ = false;
  std::vector<MediaEvent>* list_ = nullptr;
};

}  // namespace host
