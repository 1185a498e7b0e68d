#pragma once

#include <BsNet/ExchangeCallbacks.h>
#include <BsNet/NetReply.h>
#include <BsNet/URL.h>
#include <KblUtils/Export.h>

#include <map>
#include <memory>
#include <new>
#include <string>

namespace KBL {

enum HttpMethod : int { httpGet = 0, httpPost = 1, httpPut = 2 };

/// Kind of a network proxy, as in ServerProxyIntKey::type.
enum ProxyType : int { proxyHttp = 1, proxySocks4 = 2, proxySocks5 = 3 };

/// One HTTP client: settings, then any number of exchanges one after the other, over a connection that is
/// kept alive from exchange to exchange. Used by one thread at a time. Deleted with `delete`: the interface
/// has no virtual destructor, its destroying operator delete calls `destroy`. A host that is compiled before
/// C++20, which brought that, calls `destroy` itself.
class KBL_INTERFACE INetworkClient {
 public:
  /// Routes the following exchanges through a proxy (`type` as in ProxyType); empty user and password: none.
  /// Type 0 or an empty server: no proxy, not even one of the environment, which is never looked at. Any
  /// other type makes the following exchanges fail with resultCode -10002, since nothing may go around a
  /// proxy.
  virtual void setProxy(int type, const std::string& server, int port, const std::string& user,
                        const std::string& password) = 0;
  /// Limit of the connect phase, in milliseconds; below 1 restores the default.
  virtual void setConnectTimeout(int milliseconds) = 0;
  /// Limit of one exchange, in milliseconds; below 1 restores the default of 30000. An exchange that sends
  /// more than 1 MiB counts it from the last byte that moved, and ends in any case after the limit plus one
  /// second for each 16 KiB of body.
  virtual void setTotalTimeout(int milliseconds) = 0;
  /// Ends an exchange that stays below `bytesPerSecond` for `seconds`; 0 switches the test off.
  virtual void setLowSpeed(int bytesPerSecond, int seconds) = 0;
  /// Replaces the request headers. Length, coding and expectation of the body are the client's matter: what
  /// is given for them is not sent.
  virtual void setHeaders(const std::map<std::string, std::string>& headers) = 0;
  /// Replaces the request body; a body stays until it is replaced. A GET sends none.
  virtual void setBody(std::string body) = 0;
  /// Sends these files (form field name to UTF-8 path) as a multipart form in place of the body, streamed
  /// from disk. An empty map takes the source away.
  virtual void setUploadSource(const std::map<std::string, std::string>& fieldToPath) = 0;
  /// Sent as "Authorization: Bearer"; empty: none.
  virtual void setBearerToken(const std::string& token) = 0;
  /// Runs the exchange on the calling thread. Redirections are followed for a GET alone, never out of TLS,
  /// and another origin gets neither the bearer token nor other headers than Accept, Accept-Language and
  /// User-Agent. `writer` (null: the body goes to NetReply::content) and `progress` (null: none) are called
  /// during it; the contexts are handed through. A `progress` that answers false gives a reply with
  /// resultCode -10007 and "User cancelled!"; one that throws counts as having answered true, a `writer` that
  /// throws as having answered false.
  virtual NetReply perform(const URL& url, int method, IBsResponseWriteCallback* writer, void* writerContext,
                           IBsProgressCallback* progress, void* progressContext) = 0;
  /// Ends the client; called by OwnedNetworkClient and, where there is such an operator, for each deletion,
  /// and by nobody else. An implementation ends itself with the global operator, since the class's own would
  /// come back here.
  virtual void destroy() = 0;

#if defined(__cpp_impl_destroying_delete) && defined(__cpp_lib_destroying_delete)
  void operator delete(INetworkClient* client, std::destroying_delete_t) {
    client->destroy();
  }
#else

 protected:
  ~INetworkClient() = default;
#endif
};

/// What `delete` does. clang warns of a `delete` of a class without a virtual destructor, and overlooks that
/// the operator above takes its place.
struct EndNetworkClient {
  void operator()(INetworkClient* client) const { client->destroy(); }
};
using OwnedNetworkClient = std::unique_ptr<INetworkClient, EndNetworkClient>;

}  // namespace KBL
