#pragma once

#include "boundary/records/Records.h"
#include "support/FakeManager.h"
#include "support/ManualTimeSource.h"
#include "support/Recorder.h"
#include "support/RecordingLogger.h"
#include "support/ScriptedNetwork.h"
#include "support/TemporaryDirectory.h"
#include "support/TextIn.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/BsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <ostream>
#include <string>
#include <vector>

/// What the callbacks of an upload were told at one time; a text that is unset reads "(unset)".
struct Delivered {
  std::string progress;
  int code;
  std::string message;
  std::string stopFlag;
  std::string videoUrl;

  friend std::ostream& operator<<(std::ostream& out, const Delivered& told) {
    return out << told.progress << " " << told.code << " '" << told.message << "' " << told.stopFlag << " "
               << told.videoUrl;
  }
};

/// Keeps each delivery of an upload to its callbacks.
class Deliveries final : public KBL::IBsRequstCallback, public Recorder<Delivered> {
 public:
  KBL::_Result queryResponse(KBL::IBsBaseRequest*, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override {
    using Key = KBL::ExternlMediaUploadCharKey;
    keep({textIn(*info, Key::progress), error->errorCode(), error->errorMessage(),
          textIn(*info, Key::stopFlag), textIn(*info, Key::videoUrl)});
    return KBL::resultOk;
  }

  [[nodiscard]] std::vector<std::string> progress() const {
    std::vector<std::string> texts;
    for (const Delivered& one : events()) texts.push_back(one.progress);
    return texts;
  }
  [[nodiscard]] std::vector<int> codes() const {
    std::vector<int> numbers;
    for (const Delivered& one : events()) numbers.push_back(one.code);
    return numbers;
  }
};

/// An upload request of a signed-in user, against a scripted network and with pauses that take no time.
template <class Request>
class UploadRequestFixture : public testing::Test {
 protected:
  UploadRequestFixture(int platform, const std::map<std::string, std::string>& cloudConfig)
      : manager_(platform) {
    KBL::setCloudConfig(cloudConfig);
    context_.logTag = manager_.tag();
    context_.platform = static_cast<KBL::ExternlMediaPlatform>(platform);
    request_ = KBL::makeRef<Request>();
    initAuthRequest(context_, "user-1", *request_);
    request_->addCallback(&deliveries_, false);
  }
  ~UploadRequestFixture() override { KBL::clearCloudConfig(); }

  /// A file of that size whose bytes tell their place.
  void useFile(std::uint64_t size) {
    contents_.resize(size);
    for (std::size_t i = 0; i < contents_.size(); ++i) {
      contents_[i] = static_cast<char>((i * 31 + i / 4096) & 0xFF);
    }
    usePath(files_.write("clip.mp4", contents_));
  }
  /// A file of that size which takes no room on the disk.
  void useSparseFile(std::uint64_t size) {
    usePath(files_.write("sparse.mp4", ""));
    std::filesystem::resize_file(path_, size);
  }
  void usePath(const std::string& path) {
    path_ = path;
    set("upload_file_path", path);
  }
  void set(const char* key, const std::string& value) { info_->setCharKeyConfig(key, value.c_str()); }
  void stop() { set("upload_stop", "user_cancelled"); }
  void run() { request_->syncRequestWithInfo(info_.get()); }

  [[nodiscard]] int code() const { return request_->errorInfo()->errorCode(); }
  [[nodiscard]] std::string message() const { return request_->errorInfo()->errorMessage(); }
  [[nodiscard]] std::string text(const char* key) const { return textIn(*info_, key); }

  InstantTime time_;
  InstalledManager manager_;
  ScriptedNetwork network_;
  TemporaryDirectory files_;
  KBL::AuthContext context_;
  Deliveries deliveries_;
  std::string contents_;
  std::string path_;
  KBL::RefPtr<KBL::BsExternlMediaUploadInfo> info_ = KBL::makeRef<KBL::BsExternlMediaUploadInfo>();
  KBL::RefPtr<Request> request_;
};
