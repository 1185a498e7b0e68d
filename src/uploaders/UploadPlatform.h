#pragma once

#include "foundation/object/RefPtr.h"
#include "uploaders/IPlatformUploadProxy.h"
#include "uploaders/IUploadEventSink.h"

#include <memory>

namespace KBL {

class BsExternlMediaAuthRequest;

/// Platforms of the transfer side, the argument of `createEMTUpTransfer`; not the numbers of the managers.
enum TransferPlatform : int {
  transferFacebook = 0,
  transferYoutube = 1,
  transferVimeo = 2,
  transferFlickr = 3,
  transferInstagram = 4,
  transferTwitch = 5,
  transferTiktok = 6,
  transferDouyin = 7,
};

/// Everything in which the native platforms differ before their upload requests begin.
struct UploadPlatform {
  TransferPlatform transferPlatform;
  int managerIndex;             ///< an ExternlMediaPlatform
  const char* name;             ///< in warnings
  const char* proxyClassName;   ///< in log lines
  int uploadRequestType;        ///< an ExternlMediaAuthRequestType
  bool copiesUser;              ///< its upload request needs the cached user's keys
  bool fillsCategories;         ///< its users have video categories
  int (*errorValue)(int code);  ///< the host's number of an error code; 0 for the general one
  std::shared_ptr<IPlatformUploadProxy> (*makeProxy)(std::shared_ptr<IUploadEventSink> owner);
  RefPtr<BsExternlMediaAuthRequest> (*makeRequest)();
};

/// The row of a native platform, or null for a platform that scripts alone serve.
[[nodiscard]] const UploadPlatform* findUploadPlatform(int transferPlatform);

/// A new upload request for a user of the platform `diskType` (an ExternlMediaPlatform); null where the
/// platform has none.
[[nodiscard]] RefPtr<BsExternlMediaAuthRequest> makeUploadRequest(int diskType);

}  // namespace KBL
