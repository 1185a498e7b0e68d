#pragma once

#include "sandbox/system/Socket.h"

// The system's headers for sockets, and the calls that differ between systems.
#if defined(_WIN32)
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

namespace sandbox::socket {

/// A stream socket that child processes don't inherit; none when there is none to be had.
[[nodiscard]] Handle openStream();
/// Our side ends; the other one may still send.
void endSending(Handle handle);
/// False when nothing came, and the peer didn't end, within `limit`.
[[nodiscard]] bool waitReadable(Handle handle, std::chrono::milliseconds limit);
/// True when somebody else has the port and binding it would not tell.
[[nodiscard]] bool isSilentlyTaken(const sockaddr_in& address);

}  // namespace sandbox::socket
