#pragma once

#include "foundation/BsNet/INetworkClient.h"
#include "foundation/BsNet/NetworkClients.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

/// What a request told a client before an exchange.
struct SeenExchange {
  std::string url;
  int method = -1;
  std::map<std::string, std::string> headers;
  std::string body;
  std::string bearer;
  int totalTimeout = -1;
  int connectTimeout = -1;
  int lowSpeedBytes = -1;
  int proxyType = 0;
  std::string proxyServer;
  int proxyPort = 0;
};

/// Installs clients that answer from a function and keep what they were told, for its own life.
class FakeNetwork {
 public:
  using Answer = std::function<KBL::NetReply(const SeenExchange&, KBL::IBsResponseWriteCallback*,
                                             KBL::IBsProgressCallback*)>;

  explicit FakeNetwork(Answer answer) : answer_(std::move(answer)) {
    KBL::setNetworkClientFactory([this] { return new Client(*this); });
  }
  ~FakeNetwork() { KBL::setNetworkClientFactory({}); }
  FakeNetwork(const FakeNetwork&) = delete;
  FakeNetwork& operator=(const FakeNetwork&) = delete;

  [[nodiscard]] std::vector<SeenExchange> seen() const {
    const std::lock_guard lock(mutex_);
    return seen_;
  }
  [[nodiscard]] int clientsAlive() const {
    const std::lock_guard lock(mutex_);
    return alive_;
  }

  static KBL::NetReply status(int httpCode, const std::string& content = "") {
    KBL::NetReply reply;
    reply.resultCode = 0;
    reply.httpCode = httpCode;
    reply.content = content;
    return reply;
  }
  static KBL::NetReply failure(int resultCode) {
    KBL::NetReply reply;
    reply.resultCode = resultCode;
    reply.errorMessage = "transport failed";
    return reply;
  }

 private:
  class Client : public KBL::INetworkClient {
   public:
    explicit Client(FakeNetwork& network) : network_(network) { network_.count(1); }
    virtual ~Client() { network_.count(-1); }
    void setProxy(int type, const std::string& server, int port, const std::string&,
                  const std::string&) override {
      now_.proxyType = type;
      now_.proxyServer = server;
      now_.proxyPort = port;
    }
    void setConnectTimeout(int milliseconds) override { now_.connectTimeout = milliseconds; }
    void setTotalTimeout(int milliseconds) override { now_.totalTimeout = milliseconds; }
    void setLowSpeed(int bytesPerSecond, int) override { now_.lowSpeedBytes = bytesPerSecond; }
    void setHeaders(const std::map<std::string, std::string>& headers) override { now_.headers = headers; }
    void setBody(std::string body) override { now_.body = std::move(body); }
    void setUploadSource(const std::map<std::string, std::string>&) override {}
    void setBearerToken(const std::string& token) override { now_.bearer = token; }
    KBL::NetReply perform(const KBL::URL& url, int method, KBL::IBsResponseWriteCallback* writer, void*,
                          KBL::IBsProgressCallback* progress, void*) override {
      now_.url = url.string();
      now_.method = method;
      network_.keep(now_);
      return network_.answer_(now_, writer, progress);
    }
    void destroy() override { ::delete this; }

   private:
    FakeNetwork& network_;
    SeenExchange now_;
  };

  void keep(const SeenExchange& exchange) {
    const std::lock_guard lock(mutex_);
    seen_.push_back(exchange);
  }
  void count(int change) {
    const std::lock_guard lock(mutex_);
    alive_ += change;
  }

  Answer answer_;
  mutable std::mutex mutex_;
  std::vector<SeenExchange> seen_;
  int alive_ = 0;
};
