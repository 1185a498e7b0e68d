#pragma once

#include "foundation/BsNet/client/CurlExchange.h"
#include <BsNet/IBodySource.h>
#include <BsNet/INetworkClient.h>
#include <BsNet/NetworkClients.h>

namespace KBL {

/// The reference network client: one easy handle, and connections that it may have inherited.
class CurlNetworkClient final : public INetworkClient, public IBodySourceClient {
 public:
  explicit CurlNetworkClient(const NetSettings& settings);
  ~CurlNetworkClient();
  CurlNetworkClient(const CurlNetworkClient&) = delete;
  CurlNetworkClient& operator=(const CurlNetworkClient&) = delete;

  [[nodiscard]] bool isUsable() const { return easy_.get() != nullptr; }

  void setProxy(int type, const std::string& server, int port, const std::string& user,
                const std::string& password) override;
  void setConnectTimeout(int milliseconds) override;
  void setTotalTimeout(int milliseconds) override;
  void setLowSpeed(int bytesPerSecond, int seconds) override;
  void setHeaders(const std::map<std::string, std::string>& headers) override;
  void setBody(std::string body) override;
  void setBodySource(IBodySource* source, unsigned long long size) override;
  void setUploadSource(const std::map<std::string, std::string>& fieldToPath) override;
  void setBearerToken(const std::string& token) override;
  NetReply perform(const URL& url, int method, IBsResponseWriteCallback* writer, void* writerContext,
                   IBsProgressCallback* progress, void* progressContext) override;
  void destroy() override { ::delete this; }

 private:
  CurlClientSettings settings_;
  CurlConnections connections_;
  CurlEasy easy_;  // ends ahead of the connections
};

/// Null when libcurl cannot be used.
[[nodiscard]] INetworkClient* makeCurlNetworkClient(const NetSettings& settings);

}  // namespace KBL
