#pragma once

#include <BsNet/IBsBaseRequest.h>
#include <BsNet/IBsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/host/EventQueue.h>
#include <ExternlMediaTransfer/host/Eventual.h>
#include <ExternlMediaTransfer/host/Failure.h>
#include <ExternlMediaTransfer/host/Texts.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace KBL::host {

/// What a manager needs.
struct AccountSettings {
  std::string cacheFolder;  ///< where logins are kept, enciphered; made when missing
  std::string appSecret;
  std::map<std::string, std::string> publicInfo{};  ///< further texts by PubCharKey; all of them are sent
  int refreshIntervalMs = 3300000;
};

/// What a login needs.
struct SignInRequest {
  std::string platformId;  ///< the account server's number of the platform, decimal
  int timeoutSeconds = 120;
  std::string user{};        ///< a known one to sign in again; empty: who signed in last, or a new one
  std::string scope{};       ///< OAuth scopes, separated by commas; empty: the platform's
  std::string closingUrl{};  ///< empty: the account server's
};

/// How a login ended.
struct SignInEnd {
  enum class How {
    signedIn,
    failed,
    cancelled,  ///< by cancelSignIn, by another signIn or by signOut
    dropped     ///< the Accounts went meanwhile
  };
  Failure failure{};  ///< none: it is good
  std::string user{};
  std::string closingUrl{};  ///< may be shown; from a server, so nothing but http and https
  How how = How::failed;

  [[nodiscard]] bool isGood() const { return !failure; }
};

struct User {
  std::string id;  ///< names him in all calls
  std::string firstName;
  std::string lastName;
  std::string nickName;
  std::string account;
  std::vector<std::string> categories;
};

/// What the host hears of by itself.
struct AccountHandlers {
  /// The platform token of a user was stored and is another one; `accessToken` has it.
  std::function<void(const std::string& user)> onTokenChanged{};
  /// A refresh in the background failed, and is tried again.
  std::function<void(const std::string& user, const Failure& failure)> onRefreshFailed{};
  /// An upload found nobody to upload for.
  std::function<void(const Failure& failure)> onUploadRefused{};
};

/// The users of a platform with a manager: logins, tokens, verifications. One object a platform, which lives
/// longer than the platform's uploads. Any thread. The constructor throws std::bad_alloc where memory is
/// short.
class Accounts {
 public:
  using Handlers = AccountHandlers;

  /// The functions are called, and outcomes told, through `executor`.
  Accounts(ExternlMediaPlatform platform, const AccountSettings& settings, Handlers handlers = {},
           Executor executor = &directly);
  /// Ends running logins. Outside callbacks it waits for functions that run directly, so that the caller
  /// holds no lock which they take; none begins behind it. With a queue: on the queue's thread.
  ~Accounts();
  Accounts(const Accounts&) = delete;
  Accounts& operator=(const Accounts&) = delete;

  /// Signs somebody in: `openBrowser` gets the address that he has to visit, from a server: open nothing but
  /// http and https. One login at a time: another one ends the one before.
  /// Calls back within itself: the end of the login before, without a queue.
  Eventual<SignInEnd> signIn(const SignInRequest& request,
                             std::function<void(const std::string& address)> openBrowser);
  /// Ends the login that runs.
  /// Calls back within itself: the end of that login, without a queue.
  void cancelSignIn();
  /// Checks a cached login and renews its token; empty: who signed in last.
  Eventual<Failure> verify(const std::string& user = {});
  /// False when there was no such user. Ends the login that runs, whoever signs out.
  /// Calls back within itself: the end of that login, without a queue.
  bool signOut(const std::string& user = {}) {
    cancelSignIn();
    return manager_->logout(user.c_str()) == resultOk;
  }
  [[nodiscard]] std::optional<User> user(const std::string& user = {}) const;
  /// A secret. Whether it has expired is not tested.
  [[nodiscard]] std::optional<std::string> accessToken(const std::string& user = {}) const;

  /// The manager, for what is not said here; as long as this object lives.
  [[nodiscard]] IBsExternlMediaAuthorize& manager() const { return *manager_; }

 private:
  /// Room for every token that a manager copies whole.
  static constexpr std::size_t tokenBytes = 8193;

  struct Session;
  class Relay;

