// A host that keeps what it is asked for to itself: its own log, its own addresses, its own place for the
// cipher's key. Says who is signed in. Usage: own_surroundings ACCOUNT_SERVER CACHE_FOLDER APP_SECRET
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/Host.h>
#include <KblLogger/KblLogger.h>

#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace {

/// Errors and warnings, each a line in a log of the host's own form. Called by several threads at once.
class OwnLog : public KBL::IBsLogger {
 public:
  bool testSeverity(Severity severity) override { return severity <= severityWarning; }
  void write(Severity severity, const char* file, int line, const char*, const std::string& text) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::cerr << (severity == severityError ? "E " : "W ") << file << ':' << line << ' ' << text << std::endl;
  }

 private:
  std::mutex mutex_;
};

/// In place of a file: a program of today knows its server.
std::map<std::string, std::string> addressesOn(const std::string& server) {
  return {{"urlLFServerClientCredentials", server + "/account/client_credentials"},
          {"urlLFServerUserSupportToken", server + "/account/token"}};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  KBL::installLogger(std::make_shared<OwnLog>());
  KBL::setCloudConfig(addressesOn(argv[1]));
  KBL::setKeyStore(KBL::makeFileKeyStore(std::string(argv[2]) + "/own-key"));

  KBL::host::Accounts accounts(KBL::ema_youtube, {std::string(argv[2]) + "/own-cache", argv[3]});
  const auto user = accounts.user();
  std::cout << (user ? user->nickName : "nobody") << std::endl;
  const auto verified = accounts.verify().future().get();
  if (verified) std::cout << verified.message << std::endl;
  return verified ? 1 : 0;
}
