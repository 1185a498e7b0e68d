#pragma once

namespace KBL {

/// Has the TLS library register its exit handler, as its first use would: what is registered behind this call
/// runs ahead of that handler.
void setUpTlsLibrary();

/// Tells a process from the children that it forks; 0 where there is no such thing.
[[nodiscard]] long processNumber();

/// What libcurl's TLS library keeps for the calling thread, which is the host's when the thread is: libcurl
/// empties the thread's queue of errors whenever it reads or writes. One thread; nothing here throws.
class TlsThread {
 public:
  TlsThread() = default;
  ~TlsThread();
  TlsThread(const TlsThread&) = delete;
  TlsThread& operator=(const TlsThread&) = delete;

  /// Puts the errors aside that are pending.
  void putErrorsAside();
  /// Puts them back in place of those that have come up meanwhile.
  void putErrorsBack();
  /// The same; and where none were pending the library forgets the thread. That would else happen when the
  /// thread ends: for a detached worker maybe while the library is torn down. The next call into the library
  /// makes it known again.
  void leave();

 private:
  void* errors_ = nullptr;  // an OpenSSL queue of errors; null: none were pending
};

}  // namespace KBL
