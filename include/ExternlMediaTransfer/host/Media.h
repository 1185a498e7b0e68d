#pragma once

#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/host/EventQueue.h>
#include <ExternlMediaTransfer/host/Eventual.h>
#include <ExternlMediaTransfer/host/Failure.h>
#include <ExternlMediaTransfer/host/Sessions.h>
#include <ExternlMediaTransfer/host/Texts.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>

namespace KBL::host {

struct Album {
  std::string id;
  std::string name;
};

struct MediaItem {
  MediaType type = mediaImage;
  std::string address;
  std::string thumbnail;
};

/// How a listing or a download ended.
struct MediaEnd {
  enum class How {
    good,
    failed,
    stopped  ///< by `stop`, by the next job, or because the Media went
  };
  How how = How::failed;
  Failure failure{};   ///< of a failed one
  int httpStatus = 0;  ///< of the last answer; 0 for none

  [[nodiscard]] bool isGood() const { return how == How::good; }
};

/// Lists a user's albums and media, and downloads single files: one job at a time, a new one stops the one
/// before. Texts are UTF-8. One thread at a time; within its own functions, too. The constructor throws
/// std::bad_alloc where memory is short.
class Media {
 public:
  using OnAlbum = std::function<void(const Album& album)>;
  using OnItem = std::function<void(const MediaItem& item)>;
  /// Bytes; a total of 0 as long as the service has not told.
  using OnBytes = std::function<void(std::int32_t bytes, std::int32_t total)>;

  /// The functions of jobs are called, and their ends told, through `executor`.
  explicit Media(Executor executor = &directly);
  /// Stops as `stop` does.
  ~Media();
  Media(const Media&) = delete;
  Media& operator=(const Media&) = delete;

  /// To a file, which appears or is replaced when all of it has come. `path` is narrow text of the system. An
  /// answer of an error status is a failure, unless `keepsErrorPages` was set.
  Eventual<MediaEnd> download(const std::string& address, const std::string& path, OnBytes onBytes = {});
  Eventual<MediaEnd> listFacebookAlbums(const std::string& token, OnAlbum onAlbum);
  /// Of `facebookVideoAlbum` the videos.
  Eventual<MediaEnd> listFacebookMedia(const std::string& token, const std::string& album, OnItem onItem);
  Eventual<MediaEnd> listFlickr(const std::string& key, const std::string& secret,
                                const std::string& tokenPair, OnItem onItem);
  Eventual<MediaEnd> listInstagram(const std::string& token, OnItem onItem);

  /// Ends the job: no function of its begins behind this. Outside callbacks it waits for one that runs
  /// directly, so that the caller holds no lock which that takes. With a queue: on the queue's thread.
  /// Calls back within itself: the end of the job, without a queue; so does each new job.
  void stop();
  /// From the next download on.
  void keepErrorPages(bool keep) {
    if (news_ != nullptr) news_->RefuseErrorStatus(!keep);
  }

 private:
  /// What the callbacks of one job come to.
  struct Session {
    explicit Session(Executor to) : executor(std::move(to)), end(executor) {}

    template <class Call>
    void tell(Call call) const {
      executor([kept = self.lock(), call = std::move(call)] {
        if (!kept->isClosed) call(*kept);
      });
    }
    void finish(MediaEnd how) const {
      if (news != nullptr) how.httpStatus = news->HttpStatus();
      end.set(std::move(how));
    }

    const Executor executor;
    const Promise<MediaEnd> end;
    std::weak_ptr<Session> self;
    IExternlMediaDownloadNews* news = nullptr;
    OnAlbum onAlbum;
    OnItem onItem;
    OnBytes onBytes;
    bool goesOnBehindErrors = false;  ///< a list of media ends with a record in any case
    Failure failure;                  ///< on the job's thread
    std::atomic<bool> isClosed{false};
  };

  /// Runs `take` of the context's session. Nothing may be thrown into the library's thread.
  template <class Take>
  static std::int32_t enter(void* context, Take take) noexcept {
    try {
      if (const auto session = Sessions<Session>::find(context)) take(*session);
    } catch (...) {
    }
    return 1;
  }
  static std::int32_t takeAlbum(void* context, IExternlMediaTransfer* transfer,
                                const hostAlbumRecord* record);
  static std::int32_t takeItem(void* context, IExternlMediaTransfer* transfer, const hostMediaRecord* record);
  static std::int32_t takeError(void* context, IExternlMediaTransfer* transfer,
                                const hostErrorRecord* record);
  static std::int32_t takeBytes(void* context, IExternlMediaTransfer* transfer,
                                const hostProgressRecord* record);

  [[nodiscard]] std::shared_ptr<Session> newSession();
  template <class... Arguments>
  Eventual<MediaEnd> start(std::shared_ptr<Session> session, TransferCommand command, Arguments... arguments);

