#pragma once

#include "foundation/BsNet/NetworkClients.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// What one exchange was set up with.
struct FakeExchange {
  std::string url;
  int method = -1;
  std::map<std::string, std::string> headers;
  std::string body;
  std::string bearer;
  int totalTimeoutMs = -1;
  struct Proxy {
    int type;
    std::string server;
    int port;
    std::string user;
    std::string password;
  };
  std::optional<Proxy> proxy;
};

/// A completed exchange with this status and body.
[[nodiscard]] KBL::NetReply httpReply(int httpCode, const std::string& content);
[[nodiscard]] inline KBL::NetReply okReply(const std::string& content) {
  return httpReply(200, content);
}
[[nodiscard]] KBL::NetReply transportFailure(int resultCode, const std::string& message);

/// Network clients that send nothing: they record what they were told and answer what the test says.
/// Installed for its own life.
class FakeNetwork {
 public:
  using Answer = std::function<KBL::NetReply(const FakeExchange&)>;

  FakeNetwork();
  ~FakeNetwork();
  FakeNetwork(const FakeNetwork&) = delete;
  FakeNetwork& operator=(const FakeNetwork&) = delete;

  /// Answers every exchange from now on.
  void answer(Answer answer);
  void answer(const KBL::NetReply& reply);
  /// Makes no more clients.
  void refuseClients() { refusing_ = true; }

  [[nodiscard]] std::vector<FakeExchange> exchanges() const;
  /// The only exchange so far; fails the test when there is another number of them.
  [[nodiscard]] FakeExchange onlyExchange() const;
  /// Exchanges whose address contains `part`.
  [[nodiscard]] std::size_t countOf(const std::string& part) const;
  [[nodiscard]] int clientsMade() const { return clientsMade_; }
  [[nodiscard]] int clientsAlive() const { return clientsAlive_; }

 private:
  class Client;
  KBL::NetReply perform(const FakeExchange& exchange);

  mutable std::mutex mutex_;
  Answer answer_;
  std::vector<FakeExchange> exchanges_;
  std::atomic<bool> refusing_{false};
  std::atomic<int> clientsMade_{0};
  std::atomic<int> clientsAlive_{0};
};
