#pragma once

#include "boundary/transfers/HostTransfer.h"
#include "media_tasks/SNRRequestTask.h"
#include <ExternlMediaTransfer/IExternlMediaDownloadNews.h>

#include <cstdarg>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace KBL {

/// The host's handle to one listing or one download job. Its commands, by number, with their arguments:
///
///   10 download       URL, save path, error callback, progress callback
///   11 Facebook list  access token, album callback, error callback
///   12 Facebook media access token, album id, media callback, error callback
///   13 Flickr media   application key, application secret, token pair, media callback, error callback
///   14 Instagram      access token, media callback, error callback
///   15 host context   any pointer
///
/// Callbacks may be null, texts may not. A command stops the job before it and sets up the next one, which
/// Start starts.
///
/// Any thread, and from within callbacks. The last Release, which may come inside a callback, stops the job;
/// outside every callback it waits until the job has ended.
///
/// The threads of its jobs hold the core, so that the transfer that a callback was given stays readable until
/// it returns. No lock is held while a job is waited for, started or told of.
class ExternlMediaDlTransfer final : public HostTransfer<ExternlMediaDlTransfer>,
                                     public IExternlMediaDownloadNews {
 public:
  void* QueryInterfaceByName(const char* name) override;

  std::int32_t HttpStatus() override;
  void RefuseErrorStatus(bool refuses) override;

 private:
  /// Always 4, with and without a job. Starts nothing while a Stop runs.
  std::int32_t start() override;
  /// 0. When it returns, no callback of this transfer runs, and none begins before the next Start. In one of
  /// its callbacks it returns at once, and only the callbacks that run already go on.
  std::int32_t stop() override;
  std::int32_t runCommand(int command, std::va_list arguments) override;
  /// Knows 15, which writes the context through a pointer and gives 5 all the same: hosts rely on that.
  std::int32_t runQuery(int command, std::va_list arguments) override;

  std::int32_t commandDownload(std::va_list arguments);
  std::int32_t commandAlbums(std::va_list arguments);
  std::int32_t commandFacebookMedia(std::va_list arguments);
  std::int32_t commandFlickrMedia(std::va_list arguments);
  std::int32_t commandInstagramMedia(std::va_list arguments);
  std::int32_t setContext(void* context);

  template <class Task, class... Arguments>
  std::int32_t replaceTask(Arguments&&... arguments);
  [[nodiscard]] bool install(std::unique_ptr<SNRRequestTask>& task);

  void stopTasks();
  [[nodiscard]] SNRRequestTask* beginStop();
  void waitForTasks(SNRRequestTask* stopped);
  void joinTasks(SNRRequestTask* stopped);
  bool partWithEndedThreads();
  [[nodiscard]] SNRRequestTask* firstUnjoined() const;
  void noteJoined(const SNRRequestTask* task);

  void fallSilent() override;
  void windUp() override {}
  void logThrown(const char* what) override;

  mutable std::mutex mutex_;                         // a leaf
  std::unique_ptr<SNRRequestTask> SNRDownloadTask_;  ///< the current task or null
  void* hostContext_ = nullptr;
  bool refusesErrorStatus_ = false;
  /// The tasks of former commands, all cancelled, for as long as the transfer lives. Those before
  /// `joinedTasks_` have no thread any more.
  std::vector<std::unique_ptr<SNRRequestTask>> earlierTasks_;
  std::size_t joinedTasks_ = 0;
  int runningStops_ = 0;  ///< with the last Release, which is one that never ends
};

}  // namespace KBL