  [[nodiscard]] static RefPtr<IBsExternlMediaAuthorize> managerOf(ExternlMediaPlatform platform);
  void setPublicInfo(const AccountSettings& settings) const;
  [[nodiscard]] static RefPtr<IBsInfoReader> recordOf(const SignInRequest& request);

  const std::shared_ptr<Session> session_;
  Relay* const relay_;
  RefPtr<IBsExternlMediaAuthorize> manager_;
};

/// What answers come to.
struct Accounts::Session {
  /// A login that runs.
  struct SignIn {
    Promise<SignInEnd> end;
    std::function<void(const std::string&)> openBrowser;
    std::string user;
    bool isKnown = false;  ///< the platform told who the user is
  };
  struct Verification {
    std::string user;
    Promise<Failure> end;
    std::uint64_t number = 0;
    std::thread::id caller{};  ///< while the manager's operation runs: a refusal names no user
  };

  Session(Handlers given, Executor to) : handlers(std::move(given)), executor(std::move(to)) {}

  template <class Call>
  void tell(Call call) const {
    executor([kept = self.lock(), call = std::move(call)] {
      if (!kept->isClosed) call(kept->handlers);
    });
  }
  /// Takes the login that runs out of the session, if there is one for which `isIt` holds.
  template <class Test>
  std::optional<SignIn> takeSignIn(Test isIt) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (!signIn || !isIt(*signIn)) return std::nullopt;
    return std::exchange(signIn, std::nullopt);
  }
  void endSignIn(const Failure& failure) {
    if (const auto ended = takeSignIn([](const SignIn&) { return true; })) ended->end.set(failedEnd(failure));
  }
  [[nodiscard]] SignInEnd failedEnd(const Failure& failure) const {
    const bool isCancelled = failure.code == ErrorCode::userCancelled;
    return {failure,
            {},
            {},
            !isCancelled ? SignInEnd::How::failed
            : isClosed   ? SignInEnd::How::dropped
                         : SignInEnd::How::cancelled};
  }
  void takeSignInAnswer(const Failure& failure);
  std::uint64_t addVerification(const std::string& user, const Promise<Failure>& end);
  void endCallOf(std::uint64_t verification, _Result result);
  void takeVerification(const std::string& user, const Failure& failure);
  void close();

  const Handlers handlers;
  const Executor executor;
  std::weak_ptr<Session> self;
  std::atomic<bool> isClosed{false};
  std::mutex mutex;
  std::optional<SignIn> signIn;
  std::vector<Verification> verifications;
  std::uint64_t lastVerification = 0;
};

/// What the manager calls. It is never freed, since a call may have begun when its Accounts goes inside
/// another one; what it held is.
class Accounts::Relay final : public IExternlMediaAuthCallback {
 public:
  static Relay* make(const std::shared_ptr<Session>& session) {
    static std::mutex& mutex = *new std::mutex;
    static std::vector<std::unique_ptr<Relay>>& all = *new std::vector<std::unique_ptr<Relay>>;
    const std::lock_guard<std::mutex> lock(mutex);
    all.emplace_back(new Relay(session));
    return all.back().get();
  }

  _Result queryResponse(IBsBaseRequest*, IBsInfoReader* info, IBsErrorInfo* error) override {
    if (info == nullptr || error == nullptr) return resultFailed;
    return with([&](Session& session) {
      const std::string user = textOf(info->charKeyConfig(ExternlMediaLoginCharKey::userSessionId));
      const Failure failure{error->errorCode(), textOf(error->errorMessage())};
      switch (info->infoType()) {
        case infoTypeLogin:
          return session.takeSignInAnswer(failure);
        case infoTypeVerifyAccessToken:
          return session.takeVerification(user, failure);
        case infoTypeRefreshToken:
          return session.tell([user, failure](const Handlers& to) {
            if (failure && to.onRefreshFailed) to.onRefreshFailed(user, failure);
          });
        case infoTypeUpload:
          return session.tell([failure](const Handlers& to) {
            if (failure && to.onUploadRefused) to.onUploadRefused(failure);
          });
        default:
          return;
      }
    });
  }
  void onRequestFinished(const std::string&) override {}
  void onLoginUrl(const char* uuid, const char* url) override {
    (void)with([&](Session& session) {
      std::function<void(const std::string&)> open;
      {
        const std::lock_guard<std::mutex> lock(session.mutex);
        if (!session.signIn) return;
        session.signIn->user = textOf(uuid);
        open = session.signIn->openBrowser;
      }
      session.tell([open = std::move(open), address = textOf(url)](const Handlers&) {
        if (open) open(address);
      });
    });
  }
  void onLoginCallbackUrl(const char* uuid, const char* url) override {
    (void)with([&](Session& session) {
      const auto ended = session.takeSignIn([](const Session::SignIn&) { return true; });
      if (!ended) return;
      SignInEnd good;
      good.user = textOf(uuid);
      good.closingUrl = textOf(url);
      good.how = SignInEnd::How::signedIn;
      ended->end.set(std::move(good));
    });
  }
  void onAccessTokenChanged(const char* uuid, const char*, const char*) override {
    (void)with([&](Session& session) {
      session.tell([user = textOf(uuid)](const Handlers& to) {
        if (to.onTokenChanged) to.onTokenChanged(user);
      });
    });
  }

