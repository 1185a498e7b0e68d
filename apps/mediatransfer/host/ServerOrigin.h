#pragma once

#include "options/Platforms.h"

#include <string>

namespace host {

// Which server a login belongs to: "https://host:port" in small letters, without the scheme's own port. Of
// several servers, all of them, sorted, with blanks between.

/// Empty for an address that is not http or https.
[[nodiscard]] std::string originOf(const std::string& url);

/// The account server of the cloud configuration that is set; empty when that names none.
[[nodiscard]] std::string accountServerOrigin();

/// The services that the platform's script asks: those of the file that MEDIATRANSFER_SERVICES names, and
/// "public" for those that it leaves as they are. Throws Failure when the file cannot be used.
[[nodiscard]] std::string scriptServicesOrigin(const Platform& platform);

/// The server that lists the service's media, as origins of scripted logins name it.
[[nodiscard]] std::string mediaServiceOrigin(const MediaService& service);

}  // namespace host
