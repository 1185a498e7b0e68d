#include "boundary/transfers/ExternlMediaUpTransfer.h"

#include "scripting/python/PythonCall.h"
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblLogger/KblLogger.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/Result.h>

#include <cstring>

namespace KBL {

RefPtr<ExternlMediaUpTransfer> ExternlMediaUpTransfer::create(int transferPlatform) {
  auto transfer = make();
  transfer->uploadObject_.setTransfer(transfer->weak_from_this());
  // A platform that nothing serves makes a transfer all the same; its operations say so.
  (void)transfer->uploadObject_.SetPlatform(static_cast<std::uint32_t>(transferPlatform));
  return transfer;
}

void* ExternlMediaUpTransfer::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<IExternlMediaTransfer>{"IExternlMediaTransfer"});
}

// Inside a callback nothing is waited for, since it might be the one, or wait for another that waits for it.
void ExternlMediaUpTransfer::fallSilent() {
  const auto events = uploadObject_.events();
  events->close();
  if (InsideHostCode::here() || ScriptOnStack::here() || events->noneRuns()) return;
  waitWithoutPython([&] { events->waitUntilNoneRuns(); });
}

void ExternlMediaUpTransfer::windUp() {
  (void)Stop();
  uploadObject_.end();
}

void ExternlMediaUpTransfer::logThrown(const char* what) {
  KBL_LOG(severityError, "[AuthNUpload] host callback threw: " << what);
}

std::int32_t ExternlMediaUpTransfer::start() {
  const auto record = hostRecord();
  return record == nullptr ? resultNullArgument : uploadObject_.StartUpload(record.get());
}

std::int32_t ExternlMediaUpTransfer::stop() {
  return uploadObject_.StopUpload();
}

std::int32_t ExternlMediaUpTransfer::runCommand(int command, std::va_list arguments) {
  CAuthNUploadObj& object = uploadObject_;
  switch (command) {
    case commandSetRecord:
      return setHostRecord(va_arg(arguments, const void*));
    case commandSetCallback: {
      const auto callback = va_arg(arguments, TransferCallback);
      return callback == nullptr ? resultNullArgument : object.SetCallback(callback);
    }
    case commandPushMessage: {
      auto* const share = va_arg(arguments, hostShareRecord*);
      return share == nullptr ? resultNullArgument : object.PushMessage(share);
    }
    case commandVerifyRedirectUrl: {
      const auto* const url = va_arg(arguments, const char*);
      auto* const error = va_arg(arguments, char*);
      if (url == nullptr || error == nullptr) return resultNullArgument;
      return object.VerifyRedirectURL(url, error);
    }
    case commandSetAccessToken: {
      const auto* const token = va_arg(arguments, const char*);
      auto* const error = va_arg(arguments, char*);
      if (token == nullptr || error == nullptr) return resultNullArgument;
      return object.SetAccessToken(token, error);
    }
    case commandSetAppBrand:
      // Hosts were never told that a brand is unknown.
      (void)object.SetAppBrand(static_cast<int>(va_arg(arguments, long long)));
      return resultOk;
    case commandSetApp: {
      const auto* const id = va_arg(arguments, const char*);
      const auto* const secret = va_arg(arguments, const char*);
      const auto* const redirectUrl = va_arg(arguments, const char*);
      if (id == nullptr || secret == nullptr || redirectUrl == nullptr) return resultNullArgument;
      return object.SetAppIdAndSecret(id, secret, redirectUrl);
    }
    case commandSetContext:
      object.setHostContext(va_arg(arguments, void*));
      return resultOk;
    default:
      return resultUnknownCommand;
  }
}

std::int32_t ExternlMediaUpTransfer::runQuery(int command, std::va_list arguments) {
  CAuthNUploadObj& object = uploadObject_;
  switch (command) {
    case queryLoginUrl: {
      auto* const url = va_arg(arguments, char*);
      return url == nullptr ? resultNullArgument : object.GetLoginURL(url);
    }
    case queryLogout:
      return object.Logout();
    case queryUserInfo: {
      auto* const account = va_arg(arguments, hostAccountRecord*);
      return account == nullptr ? resultNullArgument : object.GetUserInfo(account);
    }
    case queryContext: {
      auto* const context = va_arg(arguments, void**);
      if (context == nullptr) return resultNullArgument;
      *context = object.hostContext();
      return resultOk;
    }
    default:
      return resultUnknownCommand;
  }
}

std::int32_t ExternlMediaUpTransfer::setHostRecord(const void* record) {
  if (record == nullptr) return resultNullArgument;
  auto copy = std::make_shared<hostTransferRecord>();
  // Defaults that never take effect, since the copy replaces all of the record; they stay all the same.
  copy->useClient = 1;
  copy->actionType = 1;
  std::memcpy(copy.get(), record, sizeof(hostTransferRecord));
  const std::lock_guard lock(recordMutex_);
  hostRecord_.swap(copy);
  return resultOk;
}

std::shared_ptr<hostTransferRecord> ExternlMediaUpTransfer::hostRecord() {
  const std::lock_guard lock(recordMutex_);
  return hostRecord_;
}

}  // namespace KBL
