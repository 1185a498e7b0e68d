#include "sandbox/server/HttpServer.h"

#include "sandbox/server/Connection.h"
#include "sandbox/server/ConnectionRegistry.h"
#include "sandbox/server/ConnectionThreads.h"
#include "sandbox/server/TlsContext.h"

#include <httplib.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace sandbox {

namespace {

/// A connection without a request is kept this long. Nothing waits for it: a stop wakes all connections.
constexpr std::time_t idleSeconds = 600;
/// How long a connection that ends in order listens to a client that is still sending.
constexpr std::chrono::milliseconds farewellLimit{500};

/// Takes connections and hands each to a Connection, with the HTTP library's parser and writer behind it.
class Listener final : public httplib::Server {
 public:
  Listener(ConnectionRegistry& registry, const Router& router, FaultBook& faults, RequestLog& log,
           ExchangeJournal* journal, const TlsContext* tls)
      : registry_(registry),
        tls_(tls),
        services_{router, faults, log, journal, [this](ConnectionStream& stream, bool last, bool& closed) {
                    return process_request(stream, last, closed, nullptr);
                  }} {
    new_task_queue = [] { return new ConnectionThreads; };
    set_read_timeout(idleSeconds);
    set_write_timeout(idleSeconds);
    set_keep_alive_timeout(idleSeconds);
    set_keep_alive_max_count(1'000'000);
    const auto withBody = [](const httplib::Request&, httplib::Response& response,
                             const httplib::ContentReader& reader) {
      Connection::current()->serve(response, &reader);
    };
    const auto withoutBody = [](const httplib::Request&, httplib::Response& response) {
      Connection::current()->serve(response, nullptr);
    };
    Get("/", withoutBody);
    Options("/", withoutBody);
    Post("/", withBody);
    Put("/", withBody);
    Patch("/", withBody);
    Delete("/", withBody);
  }

  bool bind(int port, int receiveBuffer) {
    // In place of the library's own options, which would let two servers share a port.
    set_socket_options([receiveBuffer](socket_t handle) { socket::prepareListening(handle, receiveBuffer); });
    if (!bind_to_port("127.0.0.1", port)) return false;
    socket::widenBacklog(svr_sock_);
    return true;
  }

 private:
  bool process_and_close_socket(socket_t handle) override {
    const std::uint64_t number = registry_.add(handle);
    if (number == 0) {
      socket::close(handle);
      return false;
    }
    socket::setNoDelay(handle);
    const std::unique_ptr<Transport> transport =
        tls_ ? tls_->transport(handle) : std::make_unique<Transport>(handle);
    Connection connection(*transport, number, services_);
    if (transport->handshake()) {
      connection.run();
      if (!connection.resets()) transport->farewell();
    }
    if (!connection.resets()) socket::sayGoodbye(handle, farewellLimit);
    registry_.remove(handle);
    connection.resets() ? socket::closeWithReset(handle) : socket::close(handle);
    return true;
  }

  ConnectionRegistry& registry_;
  const TlsContext* const tls_;
  const Connection::Services services_;
};

}  // namespace

class HttpServer::Impl {
 public:
  Impl(int port, const Router& router, FaultBook& faults, RequestLog& log, ExchangeJournal* journal,
       const TlsContext* tls, int receiveBuffer)
      : router_(router),
        faults_(faults),
        log_(log),
        journal_(journal),
        tls_(tls),
        receiveBuffer_(receiveBuffer),
        reserved_(socket::reservePort(port)) {
    if (reserved_ == socket::none)
      throw std::runtime_error("port " + std::to_string(port) + " is taken or not allowed");
    port_ = socket::portOf(reserved_);
  }

  ~Impl() {
    stop();
    socket::close(reserved_);
  }

  void start() {
    const std::lock_guard lock(mutex_);
    if (listener_) return;
    registry_.allow();
    const socket::BrokenPipeHandlingKept kept;
    auto listener = std::make_unique<Listener>(registry_, router_, faults_, log_, journal_, tls_);
    if (!listener->bind(port_, receiveBuffer_))
      throw std::runtime_error("port " + std::to_string(port_) + " is taken or not allowed");
    listener_ = std::move(listener);
    thread_ = std::thread([this] { listener_->listen_after_bind(); });
    while (!listener_->is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  void stop() {
    const std::lock_guard lock(mutex_);
    if (!listener_) return;
    registry_.endAll();
    listener_->stop();
    thread_.join();
    listener_.reset();
  }

  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] const ConnectionRegistry& registry() const { return registry_; }

 private:
  const Router& router_;
  FaultBook& faults_;
  RequestLog& log_;
  ExchangeJournal* const journal_;
  const TlsContext* const tls_;
  const int receiveBuffer_;
  const socket::Handle reserved_;
  int port_ = 0;
  ConnectionRegistry registry_;
  std::mutex mutex_;  ///< serialises start and stop
  std::unique_ptr<Listener> listener_;
  std::thread thread_;
};

HttpServer::HttpServer(int port, const Router& router, FaultBook& faults, RequestLog& log,
                       ExchangeJournal* journal, const TlsContext* tls, int receiveBuffer)
    : impl_(std::make_unique<Impl>(port, router, faults, log, journal, tls, receiveBuffer)) {}

HttpServer::~HttpServer() = default;

void HttpServer::startListening() {
  impl_->start();
}
void HttpServer::stopListening() {
  impl_->stop();
}
int HttpServer::port() const {
  return impl_->port();
}
std::size_t HttpServer::connectionCount() const {
  return impl_->registry().total();
}
std::size_t HttpServer::openConnections() const {
  return impl_->registry().open();
}

}  // namespace sandbox
