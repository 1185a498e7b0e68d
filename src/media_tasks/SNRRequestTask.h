#pragma once

#include "foundation/tls/CurlStay.h"
#include "media_tasks/MediaFetcher.h"
#include "media_tasks/StallRule.h"
#include <ExternlMediaTransfer/DownloadRecords.h>
#include <KblUtils/HostCode.h>

#include <json/forwards.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace KBL {

/// Largest body of a reply that is held in memory: of a page, and of a download.
inline constexpr std::size_t largestPageBytes = std::size_t{16} << 20;
inline constexpr std::size_t largestDownloadBytes = (std::size_t{2} << 30) - 1;

/// What ends each fetch of a task.
struct FetchLimits {
  std::size_t largestBody;  ///< bytes, unpacked
  std::int64_t longestMs;   ///< a body that is not whole by then ends as one that has stalled; 0 for no end
};
inline constexpr FetchLimits pageLimits{largestPageBytes, 600'000};
inline constexpr FetchLimits downloadLimits{largestDownloadBytes, 0};

/// One listing or one download on a thread of its own. Records and errors go to the host's callbacks on that
/// thread, until the job has ended or is stopped. A callback that throws counts as one that returned 0. What
/// a task needs from the network it gets from the fetcher that it is made with, which outlives it.
///
/// A class that derives from this one calls `Stop` first in its destructor: `Run` uses its members. On its
/// own thread a task may be destroyed by its keeper's end alone.
class SNRRequestTask {
 public:
  /// Stops.
  virtual ~SNRRequestTask();
  SNRRequestTask(const SNRRequestTask&) = delete;
  SNRRequestTask& operator=(const SNRRequestTask&) = delete;

  /// The whole job, on the task's thread.
  virtual void Run() = 0;
  /// Appends a piece of the body being received; any other result than `size` ends the fetch as failed.
  virtual std::size_t OnWrite(const char* data, std::size_t size);
  /// The transfer meter; other than 0 ends the fetch as failed.
  virtual int OnProgress(double total, double now, double uploadTotal, double uploadNow);

  /// Starts the thread, with the transfer that the callbacks get. A task runs once: a second start only
  /// changes the transfer, also after the job has ended or was stopped. The thread lets go of `keeper` as the
  /// last it does, so that what the job and its callbacks use may live in it, the task itself included.
  void Start(IExternlMediaTransfer* transfer, std::shared_ptr<const void> keeper = {});
  /// Ends the job: when this returns, no callback runs or will run. A fetch that is blocked in connecting is
  /// waited for. On the task's own thread, that is in a callback, it can't wait: it marks the job as stopped,
  /// and the next caller on another thread waits.
  void Stop();
  /// Marks the job as stopped and waits for nothing.
  void cancel() { cancelFlag_ = 1; }
  [[nodiscard]] bool isCancelled() const { return cancelFlag_ != 0; }
  /// Parts with the thread of a job that has ended. False, without waiting, while one runs or another thread
  /// is about to wait for it.
  [[nodiscard]] bool partWithEndedThread();

  /// The first argument of all callbacks.
  void setHostContext(void* context) { hostContext_ = context; }
  /// True inside the task's callbacks.
  [[nodiscard]] bool isOnOwnThread() const { return runner_.load() == std::this_thread::get_id(); }
  /// True on the thread of any task that runs for this transfer, that is in all of its callbacks.
  [[nodiscard]] static bool isThreadOf(const IExternlMediaTransfer* transfer);
  /// The HTTP status of the last fetch that has ended; 0 for none. Any thread.
  [[nodiscard]] std::int32_t httpStatus() const { return httpStatus_; }
  /// Whether a download whose answer has an error status fails. Any thread.
  void refuseErrorStatus(bool refuses) { refusesErrorStatus_ = refuses; }
  /// Bodies beyond `bytes` end a fetch as failed. Before `Start`.
  void setLargestBody(std::size_t bytes) { largestBody_ = bytes; }

 protected:
  SNRRequestTask(MediaErrorCallback onError, const FetchLimits& limits, MediaFetcher& fetcher);

  /// GETs `url` by http or https; whatever was received goes to `body`, also when the result is false.
  /// `errorText` then says why. Every HTTP status is a success. The end of the process cancels the task.
  [[nodiscard]] bool Fetch(const std::string& url, std::string& body);
  /// True when the last fetch was given up since the server sent nothing, or too little for too long.
  [[nodiscard]] bool hasStalled() const { return stallRule_.isBroken(); }
  /// Tells the host, unless the task is cancelled.
  void ReportError(int code, const std::string& message);
  /// Fetches and parses one page of a list. False when it can't be used; the host has been told then.
  [[nodiscard]] bool fetchPage(const std::string& url, Json::Value& page);

  [[nodiscard]] const std::string& errorText() const { return errorText_; }
  void setErrorText(std::string text) { errorText_ = std::move(text); }
  [[nodiscard]] bool refusesErrorStatus() const { return refusesErrorStatus_; }

  /// Gives the host a record, unless it has no callback or the task is cancelled. False when the host wants
  /// no more of this page.
  template <class Record>
  bool deliver(std::int32_t (*callback)(void*, IExternlMediaTransfer*, const Record*), const Record& record) {
    if (callback == nullptr || isCancelled()) return true;
    std::int32_t result = 0;
    // A fetch may be under way.
    CurlStay::callHost(
        [&] { runHostCode([&] { result = callback(hostContext_, transfer_, &record); }, &logThrown); });
    return result != 0;
  }

  /// One step of a walk over pages: what `step` gives, the address of the next page. A step that throws is
  /// told to the host, and leads nowhere.
  template <class Step>
  [[nodiscard]] std::string guarded(Step step) {
    try {
      return step();
    } catch (const std::exception& failure) {
      reportInternalError(failure.what());
    } catch (...) {
      passThreadEnd();
      reportInternalError("unknown exception");
    }
    return {};
  }

  /// The pages of a list, from the address that `first` gives to the one from which `readPage` gives no
  /// further address, or until the task is cancelled.
  template <class First, class ReadPage>
  void walkPages(First first, ReadPage readPage) {
    std::string url = guarded(first);
    if (url.empty()) return;
    do {
      url = guarded([&] { return readPage(url); });
    } while (!url.empty() && !isCancelled());
  }

 private:
  class Listener;

  void run(std::shared_ptr<const void> keeper);
  void join();
  void reportInternalError(const char* reason);
  void report(const hostErrorRecord& record) { deliver(errorCallback_, record); }
  static void logThrown(const char* reason);

  const MediaErrorCallback errorCallback_;  // may be null
  std::string responseBuffer_;
  std::string errorText_;
  std::atomic<std::int32_t> httpStatus_{0};
  std::atomic<bool> refusesErrorStatus_{false};
  std::atomic<std::int32_t> cancelFlag_{0};
  std::unique_ptr<std::thread> thread_;  // null until started
  std::atomic<void*> hostContext_{nullptr};
  std::atomic<IExternlMediaTransfer*> transfer_{nullptr};
  MediaFetcher& fetcher_;
  std::size_t largestBody_;
  StallRule stallRule_;  // of the fetch that runs, or else of the last one

  std::mutex threadMutex_;  // start and join; never waited for on the task's own thread
  std::atomic<bool> hasEnded_{false};
  std::atomic<std::thread::id> runner_{};
};

}  // namespace KBL
