// The errors that a host left pending on its thread outlive an exchange on that thread.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "foundation/BsNet/client/TlsServer.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <string>
#include <vector>

namespace {

/// Two errors of the host's, with a mark between them.
void leaveErrors() {
  ERR_clear_error();
  ERR_raise_data(ERR_LIB_USER, 7, "the host's first");
  ERR_set_mark();
  ERR_raise_data(ERR_LIB_SYS, 5, "the host's second");
}

/// What is pending above the mark and what is pending below it, as text; nothing is afterwards.
std::vector<std::string> takeErrors() {
  std::vector<std::string> errors;
  const auto takeNewest = [&errors] {
    const char* data = "";
    const auto code = ERR_peek_last_error_data(&data, nullptr);
    errors.push_back(std::to_string(ERR_GET_LIB(code)) + " " + std::to_string(ERR_GET_REASON(code)) + " " +
                     data);
  };
  takeNewest();
  EXPECT_EQ(ERR_pop_to_mark(), 1);
  takeNewest();
  EXPECT_EQ(ERR_pop_to_mark(), 0);
  EXPECT_EQ(ERR_peek_error(), 0U);
  return errors;
}

const std::vector<std::string>& hostsErrors() {
  static const std::vector<std::string> errors = {std::to_string(ERR_LIB_SYS) + " 5 the host's second",
                                                  std::to_string(ERR_LIB_USER) + " 7 the host's first"};
  return errors;
}

class ClientTlsErrors : public testing::Test {
 protected:
  TestAuthority authority_;
  TlsServer server_{authority_.sign(loopbackNames)};
};

TEST_F(ClientTlsErrors, PendingOnTheThreadOutliveGoodAndFailedExchanges) {
  leaveErrors();
  {
    const ScopedNetSettings settings({.extraCaFile = authority_.file()});
    EXPECT_EQ(get(server_.url()).content, "secure");
  }
  EXPECT_EQ(get(server_.url()).resultCode, 60);

  EXPECT_EQ(takeErrors(), hostsErrors());
}

TEST_F(ClientTlsErrors, AreThereInACallbackAndWhatItLeavesStays) {
  const ScopedNetSettings settings({.extraCaFile = authority_.file()});
  std::vector<std::string> seen;
  Progress progress([&](long long, long long) {
    if (!seen.empty()) return true;
    seen = takeErrors();
    leaveErrors();
    return true;
  });
  leaveErrors();

  EXPECT_EQ(perform(*newClient(), server_.url(), KBL::httpGet, &progress).content, "secure");

  EXPECT_EQ(seen, hostsErrors());
  EXPECT_EQ(takeErrors(), hostsErrors());
}

TEST_F(ClientTlsErrors, OfAnExchangeStayWithTheExchange) {
  ERR_clear_error();

  EXPECT_EQ(get(server_.url()).resultCode, 60);

  EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