  const Executor executor_;
  RefPtr<IExternlMediaTransfer> transfer_;
  IExternlMediaDownloadNews* news_;
  std::shared_ptr<Session> session_;  // of the job that was started last
  void* context_ = nullptr;
};

inline Media::Media(Executor executor)
    : executor_(std::move(executor)),
      transfer_(adoptRef(createEMTDlTransfer())),
      news_(transfer_
                ? queryInterface<IExternlMediaDownloadNews>(transfer_.get(), "IExternlMediaDownloadNews")
                : nullptr) {
  if (!transfer_) throw std::bad_alloc();
  keepErrorPages(false);
}

inline Media::~Media() {
  stop();
}

inline void Media::stop() {
  if (!session_) return;
  session_->isClosed = true;
  (void)transfer_->Stop();
  session_->finish({MediaEnd::How::stopped, {resultFailed, "Stopped."}});
  Sessions<Session>::remove(context_);
  session_.reset();
}

inline Eventual<MediaEnd> Media::download(const std::string& address, const std::string& path,
                                          OnBytes onBytes) {
  auto session = newSession();
  session->onBytes = std::move(onBytes);
  const MediaErrorCallback onError = &Media::takeError;
  const MediaProgressCallback onProgress = &Media::takeBytes;
  return start(std::move(session), commandDownloadFile, address.c_str(), path.c_str(), onError, onProgress);
}

inline Eventual<MediaEnd> Media::listFacebookAlbums(const std::string& token, OnAlbum onAlbum) {
  auto session = newSession();
  session->onAlbum = std::move(onAlbum);
  const AlbumCallback onRecord = &Media::takeAlbum;
  const MediaErrorCallback onError = &Media::takeError;
  return start(std::move(session), commandListFacebookAlbums, token.c_str(), onRecord, onError);
}

inline Eventual<MediaEnd> Media::listFacebookMedia(const std::string& token, const std::string& album,
                                                   OnItem onItem) {
  auto session = newSession();
  session->onItem = std::move(onItem);
  session->goesOnBehindErrors = true;
  const MediaCallback onRecord = &Media::takeItem;
  const MediaErrorCallback onError = &Media::takeError;
  return start(std::move(session), commandListFacebookMedia, token.c_str(), album.c_str(), onRecord, onError);
}

inline Eventual<MediaEnd> Media::listFlickr(const std::string& key, const std::string& secret,
                                            const std::string& tokenPair, OnItem onItem) {
  auto session = newSession();
  session->onItem = std::move(onItem);
  session->goesOnBehindErrors = true;
  const MediaCallback onRecord = &Media::takeItem;
  const MediaErrorCallback onError = &Media::takeError;
  return start(std::move(session), commandListFlickrMedia, key.c_str(), secret.c_str(), tokenPair.c_str(),
               onRecord, onError);
}

inline Eventual<MediaEnd> Media::listInstagram(const std::string& token, OnItem onItem) {
  auto session = newSession();
  session->onItem = std::move(onItem);
  session->goesOnBehindErrors = true;
  const MediaCallback onRecord = &Media::takeItem;
  const MediaErrorCallback onError = &Media::takeError;
  return start(std::move(session), commandListInstagramMedia, token.c_str(), onRecord, onError);
}

inline std::shared_ptr<Media::Session> Media::newSession() {
  stop();
  auto session = std::make_shared<Session>(executor_);
  session->self = session;
  session->news = news_;
  return session;
}

template <class... Arguments>
Eventual<MediaEnd> Media::start(std::shared_ptr<Session> session, TransferCommand command,
                                Arguments... arguments) {
  const Eventual<MediaEnd> end = session->end.eventual();
  const auto result = static_cast<_Result>(transfer_->Command(command, arguments...));
  if (result != resultOk) {
    session->finish({MediaEnd::How::failed, {result, "The job could not be set up."}});
    return end;
  }
  session_ = std::move(session);
  context_ = Sessions<Session>::add(session_);
  transfer_->Command(commandSetContext, context_);
  (void)transfer_->Start();  // its result says nothing
  return end;
}

inline std::int32_t Media::takeAlbum(void* context, IExternlMediaTransfer*, const hostAlbumRecord* record) {
  return enter(context, [record](const Session& session) {
    // The end of a list without albums is a record of nothing.
    if (record->more == 0 && record->id[0] == 0) return session.finish({MediaEnd::How::good, {}});
    session.tell([album = Album{textIn(record->id), textIn(record->name)}](const Session& to) {
      if (to.onAlbum) to.onAlbum(album);
    });
    if (record->more == 0) session.finish({MediaEnd::How::good, {}});
  });
}

inline std::int32_t Media::takeItem(void* context, IExternlMediaTransfer*, const hostMediaRecord* record) {
  return enter(context, [record](const Session& session) {
    if (record->more == 0) {
      return session.finish({session.failure ? MediaEnd::How::failed : MediaEnd::How::good, session.failure});
    }
    MediaItem item{static_cast<MediaType>(record->type), textIn(record->mediaUrl),
                   textIn(record->thumbnailUrl)};
    session.tell([item = std::move(item)](const Session& to) {
      if (to.onItem) to.onItem(item);
    });
  });
}

inline std::int32_t Media::takeError(void* context, IExternlMediaTransfer*, const hostErrorRecord* record) {
  return enter(context, [record](Session& session) {
    session.failure = {record->code == 0 ? resultFailed : record->code, textIn(record->message)};
    if (!session.goesOnBehindErrors) session.finish({MediaEnd::How::failed, session.failure});
  });
}

inline std::int32_t Media::takeBytes(void* context, IExternlMediaTransfer*,
                                     const hostProgressRecord* record) {
  return enter(context, [record](const Session& session) {
    session.tell([bytes = record->bytesSoFar, total = record->totalBytes](const Session& to) {
      if (to.onBytes) to.onBytes(bytes, total);
    });
    if (record->finished != 0) session.finish({MediaEnd::How::good, {}});
  });
}

}  // namespace KBL::host
