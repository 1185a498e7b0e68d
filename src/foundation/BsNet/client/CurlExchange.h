#pragma once

#include "foundation/BsNet/client/CurlBody.h"
#include "foundation/BsNet/client/CurlForm.h"
#include "foundation/BsNet/client/CurlHeaders.h"
#include "foundation/BsNet/client/CurlProxy.h"
#include "foundation/BsNet/client/CurlReply.h"
#include "foundation/BsNet/client/CurlSending.h"
#include "foundation/BsNet/client/CurlTransfer.h"
#include "foundation/BsNet/client/CurlTrust.h"
#include <BsNet/NetworkClients.h>

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace KBL {

/// What a client was told before an exchange.
struct CurlClientSettings {
  NetSettings net;
  std::shared_ptr<const CurlTrust> trust;  ///< null: libcurl's default authorities
  CurlProxy proxy;
  int connectTimeoutMs = 0;
  int totalTimeoutMs = 0;
  int lowSpeedBytes = 0;
  int lowSpeedSeconds = 0;
  CurlHeaders headers;
  CurlBody body;
  std::map<std::string, std::string> uploadSource;
};

/// One call of INetworkClient::perform: a request, and for a GET those that its redirections ask for.
class CurlExchange {
 public:
  struct Call {
    std::string address;
    int method;
    IBsResponseWriteCallback* writer;
    void* writerContext;
    IBsProgressCallback* progress;
  };

  CurlExchange(CurlEasy& easy, CurlConnections& connections, CurlClientSettings& settings, Call call);
  ~CurlExchange();
  CurlExchange(const CurlExchange&) = delete;
  CurlExchange& operator=(const CurlExchange&) = delete;

  [[nodiscard]] NetReply run();
  /// Whether its last request goes without TLS.
  [[nodiscard]] bool isPlain() const;

  [[nodiscard]] static NetReply failure(int resultCode, std::string message);

 private:
  using Clock = std::chrono::steady_clock;

  [[nodiscard]] NetReply runHops();
  [[nodiscard]] bool setUpForm(NetReply& refused);
  void limitTime();
  void configure(CurlReply& reply);
  void configureConnection();
  void configureProxy();
  void configureTrust();
  void configureTime();
  void configureRequest();
  [[nodiscard]] CurlTransfer::Outcome transfer(CURLM* multi);
  // The callbacks; `self` is the exchange.
  static int beginLookUp(void* state, void* reserved, void* self);
  static curl_socket_t openSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
  /// Called ahead of every request that goes out.
  static int prepareRequest(void* self, char* server, char* local, int serverPort, int localPort);
  /// Moves on to where the last response points. False when that is not to be followed.
  [[nodiscard]] bool follow();
  [[nodiscard]] NetReply conclude(const CurlTransfer::Outcome& outcome, CurlReply& reply) const;
  [[nodiscard]] NetReply refused(CurlReply::Refusal refusal) const;
  [[nodiscard]] static NetReply unreadableForm(const std::string& field);
  [[nodiscard]] NetReply transportFailure(CURLcode code) const;

  CurlEasy& easy_;
  CurlConnections& connections_;
  CurlClientSettings& settings_;
  Call call_;
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  std::optional<CurlSending> sending_;  // of the running request
  CurlForm form_;
  bool sendsForm_ = false;
  CurlList headerLines_;
  bool withCredentials_ = true;
  int redirects_ = 0;
  int localPort_ = 0;                        // of the connection of the last sending
  std::chrono::milliseconds stallLimit_{0};  // 0: none
  Clock::time_point deadline_;
};

}  // namespace KBL
