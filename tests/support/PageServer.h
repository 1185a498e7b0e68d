#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What the server answers to one request.
struct PageReply {
  std::string body{};
  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers{};
  std::optional<std::size_t> stallAfter{};       ///< so many bytes are sent, then nothing until `release`
  std::optional<std::size_t> breakAfter{};       ///< so many bytes are sent, then the connection ends
  std::string contentType = "application/json";  ///< of a whole body; JSON is compressed for who can read it
  bool endless = false;                          ///< bytes flow until the client leaves
  std::optional<std::size_t> announced{};        ///< the length that a stalling answer announces, not its own
};

struct PageRequest {
  std::string method;
  std::string target;  ///< as sent
  std::multimap<std::string, std::string> headers;
};

/// An HTTP server on a free port of 127.0.0.1 for the pages and files of a test. Any thread.
class PageServer {
 public:
  using Answer = std::function<PageReply(const std::string& target)>;

  /// Answers 404 until told otherwise.
  PageServer();
  ~PageServer();
  PageServer(const PageServer&) = delete;
  PageServer& operator=(const PageServer&) = delete;

  /// "http://127.0.0.1:PORT".
  [[nodiscard]] std::string url() const;

  void answer(Answer answer);
  void answerAlways(const std::string& body, const std::string& contentType = "application/json");
  /// The first request gets the first, and so on; whatever comes behind the last gets a 404.
  void answerInOrder(std::vector<PageReply> replies);
  /// Stalled answers go on.
  void release();

  [[nodiscard]] std::vector<PageRequest> requests() const;
  [[nodiscard]] std::vector<std::string> targets() const;
  [[nodiscard]] bool waitForRequests(std::size_t count) const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

/// Points the media hosts of the cloud configuration to one place for its own life; the path prefix of each
/// tells them apart: "/graph", "/flickr", "/farm-%d", "/insta".
class ScopedMediaHosts {
 public:
  explicit ScopedMediaHosts(const PageServer& server) : ScopedMediaHosts(server.url()) {}
  explicit ScopedMediaHosts(const std::string& url);
  ~ScopedMediaHosts();
  ScopedMediaHosts(const ScopedMediaHosts&) = delete;
  ScopedMediaHosts& operator=(const ScopedMediaHosts&) = delete;
};
