#include "commands/Commands.h"
#include "commands/UploadBatch.h"
#include "commands/UploadJob.h"
#include "commands/Verification.h"
#include "host/Host.h"
#include "options/Failure.h"

namespace host {
namespace {

/// Renews the token first: that finds a dead server and a missing login at once, where the upload itself
/// would end without a word, and it starts the background refresh that a long upload needs.
std::optional<int> prepareLogin(Host& host, const Options& options, Report& report) {
  switch (verifyLogin(host, options, report)) {
    case Verification::good:
    case Verification::notRenewed:  // another process may have spent the refresh token; the access token
                                    // stays good
      return std::nullopt;
    case Verification::interrupted:
      return Exit::interrupted;
    case Verification::failed:
      break;
  }
  return Exit::refused;
}

/// Says which of the options the platform's service has no place for.
void noteWhatIsNotSent(const Options& options, Report& report) {
  if (options.platform->native->unsent == NativeUpload::Unsent::categoryAndThumbnail) {
    if (!options.category.empty() || !options.thumbnail.empty())
      report.note(std::string(options.platform->name) +
                  " takes no --category and no --thumbnail here: they are not sent");
    return;
  }
  const bool described = !(options.title.empty() && options.description.empty() && options.tags.empty() &&
                           options.category.empty() && options.privacy.empty() && options.thumbnail.empty());
  if (described) {
    report.note(std::string(options.platform->name) +
                " takes the video alone: its title and the like are not sent");
  }
}

/// Uploads through the platform's manager, which all of them share.
class NativeUploads final : public UploadWay {
 public:
  NativeUploads(const Options& options, Report& report) : options_(options), report_(report) {}

  std::optional<int> begin() override {
    host_.emplace(options_, report_, Servers::needed);
    if (const auto exit = prepareLogin(*host_, options_, report_)) return exit;
    noteWhatIsNotSent(options_, report_);
    return std::nullopt;
  }

  int upload(const Options& options, const KBL::hostTransferRecord& record, std::uint64_t size) override {
    if (const auto exit = holdLogins()) return *exit;
    // The upload begins with a new token of the account server, which is stored.
    host_->unlockLoginsOnceWritten();
    isFirst_ = false;
    UploadJob job(*host_, options, report_);
    return job.run(record, size);
  }

 private:
  /// For all but the first the lock was let go of, and another command may have renewed the login meanwhile;
  /// the manager would write over it what it has read before.
  std::optional<int> holdLogins() {
    if (isFirst_) return std::nullopt;
    host_->lockLogins();
    if (!host_->loginsAreKept()) return std::nullopt;
    host_.reset();
    return begin();
  }

  const Options& options_;
  Report& report_;
  std::optional<Host> host_;
  bool isFirst_ = true;
};

}  // namespace

int runUpload(const Options& options, Report& report) {
  NativeUploads way(options, report);
  return uploadAll(options, report, way);
}

}  // namespace host
