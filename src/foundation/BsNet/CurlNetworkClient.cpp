#include "foundation/BsNet/CurlNetworkClient.h"

#include "foundation/BsNet/CurlShare.h"
#include "foundation/BsNet/CurlTrust.h"
#include "foundation/BsNet/TransportFailures.h"

#include <utility>

namespace KBL {

CurlNetworkClient::CurlNetworkClient(const NetSettings& settings) : multi_(curl_multi_init()) {
  settings_.net = settings;
  settings_.trust = trustWith(settings.extraCaFile);
}

void CurlNetworkClient::setProxy(int type, const std::string& server, int port, const std::string& user,
                                 const std::string& password) {
  settings_.proxy = {type, server, port, user, password};
}

void CurlNetworkClient::setConnectTimeout(int milliseconds) {
  settings_.connectTimeoutMs = milliseconds;
}
void CurlNetworkClient::setTotalTimeout(int milliseconds) {
  settings_.totalTimeoutMs = milliseconds;
}

void CurlNetworkClient::setLowSpeed(int bytesPerSecond, int seconds) {
  settings_.lowSpeedBytes = bytesPerSecond;
  settings_.lowSpeedSeconds = seconds;
}

void CurlNetworkClient::setHeaders(const std::map<std::string, std::string>& headers) {
  settings_.headers.replace(HeaderMap(headers.begin(), headers.end()));
}

void CurlNetworkClient::setBody(std::string body) {
  settings_.body.assign(std::move(body));
}

void CurlNetworkClient::setUploadSource(const std::map<std::string, std::string>& fieldToPath) {
  settings_.uploadSource = fieldToPath;
}

void CurlNetworkClient::setBearerToken(const std::string& token) {
  settings_.headers.setBearer(token);
}

NetReply CurlNetworkClient::perform(const URL& url, int method, IBsResponseWriteCallback* writer,
                                    void* writerContext, IBsProgressCallback* progress, void*) {
  const ExchangeGate::Pass pass;
  if (!pass.isGranted()) {
    return CurlExchange::failure(CURLE_ABORTED_BY_CALLBACK, transportFailureText(CURLE_ABORTED_BY_CALLBACK));
  }
  if (!url.IsValid())
    return CurlExchange::failure(CURLE_URL_MALFORMAT, transportFailureText(CURLE_URL_MALFORMAT));
  try {
    CurlExchange exchange(easy_, multi_.get(), settings_,
                          {url.string(), method, writer, writerContext, progress});
    return exchange.run();
  } catch (...) {
    // Short memory, or a callback of the caller that throws.
    return CurlExchange::failure(CURLE_OUT_OF_MEMORY, "the exchange was broken off by an exception");
  }
}

INetworkClient* makeCurlNetworkClient(const NetSettings& settings) {
  const ExchangeGate::Pass pass;
  if (!pass.isGranted() || !isCurlReady()) return nullptr;
  // With the global operators: the interface's own operator delete is for finished clients.
  auto* const client = ::new CurlNetworkClient(settings);
  if (client->isUsable()) return client;
  client->destroy();
  return nullptr;
}

}  // namespace KBL
