#pragma once

#include "scripting/python/PythonCall.h"
#include <ExternlMediaTransfer/HostRecords.h>

#include <cstdint>
#include <memory>
#include <string>

namespace KBL {

/// The native function that scripts call with what happened: the value given to SetUserObj, an
/// UploadEventKind and a text. It takes no interpreter lock.
using ScriptCallback = void (*)(std::intptr_t userObject, std::uint32_t code, const char* text);

/// One instance of the class that the script makes for a platform: a method here for each one there, named
/// after it. Each takes the interpreter lock, calls by name and decodes the result. None fails: a failing
/// script shows as an empty text or the number told, and as the traceback that the interpreter prints. Around
/// no instance, and after the interpreter's end, nothing is called and the result is an empty text or 0.
///
/// The instance is not released with this object: it lives until the interpreter ends. Any thread.
class CPythonAuObject {
 public:
  /// Calls "CreateAuInstance" of `names`, the script's module, borrowed and maybe null, with the script's
  /// name of a platform of the transfer side; null for a platform without one. A factory that is missing or
  /// fails leaves an object around nothing, without a print.
  [[nodiscard]] static std::unique_ptr<CPythonAuObject> create(std::uint64_t life, PyObject* names,
                                                               std::uint32_t platform);

  /// SetCallback, and if that worked SetUserObj.
  void SetCallback(ScriptCallback callback, std::int64_t userObject) const;
  void SetBrand(const std::string& brand) const;
  /// Null arrives as None, here and in the two below.
  void SetAppKey(const char* key) const;
  void SetAppSecret(const char* secret) const;
  void SetRedirectURL(const char* url) const;

  [[nodiscard]] std::string GetLoginURL() const;
  /// 0 also when the script failed.
  [[nodiscard]] int VerifyRedirectURL(const char* url) const;
  /// 0 refused, anything else done; -1 when the script failed.
  [[nodiscard]] int SetAccessToken(const char* token) const;
  [[nodiscard]] std::string GetAccessToken() const;
  [[nodiscard]] std::string GetAppKey() const;
  [[nodiscard]] std::string GetAppSecret() const;
  [[nodiscard]] std::string GetUserName() const;
  [[nodiscard]] std::string GetLastError() const;
  /// Any method without arguments that gives a text.
  [[nodiscard]] std::string callForText(const std::string& method) const;
  /// Any method without arguments that gives a number; -1 when the script failed.
  [[nodiscard]] int callForNumber(const std::string& method) const;

  void Logout() const;
  void ShareLink(const std::string& first, const std::string& second) const;
  void StartUpload(const hostTransferRecord& record) const;
  void StopUpload() const;

 private:
  CPythonAuObject(std::uint64_t life, PyObject* instance) : life_(life), instance_(instance) {}

  void callWithText(const char* method, const char* text) const;

  const std::uint64_t life_;
  PyObject* const instance_;
};

}  // namespace KBL
