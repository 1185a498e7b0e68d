#pragma once

#include <BsNet/INetworkClient.h>

#include <cstddef>
#include <functional>
#include <string>

namespace KBL {

/// Makes a network client, or null when it cannot; the caller deletes it.
using NetworkClientFactory = std::function<INetworkClient*()>;

/// Replaces the source of network clients of the process; an empty function restores the client on libcurl.
/// Clients that exist are not touched. Any thread.
KBL_BSNET_API void setNetworkClientFactory(NetworkClientFactory factory);

/// A new client from the installed factory; null when it made none.
KBL_BSNET_API INetworkClient* makeNetworkClient();

/// Settings of the reference client, taken by clients made afterwards; any thread. Certificates are always
/// verified.
struct NetSettings {
  /// UTF-8 path of a PEM file with a further certificate authority; empty: none. A pipe is not read.
  std::string extraCaFile;
  std::size_t maxReplyBytes =
      64U << 20;  ///< limit of a decoded reply body in memory; past it the exchange fails
  int connectTimeoutMs = 30000;
};
KBL_BSNET_API void setNetSettings(const NetSettings& settings);
[[nodiscard]] KBL_BSNET_API NetSettings netSettings();

}  // namespace KBL
