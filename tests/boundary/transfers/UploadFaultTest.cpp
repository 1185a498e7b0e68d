// Every kind of fault at every request of the chains to TikTok and to Douyin, and the end that the host sees.
#include "boundary/transfers/ImpatientNetwork.h"
#include "boundary/transfers/UploadFixture.h"
#include "support/ManualTimeSource.h"
#include <BsNet/NetworkClients.h>

#include <map>
#include <string_view>

using namespace KBL;
using sandbox::Fault;
using sandbox::Route;
using std::chrono::milliseconds;

namespace {
// How an upload ends: finished, without a word, or with an error whose text begins with what is given.
constexpr std::string_view finished = "finished";
constexpr std::string_view silent = "silent";
constexpr std::string_view noPart = "2111003,no part has arrived";  // a completion without parts
constexpr std::string_view notPossible;                             // the request has nothing to disturb

/// One fault, and the end of an upload that meets it at one of its requests. The parts meet it once, or at
/// every try.
struct Row {
  const char* name;
  Fault fault;
  std::string_view credentials;
  std::string_view entitlement;
  std::string_view tiktokUpload;
  std::string_view douyinOpening;
  std::string_view douyinPartOnce;
  std::string_view douyinPart;
  std::string_view douyinCompletion;
};

std::vector<Row> rows() {
  constexpr std::string_view transport = "2000";
  constexpr std::uint64_t aboveTheLimit = 4U << 20;
  const std::string_view text500 = "500,x";
  // clang-format off
  return {
      {"closed at once", Fault::closeAtOnce(),
       silent, transport, transport, transport, finished, noPart, transport},
      {"reset at once", Fault::resetAtOnce(),
       silent, transport, transport, transport, finished, noPart, transport},
      {"request reset", Fault::resetRequestAfter(1),
       silent, transport, transport, transport, finished, noPart, transport},
      {"answer reset", Fault::resetAnswerAfter(5),
       silent, transport, transport, transport, finished, finished, transport},
      {"stalled", Fault::stall(),
       finished, finished, finished, finished, finished, finished, finished},
      {"request stalled", Fault::stallRequestAfter(1),
       finished, finished, finished, finished, finished, finished, finished},
      {"answer stalled", Fault::stallAnswerAfter(5),
       finished, finished, finished, finished, finished, finished, finished},
      {"slow request", Fault::slowRequest(1, milliseconds(2)),
       finished, finished, finished, notPossible, finished, finished, finished},
      {"slow answer", Fault::slowAnswer(milliseconds(10)),
       finished, finished, finished, finished, finished, finished, finished},
      {"trickling answer", Fault::trickle(9, milliseconds(1)),
       finished, finished, finished, finished, finished, finished, finished},
      {"status 500", Fault::status(500, "x"),
       silent, text500, text500, text500, finished, noPart, text500},
      {"empty body", Fault::body(""),
       silent, "-10000,", silent, silent, finished, noPart, silent},
      {"empty object", Fault::body("{}"),
       silent, "-10000,", silent, "2100005,", noPart, noPart, finished},
      {"array", Fault::body("[]"),
       silent, "-10000,", "-10000,", "-10000,", finished, noPart, "-10000,"},
      {"broken JSON", Fault::brokenJson(),
       silent, "-10000,", silent, silent, finished, finished, silent},
      {"account server's error", Fault::replaceMember("code", "9"),
       silent, "9,", finished, finished, finished, finished, finished},
      {"platform's error", Fault::replaceMember("data.error_code", "7"),
       finished, finished, "7,", "7,", finished, finished, "7,"},
      {"error of a wrong type", Fault::replaceMember("data.error_code", "[7]"),
       finished, finished, "-10000,", "-10000,", finished, finished, "-10000,"},
      {"upload id and share id of wrong types",
       Fault::body(R"({"code":0,"data":{"access_token":"a","upload_id":[1],"share_id":{"a":1}}})"),
       "40102,", finished, silent, "2100005,", noPart, noPart, finished},
      {"data of a wrong type", Fault::replaceMember("data", "\"text\""),
       silent, finished, "-10000,", "-10000,", finished, finished, "-10000,"},
      {"no data", Fault::removeMember("data"),
       "-10002,param invalid", finished, silent, "2100005,", finished, finished, finished},
      {"truncated body", Fault::truncatedBody(5),
       silent, "200018,", "200018,", "200018,", finished, finished, "200018,"},
      {"compressed answer", Fault::gzip(),
       finished, finished, finished, finished, finished, finished, finished},
      {"decompression bomb", Fault::gzipBomb(aboveTheLimit),
       silent, transport, transport, transport, finished, noPart, transport},
      {"huge body", Fault::hugeBody(aboveTheLimit),
       silent, transport, transport, transport, finished, noPart, transport},
      {"deep nesting", Fault::deepNesting(20000),
       silent, "-10000,", silent, silent, finished, noPart, silent},
  };
  // clang-format on
}

/// One request of one chain, and where a row tells of it.
struct Place {
  const char* name;
  NativePlatform platform;
  Route route;
  bool once;  ///< the fault meets one try, not all that follow
  std::string_view Row::*end;
};

void PrintTo(const Place& place, std::ostream* out) {
  *out << place.name;
}

class UploadFault : public UploadFixture, public testing::WithParamInterface<Place> {
 protected:
  UploadFault() : UploadFixture(GetParam().platform) {
    NetSettings smallReplies;
    smallReplies.maxReplyBytes = 1U << 20;
    setNetSettings(smallReplies);
  }
  ~UploadFault() override { setNetSettings({}); }

