#pragma once

#include <cstddef>
#include <string>

namespace KBL {

/// A beat of a transfer's meter, in bytes; a total is 0 as long as nobody has announced it.
struct FetchBeat {
  double total;
  double now;
  double uploadTotal;
  double uploadNow;
};

/// Who is told of a fetch while it runs, on the fetch's own thread. What it throws ends the fetch as a false
/// does. The fetcher may be inside its own library meanwhile, so a listener that calls the host steps out of
/// it
/// (`CurlStay::callHost`). The clock alone is read inside: a thread that stepped out at each beat would be
/// kept for good where the process ends just then.
class FetchListener {
 public:
  /// Takes a piece of the body, unpacked, which is the fetcher's and gone behind the call. False when it
  /// can't.
  [[nodiscard]] virtual bool takePiece(const char* data, std::size_t size) = 0;
  /// Comes with the first byte and the last, and about once a second while nothing comes. False when the
  /// fetch is to end: there is no other way to cancel one.
  [[nodiscard]] virtual bool goesOn(const FetchBeat& beat) = 0;

 protected:
  ~FetchListener() = default;
};

/// How a fetch has ended.
struct FetchResult {
  enum class End { good, failed, processEnds };  ///< in the last case nothing more can be fetched
  End end = End::failed;
  std::string error{};  ///< of a failed one, in libcurl's words; empty when libcurl gave not even a handle
  long httpStatus = 0;  ///< of the last answer; 0 for none
};

/// GETs addresses for the tasks. Any thread, several at once.
class MediaFetcher {
 public:
  /// Blocks until the body of `url` has been told to `listener`, or as much of it as came. Takes no more than
  /// `largestBody` bytes, unpacked. By http and https alone, also behind redirections, which it follows.
  /// Every HTTP status is good. `listener` is not held on to.
  [[nodiscard]] virtual FetchResult fetch(const std::string& url, std::size_t largestBody,
                                          FetchListener& listener) = 0;

 protected:
  ~MediaFetcher() = default;
};

}  // namespace KBL
