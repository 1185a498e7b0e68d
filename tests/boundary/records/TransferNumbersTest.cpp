// Hosts are compiled with these numbers, so they never change.
#include <ExternlMediaTransfer/DownloadRecords.h>
#include <ExternlMediaTransfer/ExternlMediaPlatform.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <ExternlMediaTransfer/Version.h>
#include <KblUtils/Result.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

template <class... Numbers>
std::vector<int> numbers(Numbers... values) {
  return {static_cast<int>(values)...};
}

TEST(TransferNumbers, Platforms) {
  using namespace KBL;
  EXPECT_THAT(numbers(transferFacebook, transferYoutube, transferVimeo, transferFlickr, transferInstagram,
                      transferTwitch, transferTiktok, transferDouyin),
              ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
  EXPECT_THAT(numbers(ema_none, ema_youtube, ema_vimeo, ema_tiktok, ema_douyin, ema_count),
              ElementsAre(-1, 0, 1, 2, 3, 4));
}

TEST(TransferNumbers, CommandsOfAnUpload) {
  using namespace KBL;
  EXPECT_THAT(numbers(commandSetRecord, commandSetCallback, commandPushMessage, commandVerifyRedirectUrl,
                      commandSetAccessToken, commandSetAppBrand, commandSetApp, commandSetContext),
              ElementsAre(0, 1, 2, 5, 6, 8, 9, 15));
}

TEST(TransferNumbers, CommandsOfADownload) {
  using namespace KBL;
  EXPECT_THAT(numbers(commandDownloadFile, commandListFacebookAlbums, commandListFacebookMedia,
                      commandListFlickrMedia, commandListInstagramMedia, commandSetContext),
              ElementsAre(10, 11, 12, 13, 14, 15));
}

TEST(TransferNumbers, Queries) {
  using namespace KBL;
  EXPECT_THAT(numbers(queryLoginUrl, queryLogout, queryUserInfo, queryContext), ElementsAre(3, 4, 7, 15));
}

TEST(TransferNumbers, Events) {
  using namespace KBL;
  EXPECT_THAT(
      numbers(transferEventProgress, transferEventFinished, transferEventTokenInvalid, transferEventError),
      ElementsAre(7, 8, 9, 12));
}

TEST(TransferNumbers, Results) {
  using namespace KBL;
  EXPECT_THAT(numbers(resultOk, resultFailed, resultNullArgument, resultNoObject, resultNotStarted,
                      resultUnknownCommand),
              ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST(TransferNumbers, RecordTypes) {
  using namespace KBL;
  EXPECT_THAT(numbers(infoTypeLogin, infoTypeRefreshToken, infoTypeVerifyAccessToken, infoTypeUser,
                      infoTypeConsume, infoTypeMixed, infoTypeUpload),
              ElementsAre(400, 401, 402, 403, 404, 405, 406));
}

TEST(TransferNumbers, ErrorsOfTheMediaTasks) {
  EXPECT_THAT(
      numbers(KBL::MediaError::localFile, KBL::MediaError::fetchFailed, KBL::MediaError::unusableReply),
      ElementsAre(1, 10, 11));
  EXPECT_STREQ(KBL::facebookVideoAlbum, "FACEBOOK_VIDEO");
}

TEST(TransferNumbers, TheVersionHasThreeParts) {
  EXPECT_EQ(std::string(KBL::transferVersion), std::to_string(KBL_TRANSFER_VERSION_MAJOR) + "." +
                                                   std::to_string(KBL_TRANSFER_VERSION_MINOR) + "." +
                                                   std::to_string(KBL_TRANSFER_VERSION_PATCH));
}

}  // namespace
