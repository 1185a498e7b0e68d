#pragma once

#include "sandbox/Sandbox.h"

#include <json/value.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using Fields = std::vector<std::pair<std::string, std::string>>;

/// How an exchange ended: an answer, or the lack of one.
struct Answer {
  bool arrived = false;  ///< false: no whole answer came
  int status = 0;
  Fields headers;
  std::string body;

  [[nodiscard]] std::string header(const std::string& name) const;
  /// The body as JSON; null for anything else.
  [[nodiscard]] Json::Value json() const;
};

/// An ordinary HTTP client that trusts the sandbox's certificate authority. Keeps its connection.
class TestClient {
 public:
  explicit TestClient(const sandbox::Sandbox& server,
                      std::chrono::milliseconds limit = std::chrono::seconds(30));
  /// Of a server in another process, or with another authority.
  TestClient(const std::string& baseUrl, const std::string& caFile,
             std::chrono::milliseconds limit = std::chrono::seconds(30));
  ~TestClient();

  Answer get(const std::string& target, const Fields& headers = {});
  Answer post(const std::string& target, const std::string& body, const Fields& headers = {});
  Answer patch(const std::string& target, const std::string& body, const Fields& headers = {});
  Answer remove(const std::string& target, const Fields& headers = {});
  Answer head(const std::string& target, const Fields& headers = {});
  Answer put(const std::string& target, const std::string& body, const Fields& headers = {});

 private:
  struct State;
  std::unique_ptr<State> state_;
};

[[nodiscard]] std::pair<std::string, std::string> bearer(const std::string& token);
/// The part of a URL behind its host.
[[nodiscard]] std::string targetOf(const std::string& url);
