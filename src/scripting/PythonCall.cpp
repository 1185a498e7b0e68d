#include "scripting/PythonCall.h"

namespace KBL {

namespace {
thread_local int scriptsOnStack = 0;
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
  // An error that nobody asked for would be taken for the next call's on a thread that keeps its state.
  api_->PyErr_Clear();
  api_->PyGILState_Release(lockState_);
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
  PyThreadState* const own = api_->PyGILState_GetThisThreadState();
  if (own != nullptr && own == api_->PyThreadState_GetUnchecked()) state_ = api_->PyEval_SaveThread();
}

PythonUnlocked::~PythonUnlocked() {
  if (state_ != nullptr) api_->PyEval_RestoreThread(state_);
}

}  // namespace KBL
