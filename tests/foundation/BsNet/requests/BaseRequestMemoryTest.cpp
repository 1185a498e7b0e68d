// Runs of a request that cannot begin for want of memory.
#include "foundation/BsNet/requests/BaseRequestFixture.h"
#include "support/FailingAllocation.h"
#include "support/ReferenceCount.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <array>

using KBL::BsErrorInfo;
using KBL::makeRef;

namespace {

TEST(BaseRequestMemory, ARunThatCannotBeginIsRefusedAndLeavesTheNextOneFree) {
  constexpr int moreThanThereAre = 50;
  const ScriptedNetwork network(okReply());
  const auto param = paramFor("http://a/");
  const auto error = makeRef<BsErrorInfo>();
  bool ranShort = true;
  int refused = 0;
  for (int successes = 0; ranShort && successes < moreThanThereAre; ++successes) {
    SCOPED_TRACE(successes);
    const auto request = makeRef<Request>();
    KBL::_Result result = KBL::resultOk;
    {
      const ScopedFailingAllocation shortage(successes);
      EXPECT_NO_THROW(result = request->asyncRequest(param.get(), error.get(), false));
    }
    ranShort = ScopedFailingAllocation::hasFailed();
    EXPECT_EQ(result, ranShort ? KBL::resultFailed : KBL::resultOk);
    if (ranShort) {
      ++refused;
      EXPECT_EQ(request->isAsyncRequestFinished(), 1);
      EXPECT_EQ(referencesTo(*request), 1);
      EXPECT_EQ(request->asyncRequest(param.get(), error.get(), false), KBL::resultOk);
    }
    EXPECT_TRUE(waitUntil([&] { return request->isAsyncRequestFinished() == 1; }));
    request->clearAsyncRequest();
  }
  EXPECT_FALSE(ranShort);
  EXPECT_GT(refused, 1);
}

TEST(BaseRequestMemory, AnAnswerNeedsNone) {
  const auto request = makeRef<Request>();
  std::array<RequestListener, 9> counters;
  for (std::size_t count = 1; count < counters.size(); ++count) {
    ASSERT_EQ(request->addCallback(&counters[count - 1], false), KBL::resultOk);
    const ScopedFailingAllocation shortage(0);
    EXPECT_NO_THROW(request->_callback(nullptr, nullptr, false));
    EXPECT_NO_THROW(request->_callback(nullptr, nullptr, true));
    EXPECT_EQ(counters[count - 1].calls, 2);
    EXPECT_FALSE(ScopedFailingAllocation::hasFailed());
  }
  ASSERT_EQ(request->addCallback(&counters.back(), false), KBL::resultOk);
  request->_callback(nullptr, nullptr, false);
  EXPECT_EQ(counters.back().calls, 1);
  EXPECT_EQ(counters.front().calls, 17);
}

}  // namespace
