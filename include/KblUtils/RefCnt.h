#pragma once

#include <KblUtils/HostCode.h>
#include <KblUtils/IDmBaseObj.h>

#include <atomic>

namespace KBL {

/// Reference count and attached protocol of a counted object, for any class that derives from it. Objects are
/// born with a count of 0; the factory makes the first AddRef. `Tag` only tells instantiations apart.
template <class Tag>
class RefCnt : public virtual IDmBaseObj {
 public:
  RefCnt() = default;
  RefCnt(const RefCnt&) = delete;
  RefCnt& operator=(const RefCnt&) = delete;

  int AddRef() override { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }

  int Release() override {
    const int left = dropReference();
    if (left == 0) destroyUnreferenced();
    return left;
  }

  IDmProtocol* GetProtocol() override { return protocol_.load(std::memory_order_acquire); }

  void SetProtocol(IDmProtocol* protocol) override { protocol_.store(protocol, std::memory_order_release); }

 protected:
  virtual ~RefCnt() = default;

  /// Adds a reference unless the object has none left; returns the new count, or 0. The caller makes sure
  /// that the memory is still there.
  [[nodiscard]] int addReferenceUnlessZero() {
    int count = count_.load(std::memory_order_relaxed);
    while (count > 0) {
      if (count_.compare_exchange_weak(count, count + 1, std::memory_order_relaxed)) return count + 1;
    }
    return 0;
  }

  /// Gives one reference back without destroying; returns the new count.
  int dropReference() { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }

  /// Tells the attached protocol, if there is one, of the last Release.
  void tellProtocol() {
    if (IDmProtocol* const protocol = GetProtocol()) protocol->onLastRelease(this);
  }

  /// What Release does at zero. A protocol that throws must not keep the object from its end.
  void destroyUnreferenced() {
    runHostCode([this] { tellProtocol(); }, [](const char*) {});
    delete this;
  }

 private:
  std::atomic<int> count_{0};
  std::atomic<IDmProtocol*> protocol_{nullptr};
};

/// The empty tag of classes that need no instantiation of their own.
struct CountedTag {};

}  // namespace KBL
