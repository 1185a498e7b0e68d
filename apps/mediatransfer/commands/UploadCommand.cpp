#include "commands/Commands.h"
#include "commands/UploadJob.h"
#include "commands/Verification.h"
#include "host/Host.h"
#include "host/Interrupt.h"
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

}  // namespace

int runUpload(const Options& options, Report& report) {
  const KBL::hostTransferRecord record = uploadRecord(options);
  const std::uint64_t size = checkedFileSize(options);
  Host host(options, report, Servers::needed);
  if (const auto exit = prepareLogin(host, options, report)) return *exit;
  // The upload begins with a new token of the account server, which is stored.
  host.unlockLoginsOnceWritten();
  noteWhatIsNotSent(options, report);
  if (interrupted()) return Exit::interrupted;
  UploadJob job(host, options, report);
  return job.run(record, size);
}

}  // namespace host