  /// Uploads once with the fault in its way; false when the chain did not come to an end.
  [[nodiscard]] bool upload(const Fault& fault, EventLog& events) {
    const unsigned times = GetParam().once ? 1 : 0;
    const auto order = sandbox_.orderFault(GetParam().route, fault, 1, times);
    const auto transfer = makeUpload(events, path_, GetParam().platform.transfer);
    EXPECT_EQ(transfer->Start(), 0);
    using Kind = Fault::Kind;
    if (fault.kind == Kind::stall || fault.kind == Kind::stallRequestAfter ||
        fault.kind == Kind::stallAnswerAfter) {
      EXPECT_TRUE(sandbox_.waitForFaults(order, 1, generousLimit));
      sandbox_.clearFaults();
      sandbox_.releaseStalls();
    }
    const bool ended = waitForEnds(++uploads_);
    EXPECT_GE(sandbox_.faultsDelivered(order), 1U);
    sandbox_.clearFaults();
    return ended;
  }

  void expectEnd(const EventLog& events, std::string_view end) const {
    const std::size_t finishes = GetParam().platform.transfer == douyin.transfer ? 2 : 1;
    if (end == finished) {
      EXPECT_EQ(events.count(8), finishes);
      ASSERT_FALSE(events.events().empty());
      EXPECT_EQ(events.events().back().event, 8);
      return;
    }
    EXPECT_EQ(events.count(8), 0U);
    if (end == silent) {
      EXPECT_EQ(events.count(12), 0U);
      return;
    }
    ASSERT_GE(events.count(12), 1U);
    EXPECT_EQ(events.events().back().event, 12);
    EXPECT_THAT(events.events().back().text, testing::StartsWith(std::string(end)));
  }

