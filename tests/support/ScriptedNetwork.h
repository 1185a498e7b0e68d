#pragma once

#include <BsNet/INetworkClient.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What a client was told for one exchange.
struct SentExchange {
  struct Proxy {
    int type;
    std::string server;
    int port;
    std::string user;
    std::string password;
  };

  std::size_t number = 0;  ///< its place among all exchanges, counted from 1
  std::string url;
  int method = -1;
  std::map<std::string, std::string> headers;
  int headerCalls = 0;  ///< how often this client was given headers
  std::string body;
  int bodyCalls = 0;                          ///< how often this client was given a body
  std::map<std::string, std::string> source;  ///< form field to path
  std::string bearer;
  std::optional<Proxy> proxy;
  int connectTimeoutMs = -1;
  int totalTimeoutMs = -1;
  int lowSpeedBytes = -1;
  int lowSpeedSeconds = -1;
  KBL::IBsResponseWriteCallback* writer = nullptr;  ///< these four are good during the exchange alone
  void* writerContext = nullptr;
  KBL::IBsProgressCallback* progress = nullptr;
  void* progressContext = nullptr;

  [[nodiscard]] std::string header(const std::string& name) const;
};

/// A completed exchange with this status and body.
[[nodiscard]] KBL::NetReply httpReply(int httpCode, std::string content = {}, KBL::HeaderMap headers = {});
[[nodiscard]] KBL::NetReply okReply(std::string content = {});
[[nodiscard]] KBL::NetReply transportFailure(int resultCode, std::string message);

/// Stands in for the network for its own life: clients that send nothing, keep what they were told, and
/// answer what the test says. Any thread. An address is named by the beginning of its path, whatever its
/// host.
class ScriptedNetwork {
 public:
  using Answer = std::function<KBL::NetReply(const SentExchange&)>;

  /// Answers 404 until it is told more.
  ScriptedNetwork();
  explicit ScriptedNetwork(Answer answer);
  explicit ScriptedNetwork(const KBL::NetReply& reply);
  ~ScriptedNetwork();
  ScriptedNetwork(const ScriptedNetwork&) = delete;
  ScriptedNetwork& operator=(const ScriptedNetwork&) = delete;

  /// Answers the addresses of this path; of two that fit the longer one counts.
  void answer(const std::string& path, Answer answer);
  void answer(const std::string& path, const std::string& body);
  /// Answers all other addresses.
  void answer(Answer answer);
  void answer(const KBL::NetReply& reply);
  /// Adds to the script, which answers all other addresses in its order, with its last reply again and again.
  void reply(int httpCode, std::string content = {}, KBL::HeaderMap headers = {});
  void failure(int resultCode, std::string message);
  /// Forgets the script and what was sent.
  void clear();

  /// Exchanges of the path wait until `open`.
  void hold(const std::string& path);
  void open(const std::string& path);
  /// Makes no more clients.
  void refuseClients();
  /// Called ahead of each answer.
  void onExchange(std::function<void(const SentExchange&)> action);
  /// Called in the midst of each exchange that is watched; false ends it as the real client does.
  void onWatched(std::function<bool(KBL::IBsProgressCallback&)> action);

  /// What was sent so far, held exchanges included.
  [[nodiscard]] std::vector<SentExchange> exchanges(const std::string& path = {}) const;
  /// The only exchange so far; fails the test when there is another number of them.
  [[nodiscard]] SentExchange onlyExchange() const;
  /// Until so many exchanges of the path have begun.
  [[nodiscard]] bool waitForExchanges(const std::string& path, std::size_t count) const;
  [[nodiscard]] int clientsMade() const;
  [[nodiscard]] int clientsAlive() const;

 private:
  class Client;
  struct State;
  const std::shared_ptr<State> state_;  // a client may outlive the network
};
