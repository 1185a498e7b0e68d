#pragma once

#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/host/EventQueue.h>
#include <ExternlMediaTransfer/host/Eventual.h>
#include <ExternlMediaTransfer/host/Failure.h>
#include <ExternlMediaTransfer/host/Sessions.h>
#include <ExternlMediaTransfer/host/Texts.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KBL::host {

/// What is uploaded. Texts are UTF-8; those that are too long for their field of hostTransferRecord are
/// refused by `start`.
struct UploadJob {
  std::string file;
  std::string title;
  std::string privacy = "private";
  std::string description{};
  std::string tags{};  ///< separated by commas
  std::string category{};
  std::string thumbnail{};  ///< a local picture
  std::string user{};       ///< empty: who signed in last
  std::int32_t client = 1;  ///< the account server's numbers, sent as they are
  std::int32_t action = 1;
};

/// How an upload ended.
struct UploadEnd {
  enum class How {
    finished,
    failed,
    notStarted,  ///< the job or the platform was refused by `start`
    silent,      ///< nothing was heard for as long as the host was patient
    dropped      ///< the Upload went meanwhile, or began another one
  };
  How how = How::failed;
  std::string address{};  ///< of a finished one: where to watch it; an id on TikTok, empty on Douyin
  Failure failure{};      ///< of any other
  int value = 0;          ///< of a failed one: the number of its kind

  [[nodiscard]] bool isGood() const { return how == How::finished; }
};

/// The user of a platform, as `Upload::account` finds him.
struct UploadAccount {
  std::string name;
  std::string accessToken;   ///< a secret; what `resumeLogin` takes back
  std::string categories;    ///< titles, each followed by "|"
  std::int32_t freeMiB = 0;  ///< 0 for no limit
};

/// What the host hears of meanwhile.
struct UploadHandlers {
  std::function<void(int percent)> onProgress{};
  /// An error that is not always the end: Douyin may go on behind it.
  std::function<void(const Failure& failure)> onError{};
};

/// Uploads to one platform, one at a time; of two objects for one platform the one that was made last hears
/// of the uploads of both. A platform with a manager uploads for a user of that manager; the others have
/// their own login here. One thread at a time; within its own functions, too. Constructors throw
/// std::bad_alloc where memory is short, operations nothing.
class Upload {
 public:
  using Handlers = UploadHandlers;

  /// The functions are called, and the ends of uploads told, through `executor`.
  explicit Upload(TransferPlatform platform, Handlers handlers = {}, Executor executor = &directly);
  /// Stops the upload; its end is `dropped` then. Outside callbacks it waits for functions that run directly,
  /// so that the caller holds no lock which they take; none begins behind it. With a queue: on the queue's
  /// thread.
  ~Upload();
  Upload(const Upload&) = delete;
  Upload& operator=(const Upload&) = delete;

  /// Begins an upload. Some of them end in silence, as the host guide tells: `waitForEnd` and `endAfter` know
  /// about that, the value itself does not come then. What an upload that was stopped still tells counts as
  /// this one's: wait for the end of one ahead of the next.
  /// Calls back within itself: the end of an upload that ran, and `onUploadRefused` of the platform's
  /// Accounts for a user who is not cached, without a queue.
  Eventual<UploadEnd> start(const UploadJob& job);
  /// Ends it soon; whether and what is told of that is the platform's affair.
  void stop() { (void)transfer_->Stop(); }
  /// The end, or `silent` (or the error that turned out to be the last word) once nothing has been heard for
  /// `patience`. 35 s is what a stopped upload takes at most.
  [[nodiscard]] UploadEnd waitForEnd(std::chrono::milliseconds patience) const;
  /// The same for who does not wait: nothing as long as it goes on.
  [[nodiscard]] std::optional<UploadEnd> endAfter(std::chrono::milliseconds patience) const;

  /// The user of the platform, if somebody is signed in.
  [[nodiscard]] std::optional<UploadAccount> account() const;
  /// Signs out who signed in last.
  _Result signOut() { return resultOf(transfer_->Query(queryLogout)); }

  // The rest is for platforms of scripts; others ignore it.

  _Result setApplication(const std::string& key, const std::string& secret,
                         const std::string& redirectAddress);
  enum class Brand : long long { first = 0, second = 1 };
  _Result setBrand(Brand brand) {
    return resultOf(transfer_->Command(commandSetAppBrand, static_cast<long long>(brand)));
  }
  _Result share(std::string_view first, std::string_view second);
  /// The address to open in a browser, http or https.
  [[nodiscard]] std::optional<std::string> loginAddress() const;
  /// Takes the address that the browser reached.
  [[nodiscard]] Failure finishLogin(const std::string& reachedAddress) {
    return checked(commandVerifyRedirectUrl, reachedAddress);
  }
  /// Takes a login back that `account` gave.
  [[nodiscard]] Failure resumeLogin(const std::string& accessToken) {
    return checked(commandSetAccessToken, accessToken);
  }

