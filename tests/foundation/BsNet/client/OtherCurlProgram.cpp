// Asks twice for a network client, and prints the log and whether there was one. The logger waits for a
// thread that asks as well.
#include <BsNet/INetworkClient.h>
#include <BsNet/NetworkClients.h>
#include <KblLogger/KblLogger.h>

#include <cstdio>
#include <memory>
#include <string>
#include <thread>

namespace {

class PrintingLogger : public KBL::IBsLogger {
 public:
  bool testSeverity(Severity severity) override { return severity == severityError; }
  void write(Severity, const char*, int, const char*, const std::string& text) override {
    std::printf("log: %s\n", text.c_str());
    std::thread([] { const KBL::OwnedNetworkClient client(KBL::makeNetworkClient()); }).join();
  }
};

}  // namespace

int main() {
  KBL::installLogger(std::make_shared<PrintingLogger>());
  for (int i = 0; i < 2; ++i) {
    const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
    std::printf("%s\n", client == nullptr ? "no client" : "a client");
  }
  std::fflush(stdout);
  return 0;
}
