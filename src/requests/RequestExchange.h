#pragma once

#include <BsNet/IBsErrorInfo.h>
#include <BsNet/INetworkClient.h>
#include <BsNet/createInfoObject.h>
#include <KblUtils/RefPtr.h>

#include <atomic>
#include <cstddef>
#include <map>
#include <string>

namespace KBL {

class BsExternlMediaAuthRequest;

/// One attempt of a request: address, network client, headers, proxy, time limit, and the name of a failure.
/// Touched by the thread that the request belongs to.
class RequestExchange {
 public:
  RequestExchange(std::string urlKey, int httpMethod);

  /// The address that the cloud configuration has for `key`, or an empty text.
  [[nodiscard]] static std::string configuredUrl(const std::string& key);
  [[nodiscard]] std::string configuredUrl() const { return configuredUrl(urlKey_); }
  /// Takes the headers of every attempt out of the public information; those that it lacks stay.
  void takeHeaders(IBsPubInfo& info);
  /// Runs one attempt of `request` and returns the error object that it wrote, which the request may have
  /// exchanged for another one meanwhile.
  RefPtr<IBsErrorInfo> run(BsExternlMediaAuthRequest& request, IBsInfoReader* info);
  /// Reports the failure of an exchange, and runs the hooks of `request` for it.
  static void fail(BsExternlMediaAuthRequest& request, IBsInfoReader* info, IBsErrorInfo& error,
                   NetReply& reply);

  [[nodiscard]] const std::string& urlKey() const { return urlKey_; }
  [[nodiscard]] int httpMethod() const { return httpMethod_; }
  [[nodiscard]] const std::map<std::string, std::string>& headers() const { return requestHeaders_; }
  /// Bytes of the last attempt's reply.
  [[nodiscard]] std::size_t responseSize() const { return responseSize_; }

 private:
  void attempt(BsExternlMediaAuthRequest& request, IBsInfoReader* info, IBsErrorInfo& error);

  const std::string urlKey_;
  const int httpMethod_;  ///< a value of HttpMethod
  std::map<std::string, std::string> requestHeaders_;
  std::atomic<std::size_t> responseSize_{0};
};

/// Reports the failure of an exchange: a transport failure by its code, any status but 200 by the status and
/// the body, and nothing for a 200.
void reportFailure(const NetReply& reply, IBsErrorInfo& error);
/// Writes the code of the transport itself, where `error` has a place for it.
void setOriginCode(IBsErrorInfo& error, int code);

}  // namespace KBL
