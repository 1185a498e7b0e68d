#pragma once

#include "requests/BsExternlMediaAuthRequest.h"

namespace KBL {

/// Asks the account server whether the client may use the service. A refusal is the envelope's own error, and
/// ends the chain of an upload.
class BsExternlMediaAuthUserSupportConsumeRequest final : public ConcreteAuthRequest {
 public:
  BsExternlMediaAuthUserSupportConsumeRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
};

}  // namespace KBL
