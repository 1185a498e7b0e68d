#include "foundation/BsNet/client/SocksServer.h"

#include "foundation/BsNet/client/Relay.h"

#include <utility>

namespace {

int byteOf(RawConnection& connection) {
  const std::string byte = connection.read(1);
  return byte.empty() ? -1 : static_cast<unsigned char>(byte[0]);
}

std::string countedText(RawConnection& connection) {
  const int length = byteOf(connection);
  return length < 0 ? "" : connection.read(static_cast<std::size_t>(length));
}

std::string terminatedText(RawConnection& connection) {
  std::string text;
  for (int byte = byteOf(connection); byte > 0; byte = byteOf(connection)) text += static_cast<char>(byte);
  return text;
}

int portOf(RawConnection& connection) {
  const int high = byteOf(connection);
  return high * 256 + byteOf(connection);
}

std::string dotted(const std::string& address) {
  std::string text;
  for (const char byte : address) {
    text += (text.empty() ? "" : ".") + std::to_string(static_cast<unsigned char>(byte));
  }
  return text;
}

}  // namespace

SocksServer::SocksServer(std::string user, std::string password)
    : user_(std::move(user)),
      password_(std::move(password)),
      server_([this](RawConnection& client) { serve(client); }) {}

std::string SocksServer::lastTarget() const {
  const std::lock_guard lock(mutex_);
  return lastTarget_;
}

int SocksServer::lastVersion() const {
  const std::lock_guard lock(mutex_);
  return lastVersion_;
}

void SocksServer::keep(int version, const std::string& target) {
  const std::lock_guard lock(mutex_);
  lastVersion_ = version;
  lastTarget_ = target;
}

void SocksServer::serve(RawConnection& client) {
  int port = 0;
  const int version = byteOf(client);
  if (version == 4 ? !greetVersion4(client, port) : version != 5 || !greetVersion5(client, port)) return;
  const auto target = connectTo(port);
  if (target == nullptr) return;
  relayBothWays(client, *target);
}

bool SocksServer::greetVersion4(RawConnection& client, int& port) {
  const std::string rejected("\x00\x5b\0\0\0\0\0\0", 8);
  const std::string granted("\x00\x5a\0\0\0\0\0\0", 8);
  const bool isConnect = byteOf(client) == 1;
  port = portOf(client);
  const std::string address = client.read(4);
  const std::string user = terminatedText(client);
  keep(4, dotted(address));
  const bool isGranted = isConnect && user == user_;
  client.send(isGranted ? granted : rejected);
  return isGranted;
}

bool SocksServer::greetVersion5(RawConnection& client, int& port) {
  const std::string methods = countedText(client);
  const bool offersPassword = methods.find('\x02') != std::string::npos;
  client.send(offersPassword ? std::string("\x05\x02", 2) : std::string("\x05\xff", 2));
  if (!offersPassword || byteOf(client) != 1) return false;
  const std::string user = countedText(client);
  const std::string password = countedText(client);
  const bool isKnown = user == user_ && password == password_;
  client.send(isKnown ? std::string("\x01\x00", 2) : std::string("\x01\x01", 2));
  if (!isKnown) return false;

  const std::string head = client.read(3);
  const int kind = byteOf(client);
  keep(5, kind == 3 ? countedText(client) : dotted(client.read(kind == 1 ? 4 : 16)));
  port = portOf(client);
  client.send(std::string("\x05\x00\x00\x01\x7f\x00\x00\x01\x00\x00", 10));
  return head.size() == 3 && head[1] == 1;
}
