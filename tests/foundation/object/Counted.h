#pragma once

#include <KblUtils/RefCnt.h>
#include <KblUtils/RefPtr.h>

#include <functional>
#include <utility>

/// A counted object that tells how many of its kind live, and runs something at its end.
class Counted : public KBL::RefCnt<Counted> {
 public:
  Counted() { ++alive; }
  explicit Counted(std::function<void()> atEnd) : atEnd_(std::move(atEnd)) { ++alive; }
  ~Counted() override {
    --alive;
    if (atEnd_) atEnd_();
  }

  void* QueryInterfaceByName(const char*) override { return nullptr; }
  using RefCnt::addReferenceUnlessZero;
  using RefCnt::dropReference;

  KBL::RefPtr<Counted> itself;

  static inline std::atomic<int> alive{0};

 private:
  std::function<void()> atEnd_;
};

class DerivedCounted : public Counted {};

/// The references that `object` has now; the caller holds one.
inline int countOf(Counted& object) {
  object.AddRef();
  return object.Release();
}
