#pragma once

#include <BsNet/INetworkClient.h>

namespace KBL {

/// A new client on libcurl; null when there is none to be had.
INetworkClient* makeOwnNetworkClient();

}  // namespace KBL
