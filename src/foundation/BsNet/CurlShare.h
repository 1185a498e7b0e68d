#pragma once

#include <curl/curl.h>

namespace KBL {

/// Sets libcurl up, once a process; true when it can be used. Any thread.
[[nodiscard]] bool isCurlReady();

/// What the clients of the process share: resolved names and TLS sessions. Made on first use and never freed,
/// since workers may outlive the exit handlers; null when memory is short. Any thread.
[[nodiscard]] CURLSH* curlShare();

}  // namespace KBL
