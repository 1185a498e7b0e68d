// Hosts call the interfaces by their place in the table of virtual operations, so the places are pinned.

#include "authorize/switchboard/IBsExternlMediaAuthorize.h"
#include "authorize/switchboard/IExternlMediaAuthCallback.h"
#include "authorize/switchboard/IExternlMediaRefreshAccessTokenCallback.h"
#include "authorize/switchboard/IExternlMediaTransfer.h"
#include "authorize/switchboard/IExternlMediaUploadFile.h"

#include <gtest/gtest.h>

#include <cstring>

#if !defined(_MSC_VER)

using namespace KBL;

namespace {
/// The slot of a virtual operation: a pointer to it holds, in its first word, one more than the offset of its
/// entry.
template <class Operation>
std::size_t slotOf(Operation operation) {
  static_assert(sizeof(operation) == 2 * sizeof(std::size_t));
  std::size_t words[2];
  std::memcpy(words, &operation, sizeof(words));
  EXPECT_EQ(words[0] % sizeof(void*), 1U);
  return (words[0] - 1) / sizeof(void*);
}
}  // namespace

TEST(InterfaceSlots, ObjectConvention) {
  EXPECT_EQ(slotOf(&IDmBaseObj::AddRef), 0U);
  EXPECT_EQ(slotOf(&IDmBaseObj::Release), 1U);
  EXPECT_EQ(slotOf(&IDmBaseObj::GetProtocol), 2U);
  EXPECT_EQ(slotOf(&IDmBaseObj::SetProtocol), 3U);
  EXPECT_EQ(slotOf(&IDmBaseObj::QueryInterfaceByName), 4U);
}

TEST(InterfaceSlots, ManagerFollowsTheObjectConvention) {
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::init), 5U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::setPubParam), 6U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::setServerProxy), 7U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::toExternlMediaAuth), 8U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::toVerifyAccessToken), 9U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::logout), 10U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::userInfo), 11U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::toConsume), 12U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::cancelLogin), 13U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::addAuthCallback), 14U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::removeAuthCallback), 15U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::platform), 16U);
  EXPECT_EQ(slotOf(&IBsExternlMediaAuthorize::getAccessToken), 17U);
}

TEST(InterfaceSlots, HostCallbackFollowsQueryResponse) {
  EXPECT_EQ(slotOf(&IBsRequstCallback::queryResponse), 0U);
  EXPECT_EQ(slotOf(&IExternlMediaAuthCallback::onRequestFinished), 1U);
  EXPECT_EQ(slotOf(&IExternlMediaAuthCallback::onLoginUrl), 2U);
  EXPECT_EQ(slotOf(&IExternlMediaAuthCallback::onLoginCallbackUrl), 3U);
  EXPECT_EQ(slotOf(&IExternlMediaAuthCallback::onAccessTokenChanged), 4U);
}

TEST(InterfaceSlots, WorkersSideOfTheManager) {
  using Callback = IExternlMediaRefreshAccessTokenCallback;
  EXPECT_EQ(slotOf(&Callback::cbAsyncRefreshAccessToken), 0U);
  EXPECT_EQ(slotOf(&Callback::cbRequestFailed), 1U);
  EXPECT_EQ(slotOf(&Callback::cbRequestForward), 2U);
  EXPECT_EQ(slotOf(&Callback::cbQueryThirdLoginURL), 3U);
  EXPECT_EQ(slotOf(&Callback::cbQueryThirdLoginCallbackURL), 4U);
  EXPECT_EQ(slotOf(&Callback::cbRequestNotify), 5U);
  EXPECT_EQ(slotOf(&Callback::setTimedOut), 6U);
  EXPECT_EQ(slotOf(&Callback::isTimedOut), 7U);
  EXPECT_EQ(slotOf(&Callback::setFinished), 8U);
  EXPECT_EQ(slotOf(&Callback::copyAuthContext), 9U);
  EXPECT_EQ(slotOf(&Callback::isFinished), 10U);
  EXPECT_EQ(slotOf(&Callback::isCanceled), 11U);
  EXPECT_EQ(slotOf(&Callback::updateInfo), 12U);
}

TEST(InterfaceSlots, UploadSideHasOneOperation) {
  EXPECT_EQ(slotOf(&IExternlMediaUploadFile::asyncUploadMediaFile), 0U);
}

TEST(InterfaceSlots, TransferFollowsTheObjectConvention) {
  EXPECT_EQ(slotOf(&IExternlMediaTransfer::Start), 5U);
  EXPECT_EQ(slotOf(&IExternlMediaTransfer::Stop), 6U);
  EXPECT_EQ(slotOf(&IExternlMediaTransfer::Command), 7U);
  EXPECT_EQ(slotOf(&IExternlMediaTransfer::Query), 8U);
}

#endif
