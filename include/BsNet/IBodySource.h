#pragma once

#include <BsNet/INetworkClient.h>
#include <KblUtils/Export.h>

namespace KBL {

/// A request body that is read while it is sent. Implemented by whoever sends it.
class KBL_INTERFACE IBodySource {
 public:
  /// Puts the `count` bytes from `offset` on into `buffer`. False when they cannot be had: the exchange fails
  /// then. Called during `perform`, on its thread, from offset 0 on, and from there again when the body is
  /// sent once more on another connection.
  virtual bool readBody(unsigned long long offset, char* buffer, unsigned long long count) = 0;

 protected:
  ~IBodySource() = default;
};

/// What the reference client can do beyond INetworkClient.
class KBL_INTERFACE IBodySourceClient {
 public:
  /// Replaces the request body, as INetworkClient::setBody does, by the `size` bytes of `source`, which has
  /// to live until the body is replaced or the client ends. Null: an empty body.
  virtual void setBodySource(IBodySource* source, unsigned long long size) = 0;

 protected:
  ~IBodySourceClient() = default;
};

/// That side of a client; null for one that has none, as those of a host's factory. It lives as long as the
/// client. Any thread.
[[nodiscard]] KBL_BSNET_API IBodySourceClient* bodySourceClient(INetworkClient* client);

}  // namespace KBL
