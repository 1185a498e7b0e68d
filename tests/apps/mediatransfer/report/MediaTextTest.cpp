#include "report/Advice.h"
#include "report/MediaMeter.h"

#include <gmock/gmock.h>

namespace host {
namespace {

using std::chrono::seconds;
using testing::HasSubstr;

TEST(MediaMeter, SaysAmountAndRateOfADownloadOfUnknownSize) {
  EXPECT_EQ(MediaMeter::amountLine(3 << 20, seconds(2)), "3.0 MiB, 1.5 MiB/s");
}

TEST(MediaMeter, SaysNoRateBeforeAnythingHasCome) {
  EXPECT_EQ(MediaMeter::amountLine(0, seconds(2)), "0 B");
  EXPECT_EQ(MediaMeter::amountLine(100, seconds(0)), "100 B");
}

TEST(MediaErrorLine, SaysWhatToDoNextForEveryCode) {
  EXPECT_EQ(
      explainMediaError(1, "Image file write error."),
      "the file cannot be written (1: Image file write error.); check the folder, its rights and the room "
      "on the disk");
  EXPECT_THAT(explainMediaError(10, "Couldn't connect to server"), HasSubstr("check the network"));
  EXPECT_THAT(explainMediaError(10, "HTTP status 404"), HasSubstr("--keep-errors"));
  EXPECT_THAT(explainMediaError(11, "can't read json."), HasSubstr("run the command again later"));
  EXPECT_EQ(explainMediaError(190, "Invalid OAuth access token."),
            "the service said no (190: Invalid OAuth access token.); check the login (or --token) and what "
            "was asked for");
  EXPECT_EQ(explainMediaError(0, ""),
            "the service said no (0); check the login (or --token) and what was asked for");
}

TEST(MediaErrorLine, TellsALimitFromAWriteThatFailed) {
  EXPECT_THAT(explainMediaError(10, "Failed writing", true), HasSubstr("2 GiB or more"));
  EXPECT_THAT(explainMediaError(404, "Not found", true), HasSubstr("the service said no (404"));
}

TEST(MediaErrorLine, ShowsNoTokenAndNoLineBreak) {
  const std::string line = explainMediaError(400, "bad\naccess_token=very-secret-token-of-somebody");
  EXPECT_THAT(line, testing::Not(HasSubstr("very-secret-token-of-somebody")));
  EXPECT_THAT(line, testing::Not(HasSubstr("\n")));
}

}  // namespace
}  // namespace host