  InstantTime noPauses_;
  const std::string path_ = makeFile(1000);
  std::size_t uploads_ = 0;
};

TEST_P(UploadFault, OfEveryKindEndsAsDocumented) {
  for (const Row& row : rows()) {
    const std::string_view end = row.*GetParam().end;
    if (end == notPossible) continue;
    SCOPED_TRACE(row.name);
    EventLog events;
    ASSERT_TRUE(upload(row.fault, events));
    expectEnd(events, end);
  }
}

const Place places[] = {
    {"TiktokCredentials", tiktok, Route::clientCredentials, false, &Row::credentials},
    {"TiktokEntitlement", tiktok, Route::consume, false, &Row::entitlement},
    {"TiktokUpload", tiktok, Route::tiktokUpload, false, &Row::tiktokUpload},
    {"DouyinCredentials", douyin, Route::clientCredentials, false, &Row::credentials},
    {"DouyinEntitlement", douyin, Route::consume, false, &Row::entitlement},
    {"DouyinOpening", douyin, Route::douyinUploadInit, false, &Row::douyinOpening},
    {"DouyinPartOnce", douyin, Route::douyinUploadPart, true, &Row::douyinPartOnce},
    {"DouyinPart", douyin, Route::douyinUploadPart, false, &Row::douyinPart},
    {"DouyinCompletion", douyin, Route::douyinUploadComplete, false, &Row::douyinCompletion},
};

INSTANTIATE_TEST_SUITE_P(Requests, UploadFault, testing::ValuesIn(places),
                         [](const auto& test) { return std::string(test.param.name); });

// --- Servers that never answer

class UploadStall : public UploadFault {};

TEST_P(UploadStall, EndsWithTheTimeLimitOfTheRequest) {
  const ImpatientNetwork impatient(3);
  EventLog events;
  const auto order = sandbox_.orderFault(GetParam().route, Fault::stall(), 1, GetParam().once ? 1 : 0);
  const auto transfer = makeUpload(events, path_, GetParam().platform.transfer);
  transfer->Start();
  ASSERT_TRUE(waitForEnds());
  EXPECT_GE(sandbox_.faultsDelivered(order), 1U);
  const bool isPart = GetParam().route == Route::douyinUploadPart;
  expectEnd(events, GetParam().route == Route::clientCredentials ? silent
                    : GetParam().once                            ? finished
                    : isPart                                     ? noPart
                                                                 : "200028,");
}

INSTANTIATE_TEST_SUITE_P(Requests, UploadStall, testing::ValuesIn(places),
                         [](const auto& test) { return std::string(test.param.name); });

// --- Servers that refuse every connection

/// One request of one chain goes to such a server.
struct DeadPlace {
  const char* name;
  NativePlatform platform;
  const char* urlKey;
  std::string_view end;
};

void PrintTo(const DeadPlace& place, std::ostream* out) {
  *out << place.name;
}

class DeadServer : public UploadFixture, public testing::WithParamInterface<DeadPlace> {
 protected:
  DeadServer() : UploadFixture(GetParam().platform) {
    dead_.setListening(false);
    std::map<std::string, std::string> config = sandbox_.cloudConfig();
    config.at(GetParam().urlKey) = dead_.cloudConfig().at(GetParam().urlKey);
    setCloudConfig(config);
  }

  InstantTime noPauses_;
  sandbox::Sandbox dead_;
};

TEST_P(DeadServer, EndsTheUploadAsDocumented) {
  const auto transfer = makeUploadOf(makeFile(10));
  EXPECT_EQ(transfer->Start(), 0);
  ASSERT_TRUE(waitForEnds());
  EXPECT_TRUE(dead_.requests().empty());
  EXPECT_EQ(events_.count(8), 0U);
  if (GetParam().end == silent) {
    EXPECT_TRUE(events_.events().empty());
    return;
  }
  ASSERT_FALSE(events_.events().empty());
  EXPECT_EQ(events_.events().back().event, 12);
  EXPECT_THAT(events_.events().back().text, testing::StartsWith(std::string(GetParam().end)));
}

constexpr std::string_view noConnection = "200007,";
const DeadPlace deadPlaces[] = {
    {"YoutubeCredentials", youtube, "urlLFServerClientCredentials", silent},
    {"TiktokCredentials", tiktok, "urlLFServerClientCredentials", silent},
    {"TiktokEntitlement", tiktok, "urlUserSupportQueryConsume", noConnection},
    {"TiktokUpload", tiktok, "urlExternlMediaAuthTiktokUpload", noConnection},
    {"DouyinCredentials", douyin, "urlLFServerClientCredentials", silent},
    {"DouyinEntitlement", douyin, "urlUserSupportQueryConsume", noConnection},
    {"DouyinOpening", douyin, "urlExternlMediaAuthDouyinVideoPartInit", noConnection},
    {"DouyinPart", douyin, "urlExternlMediaAuthDouyinVideoPartUpload", noPart},
    {"DouyinCompletion", douyin, "urlExternlMediaAuthDouyinVideoPartComplete", noConnection},
};

INSTANTIATE_TEST_SUITE_P(Requests, DeadServer, testing::ValuesIn(deadPlaces),
                         [](const auto& test) { return std::string(test.param.name); });
}  // namespace
