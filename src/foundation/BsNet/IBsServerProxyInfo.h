#pragma once

#include "foundation/BsNet/IBsBaseInfoRW.h"

namespace KBL {

/// A network proxy, read only through `IBsInfoReader` with the keys of ServerProxyCharKey and
/// ServerProxyIntKey. Made by `createInfoObject(infoObjectServerProxy)`. Used when `mode` is not 1, `type` is
/// 1 (HTTP), 2 (SOCKS4) or 3 (SOCKS5), and server, user and password are present (empty user and password:
/// none), with a port of 1 to 65535.
class KBL_INTERFACE IBsServerProxyInfo : public virtual IBsBaseInfoRW {
 protected:
  ~IBsServerProxyInfo() = default;
};

}  // namespace KBL
