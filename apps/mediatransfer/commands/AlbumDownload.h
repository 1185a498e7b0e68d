#pragma once

#include "options/Options.h"
#include "report/Events.h"
#include "report/Report.h"

#include <vector>

namespace host {

/// Throws Failure when the folder of the options takes no file. Nothing is left in there.
void checkAlbumFolder(const Options& options);

/// Fetches the entries of a list into the folder of the options, several at once, and returns the exit code.
/// What the folder has already stays as it is. With a dry run only the report hears what would be fetched.
[[nodiscard]] int downloadAlbum(const Options& options, const std::vector<MediaEvent>& list, Report& report);

}  // namespace host
