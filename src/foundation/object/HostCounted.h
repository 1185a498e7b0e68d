#pragma once

#include <KblUtils/HostCode.h>
#include <KblUtils/RefCnt.h>
#include <KblUtils/RefPtr.h>

#include <memory>
#include <utility>

namespace KBL {

/// An object that the host holds while threads of the library pass through it. It has two counts: the one
/// that AddRef and Release move is the host's alone, and the core's, a shared pointer, keeps the memory.
/// While the host has a reference it owns one of the core's. Workers, timers and forwarders take the core
/// (`shared_from_this`), which leaves the host's count alone.
///
/// The host's last Release ends the object for the host at once, on whichever thread: it falls silent, its
/// protocol is told, and the core goes when the last of those that pass through lets go of it. Until then
/// `AddRef` revives nothing: it and `Release` change nothing and return 0.
template <class Object>
class HostCounted : public RefCnt<CountedTag>, public std::enable_shared_from_this<Object> {
 public:
  /// A new object under the host's first reference. Throws for want of memory.
  template <class... Arguments>
  [[nodiscard]] static RefPtr<Object> make(Arguments&&... arguments) {
    const auto made = std::make_shared<Object>(std::forward<Arguments>(arguments)...);
    made->RefCnt::AddRef();
    made->hostsCore_ = made;
    return adoptRef(made.get());
  }

  int AddRef() final { return addReferenceUnlessZero(); }

  int Release() final {
    const int left = dropHostReference();
    if (left != 0) return left > 0 ? left : 0;
    const std::shared_ptr<Object> core = std::move(hostsCore_);
    fallSilent();
    runHostCode([this] { tellProtocol(); }, [this](const char* what) { logThrown(what); });
    windUp();
    return 0;
  }

 protected:
  ~HostCounted() override = default;

  // What the classes fill in. None of them may throw or need memory.

  /// Gives one of the host's references back and returns the new count (`dropReference`), together with what
  /// has to be one step with it.
  virtual int dropHostReference() { return dropReference(); }
  /// The last reference has gone: no callback and no event begins any more. Where the last Release waits, it
  /// waits here.
  virtual void fallSilent() = 0;
  /// The protocol has been told.
  virtual void windUp() = 0;
  /// Writes the line about a callback of the host that threw.
  virtual void logThrown(const char* what) = 0;

 private:
  std::shared_ptr<Object> hostsCore_;
};

}  // namespace KBL
