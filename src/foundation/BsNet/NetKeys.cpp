#include "foundation/BsNet/NetKeys.h"

namespace KBL {

const char* PubCharKey::appSecret = "X-App-Secret";
const char* PubCharKey::clientType = "X-Client-Type";
const char* PubCharKey::clientSn = "X-Client-Sn";
const char* PubCharKey::appKey = "X-App-Key";
const char* PubCharKey::prodId = "X-Prod-Id";
const char* PubCharKey::prodVer = "X-Prod-Ver";
const char* PubCharKey::contentType = "Content-Type";
const char* PubCharKey::ver = "X-Ver";
const char* PubCharKey::lang = "Accept-Language";

const char* RequestParamCharKey::url = "request_url";
const char* RequestParamCharKey::body = "request_body";
const char* RequestParamCharKey::heads = "request_heads";
const char* RequestParamIntKey::bodyType = "request_body_type";

const char* ResponseCharKey::content = "response_content";

const char* ServerProxyCharKey::server = "server_proxy_server";
const char* ServerProxyCharKey::user = "server_proxy_user";
const char* ServerProxyCharKey::password = "server_proxy_password";
const char* ServerProxyIntKey::type = "server_proxy_type";
const char* ServerProxyIntKey::mode = "server_proxy_mode";
const char* ServerProxyIntKey::port = "server_proxy_port";

}  // namespace KBL
