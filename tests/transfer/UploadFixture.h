#pragma once

#include "foundation/BsCloudConfig/BsCloudConfig.h"
#include "foundation/BsNet/cipher.h"
#include "sandbox/Sandbox.h"
#include "support/RecordingLogger.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"
#include "transfer/SignedInHost.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>

/// A user who is signed in to YouTube, and the sandbox that serves the uploads.
class UploadFixture : public testing::Test {
 protected:
  static constexpr std::uint64_t chunk = 2097152;

  explicit UploadFixture(sandbox::SandboxOptions options = {}) : sandbox_(std::move(options)) {
    KBL::setKeyStore(KBL::makeFileKeyStore(files_.file("keys")));
    KBL::setCloudConfig(sandbox_.cloudConfig());
    manager_ = std::make_unique<SignedInManager>(files_.file("cache"), newToken());
  }
  ~UploadFixture() override {
    manager_.reset();
    KBL::clearCloudConfig();
    KBL::setKeyStore(nullptr);
  }

  std::string newToken() { return sandbox_.issueTokens(sandbox::Platform::youtube).accessToken; }

  /// A file of that size whose bytes tell their place.
  std::string makeFile(std::uint64_t size, const std::string& name = "clip.mp4") {
    contents_.resize(size);
    for (std::size_t i = 0; i < contents_.size(); ++i) {
      contents_[i] = static_cast<char>((i * 31 + i / 4096) & 0xFF);
    }
    return files_.write(name, contents_);
  }

  /// Until `count` upload requests of this test have been destroyed, after which they report no more.
  [[nodiscard]] bool waitForEnds(std::size_t count = 1) const {
    return waitUntil([&] { return endedRequests() >= count; });
  }
  [[nodiscard]] std::size_t endedRequests() const {
    std::set<std::string> living;  // by address; requests of earlier tests may still end here
    std::size_t ended = 0;
    for (const LogLine& line : log_->linesWith(":ExternlMediaAuthYoutubeUpload, 0x")) {
      const std::string address = line.text.substr(line.text.find("0x"));
      if (line.text.starts_with("create:")) living.insert(address);
      if (line.text.starts_with("release:")) ended += living.erase(address);
    }
    return ended;
  }

  TemporaryDirectory files_;
  ScopedRecordingLogger log_;
  sandbox::Sandbox sandbox_;
  EventLog events_;
  std::string contents_;  ///< of the file that was made last
  std::unique_ptr<SignedInManager> manager_;
};
