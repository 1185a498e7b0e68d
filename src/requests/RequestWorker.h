#pragma once

#include <BsNet/IBsErrorInfo.h>
#include <BsNet/IBsInfoReader.h>
#include <KblUtils/RefPtr.h>

namespace KBL {

class BsExternlMediaAuthRequest;

/// The worker thread of a request: its start, its tries, who hears of the end, and the references that are
/// given back then. It uses the foundation's fields of the request, at which the foundation's own operations
/// look, too.
class RequestWorker {
 public:
  enum class Started { yes, alreadyRunning, refused, noWorker };
  /// Whether a start clears an abort flag that is set, or gives way to it.
  enum class AbortFlag { clear, respect };

  /// `request` owns the new object.
  explicit RequestWorker(BsExternlMediaAuthRequest& request);

  /// Starts the worker. With a `yes` it has a reference on `info`, one on the request, and the creator's.
  [[nodiscard]] Started start(IBsInfoReader* info, AbortFlag abortFlagRule);
  /// What the worker's thread does. Nothing may touch the request afterwards.
  void run(IBsInfoReader* info);
  /// Tells the outcome of a request that could not run, for want of a thread or of memory.
  void tellNotRun(IBsInfoReader* info);

  /// The request starts no more and makes no further try. Any thread.
  void abortForGood();
  [[nodiscard]] bool aborted();

  /// With 1 the owner is told of the end; the library leaves it at 2.
  [[nodiscard]] int notifyMode() const { return notifyMode_; }
  void setNotifyMode(int mode) { notifyMode_ = mode; }

 private:
  [[nodiscard]] bool takeWorker(AbortFlag abortFlagRule, Started& refusal);
  void runAndTell(IBsInfoReader* info);
  [[nodiscard]] RefPtr<IBsErrorInfo> runTries(IBsInfoReader* info);
  void tellOutcome(IBsInfoReader* info, IBsErrorInfo& error);
  void end(IBsInfoReader* info);

  BsExternlMediaAuthRequest& request_;
  bool abortedForGood_ = false;  // guarded by the request's abortMutex
  int notifyMode_ = 2;
};

}  // namespace KBL
