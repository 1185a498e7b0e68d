#pragma once

#include "foundation/BsNet/NetReply.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// One exchange as a request asked for it.
struct FakeRequest {
  std::string url;
  int method = 0;
  std::string body;
  std::string bearer;
  std::map<std::string, std::string> headers;
};

/// Serves every exchange of the process from a table, with an account server and platforms that say yes until
/// a test says otherwise. Any thread. Answers are chosen by the beginning of the path.
class FakeNetwork {
 public:
  using Answer = std::function<KBL::NetReply(const FakeRequest&)>;

  FakeNetwork();
  ~FakeNetwork();
  FakeNetwork(const FakeNetwork&) = delete;
  FakeNetwork& operator=(const FakeNetwork&) = delete;

  void answer(const std::string& path, Answer answer);
  /// 200 with this body.
  void answer(const std::string& path, const std::string& body);
  /// Requests of the path wait until `open`.
  void hold(const std::string& path);
  void open(const std::string& path);
  /// Until so many requests of the path have come, held ones included.
  [[nodiscard]] bool waitForRequests(const std::string& path, std::size_t count) const;
  [[nodiscard]] std::vector<FakeRequest> requests(const std::string& path) const;

 private:
  class State;
  friend class FakeClient;
  std::shared_ptr<State> state_;
};

/// A completed exchange with this status and body.
[[nodiscard]] KBL::NetReply fakeReply(const std::string& body, int httpCode = 200);
