#pragma once

#include <BsNet/IBsInfoReader.h>

namespace KBL {

/// Public information of the host product: the PubCharKey values that become request headers. Made by
/// `createInfoObject(infoObjectPubInfo)`; filled by the host through `IBsBaseInfoRW`.
class KBL_INTERFACE IBsPubInfo : public virtual IBsBaseInfoRW {
 public:
  /// Removes the entry of `key` from this record alone.
  virtual _Result removeKey(const char* key) = 0;

 protected:
  ~IBsPubInfo() = default;
};

/// A network proxy, read only through `IBsInfoReader` with the keys of ServerProxyCharKey and
/// ServerProxyIntKey. Made by `createInfoObject(infoObjectServerProxy)`. Used when `mode` is not 1, `type` is
/// 1 (HTTP), 2 (SOCKS4) or 3 (SOCKS5), and server, user and password are present (empty user and password:
/// none), with a port of 1 to 65535. A record that would be used but for its `type`, which is missing or
/// greater than 3, makes every exchange fail with -10002: nothing goes around a proxy that was ordered. Any
/// other record is ignored.
class KBL_INTERFACE IBsServerProxyInfo : public virtual IBsBaseInfoRW {
 protected:
  ~IBsServerProxyInfo() = default;
};

inline constexpr int infoObjectPubInfo = 1;      ///< answers "IBsPubInfo"
inline constexpr int infoObjectServerProxy = 2;  ///< answers "IBsServerProxyInfo"

}  // namespace KBL

/// Builds a record with one reference, which is the caller's; null for an unknown type or when memory is
/// short. Both records also answer "BsBaseInfoRW". May be called from any thread.
extern "C" KBL_BSNET_API KBL::IBsInfoReader* createInfoObject(int type);