 private:
  explicit Relay(const std::shared_ptr<Session>& session) : session_(session) {}

  /// Nothing may be thrown into the manager's threads.
  template <class Take>
  _Result with(Take take) const noexcept {
    try {
      if (const auto session = session_.lock()) take(*session);
      return resultOk;
    } catch (...) {
      return resultFailed;
    }
  }

  const std::weak_ptr<Session> session_;
};

inline Accounts::Accounts(ExternlMediaPlatform platform, const AccountSettings& settings, Handlers handlers,
                          Executor executor)
    : session_(std::make_shared<Session>(std::move(handlers), std::move(executor))),
      relay_(Relay::make(session_)),
      manager_(managerOf(platform)) {
  if (!manager_) throw std::bad_alloc();
  session_->self = session_;
  setPublicInfo(settings);
  manager_->addAuthCallback(relay_);
  (void)manager_->init(settings.cacheFolder.c_str(), settings.refreshIntervalMs);
}

inline Accounts::~Accounts() {
  session_->isClosed = true;
  (void)manager_->cancelLogin();
  manager_->removeAuthCallback(relay_);
  session_->close();
}

/// The one that there is, or a new one, whose reference comes with it.
inline RefPtr<IBsExternlMediaAuthorize> Accounts::managerOf(ExternlMediaPlatform platform) {
  if (auto* const there = getExternlMediaAuthorize(platform)) return shareRef(there);
  return adoptRef(getOrCreateExternlMediaAuthorize(platform));
}

inline void Accounts::setPublicInfo(const AccountSettings& settings) const {
  const auto record = adoptRef(createInfoObject(infoObjectPubInfo));
  auto* const info = record ? queryInterface<IBsPubInfo>(record.get(), "IBsPubInfo") : nullptr;
  if (info == nullptr) throw std::bad_alloc();
  for (const auto& [key, value] : settings.publicInfo) info->setCharKeyConfig(key.c_str(), value.c_str());
  info->setCharKeyConfig(PubCharKey::appSecret, settings.appSecret.c_str());
  manager_->setPubParam(info);
}

inline RefPtr<IBsInfoReader> Accounts::recordOf(const SignInRequest& request) {
  auto record = adoptRef(createExternlMediaAuthInfoObject(infoTypeLogin));
  auto* const login =
      record ? queryInterface<IBsExternlMediaLoginInfo>(record.get(), "IBsExternlMediaLoginInfo") : nullptr;
  if (login == nullptr) return nullptr;
  using Key = ExternlMediaLoginCharKey;
  const auto put = [login](const char* key, const std::string& text) {
    if (!text.empty()) login->setCharKeyConfig(key, text.c_str());
  };
  put(Key::platformId, request.platformId);
  put(Key::userSessionId, request.user);
  put(Key::scope, request.scope);
  put(Key::url, request.closingUrl);
  put(Key::timeout_seconds, std::to_string(request.timeoutSeconds));
  return record;
}

inline Eventual<SignInEnd> Accounts::signIn(const SignInRequest& request,
                                            std::function<void(const std::string& address)> openBrowser) {
  cancelSignIn();
  const Promise<SignInEnd> end(session_->executor);
  std::optional<Session::SignIn> former{Session::SignIn{end, std::move(openBrowser), request.user, false}};
  {
    const std::lock_guard<std::mutex> lock(session_->mutex);
    former.swap(session_->signIn);
  }
  // Whoever heard of the cancelling may have begun one.
  if (former) former->end.set(session_->failedEnd({ErrorCode::userCancelled, "Cancelled."}));
  const auto record = recordOf(request);
  if (!record || manager_->toExternlMediaAuth(record.get()) != resultOk) {
    session_->endSignIn({resultFailed, "The login could not be started."});
  }
  return end.eventual();
}

