#pragma once

#include "boundary/records/DownloadRecords.h"

#include <string_view>

namespace KBL {

/// The record of one picture or video of a list.
[[nodiscard]] hostMediaRecord mediaRecord(MediaType type, std::string_view mediaUrl,
                                          std::string_view thumbnailUrl);

}  // namespace KBL
