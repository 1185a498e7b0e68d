#include "scripting/python/PythonAuObject.h"

#include "uploaders/proxies/hostField.h"
#include <KblLogger/KblLogger.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/StringUtil.h>

#include <array>
#include <limits>

namespace KBL {

namespace {

constexpr const char* capsuleName = "SetCallback";
constexpr const char* factoryName = "CreateAuInstance";

/// Names of the platforms for the script, by their numbers on the transfer side.
constexpr std::array<const char*, 6> scriptNames = {"facebook", "youtube",   "vimeo",
                                                    "flickr",   "instagram", "twitch"};

/// Flags of the type of an object, without the header that knows where it keeps its type.
unsigned long typeFlags(const PythonCall& python, PyObject* object) {
  PyObject* const type = python->PyObject_Type(object);
  if (type == nullptr) return 0;
  const unsigned long flags = python->PyType_GetFlags(type);
  python->Py_DecRef(type);
  return flags;
}

std::string textOrPrint(const PythonCall& python, PyObject* bytes) {
  const char* const text = bytes == nullptr ? nullptr : python->PyBytes_AsString(bytes);
  if (text != nullptr) return text;
  python.printError();
  return {};
}

std::string reprText(const PythonCall& python, PyObject* object) {
  PyObject* const repr = python->PyObject_Repr(object);
  if (repr == nullptr) return textOrPrint(python, nullptr);
  PyObject* const bytes = python->PyUnicode_AsEncodedString(repr, "utf-8", "strict");
  python->Py_DecRef(repr);
  std::string text = textOrPrint(python, bytes);
  if (bytes != nullptr) python->Py_DecRef(bytes);
  return text;
}

std::string decode(const PythonCall& python, PyObject* result) {
  const unsigned long flags = typeFlags(python, result);
  // The bytes of a text stay behind, one reference a call.
  if ((flags & pyUnicodeSubclass) != 0) return textOrPrint(python, python->PyUnicode_AsUTF8String(result));
  if ((flags & pyBytesSubclass) != 0) return textOrPrint(python, result);
  return reprText(python, result);
}

/// The text of a method's result: text as UTF-8, bytes as they are, anything else by its `repr`; up to its
/// first zero byte. What cannot be read is printed and gives an empty text. Logged, whatever it holds.
std::string PyResult2String(const PythonCall& python, PyObject* result) {
  if (result == nullptr) {
    python.printError();
    return {};
  }
  std::string text = decode(python, result);
  KBL_LOG_AS(severityInfo, "CPythonAuObject::PyResult2String", "py_msg: " << text);
  return text;
}

/// The number of a method's result, null included; -1 for what is none or does not fit.
int numberOf(const PythonCall& python, PyObject* result) {
  constexpr int none = -1;
  if (result == nullptr) return none;
  const long number = python->PyLong_AsLong(result);
  // The same number wherever `long` is longer than the host's 32 bits.
  if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max()) return none;
  return static_cast<int>(number);
}

}  // namespace

std::unique_ptr<CPythonAuObject> CPythonAuObject::create(std::uint64_t life, PyObject* names,
                                                         std::uint32_t platform) {
  if (platform >= scriptNames.size()) return nullptr;
  PyObject* instance = nullptr;
  if (const PythonCall python(life); python && names != nullptr) {
    // Borrowed, and so looked up each time: a script that binds the name anew may free what stood there, even
    // while it runs.
    PyObject* const factory = python->PyDict_GetItemString(names, factoryName);
    if (factory != nullptr) {
      python->Py_IncRef(factory);
      instance = python->PyObject_CallFunction(factory, "s", scriptNames[platform]);
      python->Py_DecRef(factory);
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
  // What is no UTF-8 names no file.
  const bool withThumbnail =
      !thumbnail.empty() && StringUtil::isUtf8(thumbnail.c_str()) && FileUtil::exists(Path(thumbnail));
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