inline void Accounts::cancelSignIn() {
  (void)manager_->cancelLogin();
  session_->endSignIn({ErrorCode::userCancelled, "Cancelled."});
}

inline Eventual<Failure> Accounts::verify(const std::string& user) {
  const Promise<Failure> end(session_->executor);
  const std::uint64_t number = session_->addVerification(user, end);
  const _Result result = manager_->toVerifyAccessToken(user.c_str());
  session_->endCallOf(number, result);
  // A refusal has been told within the call; want of memory has not.
  if (result != resultOk) end.set({resultFailed, "The verification could not be started."});
  return end.eventual();
}

inline std::optional<User> Accounts::user(const std::string& user) const {
  const auto record = adoptRef(createExternlMediaAuthInfoObject(infoTypeUser));
  auto* const info =
      record ? queryInterface<IBsExternlMediaAuthUserInfo>(record.get(), "IBsExternlMediaAuthUserInfo")
             : nullptr;
  if (info == nullptr || manager_->userInfo(user.c_str(), info) != resultOk) return std::nullopt;
  using Key = ExternlMediaAuthUserCharKey;
  const auto get = [info](const char* key) { return textOf(info->charKeyConfig(key)); };
  User found{get(Key::userSessionId), get(Key::userFirstName), get(Key::userLastName),
             get(Key::userNickName),  get(Key::userAccount),   {}};
  const std::string categories = get(Key::videoCategories);
  for (std::size_t begin = 0; begin < categories.size();) {
    const std::size_t end = (std::min)(categories.find('|', begin), categories.size());
    found.categories.push_back(categories.substr(begin, end - begin));
    begin = end + 1;
  }
  return found;
}

inline std::optional<std::string> Accounts::accessToken(const std::string& user) const {
  std::string token(tokenBytes, '\0');
  if (manager_->getAccessToken(user.c_str(), token.data()) != resultOk) return std::nullopt;
  token.resize((std::min)(token.find('\0'), token.size()));
  return token;
}

inline void Accounts::Session::takeSignInAnswer(const Failure& failure) {
  if (!failure) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (signIn) signIn->isKnown = true;
    return;
  }
  // Behind the profile only the list of categories is missing.
  const auto ended = takeSignIn([](const SignIn& running) { return !running.isKnown; });
  if (ended) ended->end.set(failedEnd(failure));
}

inline std::uint64_t Accounts::Session::addVerification(const std::string& user,
                                                        const Promise<Failure>& end) {
  const std::lock_guard<std::mutex> lock(mutex);
  verifications.push_back({user, end, ++lastVerification, std::this_thread::get_id()});
  return lastVerification;
}

inline void Accounts::Session::endCallOf(std::uint64_t verification, _Result result) {
  const std::lock_guard<std::mutex> lock(mutex);
  const auto found = std::find_if(verifications.begin(), verifications.end(),
                                  [&](const Verification& one) { return one.number == verification; });
  if (found == verifications.end()) return;
  found->caller = {};
  if (result != resultOk) verifications.erase(found);
}

inline void Accounts::Session::takeVerification(const std::string& user, const Failure& failure) {
  std::optional<Verification> answered;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto find = [this](auto isIt) {
      return std::find_if(verifications.begin(), verifications.end(), isIt);
    };
    auto found = verifications.end();
    if (user.empty()) {
      const auto here = std::this_thread::get_id();
      found = find([&](const Verification& one) { return one.caller == here; });
    } else {
      found = find([&](const Verification& one) { return one.user == user; });
      if (found == verifications.end())
        found = find([](const Verification& one) { return one.user.empty(); });
    }
    if (found == verifications.end()) return;
    answered = std::move(*found);
    verifications.erase(found);
  }
  answered->end.set(failure);
}

inline void Accounts::Session::close() {
  endSignIn({ErrorCode::userCancelled, "Cancelled."});
  std::vector<Verification> unanswered;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    unanswered.swap(verifications);
  }
  for (const Verification& one : unanswered) one.end.set({ErrorCode::userCancelled, "Dropped."});
}

}  // namespace KBL::host
