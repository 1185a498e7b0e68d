#include "foundation/BsNet/client/TlsServer.h"

#include <httplib.h>

TlsServer::TlsServer(const TestAuthority::Files& files, int keepAliveSeconds, Versions versions)
    : server_(std::make_unique<httplib::SSLServer>(files.certificate.c_str(), files.key.c_str())) {
  if (versions == Versions::upTo11) {
    SSL_CTX_set_min_proto_version(server_->ssl_context(), TLS1_VERSION);
    SSL_CTX_set_max_proto_version(server_->ssl_context(), TLS1_1_VERSION);
    SSL_CTX_set_cipher_list(server_->ssl_context(), "DEFAULT:@SECLEVEL=0");
  }
  server_->set_keep_alive_max_count(1000);
  server_->set_keep_alive_timeout(keepAliveSeconds);
  // Under a sanitizer a client takes seconds to read the system's authorities in the middle of a handshake.
  server_->set_read_timeout(60);
  server_->set_write_timeout(60);
  server_->Get("/", [this](const httplib::Request& request, httplib::Response& response) {
    if (lastPeerPort_.exchange(request.remote_port) != request.remote_port) ++connections_;
    if (SSL_session_reused(request.ssl) != 0) ++resumed_;
    response.set_content("secure", "text/plain");
  });
  server_->Put("/", [](const httplib::Request& request, httplib::Response& response) {
    response.set_content(std::to_string(request.body.size()), "text/plain");
  });
  server_->Get("/away",
               [this](const httplib::Request&, httplib::Response& response) { response.set_redirect(away); });
  port_ = server_->bind_to_any_port("127.0.0.1");
  thread_ = std::thread([this] { server_->listen_after_bind(); });
}

TlsServer::~TlsServer() {
  server_->stop();
  thread_.join();
}

std::string TlsServer::url(const std::string& path) const {
#if defined(_WIN32)
  const std::string host = "localhost";  // Schannel finds no number in a certificate
#else
  const std::string host = "127.0.0.1";
#endif
  return "https://" + host + ":" + std::to_string(port_) + path;
}

int TlsServer::connections() const {
  return connections_;
}

int TlsServer::resumed() const {
  return resumed_;
}
