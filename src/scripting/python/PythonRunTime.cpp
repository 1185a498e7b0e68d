#include "scripting/python/PythonRunTime.h"

#include "foundation/neverFreed.h"
#include "scripting/python/PythonCall.h"
#include "scripting/python/PythonLibrary.h"
#include "scripting/python/PythonThread.h"
#include <KblLogger/KblLogger.h>
#include <KblUtils/FileStream.h>
#include <KblUtils/StringUtil.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <vector>

namespace KBL {

namespace {

constexpr const char* moduleName = "pythonrt";
constexpr const char* scriptFile = "pythondlls/authupload.py";
constexpr const char* importFolders[] = {"python38.zip", "pythondlls", "pysocialnetwork"};
/// Far above any script; a longer file is cut there.
constexpr std::uint64_t scriptSizeLimit = std::uint64_t{64} << 20;

using Clock = std::chrono::high_resolution_clock;

/// Threads of the host may still upload while the process ends.
std::shared_ptr<CPythonRunTime>& instance() {
  static auto& runTime = neverFreed<std::shared_ptr<CPythonRunTime>>();
  return runTime;
}

/// True while there is an instance: one that stands is seen without waiting for its load or its end.
std::atomic<bool> instanceStands = false;

/// Set once the load has been tried and cleared nowhere, on purpose: a host sets the environment up once a
/// process, and an instance after a teardown gets no script any more.
bool libraryLoaded = false;

/// The home as the interpreter wants it, for as long as that lives.
std::wstring& wideHome() {
  static std::wstring& home = neverFreed<std::wstring>();
  return home;
}

/// On the interpreter's own thread; true when it runs then.
bool startInterpreter(const PythonApi& api) {
  api.Py_SetPythonHome(wideHome().c_str());
  api.Py_Initialize();
  if (api.PyEval_InitThreads != nullptr) api.PyEval_InitThreads();
  // Whichever thread imports it first is the one that its end waits for: that must be this one.
  (void)api.PyRun_SimpleStringFlags("import threading", nullptr);
  // This thread gives the interpreter lock up; from now on everybody enters through PyGILState_Ensure.
  PyThreadState* const state = api.PyThreadState_GetUnchecked();
  if (state != nullptr) api.PyEval_ReleaseThread(state);
  return api.Py_IsInitialized() != 0;
}

long long elapsedMs(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

}  // namespace

CPythonRunTime::~CPythonRunTime() {
  (void)end();
}

bool CPythonRunTime::setHomePath(const char* path, int length) {
  if (path == nullptr || instanceStands) return true;
  const std::string home =
      length < 1 ? std::string(path) : std::string(path, static_cast<std::size_t>(length));
  LinesBehindLock lines;
  makeInstance(home, lines);
  lines.write();
  return true;
}

void CPythonRunTime::makeInstance(const std::string& home, LinesBehindLock& lines) {
  const PythonUnlocked unlocked;
  const std::lock_guard lock(pythonMutex);
  if (instance() != nullptr) return;
  const auto start = Clock::now();
  const std::shared_ptr<CPythonRunTime> runTime(new CPythonRunTime);
  runTime->InitPython(home, lines);
  instance() = runTime;
  instanceStands = true;
  lines.add([ms = elapsedMs(start)] {
    KBL_LOG_AS(severityInfo, "KBL::CPythonRunTime::setHomePath", "init python: " << ms << " ms");
  });
}

void CPythonRunTime::InitPython(const std::string& path, LinesBehindLock& lines) {
  if (path.empty()) {
    lines.add([] { KBL_LOG(severityError, "python runtime path not configure"); });
    return;
  }
  pythonHome = path;
  std::clog << "---------->python path:" << path << std::endl;
  const PythonApi* const api = findPython(path, lines);
  if (api == nullptr) return;
  // One that is there may be a former one of ours, still on its way to its end.
  ownsInterpreter_ = PythonThread::instance().holdsInterpreter() || api->Py_IsInitialized() == 0;
  if (ownsInterpreter_) {
    (void)StringUtil::utf8ToWide(path.c_str(), path.size(), wideHome());
    initialised_ = PythonThread::instance().run(*api, startInterpreter, lines);
  } else {
    // The host's own: it has its home, its main thread, which may be this one with the interpreter lock, and
    // its end.
    lines.add([] { KBL_LOG(severityInfo, "python runtime started by the host"); });
    initialised_ = true;
  }
  if (initialised_) life_ = PythonGate::instance().open(*api);
}

std::shared_ptr<CPythonRunTime> CPythonRunTime::getEnvironment() {
  if (!instanceStands) return nullptr;
  LinesBehindLock lines;
  const std::shared_ptr<CPythonRunTime> environment = loadedInstance(lines);
  lines.write();
  return environment;
}

std::shared_ptr<CPythonRunTime> CPythonRunTime::loadedInstance(LinesBehindLock& lines) {
  const PythonUnlocked unlocked;
  const std::lock_guard lock(pythonMutex);
  if (instance() != nullptr && !libraryLoaded) {
    const auto start = Clock::now();
    libraryLoaded = true;  // before the attempt, so that a failed one is not repeated
    instance()->loadScript();
    lines.add([ms = elapsedMs(start)] {
      KBL_LOG_AS(severityInfo, "CPythonRunTime::getEnvironment", "init lib: " << ms << " ms");
    });
  }
  return instance();
}

void CPythonRunTime::loadScript() {
  const PythonCall python(life_);
  if (!python) return;
  readScript();
  loadModule();
}

void CPythonRunTime::readScript() {
  FileStream file;
  if (!file.open(Path(pythonHome + scriptFile), "rb")) return;
  std::vector<char> buffer(static_cast<std::size_t>(std::min(file.size(), scriptSizeLimit)) + 1);
  (void)file.read(buffer.data(), buffer.size() - 1);
  scriptText_ = buffer.data();  // up to its first zero byte
}

void CPythonRunTime::loadModule() {
  const PythonCall python(life_);
  if (!python) return;
  PyObject* const code = python->Py_CompileStringExFlags(scriptText_.c_str(), moduleName, pyFileInput,
                                                         nullptr, pyDefaultOptimisation);
  if (code == nullptr) return python.printError();
  std::clog << "InitRTFunc in path:" << pythonHome << std::endl;
  (void)python->PyRun_SimpleStringFlags("import sys", nullptr);
  for (const char* const folder : importFolders) {
    // The home stands in the literal as it is: a quote in it breaks the statement, a backslash escapes.
    const std::string command = "sys.path.append('" + pythonHome + folder + "')";
    (void)python->PyRun_SimpleStringFlags(command.c_str(), nullptr);
  }
  PyObject* const module = python->PyImport_ExecCodeModule(moduleName, code);
  python->Py_DecRef(code);
  if (module == nullptr) return python.printError();
  // The reference to the module stays behind: its names, and the factory among them, are borrowed from it.
  scriptNames_ = python->PyModule_GetDict(module);
  if (scriptNames_ == nullptr) python.printError();
}

void CPythonRunTime::teardown() {
  if (!instanceStands) return;
  if (endInstance()) return;
  KBL_LOG(severityWarning, "python runtime not ended yet, a script still runs");
}

bool CPythonRunTime::endInstance() {
  const PythonUnlocked unlocked;
  const std::lock_guard lock(pythonMutex);
  if (instance() == nullptr) return true;
  const bool ended = instance()->end();
  instance().reset();
  instanceStands = false;
  return ended;
}

bool CPythonRunTime::end() {
  if (!initialised_.exchange(false)) return true;
  PythonGate::instance().close();
  return !ownsInterpreter_ || PythonThread::instance().end();
}

std::unique_ptr<CPythonAuObject> CPythonRunTime::CreateAuInstance(std::uint32_t platform) const {
  return CPythonAuObject::create(life_, scriptNames_, platform);
}

}  // namespace KBL
