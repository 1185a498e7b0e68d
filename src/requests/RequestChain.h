#pragma once

#include <BsNet/IBsRequstCallback.h>
#include <KblUtils/RefPtr.h>

namespace KBL {

class BsExternlMediaAuthRequest;

/// Where a request stands in a chain: how it goes on when the one before it has ended, and which one waits on
/// it.
///
/// It is among the callbacks of its request, in the place of the next one, so that whoever takes those off
/// ends the chain there, too. The other callbacks may be a host's, built without the type records that a
/// run-time cast would need to tell a request from them.
///
/// It owns the next request, with its creator's reference, until that one is told: whoever is told starts, or
/// gives the reference back. One that nobody tells goes with the request before it. Set before the start, and
/// then touched by whoever ends the request.
class RequestChain final : public IBsRequstCallback {
 public:
  /// `request` owns the new object.
  explicit RequestChain(BsExternlMediaAuthRequest& request);

  /// Takes the request that waits on this one, and takes its place among the callbacks. 1 when memory is
  /// short.
  [[nodiscard]] _Result goOnWith(RefPtr<BsExternlMediaAuthRequest> next);
  /// The request before has ended: its own request starts or is dropped.
  void goOn(IBsInfoReader* info, IBsErrorInfo* error);
  /// Its own request has ended: the next one goes on.
  _Result queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) override;
  /// Gives up the requests that wait on its own one. `othersDecide` leaves it to each of them, by its chain
  /// mode, whether it starts all the same. Needs no memory.
  void dropNext(IBsInfoReader* info, IBsErrorInfo* error, bool othersDecide);

  /// 0, or 1: starts after a failure, too, or 2: is dropped without a word to those that wait. The library
  /// leaves it at 0.
  [[nodiscard]] int chainMode() const { return chainMode_; }
  void setChainMode(int mode) { chainMode_ = mode; }

 private:
  void drop(IBsInfoReader* info, IBsErrorInfo* error, bool othersDecide);

  BsExternlMediaAuthRequest& request_;
  int chainMode_ = 0;
  RefPtr<BsExternlMediaAuthRequest> next_;
};

}  // namespace KBL
