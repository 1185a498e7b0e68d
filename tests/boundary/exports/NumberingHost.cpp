// A host whose first managers say how they are numbered, as no other process-wide state can.

#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblLogger/KblLogger.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {
/// Prints the log tags of managers that are asked to cancel their logins.
class TagPrinter final : public KBL::IBsLogger {
 public:
  bool testSeverity(Severity) override { return true; }
  void write(Severity, const char*, int, const char*, const std::string& text) override {
    const std::size_t end = text.find(", to cancelLogin");
    if (end != std::string::npos) std::puts(text.substr(0, end).c_str());
  }
};
}  // namespace

int main() {
  KBL::installLogger(std::make_shared<TagPrinter>());
  auto* const first = getOrCreateExternlMediaAuthorize(KBL::ema_douyin);
  auto* const second = getOrCreateExternlMediaAuthorize(KBL::ema_tiktok);
  first->cancelLogin();
  second->cancelLogin();
  first->Release();
  second->Release();
  return 0;
}
