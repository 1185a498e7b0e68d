#pragma once

#include "authorize/switchboard/IExternlMediaTransfer.h"
#include "foundation/object/RefCnt.h"
#include "media_tasks/SNRRequestTask.h"

#include <cstdarg>
#include <memory>
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
/// No lock: the host calls from one thread at a time, and from within callbacks. The last Release, which may
/// come inside a callback, stops the job; on any other thread it waits until the job has ended.
class ExternlMediaDlTransfer final : public IExternlMediaTransfer, public RefCnt<CountedTag> {
 public:
  ExternlMediaDlTransfer() = default;
  ~ExternlMediaDlTransfer() override;

  void* QueryInterfaceByName(const char* name) override;  ///< "IExternlMediaTransfer"

  /// Always 4, with and without a job.
  std::int32_t Start() override;
  /// 0. When it returns, no callback of this transfer runs or will run, unless it was called in one.
  std::int32_t Stop() override;
  std::int32_t Command(int command, ...) override;
  /// Knows 15, which writes the context through a pointer and gives 5 all the same: hosts rely on that.
  std::int32_t Query(int command, ...) override;

 private:
  std::int32_t runCommand(int command, std::va_list arguments);
  std::int32_t commandDownload(std::va_list arguments);
  std::int32_t commandAlbums(std::va_list arguments);
  std::int32_t commandFacebookMedia(std::va_list arguments);
  std::int32_t commandFlickrMedia(std::va_list arguments);
  std::int32_t commandInstagramMedia(std::va_list arguments);
  std::int32_t setContext(void* context);

  template <class Task, class... Arguments>
  std::int32_t replaceTask(Arguments&&... arguments);
  [[nodiscard]] bool isInsideCallback() const;
  void stopAll();
  void leaveTasks();

  std::unique_ptr<SNRRequestTask> SNRDownloadTask_;  ///< the current task or null
  void* hostContext_ = nullptr;
  /// The tasks of former commands, ended or about to end, for as long as the transfer lives.
  std::vector<std::unique_ptr<SNRRequestTask>> earlierTasks_;
};

}  // namespace KBL
