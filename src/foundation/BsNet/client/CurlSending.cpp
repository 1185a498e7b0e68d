#include "foundation/BsNet/client/CurlSending.h"

#include <utility>

namespace KBL {

bool CurlSending::mayConnect() {
  if (!isInherited_) return true;
  // Where not a byte could be written nothing has left; what goes through a new tunnel is counted, too.
  isInherited_ = easy_.info<long>(CURLINFO_REQUEST_SIZE, 0) > bytesBefore_;
  if (!isInherited_) return true;
  if (!isRefused_) text_ = errorText_;
  isRefused_ = true;
  return false;
}

bool CurlSending::mayLeave(CurlEnds ends) {
  if (!mayConnect()) return false;
  const long opened = easy_.info<long>(CURLINFO_NUM_CONNECTS, 0);
  const bool isNew = opened > opened_;
  const bool isKnown = connections_.isKnown(ends);
  isInherited_ = !isNew && !isKnown;
  if (!isKnown) connections_.addKnown(std::move(ends));
  opened_ = opened;
  bytesBefore_ = easy_.info<long>(CURLINFO_REQUEST_SIZE, 0);
  return true;
}

}  // namespace KBL
