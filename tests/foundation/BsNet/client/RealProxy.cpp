#include "foundation/BsNet/client/RealProxy.h"

#include "support/WaitUntil.h"

std::unique_ptr<RealProxy> RealProxy::http(const std::string& user, const std::string& password) {
  std::unique_ptr<RealProxy> proxy(new RealProxy);
  const std::string configuration =
      proxy->place_.write("tinyproxy.conf", "Port " + std::to_string(proxy->port_) +
                                                "\nListen 127.0.0.1\nLogLevel Info\nTimeout 60\n"
                                                "BasicAuth " +
                                                user + " " + password + "\n");
  proxy->process_ = std::make_unique<ChildProcess>(
      std::vector<std::string>{KBL_TINYPROXY, "-d", "-c", configuration}, proxy->place_.file("log"));
  return proxy;
}

std::unique_ptr<RealProxy> RealProxy::socks() {
  std::unique_ptr<RealProxy> proxy(new RealProxy);
  const std::string configuration = proxy->place_.write(
      "danted.conf", "logoutput: stdout\ninternal: 127.0.0.1 port = " + std::to_string(proxy->port_) +
                         "\nexternal: lo\nclientmethod: none\nsocksmethod: none\n"
                         "client pass { from: 127.0.0.0/8 to: 127.0.0.0/8 }\n"
                         "socks pass { from: 127.0.0.0/8 to: 0.0.0.0/0 log: connect }\n");
  const std::string pidFile = proxy->place_.file("pid");
  proxy->process_ = std::make_unique<ChildProcess>(
      std::vector<std::string>{KBL_DANTED, "-f", configuration, "-p", pidFile, "-N", "1"},
      proxy->place_.file("log"));
  return proxy;
}

bool RealProxy::isListening() const {
  return waitUntil([&] { return connectTo(port_) != nullptr; });
}
