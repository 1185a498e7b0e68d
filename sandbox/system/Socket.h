#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

/// The calls of the system on sockets, in one place. A socket is the system's descriptor; who opened it
/// closes it.
namespace sandbox::socket {

#if defined(_WIN32)
using Handle = std::uintptr_t;
#else
using Handle = int;
#endif
inline constexpr Handle none = static_cast<Handle>(-1);

/// Bytes received; 0 at the end of the stream, after a failure and after shutDown.
[[nodiscard]] std::size_t receive(Handle handle, char* bytes, std::size_t count);
/// False when not everything could be sent.
[[nodiscard]] bool sendAll(Handle handle, const char* bytes, std::size_t count);
/// True once the peer has closed or reset its side, whatever still lies unread.
[[nodiscard]] bool peerClosed(Handle handle);
void setNoDelay(Handle handle);
/// Wakes every thread that is blocked on the socket; it stays open.
void shutDown(Handle handle);
/// Ends our side, then reads what the peer still sends for at most `limit`, so that the close that follows is
/// no reset.
void sayGoodbye(Handle handle, std::chrono::milliseconds limit);
/// The peer gets a reset.
void closeWithReset(Handle handle);
void close(Handle handle);

/// A connection to a port of 127.0.0.1; none when it is refused.
[[nodiscard]] Handle connectTo(int port);
/// Binds a port of 127.0.0.1 without listening (0: any). It refuses connections and keeps others from taking
/// the port. none when the port is taken.
[[nodiscard]] Handle reservePort(int port);
[[nodiscard]] int portOf(Handle handle);
/// Lets the port be taken again at once after an end, and sets what the system takes in ahead of us on each
/// connection (0: its own choice).
void prepareListening(Handle handle, int receiveBuffer);
/// More connections may wait to be taken than the server library asks for.
void widenBacklog(Handle handle);

/// Writes of this thread to a connection that has gone fail instead of ending the process.
void blockBrokenPipeSignals();

/// The server library ignores broken pipes for the whole process when a server is made, which would hide from
/// our tests whether the library under test can do without. This puts back, at the end of its scope, what was
/// there before.
class BrokenPipeHandlingKept {
 public:
  BrokenPipeHandlingKept();
  ~BrokenPipeHandlingKept();
  BrokenPipeHandlingKept(const BrokenPipeHandlingKept&) = delete;
  BrokenPipeHandlingKept& operator=(const BrokenPipeHandlingKept&) = delete;

 private:
  using Handler = void (*)(int);
  const Handler former_;
};

}  // namespace sandbox::socket
