// Makes what it is told first: an upload, a download or a manager. Then it asks twice for a network client,
// and downloads to the file that it is told, if any. Prints the log and what came of each. The logger waits
// for a thread that asks as well.
#include <BsNet/INetworkClient.h>
#include <BsNet/NetworkClients.h>
#include <ExternlMediaTransfer/Host.h>
#include <KblLogger/KblLogger.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
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

bool makeFirst(std::string_view what) {
  if (what == "manager") return getOrCreateExternlMediaAuthorize(KBL::ema_youtube) != nullptr;
  KBL::IExternlMediaTransfer* const made =
      what == "upload" ? createEMTUpTransfer(KBL::ema_youtube) : createEMTDlTransfer();
  if (made == nullptr) return false;
  made->Release();
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  KBL::installLogger(std::make_shared<PrintingLogger>());
  std::printf("%s\n", makeFirst(argv[1]) ? "made" : "not made");
  for (int i = 0; i < 2; ++i) {
    const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
    std::printf("%s\n", client == nullptr ? "no client" : "a client");
  }
  if (argc > 2) {
    KBL::host::Media media;
    const KBL::host::MediaEnd end = media.download("http://127.0.0.1:9/", argv[2]).future().get();
    std::printf("download failed: %d\n", end.failure.code);
  }
  std::fflush(stdout);
  return 0;
}