 private:
  static constexpr std::size_t accountBytes = std::size_t{64} << 10;
  static constexpr std::size_t addressBytes = 8192;
  static constexpr std::size_t reasonBytes = 1024;

  using Clock = std::chrono::steady_clock;

  /// What events come to.
  struct Session {
    Session(TransferPlatform platform, Handlers given, Executor to)
        : mayGoOn(platform == transferDouyin), handlers(std::move(given)), executor(std::move(to)) {}

    Promise<UploadEnd> begin() {
      const Promise<UploadEnd> begun(executor);
      std::optional<Promise<UploadEnd>> former = begun;
      {
        const std::lock_guard<std::mutex> lock(mutex);
        former.swap(end);
        lastNews = Clock::now();
        lastError.reset();
        hasBegun = false;
      }
      if (former) former->set(dropped());
      return begun;
    }
    void close() {
      isClosed = true;
      set(dropped());
    }
    static UploadEnd dropped() {
      return {UploadEnd::How::dropped, {}, {resultFailed, "The upload was dropped."}};
    }
    void set(UploadEnd how) {
      std::optional<Promise<UploadEnd>> promise;
      {
        const std::lock_guard<std::mutex> lock(mutex);
        promise = end;
      }
      if (promise) promise->set(std::move(how));
    }
    void take(int event, int value, const char* text);
    void takeError(UploadEnd error);
    template <class Call>
    void tell(Call call) const {
      executor([kept = self.lock(), call = std::move(call)] {
        if (!kept->isClosed) call(kept->handlers);
      });
    }

    const bool mayGoOn;  // behind an error
    const Handlers handlers;
    const Executor executor;
    std::weak_ptr<Session> self;
    std::atomic<bool> isClosed{false};
    std::mutex mutex;
    std::optional<Promise<UploadEnd>> end;  // of the upload that runs
    Clock::time_point lastNews;
    std::optional<UploadEnd> lastError;
    bool hasBegun = false;
  };

  static int onEvent(void* context, IExternlMediaTransfer* transfer, int event, int value,
                     const char* text) noexcept;
  [[nodiscard]] static Failure put(const UploadJob& job, hostTransferRecord& record);
  [[nodiscard]] static _Result resultOf(std::int32_t number) { return static_cast<_Result>(number); }
  Failure checked(TransferCommand command, const std::string& text);

  const std::shared_ptr<Session> session_;
  void* const context_;
  RefPtr<IExternlMediaTransfer> transfer_;
};

inline Upload::Upload(TransferPlatform platform, Handlers handlers, Executor executor)
    : session_(std::make_shared<Session>(platform, std::move(handlers), std::move(executor))),
      context_(Sessions<Session>::add(session_)),
      transfer_(adoptRef(createEMTUpTransfer(platform))) {
  session_->self = session_;
  if (!transfer_) {
    Sessions<Session>::remove(context_);
    throw std::bad_alloc();
  }
  const TransferCallback callback = &Upload::onEvent;
  transfer_->Command(commandSetCallback, callback);
  transfer_->Command(commandSetContext, context_);
}

inline Upload::~Upload() {
  session_->isClosed = true;
  transfer_.reset();
  session_->close();
  Sessions<Session>::remove(context_);
}

inline Eventual<UploadEnd> Upload::start(const UploadJob& job) {
  const Promise<UploadEnd> end = session_->begin();
  hostTransferRecord record{};
  Failure failure = put(job, record);
  if (!failure) {
    transfer_->Command(commandSetRecord, static_cast<const hostTransferRecord*>(&record));
    const _Result result = resultOf(transfer_->Start());
    if (result != resultOk) failure = {result, "Nothing can serve an upload to this platform."};
  }
  if (failure) end.set({UploadEnd::How::notStarted, {}, std::move(failure)});
  return end.eventual();
}

inline Failure Upload::put(const UploadJob& job, hostTransferRecord& record) {
  const char* refused = nullptr;
  const auto put = [&refused](std::string_view text, auto& field, const char* name) {
    if (!putText(text, field) && refused == nullptr) refused = name;
  };
  put(job.file, record.filePath, "file");
  put(job.title, record.title, "title");
  put(job.description, record.description, "description");
  put(job.tags, record.tags, "tags");
  put(job.category, record.category, "category");
  put(job.privacy, record.privacy, "privacy");
  put(job.thumbnail, record.thumbnailPath, "thumbnail");
  put(job.user, record.userUuid, "user");
  record.useClient = job.client;
  record.actionType = job.action;
  if (refused == nullptr) return {};
  return {ErrorCode::paramInvalid, std::string("The ") + refused + " is too long, or holds a zero."};
}

