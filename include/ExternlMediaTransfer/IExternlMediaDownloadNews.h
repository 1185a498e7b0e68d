#pragma once

#include <KblUtils/IDmBaseObj.h>

#include <cstdint>

namespace KBL {

/// What a download transfer tells beyond its records. Asked of the transfer by name, which adds no reference:
/// `queryInterface<IExternlMediaDownloadNews>(transfer, "IExternlMediaDownloadNews")`. Null from any other
/// object, and from a library that has none of it yet. Any thread, callbacks included. No operation throws.
class IExternlMediaDownloadNews : public virtual IDmBaseObj {
 public:
  /// The HTTP status of what the current job has fetched last, behind redirections: known when the job's last
  /// record comes. 0 before the first fetch has ended, and for one that got no answer at all.
  virtual std::int32_t HttpStatus() = 0;
  /// True: a download whose answer has a status of 400 or above stores nothing and leaves the former file; it
  /// ends with MediaError::fetchFailed and the text "HTTP status " with the number. False, as at first: the
  /// body of such an answer is stored like any other. Also for a download that runs, as long as it stores
  /// nothing yet; one that breaks off ends with what broke it. Listings heed the service's own errors alone.
  virtual void RefuseErrorStatus(bool refuses) = 0;

 protected:
  ~IExternlMediaDownloadNews() = default;
};

}  // namespace KBL
