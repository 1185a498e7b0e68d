#pragma once

#include <curl/curl.h>

#include <string>

/// What the network client needs of the operating system; one implementation file each.
namespace KBL::System {

/// Opens a socket as libcurl itself would, but one that child processes do not inherit; a value for
/// CURLOPT_OPENSOCKETFUNCTION. Any thread.
curl_socket_t openOwnSocket(void* context, curlsocktype purpose, curl_sockaddr* address);

/// Closes it; 0 when that went well. Any thread.
int closeSocket(curl_socket_t socket);

/// Whether nothing has come in on a connection that nobody reads from, not even its end. Never waits: the
/// socket is one that does not block, as libcurl's are.
[[nodiscard]] bool isQuiet(curl_socket_t socket);

/// The port of its own end; 0 when that cannot be told.
[[nodiscard]] int localPort(curl_socket_t socket);

/// Has what is written wait until it fills a packet, for a fifth of a second at most, or go on at once. Does
/// nothing where the system has no such thing.
void holdBack(curl_socket_t socket, bool isHeldBack);

/// The certificate authorities that the system itself keeps, as PEM text; empty where it keeps them in a file
/// that libcurl knows of. What changed may be missing for some minutes.
[[nodiscard]] std::string keptAuthorities();

}  // namespace KBL::System
