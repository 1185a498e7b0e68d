#include "boundary/ExternlMediaUpTransfer.h"

#include "foundation/BsNet/Result.h"
#include "foundation/object/CastByName.h"
#include "scripting/threadEnd.h"

#include <cstring>

namespace KBL {

namespace {
enum UploadCommand : int {
  commandSetRecord = 0,
  commandSetCallback = 1,
  commandPushMessage = 2,
  queryLoginUrl = 3,
  queryLogout = 4,
  commandVerifyRedirectUrl = 5,
  commandSetAccessToken = 6,
  queryUserInfo = 7,
  commandSetAppBrand = 8,
  commandSetApp = 9,
  hostContext = 15,
};

/// Runs an operation of the host's; memory that runs out is a failure like any other.
template <class Operation>
std::int32_t withoutException(Operation operation) {
  try {
    return operation();
  } catch (...) {
    passThreadEnd();
    return resultFailed;
  }
}
}  // namespace

ExternlMediaUpTransfer::ExternlMediaUpTransfer(int transferPlatform)
    : uploadObject_(std::make_shared<CAuthNUploadObj>()) {
  uploadObject_->setTransfer(this);
  // A platform that nothing serves makes a transfer all the same; its operations say so.
  (void)uploadObject_->SetPlatform(static_cast<std::uint32_t>(transferPlatform));
}

ExternlMediaUpTransfer::~ExternlMediaUpTransfer() {
  (void)withoutException([this] { return uploadObject_->StopUpload(); });
  hostRecord_.reset();
}

int ExternlMediaUpTransfer::Release() {
  const auto events = uploadObject_->events();
  const int left = events->releaseTransfer([this] { return dropReference(); });
  if (left == 0) destroyUnreferenced();
  return left;
}

void* ExternlMediaUpTransfer::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<IExternlMediaTransfer>{"IExternlMediaTransfer"});
}

std::int32_t ExternlMediaUpTransfer::Start() {
  const auto record = hostRecord_;
  if (record == nullptr) return resultNullArgument;
  const auto object = uploadObject_;
  return withoutException([&] { return object->StartUpload(record.get()); });
}

std::int32_t ExternlMediaUpTransfer::Stop() {
  const auto object = uploadObject_;
  return withoutException([&] { return object->StopUpload(); });
}

// NOLINTNEXTLINE(cert-dcl50-cpp): hosts are built against these arguments
std::int32_t ExternlMediaUpTransfer::Command(int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  const auto object = uploadObject_;
  const std::int32_t result = withoutException([&] { return runCommand(*object, command, arguments); });
  va_end(arguments);
  return result;
}

// NOLINTNEXTLINE(cert-dcl50-cpp): hosts are built against these arguments
std::int32_t ExternlMediaUpTransfer::Query(int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  const auto object = uploadObject_;
  const std::int32_t result = withoutException([&] { return runQuery(*object, command, arguments); });
  va_end(arguments);
  return result;
}

std::int32_t ExternlMediaUpTransfer::runCommand(CAuthNUploadObj& object, int command,
                                                std::va_list arguments) {
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
    case hostContext:
      object.setHostContext(va_arg(arguments, void*));
      return resultOk;
    default:
      return resultUnknownCommand;
  }
}

std::int32_t ExternlMediaUpTransfer::runQuery(CAuthNUploadObj& object, int command, std::va_list arguments) {
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
    case hostContext: {
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
  hostRecord_ = std::make_shared<hostTransferRecord>();
  // Defaults that never take effect, since the copy replaces all of the record; they stay all the same.
  hostRecord_->useClient = 1;
  hostRecord_->actionType = 1;
  std::memcpy(hostRecord_.get(), record, sizeof(hostTransferRecord));
  return resultOk;
}

}  // namespace KBL
