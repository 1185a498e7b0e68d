#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <thread>

/// Takes request bodies as fast as they come and keeps nothing; on 127.0.0.1, a thread a connection, until
/// the process ends. Speaks as much HTTP/1.1 as the clients that are measured: a request that announces its
/// length. A POST opens an upload session or is one whole upload, a PUT that is not the last range of its
/// file gets 308, every other one the name of a video; a PATCH is a piece of an upload by tus; a GET of
/// "/SIZE" gets so many bytes. Nothing ever answers "/stall", where the chunks of "/opens-stall" go,
/// too.
class SinkServer {
 public:
  /// Plain HTTP, or TLS with the certificate and key in these PEM files.
  SinkServer();
  SinkServer(const std::string& certificate, const std::string& key);
  SinkServer(const SinkServer&) = delete;
  SinkServer& operator=(const SinkServer&) = delete;

  /// Without a slash at its end.
  [[nodiscard]] std::string baseUrl() const;

 private:
  struct FreeContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  };

  void listen();
  void acceptAll();

  std::unique_ptr<SSL_CTX, FreeContext> tls_;
  int listener_ = -1;
  int port_ = 0;
};
