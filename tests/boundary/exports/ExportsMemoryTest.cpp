// The exports when memory runs out, at each allocation of a call in turn: they answer as declared, nothing
// leaks and the next call succeeds.
#include "support/FailingAllocation.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

using namespace KBL;

namespace {

constexpr int moreThanAnyCallNeeds = 1000;

/// Runs `call` until it needs no allocation that fails; how many failed.
int runShortOfMemory(const std::function<void(bool failed)>& check, const std::function<void()>& call) {
  for (int successes = 0; successes < moreThanAnyCallNeeds; ++successes) {
    bool failed = false;
    {
      const ScopedFailingAllocation shortage(successes);
      call();
      failed = ScopedFailingAllocation::hasFailed();
    }
    check(failed);
    if (!failed) return successes;
  }
  return moreThanAnyCallNeeds;
}

/// How many allocations of `make` give null when they fail; whatever it gives is released.
template <class Object>
int countNulls(const std::function<Object*()>& make) {
  Object* made = nullptr;
  const auto check = [&](bool failed) {
    EXPECT_EQ(made == nullptr, failed);
    if (made == nullptr) return;
    EXPECT_EQ(made->Release(), 0);
  };
  return runShortOfMemory(check, [&] { made = make(); });
}

}  // namespace

TEST(ExportsMemory, AManagerThatCannotBeMadeIsNull) {
  for (int platform = 0; platform < ema_count; ++platform) {
    EXPECT_GE(
        countNulls<IBsExternlMediaAuthorize>([&] { return getOrCreateExternlMediaAuthorize(platform); }), 1);
    EXPECT_EQ(getExternlMediaAuthorize(platform), nullptr);
  }
}

TEST(ExportsMemory, ARecordThatCannotBeMadeIsNull) {
  for (int type = 400; type <= 406; ++type) {
    EXPECT_GE(countNulls<IBsInfoReader>([&] { return createExternlMediaAuthInfoObject(type); }), 1) << type;
  }
}

TEST(ExportsMemory, AnUploadTransferThatCannotBeMadeIsNull) {
  for (int platform = 0; platform <= 7; ++platform) {
    EXPECT_GE(countNulls<IExternlMediaTransfer>([&] { return createEMTUpTransfer(platform); }), 1)
        << platform;
  }
}

TEST(ExportsMemory, AnEnvironmentThatCannotBeSetUpIsAFailure) {
  std::int32_t result = -1;
  int failures = 0;
  const auto check = [&](bool failed) {
    // What only the search for an interpreter lacked is no failure: it finds none then.
    EXPECT_TRUE(result == 0 || (failed && result == 1)) << result;
    failures += result;
    EXPECT_EQ(teardownTransferEnv(), 0);
  };
  EXPECT_GE(runShortOfMemory(check, [&] { result = setupTransferEnv("", 0); }), 2);
  EXPECT_GE(failures, 1);
}

TEST(ExportsMemory, AHomeThatCannotBeKeptIsAFailure) {
  const std::string home(5000, 'h');
  const ScopedFailingAllocation shortage(0);
  EXPECT_EQ(setupTransferEnv(home.c_str(), 0), 1);
  EXPECT_TRUE(ScopedFailingAllocation::hasFailed());
}
