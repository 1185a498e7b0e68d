#pragma once

#include <cstddef>
#include <utility>

namespace KBL {

/// Owner of one reference to a counted object. Whether the pointer's reference is taken over or a new one is
/// made is said at the call: `adoptRef` or `shareRef`.
template <class Object>
class RefPtr {
 public:
  RefPtr() = default;
  RefPtr(std::nullptr_t) {}
  RefPtr(const RefPtr& other) : object_(other.object_) {
    if (object_ != nullptr) object_->AddRef();
  }
  RefPtr(RefPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class Derived>
  RefPtr(const RefPtr<Derived>& other) : object_(other.get()) {
    if (object_ != nullptr) object_->AddRef();
  }
  template <class Derived>
  RefPtr(RefPtr<Derived>&& other) noexcept : object_(other.leak()) {}
  ~RefPtr() {
    if (object_ != nullptr) object_->Release();
  }

  /// Stores before it releases, so that self-assignment and a release that comes back here are sound.
  RefPtr& operator=(RefPtr other) noexcept {
    swap(other);
    return *this;
  }

  void swap(RefPtr& other) noexcept { std::swap(object_, other.object_); }
  void reset() { RefPtr().swap(*this); }

  /// Gives the reference to the caller.
  [[nodiscard]] Object* leak() noexcept { return std::exchange(object_, nullptr); }

  [[nodiscard]] Object* get() const noexcept { return object_; }
  Object* operator->() const noexcept { return object_; }
  Object& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

 private:
  template <class T>
  friend RefPtr<T> adoptRef(T* object);

  struct Adopt {};
  RefPtr(Object* object, Adopt) : object_(object) {}

  Object* object_ = nullptr;
};

/// Takes over the reference that `object` comes with; the count stays.
template <class T>
[[nodiscard]] RefPtr<T> adoptRef(T* object) {
  return RefPtr<T>(object, typename RefPtr<T>::Adopt{});
}

/// Adds a reference of its own; the caller keeps his.
template <class T>
[[nodiscard]] RefPtr<T> shareRef(T* object) {
  if (object != nullptr) object->AddRef();
  return adoptRef(object);
}

/// A new object, born with a count of 0, under its first reference.
template <class T, class... Arguments>
[[nodiscard]] RefPtr<T> makeRef(Arguments&&... arguments) {
  return shareRef(new T(std::forward<Arguments>(arguments)...));
}

}  // namespace KBL
