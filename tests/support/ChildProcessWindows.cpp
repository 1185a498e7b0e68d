#include "foundation/system/System.h"
#include "support/ChildProcess.h"

#include <windows.h>

#include <array>
#include <cstddef>
#include <initializer_list>
#include <stdexcept>

namespace {

struct CloseLater {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<HANDLE, CloseLater>;

SECURITY_ATTRIBUTES inheritable() {
  return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
}

/// A word of a command line, in the form that programs take it apart by.
std::string quoted(const std::string& word) {
  std::string text = "\"";
  std::size_t backslashes = 0;
  for (const char letter : word) {
    if (letter == '"') text.append(backslashes + 1, '\\');
    backslashes = letter == '\\' ? backslashes + 1 : 0;
    text += letter;
  }
  return text.append(backslashes, '\\') + '"';
}

std::wstring commandLineOf(const std::vector<std::string>& command) {
  std::string line;
  for (const std::string& word : command) line += (line.empty() ? "" : " ") + quoted(word);
  return KBL::System::nativePath(line).wstring();
}

/// One of this process's own streams, for a child; null when there is none.
UniqueHandle ownStream(DWORD kind) {
  HANDLE copy = nullptr;
  DuplicateHandle(GetCurrentProcess(), GetStdHandle(kind), GetCurrentProcess(), &copy, 0, TRUE,
                  DUPLICATE_SAME_ACCESS);
  return UniqueHandle(copy);
}

/// The handles that a child inherits, and no others, whatever else is started at the same time.
class Inheritance {
 public:
  explicit Inheritance(std::initializer_list<HANDLE> handles) {
    for (const HANDLE handle : handles) {
      if (handle != nullptr) handles_.push_back(handle);
    }
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_.resize(size);
    if (InitializeProcThreadAttributeList(list(), 1, 0, &size) == 0) throw std::runtime_error("no list");
    UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                              handles_.size() * sizeof(HANDLE), nullptr, nullptr);
  }
  ~Inheritance() { DeleteProcThreadAttributeList(list()); }
  Inheritance(const Inheritance&) = delete;
  Inheritance& operator=(const Inheritance&) = delete;

  [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST list() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
  }

 private:
  std::vector<HANDLE> handles_;
  std::vector<std::byte> memory_;
};

}  // namespace

struct ChildProcess::Process {
  UniqueHandle handle;
  DWORD number = 0;
  UniqueHandle output;

  void start(const std::vector<std::string>& command, HANDLE outputs, HANDLE errors) {
    const UniqueHandle input = ownStream(STD_INPUT_HANDLE);
    const UniqueHandle ownErrors = errors == nullptr ? ownStream(STD_ERROR_HANDLE) : nullptr;
    // Named twice, a handle is refused.
    Inheritance inheritance{input.get(), outputs, ownErrors.get()};
    STARTUPINFOEXW start{};
    start.StartupInfo.cb = sizeof(start);
    start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    start.StartupInfo.hStdInput = input.get();
    start.StartupInfo.hStdOutput = outputs;
    start.StartupInfo.hStdError = errors == nullptr ? ownErrors.get() : errors;
    start.lpAttributeList = inheritance.list();
    std::wstring line = commandLineOf(command);
    PROCESS_INFORMATION process{};
    // A group of its own: an interrupt reaches it alone.
    if (CreateProcessW(KBL::System::nativePath(command[0]).c_str(), line.data(), nullptr, nullptr, TRUE,
                       EXTENDED_STARTUPINFO_PRESENT | CREATE_NEW_PROCESS_GROUP, nullptr, nullptr,
                       &start.StartupInfo, &process) == 0) {
      throw std::runtime_error("cannot start " + command[0]);
    }
    CloseHandle(process.hThread);
    handle.reset(process.hProcess);
    number = process.dwProcessId;
  }
};

ChildProcess::ChildProcess(const std::vector<std::string>& command) : process_(std::make_unique<Process>()) {
  SECURITY_ATTRIBUTES attributes = inheritable();
  HANDLE reading = nullptr;
  HANDLE writing = nullptr;
  if (CreatePipe(&reading, &writing, &attributes, 0) == 0) throw std::runtime_error("no pipe");
  process_->output.reset(reading);
  const UniqueHandle end(writing);
  SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);
  process_->start(command, writing, nullptr);
}

ChildProcess::ChildProcess(const std::vector<std::string>& command, const std::string& log)
    : process_(std::make_unique<Process>()) {
  SECURITY_ATTRIBUTES attributes = inheritable();
  const HANDLE opened = CreateFileW(KBL::System::nativePath(log).c_str(), FILE_APPEND_DATA,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &attributes,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (opened == INVALID_HANDLE_VALUE) throw std::runtime_error("cannot open " + log);
  const UniqueHandle file(opened);
  process_->start(command, opened, opened);
}

ChildProcess::~ChildProcess() {
  if (process_->handle == nullptr) return;
  kill();
  (void)wait();
}

std::string ChildProcess::readSome() {
  std::string bytes(4096, '\0');
  DWORD count = 0;
  if (ReadFile(process_->output.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) == 0)
    count = 0;
  bytes.resize(count);
  return bytes;
}

void ChildProcess::interrupt() const {
  GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, process_->number);
}

void ChildProcess::terminate() const {
  interrupt();
}

void ChildProcess::kill() const {
  TerminateProcess(process_->handle.get(), static_cast<UINT>(killed));
}

int ChildProcess::wait() {
  DWORD code = 0;
  WaitForSingleObject(process_->handle.get(), INFINITE);
  GetExitCodeProcess(process_->handle.get(), &code);
  process_->handle.reset();
  return static_cast<int>(code);
}
