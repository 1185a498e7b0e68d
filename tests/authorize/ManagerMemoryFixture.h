#pragma once

#include "authorize/ManagerFixture.h"
#include "support/FailingAllocation.h"
#include <ExternlMediaTransfer/RecordInterfaces.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

/// A host that keeps numbers alone, since what else it kept would be short of memory, too.
class CountingHost final : public KBL::IExternlMediaAuthCallback {
 public:
  KBL::_Result queryResponse(KBL::IBsBaseRequest* request, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override {
    if (request == nullptr || info == nullptr || error == nullptr) {
      ++brokenAnswers;
      return KBL::resultOk;
    }
    ++answers;
    lastCode = error->errorCode();
    if (info->infoType() == KBL::infoTypeVerifyAccessToken) ++verifications;
    return KBL::resultOk;
  }
  void onRequestFinished(const std::string&) override {}
  void onLoginUrl(const char*, const char*) override {}
  void onLoginCallbackUrl(const char*, const char*) override {}
  void onAccessTokenChanged(const char*, const char*, const char*) override { ++tokens; }

  std::atomic<int> brokenAnswers{0};
  std::atomic<int> answers{0};
  std::atomic<int> verifications{0};
  std::atomic<int> lastCode{0};
  std::atomic<int> tokens{0};
};

/// Takes every line and keeps none.
class DeafLogger final : public KBL::IBsLogger {
 public:
  bool testSeverity(Severity) override { return true; }
  void write(Severity, const char*, int, const char*, const std::string&) override {}
};

/// A manager with two users, whose host, logger and network bear want of memory.
class ManagerMemory : public ManagerFixture {
 protected:
  static constexpr int moreThanAnyCallNeeds = 3000;

  void SetUp() override {
    makeManager();
    manager->removeAuthCallback(&host);
    manager->addAuthCallback(&counting);
    for (const char* const uuid : {"first user of all", "last user of all"}) signIn(uuid);
    KBL::installLogger(std::make_shared<DeafLogger>());
  }
  void TearDown() override {
    releaseManager();
    EXPECT_TRUE(runUntil([this] { return time->waiters() == 0; }));
    KBL::installLogger(nullptr);
  }

  /// Runs the operation with each of its allocations failing in turn; how many times its answer was a
  /// failure. What it answers with enough memory must be `good`.
  int failures(
      const std::function<KBL::_Result()>& operation, KBL::_Result good = KBL::resultOk,
      const std::function<void()>& between = [] {}) {
    int failed = 0;
    for (int successes = 0; successes < moreThanAnyCallNeeds; ++successes) {
      std::optional<KBL::_Result> result;
      bool wasShort = false;
      {
        const ScopedFailingAllocation shortage(successes);
        EXPECT_NO_THROW(result = operation());
        wasShort = ScopedFailingAllocation::hasFailed();
      }
      between();
      if (!result) return -1;
      if (!wasShort) {
        EXPECT_EQ(*result, good);
        return failed;
      }
      EXPECT_TRUE(*result == KBL::resultOk || *result == KBL::resultFailed) << *result;
      if (*result == KBL::resultFailed) ++failed;
    }
    ADD_FAILURE() << "it never had enough";
    return failed;
  }
  /// Ends what an operation started.
  void quieten() {
    manager->cancelLogin();
    EXPECT_TRUE(runUntil([this] { return time->waiters() == 0; }));
  }

  CountingHost counting;
};
