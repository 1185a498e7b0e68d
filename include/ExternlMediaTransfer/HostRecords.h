#pragma once

#include <cstddef>
#include <cstdint>

namespace KBL {

// Fixed binary records of the upload side, built or read by the host by position. Texts are UTF-8,
// zero-terminated.

/// The upload job, built by the host and zero-filled in its text fields.
struct hostTransferRecord {
  char filePath[1024];
  char title[1024];
  char description[8192];
  char tags[512];
  char category[48];
  char privacy[48];
  char thumbnailPath[1024];
  std::int32_t useClient;   ///< the account server's client code, sent as it is, 0 too
  std::int32_t actionType;  ///< the account server's action code, sent as it is, 0 too
  char userUuid[256];       ///< empty: the user who signed in last
};
static_assert(sizeof(hostTransferRecord) == 12136);
static_assert(offsetof(hostTransferRecord, filePath) == 0);
static_assert(offsetof(hostTransferRecord, title) == 1024);
static_assert(offsetof(hostTransferRecord, description) == 2048);
static_assert(offsetof(hostTransferRecord, tags) == 10240);
static_assert(offsetof(hostTransferRecord, category) == 10752);
static_assert(offsetof(hostTransferRecord, privacy) == 10800);
static_assert(offsetof(hostTransferRecord, thumbnailPath) == 10848);
static_assert(offsetof(hostTransferRecord, useClient) == 11872);
static_assert(offsetof(hostTransferRecord, actionType) == 11876);
static_assert(offsetof(hostTransferRecord, userUuid) == 11880);

/// A user, filled by `Query` 7 in memory that the host owns. Texts are cut to their field at a character's
/// end; the categories alone run on to the end of the host's buffer, which is allocated with room behind the
/// record for them.
struct hostAccountRecord {
  std::int32_t limitSpace;  ///< free space in MiB, 0 for no limit, of platforms of scripts
  std::int32_t videoHd;     ///< 0 when the service takes no HD video, of platforms of scripts
  std::int32_t videoSd;     ///< the same for SD
  char userName[100];
  char appKey[128];
  char appSecret[128];
  char accessToken[4096];
  char videoCategories[4];  ///< first bytes of the text that goes on behind the record
};
static_assert(offsetof(hostAccountRecord, limitSpace) == 0);
static_assert(offsetof(hostAccountRecord, videoHd) == 4);
static_assert(offsetof(hostAccountRecord, videoSd) == 8);
static_assert(offsetof(hostAccountRecord, userName) == 12);
static_assert(offsetof(hostAccountRecord, appKey) == 112);
static_assert(offsetof(hostAccountRecord, appSecret) == 240);
static_assert(offsetof(hostAccountRecord, accessToken) == 368);
static_assert(offsetof(hostAccountRecord, videoCategories) == 4464);

/// The argument of `Command` 2.
struct hostShareRecord {
  char first[1024];
  char second[1024];
};
static_assert(sizeof(hostShareRecord) == 2048);
static_assert(offsetof(hostShareRecord, second) == 1024);

}  // namespace KBL
