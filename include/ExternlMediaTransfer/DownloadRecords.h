#pragma once

#include <cstddef>
#include <cstdint>

namespace KBL {

class IExternlMediaTransfer;

// Fixed binary records of the download side. The library owns a record and its memory is valid during the
// callback alone, so the host copies what it wants to keep. Texts are UTF-16, zero-terminated, cut to their
// field at a character's end.

/// The library's own codes of an error record, with their texts; any other number is the service's, with its
/// text (-10000 where that number cannot be read).
namespace MediaError {
/// The file cannot be opened or written. Texts: "Image save path open error.", "Image file write error.".
inline constexpr int localFile = 1;
/// No whole reply came, or an error status that the host refuses. Texts: "HTTP status ...", "Unsupported
/// protocol", "Internal error.", libcurl's own.
inline constexpr int fetchFailed = 10;
/// The reply says nothing that can be used. Texts: "can't read json.", "can't find photo node.".
inline constexpr int unusableReply = 11;
}  // namespace MediaError

/// The album that stands for the videos of a Facebook user, the last of each list of albums.
inline constexpr const char* facebookVideoAlbum = "FACEBOOK_VIDEO";

/// A failure of a task.
struct hostErrorRecord {
  std::int32_t code;  ///< a MediaError, else the service's own number
  char16_t message[1024];
};
static_assert(sizeof(hostErrorRecord) == 2052);
static_assert(offsetof(hostErrorRecord, code) == 0);
static_assert(offsetof(hostErrorRecord, message) == 4);

/// One album of a list.
struct hostAlbumRecord {
  char16_t id[256];
  char16_t name[256];
  std::int32_t reserved;  ///< 0
  std::int32_t more;      ///< 1 for a normal entry, 0 for the entry that ends the list
};
static_assert(sizeof(hostAlbumRecord) == 1032);
static_assert(offsetof(hostAlbumRecord, id) == 0);
static_assert(offsetof(hostAlbumRecord, name) == 512);
static_assert(offsetof(hostAlbumRecord, reserved) == 1024);
static_assert(offsetof(hostAlbumRecord, more) == 1028);

enum MediaType : std::int32_t { mediaImage = 0, mediaVideo = 1 };

/// One picture or video of a list.
struct hostMediaRecord {
  std::int32_t type;       ///< a MediaType
  char16_t reserved[256];  ///< empty
  char16_t mediaUrl[1024];
  char16_t thumbnailUrl[1024];
  std::int32_t more;  ///< 1 for an entry, 0 for the all-zero record that ends the list
};
static_assert(sizeof(hostMediaRecord) == 4616);
static_assert(offsetof(hostMediaRecord, type) == 0);
static_assert(offsetof(hostMediaRecord, reserved) == 4);
static_assert(offsetof(hostMediaRecord, mediaUrl) == 516);
static_assert(offsetof(hostMediaRecord, thumbnailUrl) == 2564);
static_assert(offsetof(hostMediaRecord, more) == 4612);

/// How far a download is.
struct hostProgressRecord {
  std::int32_t finished;    ///< 1 on completion, 0 while running
  std::int32_t totalBytes;  ///< 0 while the service has not told
  std::int32_t bytesSoFar;
};
static_assert(sizeof(hostProgressRecord) == 12);
static_assert(offsetof(hostProgressRecord, finished) == 0);
static_assert(offsetof(hostProgressRecord, totalBytes) == 4);
static_assert(offsetof(hostProgressRecord, bytesSoFar) == 8);

// Callbacks of the download side, given to a transfer's commands. The library calls them on the thread of the
// task, never on the host's own, with the context of command 15 and the transfer; the record is borrowed. The
// transfer may be stopped, given a new command or released inside. One that throws counts as having returned
// 0.

/// An album of a list. The result 0 leaves out the rest of the same page; the pages behind it still come.
using AlbumCallback = std::int32_t (*)(void* context, IExternlMediaTransfer* transfer,
                                       const hostAlbumRecord* album);
/// A picture or video of a list. The result as of an AlbumCallback.
using MediaCallback = std::int32_t (*)(void* context, IExternlMediaTransfer* transfer,
                                       const hostMediaRecord* media);
/// A failure; the result is ignored.
using MediaErrorCallback = std::int32_t (*)(void* context, IExternlMediaTransfer* transfer,
                                            const hostErrorRecord* error);
/// Progress of a download; the result is ignored.
using MediaProgressCallback = std::int32_t (*)(void* context, IExternlMediaTransfer* transfer,
                                               const hostProgressRecord* progress);

}  // namespace KBL
