#pragma once

#include "options/Options.h"

#include <string>

namespace host {

/// The options of a listing with all that signs its requests.
struct MediaLogin {
  Options options;
  std::string origin;  ///< of a stored login: the servers that its token is from; empty: not known, or none
};

/// Takes the token of the options, else that of the login which the service's script has stored (for Flickr
/// with the application's key and secret), else that of the stand-in servers, where those are used. Throws
/// Failure without any of them. Before the program's `Host` is made.
[[nodiscard]] MediaLogin mediaLogin(const Options& options);

/// Throws Failure when the login is from other servers than the one that lists. Once the `Host` is made.
void requireOrigin(const MediaLogin& login);

}  // namespace host
