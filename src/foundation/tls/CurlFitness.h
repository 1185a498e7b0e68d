#pragma once

namespace KBL {

/// Whether the libcurl that was loaded, which need not be the one that this was built with, can serve: it is
/// not too old, and has HTTP and HTTPS. Asked before anything else of it is called. Any thread.
[[nodiscard]] bool isCurlFit();
/// Writes the line of the log that says that it can't, and why, once a library of ours, behind the first
/// question that found so. The host's logger may do anything, so not within a stay and under no lock. Never
/// throws. Any thread.
void tellOfUnfitCurl();

}  // namespace KBL