inline UploadEnd Upload::waitForEnd(std::chrono::milliseconds patience) const {
  constexpr std::chrono::milliseconds beat(50);
  while (true) {
    if (auto end = endAfter(patience)) return *end;
    if (auto end = session_->end->eventual().waitFor(beat)) return *end;
  }
}

inline std::optional<UploadEnd> Upload::endAfter(std::chrono::milliseconds patience) const {
  std::optional<UploadEnd> given;
  {
    const std::lock_guard<std::mutex> lock(session_->mutex);
    if (!session_->end)
      return UploadEnd{UploadEnd::How::notStarted, {}, {resultFailed, "Nothing was started."}};
    if (Clock::now() - session_->lastNews >= patience) {
      given = session_->lastError.value_or(
          UploadEnd{UploadEnd::How::silent, {}, {resultFailed, "Nothing was heard of the upload."}});
    }
  }
  if (given) session_->set(std::move(*given));
  return session_->end->eventual().get();
}

inline std::optional<UploadAccount> Upload::account() const {
  // The categories run on behind the record.
  std::vector<char> room(accountBytes);
  auto* const record = new (room.data()) hostAccountRecord{};
  if (transfer_->Query(queryUserInfo, record) != resultOk) return std::nullopt;
  UploadAccount account;
  account.name = textIn(record->userName);
  account.accessToken = textIn(record->accessToken);
  const std::string_view rest(room.data(), room.size());
  const std::string_view categories = rest.substr(offsetof(hostAccountRecord, videoCategories));
  account.categories = std::string(categories.substr(0, categories.find('\0')));
  account.freeMiB = record->limitSpace;
  return account;
}

inline _Result Upload::setApplication(const std::string& key, const std::string& secret,
                                      const std::string& redirectAddress) {
  return resultOf(transfer_->Command(commandSetApp, key.c_str(), secret.c_str(), redirectAddress.c_str()));
}

inline _Result Upload::share(std::string_view first, std::string_view second) {
  hostShareRecord record{};
  if (!putText(first, record.first) || !putText(second, record.second)) return resultFailed;
  return resultOf(transfer_->Command(commandPushMessage, &record));
}

inline std::optional<std::string> Upload::loginAddress() const {
  std::string address(addressBytes, '\0');
  if (transfer_->Query(queryLoginUrl, address.data()) != resultOk) return std::nullopt;
  address.resize((std::min)(address.find('\0'), address.size()));
  if (address.empty()) return std::nullopt;  // of a platform with a manager
  return address;
}

inline Failure Upload::checked(TransferCommand command, const std::string& text) {
  std::string reason(reasonBytes, '\0');
  const _Result result = resultOf(transfer_->Command(command, text.c_str(), reason.data()));
  if (result == resultOk) return {};
  reason.resize((std::min)(reason.find('\0'), reason.size()));
  return {result, std::move(reason)};
}

inline int Upload::onEvent(void* context, IExternlMediaTransfer*, int event, int value,
                           const char* text) noexcept {
  try {
    if (const auto session = Sessions<Session>::find(context)) session->take(event, value, text);
  } catch (...) {  // of the host's functions, or for want of memory: threads of the library take none
  }
  return 0;
}

inline void Upload::Session::take(int event, int value, const char* text) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    lastNews = Clock::now();
    if (event == transferEventProgress) {
      hasBegun = true;
      lastError.reset();
    }
  }
  switch (event) {
    case transferEventProgress:
      return tell([value](const Handlers& to) {
        if (to.onProgress) to.onProgress(value);
      });
    case transferEventFinished:
      return set({UploadEnd::How::finished, textOf(text), {}});
    case transferEventTokenInvalid:
      return takeError({UploadEnd::How::failed, {}, {ErrorCode::tokenExpired, textOf(text)}, value});
    default:
      return takeError({UploadEnd::How::failed, {}, Failure::fromEvent(textOf(text)), value});
  }
}

inline void Upload::Session::takeError(UploadEnd error) {
  bool isEnd = true;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    isEnd = !(mayGoOn && hasBegun);
    lastError = error;
  }
  tell([failure = error.failure](const Handlers& to) {
    if (to.onError) to.onError(failure);
  });
  if (isEnd) set(std::move(error));
}

}  // namespace KBL::host
