#include "scripting/PythonCall.h"

namespace KBL {

namespace {
thread_local int scriptsOnStack = 0;

/// True when this thread has the interpreter lock.
bool holdsLock(const PythonApi& api) {
  const PyThreadState* const own = api.PyGILState_GetThisThreadState();
  return own != nullptr && own == api.PyThreadState_GetUnchecked();
}
}  // namespace

PythonGate& PythonGate::instance() {
  static PythonGate& gate = *new PythonGate;
  return gate;
}

std::uint64_t PythonGate::open(const PythonApi& api) {
  const std::lock_guard lock(mutex_);
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

const PythonApi* PythonGate::running() const {
  const std::lock_guard lock(mutex_);
  return runs() ? api_ : nullptr;
}

// A host may have ended the one that it had started, without a word to us.
bool PythonGate::runs() const {
  return open_ && api_->Py_IsInitialized() != 0;
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

PythonCall::PythonCall(std::uint64_t life) : api_(PythonGate::instance().enter(life)) {
  if (api_ != nullptr) lockState_ = api_->PyGILState_Ensure();
}

PythonCall::~PythonCall() {
  if (api_ == nullptr) return;
  // Without the lock comes a thread that an interpreter takes with it, which the host has ended meanwhile.
  if (holdsLock(*api_)) {
    // An error that nobody asked for would be taken for the next call's on a thread that keeps its state.
    api_->PyErr_Clear();
    api_->PyGILState_Release(lockState_);
  }
  PythonGate::instance().leave();
}

void PythonCall::printError() const {
  if (api_->PyErr_ExceptionMatches(*api_->PyExc_SystemExit) != 0) {
    api_->PyErr_WriteUnraisable(nullptr);
    return;
  }
  api_->PyErr_Print();
}

PythonUnlocked::PythonUnlocked() : api_(PythonGate::instance().running()) {
  if (api_ == nullptr) return;
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
