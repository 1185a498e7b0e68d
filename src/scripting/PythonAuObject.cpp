#include "scripting/PythonAuObject.h"

#include "foundation/KblUtils/FileUtil.h"
#include "scripting/PythonResult.h"
#include "uploaders/hostField.h"

#include <array>

namespace KBL {

namespace {

constexpr const char* capsuleName = "SetCallback";
constexpr const char* factoryName = "CreateAuInstance";

/// Names of the platforms for the script, by their numbers on the transfer side.
constexpr std::array<const char*, 6> scriptNames = {"facebook", "youtube",   "vimeo",
                                                    "flickr",   "instagram", "twitch"};

}  // namespace

std::unique_ptr<CPythonAuObject> CPythonAuObject::create(std::uint64_t life, PyObject* names,
                                                         std::uint32_t platform) {
  if (platform >= scriptNames.size()) return nullptr;
  PyObject* instance = nullptr;
  if (const PythonCall python(life); python && names != nullptr) {
    // Borrowed, and so looked up each time: a script that binds the name anew may free what stood there.
    PyObject* const factory = python->PyDict_GetItemString(names, factoryName);
    if (factory != nullptr) {
      instance = python->PyObject_CallFunction(factory, "s", scriptNames[platform]);
    }
  }
  return std::unique_ptr<CPythonAuObject>(new CPythonAuObject(life, instance));
}

void CPythonAuObject::SetCallback(ScriptCallback callback, std::int64_t userObject) const {
  const PythonCall python(life_);
  if (!python || instance_ == nullptr) return;
  PyObject* const capsule = python->PyCapsule_New(reinterpret_cast<void*>(callback), capsuleName, nullptr);
  if (capsule == nullptr) return python.printError();
  PyObject* const arguments = python->Py_BuildValue("(O)", capsule);
  python->Py_DecRef(capsule);
  if (arguments == nullptr) return python.printError();
  // A tuple alone under "O" is taken for the list of arguments: the method gets the capsule.
  const PyObject* result = python->PyObject_CallMethod(instance_, "SetCallback", "O", arguments);
  python->Py_DecRef(arguments);
  if (result != nullptr) {
    result = python->PyObject_CallMethod(instance_, "SetUserObj", "L", static_cast<long long>(userObject));
  }
  if (result == nullptr) python.printError();
}

// The result of a method is never released, here and below, on purpose: a reference stays behind per call, on
// which scripts may rely; results are few and small.
void CPythonAuObject::callWithText(const char* method, const char* text) const {
  const PythonCall python(life_);
  if (!python || instance_ == nullptr) return;
  if (python->PyObject_CallMethod(instance_, method, "s", text) == nullptr) python.printError();
}

void CPythonAuObject::SetBrand(const std::string& brand) const {
  callWithText("SetBrand", brand.c_str());
}

void CPythonAuObject::SetAppKey(const char* key) const {
  callWithText("SetAppKey", key);
}

void CPythonAuObject::SetAppSecret(const char* secret) const {
  callWithText("SetAppSecret", secret);
}

void CPythonAuObject::SetRedirectURL(const char* url) const {
  callWithText("SetRedirectURL", url);
}

std::string CPythonAuObject::GetLoginURL() const {
  return callForText("GetLoginURL");
}

// A failure reads as accepted, as hosts know it: scripts report theirs by the number and GetLastError.
int CPythonAuObject::VerifyRedirectURL(const char* url) const {
  const PythonCall python(life_);
  if (!python || instance_ == nullptr) return 0;
  PyObject* const result = python->PyObject_CallMethod(instance_, "VerifyRedirectURL", "s", url);
  if (result == nullptr) {
    python.printError();
    return 0;
  }
  return python->PyLong_AsInt(result);
}

// A failure reads as -1, which is no refusal, as hosts know it.
int CPythonAuObject::SetAccessToken(const char* token) const {
  const PythonCall python(life_);
  if (!python || instance_ == nullptr) return 0;
  PyObject* const result = python->PyObject_CallMethod(instance_, "SetAccessToken", "s", token);
  if (result == nullptr) python.printError();
  return numberOf(python, result);
}

std::string CPythonAuObject::GetAccessToken() const {
  return callForText("GetAccessToken");
}

std::string CPythonAuObject::GetAppKey() const {
  return callForText("GetAppKey");
}

std::string CPythonAuObject::GetAppSecret() const {
  return callForText("GetAppSecret");
}

std::string CPythonAuObject::GetUserName() const {
  return callForText("GetUserName");
}

std::string CPythonAuObject::GetLastError() const {
  return callForText("GetLastError");
}

std::string CPythonAuObject::callForText(const std::string& method) const {
  const PythonCall python(life_);
  if (!python || instance_ == nullptr) return {};
  PyObject* const result = python->PyObject_CallMethod(instance_, method.c_str(), nullptr);
  if (result == nullptr) {
    python.printError();
    return {};
  }
  return PyResult2String(python, result);
}

int CPythonAuObject::callForNumber(const std::string& method) const {
  const PythonCall python(life_);
  if (!python || instance_ == nullptr) return 0;
  PyObject* const result = python->PyObject_CallMethod(instance_, method.c_str(), nullptr);
  if (result == nullptr) python.printError();
  return numberOf(python, result);
}

// The one call whose failure is neither told nor printed.
void CPythonAuObject::Logout() const {
  const PythonCall python(life_);
  if (!python || instance_ == nullptr) return;
  (void)python->PyObject_CallMethod(instance_, "Logout", nullptr);
}

void CPythonAuObject::ShareLink(const std::string& first, const std::string& second) const {
  const PythonCall python(life_);
  if (!python || instance_ == nullptr) return;
  const PyObject* const result =
      python->PyObject_CallMethod(instance_, "ShareLink", "sss", first.c_str(), second.c_str(), "");
  if (result == nullptr) python.printError();
}

void CPythonAuObject::StartUpload(const hostTransferRecord& record) const {
  const PythonCall python(life_);
  if (!python || instance_ == nullptr) return;
  const std::string file = fieldText(record.filePath);
  const std::string title = fieldText(record.title);
  const std::string description = fieldText(record.description);
  const std::string privacy = fieldText(record.privacy);
  const std::string tags = fieldText(record.tags);
  const std::string category = fieldText(record.category);
  const std::string thumbnail = fieldText(record.thumbnailPath);
  const bool withThumbnail = !thumbnail.empty() && FileUtil::exists(Path(thumbnail));
  // The shorter format leaves the last argument out.
  const PyObject* const result = python->PyObject_CallMethod(
      instance_, "StartUpload", withThumbnail ? "sssssss" : "ssssss", file.c_str(), title.c_str(),
      description.c_str(), privacy.c_str(), tags.c_str(), category.c_str(), thumbnail.c_str());
  if (result == nullptr) python.printError();
}

void CPythonAuObject::StopUpload() const {
  const PythonCall python(life_);
  if (!python || instance_ == nullptr) return;
  if (python->PyObject_CallMethod(instance_, "StopUpload", nullptr) == nullptr) python.printError();
}

}  // namespace KBL
