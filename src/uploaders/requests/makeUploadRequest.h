#pragma once

#include "requests/BsExternlMediaAuthRequest.h"
#include <KblUtils/RefPtr.h>

namespace KBL {

/// A new upload request for a user of the platform `diskType` (an ExternlMediaPlatform); null where the
/// platform has none.
[[nodiscard]] RefPtr<BsExternlMediaAuthRequest> makeUploadRequest(int diskType);

}  // namespace KBL
