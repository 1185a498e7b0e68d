// The queue of errors is the one thing of a thread in OpenSSL that a host can see.
#include "foundation/tls/TlsLibrary.h"

// Before 3.2 there is no other way to a thread's queue, with its marks, than the one that 3.0 deprecates.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/opensslv.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <new>
#include <utility>

namespace KBL {
namespace {

#if OPENSSL_VERSION_NUMBER >= 0x30200000L

/// A queue in parts: what lies between two marks. The newest part comes first.
class ErrorQueue {
 public:
  static ErrorQueue* take() {
    auto* const queue = new (std::nothrow) ErrorQueue;
    if (queue == nullptr) return nullptr;
    do {
      queue->parts_[queue->count_].reset(OSSL_ERR_STATE_new());
      if (queue->parts_[queue->count_] == nullptr) break;
      OSSL_ERR_STATE_save_to_mark(queue->parts_[queue->count_++].get());
    } while (ERR_clear_last_mark() == 1 && queue->count_ < queue->parts_.size());
    return queue;
  }

  void putBack() {
    while (count_ > 0) {
      const auto part = std::move(parts_[--count_]);
      OSSL_ERR_STATE_restore(part.get());
      if (count_ > 0) (void)ERR_set_mark();
    }
  }

 private:
  struct Free {
    void operator()(ERR_STATE* part) const { OSSL_ERR_STATE_free(part); }
  };
  /// More marks than errors are several at one place; those beyond are lost.
  std::array<std::unique_ptr<ERR_STATE, Free>, 2 * ERR_NUM_ERRORS> parts_;
  std::size_t count_ = 0;
};

#else

/// A queue that is moved whole, as OpenSSL itself moves it in later versions.
class ErrorQueue {
 public:
  static ErrorQueue* take() {
    ERR_STATE* const threads = ERR_get_state();
    if (threads == nullptr) return nullptr;
    auto* const queue = new (std::nothrow) ErrorQueue;
    if (queue == nullptr) return nullptr;
    queue->state_ = *threads;
    *threads = {};
    return queue;
  }

  /// The thread's queue is empty, but for memory that it keeps for the next error's text.
  void putBack() {
    ERR_STATE* const threads = ERR_get_state();
    if (threads == nullptr) return;
    for (int place = 0; place < ERR_NUM_ERRORS; ++place) {
      if ((threads->err_data_flags[place] & ERR_TXT_MALLOCED) != 0) OPENSSL_free(threads->err_data[place]);
    }
    *threads = state_;
  }

 private:
  ERR_STATE state_{};
};

#endif

}  // namespace

void setUpTlsLibrary() {
  // Without an option the call would do nothing; this one is in every first use.
  (void)OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
}

long processNumber() {
  return ::getpid();
}

TlsThread::~TlsThread() {
  delete static_cast<ErrorQueue*>(errors_);
}

void TlsThread::putErrorsAside() {
  if (ERR_peek_error() != 0) errors_ = ErrorQueue::take();
}

void TlsThread::putErrorsBack() {
  // Nearly always there are none, and clearing looks at every place that one could stand at.
  if (ERR_peek_error() != 0) ERR_clear_error();
  if (errors_ == nullptr) return;
  auto* const queue = static_cast<ErrorQueue*>(errors_);
  queue->putBack();
  delete queue;
  errors_ = nullptr;
}

void TlsThread::leave() {
  if (errors_ != nullptr) {
    putErrorsBack();
  } else {
    OPENSSL_thread_stop();
  }
}

}  // namespace KBL
