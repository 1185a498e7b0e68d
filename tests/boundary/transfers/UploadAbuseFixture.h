#pragma once

#include "boundary/transfers/UploadFixture.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// More than what a slow server and the system take ahead of a progress event.
inline constexpr std::uint64_t someMebi = 20 << 20;

/// A file that changes while TikTok takes it.
class ChangingFile : public UploadFixture {
 protected:
  ChangingFile() : UploadFixture(tiktok, slowLine()) {
    using sandbox::Fault;
    sandbox_.orderFault(sandbox::Route::tiktokUpload,
                        Fault::slowRequest(262144, std::chrono::milliseconds(5)));
  }

  /// Runs `change` at the first progress of an upload of `path`.
  KBL::RefPtr<KBL::IExternlMediaTransfer> uploadAndChange(const std::string& path,
                                                          std::function<void()> change) {
    auto transfer = makeUploadOf(path);
    events_.inside = [this, change = std::move(change)](const UploadEvent& event) {
      if (event.event == 7 && !changed_.exchange(true)) change();
    };
    transfer->Start();
    return transfer;
  }

 private:
  static sandbox::SandboxOptions slowLine() {
    sandbox::SandboxOptions options;
    options.receiveBuffer = 65536;
    return options;
  }

  std::atomic<bool> changed_{false};
};

/// The same on TikTok and on Douyin.
class UploadAbuse : public UploadFixture, public testing::WithParamInterface<NativePlatform> {
 protected:
  UploadAbuse() : UploadFixture(GetParam()) {}

  [[nodiscard]] bool isDouyin() const { return GetParam().transfer == douyin.transfer; }
  [[nodiscard]] bool waitForFinish(EventLog& events) const { return events.waitFor(8, isDouyin() ? 2 : 1); }
  /// Files of these names arrive whole.
  void expectToArrive(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      EventLog events;
      const auto transfer = makeUpload(events, makeFile(100, name), GetParam().transfer);
      transfer->Start();
      ASSERT_TRUE(waitForFinish(events)) << name;
      EXPECT_EQ(sandbox_.uploads().back().sha256, sha256(contents_)) << name;
      EXPECT_EQ(events.count(12), 0U) << name;
    }
  }
};
