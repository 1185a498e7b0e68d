#include "media_tasks/mediaRecord.h"

#include "media_tasks/wideText.h"

namespace KBL {

hostMediaRecord mediaRecord(MediaType type, std::string_view mediaUrl, std::string_view thumbnailUrl) {
  hostMediaRecord record{};
  record.type = type;
  copyWide(mediaUrl, record.mediaUrl);
  copyWide(thumbnailUrl, record.thumbnailUrl);
  record.more = 1;
  return record;
}

}  // namespace KBL
