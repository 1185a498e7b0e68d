#pragma once

#include "boundary/records/DownloadRecords.h"

#include <json/forwards.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace KBL {

// The library's own codes of an error record; any other number is the service's.
namespace MediaError {
inline constexpr int localFile = 1;
inline constexpr int fetchFailed = 10;
inline constexpr int unusableReply = 11;
}  // namespace MediaError

/// Largest body of a reply that is held in memory: of a page, and of a download.
inline constexpr std::size_t largestPageBytes = std::size_t{64} << 20;
inline constexpr std::size_t largestDownloadBytes = (std::size_t{2} << 30) - 1;

/// One listing or one download on a thread of its own. Records and errors go to the host's callbacks on that
/// thread, until the job has ended or is stopped.
///
/// A class that derives from this one calls `Stop` first in its destructor: `Run` uses its members. No task
/// may be destroyed on its own thread.
class SNRRequestTask {
 public:
  /// Stops.
  virtual ~SNRRequestTask();
  SNRRequestTask(const SNRRequestTask&) = delete;
  SNRRequestTask& operator=(const SNRRequestTask&) = delete;

  /// The whole job, on the task's thread.
  virtual void Run() = 0;
  /// Takes a piece of the body being received; any other result than `size` ends the fetch as failed.
  virtual std::size_t OnWrite(const char* data, std::size_t size);
  /// The transfer meter; other than 0 ends the fetch as failed.
  virtual int OnProgress(double total, double now, double uploadTotal, double uploadNow);

  /// Starts the thread, with the transfer that the callbacks get. A task runs once: a second start only
  /// changes the transfer, also after the job has ended or was stopped.
  void Start(IExternlMediaTransfer* transfer);
  /// Ends the job: when this returns, no callback runs or will run. A fetch that is blocked in connecting is
  /// waited for. On the task's own thread, that is in a callback, it can't wait: it marks the job as stopped,
  /// and the next caller on another thread waits.
  void Stop();
  /// Marks the job as stopped and waits for nothing.
  void cancel() { cancelFlag_ = 1; }

  /// The first argument of all callbacks.
  void setHostContext(void* context) { hostContext_ = context; }
  /// True inside the task's callbacks.
  [[nodiscard]] bool isOnOwnThread() const { return runner_.load() == std::this_thread::get_id(); }
  /// Bodies beyond `bytes` end a fetch as failed. Before `Start`.
  void setLargestBody(std::size_t bytes) { largestBody_ = bytes; }

 protected:
  SNRRequestTask(MediaErrorCallback onError, std::size_t largestBody);

  /// GETs `url`; whatever was received goes to `body`, also when the result is false. `errorText` then says
  /// why. Every HTTP status is a success.
  [[nodiscard]] bool Fetch(const std::string& url, std::string& body);
  /// Tells the host, unless the task is cancelled.
  void ReportError(int code, const std::string& message);
  /// Fetches and parses one page of a list. False when it can't be used; the host has been told then.
  [[nodiscard]] bool fetchPage(const std::string& url, Json::Value& page);

  [[nodiscard]] bool isCancelled() const { return cancelFlag_ != 0; }
  [[nodiscard]] const std::string& errorText() const { return errorText_; }

  /// Gives the host a record, unless it has no callback or the task is cancelled. False when the host wants
  /// no more of this page.
  template <class Record>
  bool deliver(std::int32_t (*callback)(void*, IExternlMediaTransfer*, const Record*), const Record& record) {
    if (callback == nullptr || isCancelled()) return true;
    return callback(hostContext_, transfer_, &record) != 0;
  }

 private:
  void runGuarded();
  [[nodiscard]] bool perform(void* easyHandle, const std::string& url);
  static std::size_t writeEntry(char* data, std::size_t size, std::size_t count, void* task);
  static int progressEntry(void* task, double total, double now, double uploadTotal, double uploadNow);

  const MediaErrorCallback errorCallback_;  // may be null
  std::string responseBuffer_;
  std::string errorText_;
  std::atomic<std::int32_t> cancelFlag_{0};
  std::unique_ptr<std::thread> thread_;  // null until started
  std::atomic<void*> hostContext_{nullptr};
  std::atomic<IExternlMediaTransfer*> transfer_{nullptr};
  std::int64_t lastChangeTime_ = 0;  // seconds since the epoch
  double lastByteCount_ = -1.0;

  std::size_t largestBody_;
  std::mutex threadMutex_;  // start and join; never taken on the task's own thread
  std::atomic<std::thread::id> runner_{};
};

}  // namespace KBL
