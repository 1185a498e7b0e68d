#pragma once

#include "sandbox/base/Route.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// What goes wrong with one exchange. Built by name, ordered with Sandbox::orderFault.
///
/// Two families:
///  - "instead": the service never sees the request, its state does not change (a chunk is not accepted, a
///    token is not spent). The body is read first unless told otherwise, so that a client which is still
///    sending is not cut off.
///  - "after": the service does its work, and what goes wrong is the answer's way back.
struct Fault {
  enum class Kind {
    closeAtOnce,
    resetAtOnce,
    resetRequestAfter,
    resetAnswerAfter,
    stall,
    stallRequestAfter,
    slowRequest,
    stallAnswerAfter,
    slowAnswer,
    trickle,
    status,
    brokenJson,
    replaceMember,
    removeMember,
    truncatedBody,
    gzip,
    gzipBomb,
    hugeBody,
    deepNesting,
    acceptLess,
    statusAfterAct
  };

  /// instead: the connection ends in order (FIN) before a byte of an answer; the request's body is not read.
  static Fault closeAtOnce();
  /// instead: the connection is reset (RST) before a byte of an answer; the request's body is not read.
  static Fault resetAtOnce();
  /// instead: reset after `bytes` of the request's body were read (at its end if the body is shorter).
  static Fault resetRequestAfter(std::uint64_t bytes);
  /// after: reset when `bytes` of the answer, status line and headers included, were sent.
  static Fault resetAnswerAfter(std::uint64_t bytes);
  /// instead: the whole request is read and never answered, until Sandbox::releaseStalls (the service then
  /// answers), the client closes the connection, or the sandbox stops.
  static Fault stall();
  /// instead: no more is read once `bytes` of the request's body were read; ends like stall().
  static Fault stallRequestAfter(std::uint64_t bytes);
  /// after: the request's body is read in pieces of `bytes` with this pause between them, so that a client
  /// with more to send than the system's buffers hold has a slow line. See SandboxOptions::receiveBuffer.
  static Fault slowRequest(std::size_t bytes, std::chrono::milliseconds pause);
  /// after: nothing more is sent after `bytes` of the answer, until Sandbox::releaseStalls sends the rest.
  static Fault stallAnswerAfter(std::uint64_t bytes);
  /// after: the answer leaves this much later.
  static Fault slowAnswer(std::chrono::milliseconds delay);
  /// after: the answer's body leaves in pieces of `bytes` with this pause between them.
  static Fault trickle(std::size_t bytes, std::chrono::milliseconds pause);
  /// instead: this status, body and content type. See withHeader for a Location or a Retry-After.
  static Fault status(int code, std::string body = {}, std::string contentType = "application/json");
  /// instead: status 200 with this body.
  static Fault body(std::string text, std::string contentType = "application/json");
  /// after: the same in place of the answer of a service that has acted, as a gateway in front of it may
  /// send.
  static Fault statusAfterAct(int code, std::string body = {}, std::string contentType = "application/json");
  /// after: the real answer's JSON, cut in its middle; Content-Length fits what is sent.
  static Fault brokenJson();
  /// after: the member at `path` (members and array indexes joined by dots, "data.expires_in") holds `json`
  /// instead; missing objects on the way are made. `json` is JSON text: "\"7\"", "[]", "1e400".
  static Fault replaceMember(std::string path, std::string json);
  /// after: the member at `path` is left out.
  static Fault removeMember(std::string path);
  /// after: Content-Length promises the whole body, `bytes` of it are sent, then the connection ends in
  /// order.
  static Fault truncatedBody(std::uint64_t bytes);
  /// after: the answer is compressed whether or not the client asked for it.
  static Fault gzip();
  /// instead: 200 with a gzip body that inflates to JSON text of `inflatedBytes`.
  static Fault gzipBomb(std::uint64_t inflatedBytes);
  /// instead: 200 with a JSON text of `bytes`, sent as it is made.
  static Fault hugeBody(std::uint64_t bytes);
  /// instead: 200 with arrays nested this deep.
  static Fault deepNesting(std::size_t depth);

  /// after: of a chunk of YouTube's resumable upload (route youtubeUploadChunk alone) `bytes` count, down to
  /// a multiple of 256 KiB, although it came whole; 308 names the shorter Range.
  static Fault acceptLess(std::uint64_t bytes);

  /// Adds a header to the answer (status, statusAfterAct, body).
  [[nodiscard]] Fault withHeader(std::string name, std::string value) const;

  Kind kind = Kind::closeAtOnce;
  std::uint64_t bytes = 0;
  std::chrono::milliseconds delay{0};
  int code = 200;
  std::string text;         ///< the body, or the JSON of replaceMember
  std::string contentType;  ///< of status, statusAfterAct and body
  std::string path;         ///< of replaceMember and removeMember
  std::vector<std::pair<std::string, std::string>> headers;
};

/// Why the fault can never be delivered on the route, in words; empty when it can: a path that is none (as
/// "data..token"), a replacement that is missing, a status that is none, a kind that needs another route.
[[nodiscard]] std::string mistakeIn(const Fault& fault, Route route);

/// Names one order of faults, to ask how often it was delivered.
using FaultId = std::uint64_t;

}  // namespace sandbox
