#pragma once

#include "sandbox/system/Socket.h"

#include <atomic>
#include <chrono>
#include <cstddef>

// What servers of tests ask of the system's sockets, beyond what the stand-in servers do.
namespace sockets {

using Handle = sandbox::socket::Handle;
using sandbox::socket::none;

/// A listener on an ephemeral port of 127.0.0.1, for as many callers as wait at once; throws when there is
/// none.
[[nodiscard]] Handle listenOnLoopback(int queue);
/// The next caller; none when there is none to be had, `stopAccepting` being the usual reason.
[[nodiscard]] Handle accept(Handle listener);
/// Ends a wait in `accept` on another thread. It looks after why it was woken by itself.
void stopAccepting(Handle listener);
/// Reading and sending give up when nothing moves for so long.
void setPatience(Handle handle, std::chrono::seconds patience);
/// Waits, reading nothing, until the peer ends its side, until `limit` has passed, or until somebody sets
/// `interrupted` and shuts the socket down.
void waitForPeerEnd(Handle handle, const std::atomic<bool>& interrupted, std::chrono::milliseconds limit);
/// Begins to connect and doesn't wait for the outcome.
[[nodiscard]] Handle beginToConnect(int port);

/// How a call on a connection ended.
enum class Outcome { done, ended, reset, refused, failed };
/// Connects to a port of 127.0.0.1; `handle` is none but for an outcome of `done`.
[[nodiscard]] Outcome connect(int port, Handle& handle);
/// What is there, at least a byte and at most `most`; nothing within the socket's patience is `failed`.
[[nodiscard]] Outcome receive(Handle handle, char* bytes, std::size_t most, std::size_t& count);

}  // namespace sockets
