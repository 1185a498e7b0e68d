#pragma once

#include "foundation/BsNet/IBsInfoReader.h"

#include <string>

namespace KBL {

/// The stop test of all uploads: true when the upload record says that the user cancelled or that the upload
/// failed, or when no live manager stands under `ownerTag` any more. A finished upload does not count as
/// stopped. A null record counts as one without a state. Any thread.
[[nodiscard]] bool isUploadStopped(const std::string& ownerTag, IBsInfoReader* uploadInfo);

}  // namespace KBL
