#pragma once

#include "sandbox/system/SocketCalls.h"
#include "support/Sockets.h"

// The parts of Sockets.cpp and of what each system has of it.
namespace sockets {

[[nodiscard]] sockaddr_in loopback(int port);
/// Of the call on a socket that has just failed on this thread.
[[nodiscard]] Outcome outcomeOfFailure();

}  // namespace sockets
