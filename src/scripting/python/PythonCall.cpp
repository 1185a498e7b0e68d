#include "scripting/python/PythonCall.h"

#include "foundation/neverFreed.h"
#include "scripting/python/PythonLibrary.h"

namespace KBL {

namespace {
constexpr const char* markName = "_mediatransfer";

thread_local int scriptsOnStack = 0;

/// True when this thread has the interpreter lock.
bool holdsLock(const PythonApi& api) {
  const PyThreadState* const own = api.PyGILState_GetThisThreadState();
  return own != nullptr && own == api.PyThreadState_GetUnchecked();
}
}  // namespace

PythonGate& PythonGate::instance() {
  static PythonGate& gate = neverFreed<PythonGate>();
  return gate;
}

/// Puts a new mark into the interpreter, whose lock this thread has; null when there is no place for it.
PyObject* PythonGate::putMark(const PythonApi& api) {
  PyObject* const mark = api.PyCapsule_New(&instance(), markName, &PythonGate::noteEnd);
  const bool stands = mark != nullptr && api.PySys_SetObject(markName, mark) == 0;
  if (!stands) api.PyErr_Clear();
  if (mark != nullptr) api.Py_DecRef(mark);
  return stands ? mark : nullptr;
}

/// Called by the interpreter that ends, as it lets go of the mark; also for one that a newer mark replaces.
void PythonGate::noteEnd(PyObject* mark) {
  (void)instance().mark_.compare_exchange_strong(mark, nullptr);
}

std::uint64_t PythonGate::open(const PythonApi& api) {
  const int lockState = api.PyGILState_Ensure();
  PyObject* const mark = putMark(api);
  api.PyGILState_Release(lockState);
  if (mark == nullptr) return 0;
  const std::lock_guard lock(mutex_);
  mark_ = mark;
  api_ = &api;
  open_ = true;
  return ++life_;
}

void PythonGate::close() {
  const std::lock_guard lock(mutex_);
  open_ = false;
}

void PythonGate::waitUntilEmpty() {
  std::unique_lock lock(mutex_);
  empty_.wait(lock, [this] { return inside_ == 0; });
}

const PythonApi* PythonGate::enter(std::uint64_t life) {
  const std::lock_guard lock(mutex_);
  if (!runs() || life != life_) return nullptr;
  ++inside_;
  return api_;
}

void PythonGate::leave() {
  const std::lock_guard lock(mutex_);
  if (--inside_ == 0) empty_.notify_all();
}

bool PythonGate::isMarked(const PythonApi& api) const {
  const PyObject* const mark = mark_;
  return mark != nullptr && api.PySys_GetObject(markName) == mark;
}

const PythonApi* PythonGate::running() const {
  const std::lock_guard lock(mutex_);
  return runs() ? api_ : nullptr;
}

std::uint64_t PythonGate::lastLife() const {
  const std::lock_guard lock(mutex_);
  return life_;
}

bool PythonGate::runs(std::uint64_t life) const {
  const std::lock_guard lock(mutex_);
  return runs() && life == life_;
}

// Where nothing runs the lock cannot be taken, nor the mark be looked for.
bool PythonGate::runs() const {
  return open_ && mark_ != nullptr && api_->Py_IsInitialized() != 0;
}

ScriptOnStack::ScriptOnStack() {
  ++scriptsOnStack;
}

ScriptOnStack::~ScriptOnStack() {
  --scriptsOnStack;
}

bool ScriptOnStack::here() {
  return scriptsOnStack != 0;
}

PythonCall::PythonCall(std::uint64_t life) : pass_(life) {
  if (pass_.api == nullptr) return;
  const int lockState = pass_.api->PyGILState_Ensure();
  if (PythonGate::instance().isMarked(*pass_.api)) {
    api_ = pass_.api;
    lockState_ = lockState;
  } else {
    pass_.api->PyGILState_Release(lockState);
  }
}

PythonCall::~PythonCall() noexcept(false) {
  // Without the lock comes a thread that an interpreter takes with it, which the host has ended meanwhile.
  if (api_ == nullptr || !holdsLock(*api_)) return;
  // An error that nobody asked for would be taken for the next call's on a thread that keeps its state.
  api_->PyErr_Clear();
  api_->PyGILState_Release(lockState_);
}

void PythonCall::printError() const {
  if (api_->PyErr_ExceptionMatches(*api_->PyExc_SystemExit) != 0) {
    api_->PyErr_WriteUnraisable(nullptr);
    return;
  }
  api_->PyErr_Print();
}

PythonUnlocked::PythonUnlocked() : api_(findLoadedPython()) {
  if (api_ == nullptr || api_->Py_IsInitialized() == 0) return;
  // Scripts come with the lock only where their function keeps it. The interpreter might end before they get
  // it back.
  if (ScriptOnStack::here()) return;
  if (holdsLock(*api_)) state_ = api_->PyEval_SaveThread();
}

// Where the interpreter has ended meanwhile there is no lock to come back to; should it be about to end, it
// takes the thread with it.
PythonUnlocked::~PythonUnlocked() noexcept(false) {
  if (state_ != nullptr && api_->Py_IsInitialized() != 0) api_->PyEval_RestoreThread(state_);
}

}  // namespace KBL
