#pragma once

#include "authorize/switchboard/IExternlMediaAuthCallback.h"
#include "foundation/BsNet/IBsErrorInfo.h"

#include <mutex>
#include <string>
#include <vector>

/// The answers that a manager gives its host.
class AuthLog final : public KBL::IExternlMediaAuthCallback {
 public:
  struct Answer {
    int infoType;
    int code;
    std::string message;
  };

  void onRequestFinished(const std::string&) override {}
  void onLoginUrl(const char*, const char*) override {}
  void onLoginCallbackUrl(const char*, const char*) override {}
  void onAccessTokenChanged(const char*, const char*, const char*) override {}
  KBL::_Result queryResponse(KBL::IBsBaseRequest*, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override {
    const std::lock_guard lock(mutex_);
    answers_.push_back({info->infoType(), error->errorCode(), error->errorMessage()});
    return KBL::resultOk;
  }

  [[nodiscard]] std::vector<Answer> answers() const {
    const std::lock_guard lock(mutex_);
    return answers_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Answer> answers_;
};
