#include "Commands.h"
#include "Failure.h"
#include "Host.h"
#include "UploadJob.h"
#include "Verification.h"

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

}  // namespace

int runUpload(const Options& options, Report& report) {
  const KBL::hostTransferRecord record = uploadRecord(options);
  const std::uint64_t size = checkedFileSize(options);
  Host host(options, report, Servers::needed);
  if (const auto exit = prepareLogin(host, options, report)) return *exit;
  UploadJob job(host, options, report);
  return job.run(record, size);
}

}  // namespace host
