#pragma once

#include "boundary/transfers/SignedInHost.h"
#include "sandbox/Sandbox.h"
#include "sandbox/base/Sha256.h"
#include "support/RecordingLogger.h"
#include "support/TemporaryDirectory.h"
#include "support/ToldErrors.h"
#include "support/WaitUntil.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// The names and numbers of one native platform.
struct NativePlatform {
  KBL::ExternlMediaPlatform manager;
  int transfer;
  sandbox::Platform sandbox;
  const char* uploadRequest;

  friend std::ostream& operator<<(std::ostream& out, const NativePlatform& platform) {
    return out << platform.uploadRequest;
  }
};
inline constexpr NativePlatform youtube{KBL::ema_youtube, 1, sandbox::Platform::youtube,
                                        "ExternlMediaAuthYoutubeUpload"};
inline constexpr NativePlatform tiktok{KBL::ema_tiktok, 6, sandbox::Platform::tiktok,
                                       "ExternlMediaAuthTiktokUpload"};
inline constexpr NativePlatform douyin{KBL::ema_douyin, 7, sandbox::Platform::douyin,
                                       "ExternlMediaAuthDouyinUpload"};

MATCHER_P3(IsEvent, event, value, text, "") {
  return arg.event == event && arg.value == value && arg.text == text;
}

inline std::string sha256(const std::string& bytes) {
  sandbox::Sha256 hash;
  hash.add(bytes.data(), bytes.size());
  return hash.hex();
}

/// A user who is signed in to a platform, and the sandbox that serves the uploads.
class UploadFixture : public testing::Test {
 protected:
  static constexpr std::uint64_t chunk = 2097152;

  explicit UploadFixture(sandbox::SandboxOptions options = {}) : UploadFixture(youtube, std::move(options)) {}
  explicit UploadFixture(const NativePlatform& platform, sandbox::SandboxOptions options = {})
      : platform_(platform), sandbox_(std::move(options)) {
    KBL::setKeyStore(KBL::makeFileKeyStore(files_.file("keys")));
    KBL::setCloudConfig(sandbox_.cloudConfig());
    manager_ = std::make_unique<SignedInManager>(files_.file("cache"), newToken(),
                                                 SignIn{platform_.manager, sandbox_.users().front().openId});
  }
  ~UploadFixture() override {
    manager_.reset();
    KBL::clearCloudConfig();
    KBL::setKeyStore(nullptr);
    for (const UploadEvent& event : events_.events()) {
      EXPECT_TRUE(event.event != KBL::transferEventError || tableHasErrorEvent(event.text)) << event;
    }
  }

  std::string newToken() { return sandbox_.issueTokens(platform_.sandbox).accessToken; }
  KBL::RefPtr<KBL::IExternlMediaTransfer> makeUploadOf(const std::string& path) {
    return makeUpload(events_, path, platform_.transfer);
  }
  /// An upload of a file of that size, which has come as far as a call of `route` that stalls.
  KBL::RefPtr<KBL::IExternlMediaTransfer> startStalledUpload(
      sandbox::Route route, std::uint64_t size, const sandbox::Fault& fault = sandbox::Fault::stall()) {
    const auto stall = sandbox_.orderFault(route, fault);
    auto transfer = makeUploadOf(makeFile(size));
    transfer->Start();
    EXPECT_TRUE(sandbox_.waitForFaults(stall, 1, generousLimit));
    return transfer;
  }

  /// A file of that size whose bytes tell their place.
  std::string makeFile(std::uint64_t size, const std::string& name = "clip.mp4") {
    contents_.resize(size);
    for (std::size_t i = 0; i < contents_.size(); ++i) {
      contents_[i] = static_cast<char>((i * 31 + i / 4096) & 0xFF);
    }
    return files_.write(name, contents_);
  }
  /// A file of that size which takes no room on the disk.
  std::string makeSparseFile(std::uint64_t size) {
    std::string path = files_.write("sparse.mp4", "");
    std::filesystem::resize_file(path, size);
    return path;
  }

  /// Kinds of the requests that came, in order.
  [[nodiscard]] std::vector<sandbox::Route> routes() const {
    std::vector<sandbox::Route> routes;
    for (const auto& request : sandbox_.requests()) routes.push_back(request.route);
    return routes;
  }

  /// Until `count` upload requests of this test have been destroyed, after which they report no more.
  [[nodiscard]] bool waitForEnds(std::size_t count = 1) const {
    return waitUntil([&] { return endedRequests() >= count; });
  }
  [[nodiscard]] std::size_t endedRequests() const {
    std::set<std::string> living;  // by address; requests of earlier tests may still end here
    std::size_t ended = 0;
    for (const LogLine& line : log_->linesWith(":" + std::string(platform_.uploadRequest) + ", 0x")) {
      const std::string address = line.text.substr(line.text.find("0x"));
      if (line.text.starts_with("create:")) living.insert(address);
      if (line.text.starts_with("release:")) ended += living.erase(address);
    }
    return ended;
  }

  const NativePlatform platform_;
  TemporaryDirectory files_;
  ScopedRecordingLogger log_;
  sandbox::Sandbox sandbox_;
  EventLog events_;
  std::string contents_;  ///< of the file that was made last
  std::unique_ptr<SignedInManager> manager_;
};
