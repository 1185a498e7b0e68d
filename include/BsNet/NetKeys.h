#pragma once

#include <KblUtils/Export.h>

namespace KBL {

// Names of the keys of the foundation's own records.

/// Keys of the public information. Their texts are the names of the HTTP headers that carry the values.
struct KBL_BSNET_API PubCharKey {
  static const char* appSecret;  ///< a secret that travels as a header, too: use https addresses
  static const char* clientType;
  static const char* clientSn;
  static const char* appKey;
  static const char* prodId;
  static const char* prodVer;
  static const char* contentType;  ///< "Content-Type"
  static const char* ver;
  static const char* lang;  ///< "Accept-Language"
};

/// Keys of a plain request (`KblBaseRequest::syncRequest`) and of failure reports.
struct KBL_BSNET_API RequestParamCharKey {
  static const char* url;
  static const char* body;   ///< body of a plain request; a request with one is a POST, else a GET
  static const char* heads;  ///< further header lines of a plain request, separated by line feeds
};

struct KBL_BSNET_API RequestParamIntKey {
  static const char* bodyType;  ///< a _BodyType
};

struct KBL_BSNET_API ResponseCharKey {
  static const char* content;  ///< body of the last reply
};

struct KBL_BSNET_API ServerProxyCharKey {
  static const char* server;
  static const char* user;
  static const char* password;
};

struct KBL_BSNET_API ServerProxyIntKey {
  static const char* type;  ///< 1 HTTP, 2 SOCKS4, 3 SOCKS5
  static const char* mode;  ///< 1 switches the proxy off
  static const char* port;
};

}  // namespace KBL
