// Hosts call the interfaces by their place in the table of virtual operations, so the places are pinned.

#include "authorize/switchboard/SwitchboardInterfaces.h"
#include "support/SlotOf.h"
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>
#include <ExternlMediaTransfer/IExternlMediaAuthCallback.h>
#include <ExternlMediaTransfer/IExternlMediaDownloadNews.h>
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>

#include <gtest/gtest.h>

#if !defined(_MSC_VER)

using namespace KBL;

TEST(InterfaceSlots, ObjectConvention) {
  expectSlots(0, &IDmBaseObj::AddRef, &IDmBaseObj::Release, &IDmBaseObj::GetProtocol,
              &IDmBaseObj::SetProtocol, &IDmBaseObj::QueryInterfaceByName);
}

TEST(InterfaceSlots, ManagerFollowsTheObjectConvention) {
  expectSlots(5, &IBsExternlMediaAuthorize::init, &IBsExternlMediaAuthorize::setPubParam,
              &IBsExternlMediaAuthorize::setServerProxy, &IBsExternlMediaAuthorize::toExternlMediaAuth,
              &IBsExternlMediaAuthorize::toVerifyAccessToken, &IBsExternlMediaAuthorize::logout,
              &IBsExternlMediaAuthorize::userInfo, &IBsExternlMediaAuthorize::toConsume,
              &IBsExternlMediaAuthorize::cancelLogin, &IBsExternlMediaAuthorize::addAuthCallback,
              &IBsExternlMediaAuthorize::removeAuthCallback, &IBsExternlMediaAuthorize::platform,
              &IBsExternlMediaAuthorize::getAccessToken);
}

TEST(InterfaceSlots, HostCallbackFollowsQueryResponse) {
  expectSlots(0, &IBsRequstCallback::queryResponse, &IExternlMediaAuthCallback::onRequestFinished,
              &IExternlMediaAuthCallback::onLoginUrl, &IExternlMediaAuthCallback::onLoginCallbackUrl,
              &IExternlMediaAuthCallback::onAccessTokenChanged);
}

TEST(InterfaceSlots, WorkersSideOfTheManager) {
  using Callback = IExternlMediaRefreshAccessTokenCallback;
  expectSlots(0, &Callback::cbAsyncRefreshAccessToken, &Callback::cbRequestFailed,
              &Callback::cbRequestForward, &Callback::cbQueryThirdLoginURL,
              &Callback::cbQueryThirdLoginCallbackURL, &Callback::cbRequestNotify, &Callback::setTimedOut,
              &Callback::isTimedOut, &Callback::setFinished, &Callback::copyAuthContext,
              &Callback::isFinished, &Callback::isCanceled, &Callback::updateInfo);
}

TEST(InterfaceSlots, UploadSideHasOneOperation) {
  expectSlots(0, &IExternlMediaUploadFile::asyncUploadMediaFile);
}

TEST(InterfaceSlots, TransferFollowsTheObjectConvention) {
  expectSlots(5, &IExternlMediaTransfer::Start, &IExternlMediaTransfer::Stop, &IExternlMediaTransfer::Command,
              &IExternlMediaTransfer::Query);
}

TEST(InterfaceSlots, DownloadNewsFollowTheObjectConvention) {
  expectSlots(5, &IExternlMediaDownloadNews::HttpStatus, &IExternlMediaDownloadNews::RefuseErrorStatus);
}

#endif
