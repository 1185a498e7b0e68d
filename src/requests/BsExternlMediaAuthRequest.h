#pragma once

#include "authorize/switchboard/AuthContext.h"
#include "authorize/switchboard/IOwnedRequest.h"
#include "foundation/BsNet/KblBaseRequest.h"

#include <json/value.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <source_location>
#include <string>
#include <utility>

namespace KBL {

/// Request kinds.
enum ExternlMediaAuthRequestType : std::int32_t {
  requestNone = 0,
  requestUserSupportSession = 1,
  requestUserSupportCode = 2,
  requestUserSupportToken = 3,
  requestClientCredentials = 4,
  requestYoutubeUserInfo = 5,
  requestYoutubeVideoCategory = 6,
  requestYoutubeUploadFile = 7,
  requestTiktokUserInfo = 8,
  requestTiktokUploadFile = 9,
  requestDouyinUserInfo = 10,
  requestDouyinUploadFile = 11,
  requestUserSupportConsume = 12,
};

/// What tells one request class from another.
struct RequestConstants {
  ExternlMediaAuthRequestType requestType;
  int httpMethod;      ///< a value of HttpMethod
  const char* urlKey;  ///< key of the endpoint in the cloud configuration
  const char* name;
};

/// The frame through which every account-server and platform request travels: URL look-up, network client,
/// proxy, headers, envelope, errors, retries, worker thread and the lifetime of the request object. A
/// concrete request fixes its constants and overrides the hooks.
///
/// A request is born with a count of 0; its creator takes the first reference and hands it to the worker with
/// `asyncRequestWithInfo`. References are given back late, from detached threads, so that no thread destroys
/// the object that it runs on. Until the start the creator's thread alone touches a request, then its worker.
///
/// A request that waits on another one is registered as a callback of it and starts, or is dropped, in its
/// `queryResponse`. A dropped request gives its creator's reference back and drops those that wait on it.
class BsExternlMediaAuthRequest : public KblBaseRequest, public IOwnedRequest {
 public:
  BsExternlMediaAuthRequest();
  explicit BsExternlMediaAuthRequest(const RequestConstants& constants);
  ~BsExternlMediaAuthRequest() override;

  // The hooks, in the order of the slots.
  /// Reads the envelope of `content` into `root`: 1 when it says success, else 0 with `message` and `code`.
  virtual int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                                 int& code);
  /// Runs the exchange: reads its parameters from `info`, sets the client up, performs and fills `reply`.
  virtual _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply);
  virtual int handleResponse(IBsInfoReader* info, const std::string& content, IBsErrorInfo* error,
                             NetReply* reply);
  virtual int hookRequestInfo(IBsInfoReader* info, IBsErrorInfo* error, NetReply* reply);
  virtual int hookNetError(IBsInfoReader* info, IBsErrorInfo* error, NetReply* reply);
  /// Fills the members out of a good envelope: 1 when the response was valid, else 0 with the error set.
  virtual int parseEnvelope(IBsInfoReader* info, const std::string& content, IBsErrorInfo* error,
                            NetReply* reply);
  /// Publishes what the request learnt: 0 done, 1 nothing to publish.
  virtual int handleRequestData(IBsBaseRequest* self, IBsInfoReader* info, IBsErrorInfo* error,
                                NetReply* reply);

  /// Runs one attempt on the calling thread; the outcome stands in `errorInfo`.
  void syncRequestWithInfo(IBsInfoReader* info);
  /// Starts a worker that runs the request with its retries and then its callbacks. 0 when it was started, 1
  /// for a null `info`, a request that runs already or was aborted for good, or no thread. Takes a reference
  /// on `info` and on the request, and with a 0 the creator's reference too.
  int asyncRequestWithInfo(IBsInfoReader* info);
  /// Gives one reference back after `milliseconds`, from a detached thread.
  void delayRelease(int milliseconds);
  /// Sets the abort flag for good: the request starts no more and makes no further try.
  void abortForGood();

  void* QueryInterfaceByName(const char* requested) override;
  _Result setPubParam(IBsPubInfo* info) override;
  _Result queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) override;

  [[nodiscard]] int requestType() const { return requestType_; }
  [[nodiscard]] int platform() const { return platform_; }
  [[nodiscard]] const std::string& ownerTag() const override { return ownerTag_; }
  [[nodiscard]] const std::string& userUuid() const { return userUuid_; }
  /// The request's error state; never null.
  [[nodiscard]] RefPtr<IBsErrorInfo> errorInfo() const;
  /// What `handleRequestData` stored; never null.
  [[nodiscard]] RefPtr<IBsInfoReader> replyInfo() const;
  /// Replace them, giving the former ones up. Any thread.
  void setErrorInfo(RefPtr<IBsErrorInfo> error);
  void setReplyInfo(RefPtr<IBsInfoReader> info);
  /// Keeps the record of a chain alive for as long as this request, the chain's last, lives. Before the
  /// start, or on the worker.
  void keepRecord(RefPtr<IBsInfoReader> record) { keptRecord_ = std::move(record); }

 protected:
  /// The address that the cloud configuration has for `key`, or an empty text.
  [[nodiscard]] static std::string configuredUrl(const std::string& key);
  [[nodiscard]] std::string configuredUrl() const { return configuredUrl(urlKey_); }
  /// True when the abort flag is set.
  [[nodiscard]] bool aborted();

  friend void initAuthRequest(const AuthContext& context, const std::string& uuid,
                              BsExternlMediaAuthRequest& request);

  std::string urlKey_;
  std::int32_t httpMethod_ = httpPost;
  std::int32_t chainMode_ = 0;
  std::map<std::string, std::string> requestHeaders_;
  std::int32_t requestType_ = requestNone;
  std::int32_t platform_ = ema_none;
  std::int32_t notifyMode_ = 2;
  std::string ownerTag_;
  std::string userUuid_;
  RefPtr<IBsPubInfo> pubInfoCopy_;  ///< full copy of the public information, secret included
  // Where another thread may exchange them (a login that polls), they are reached through the operations
  // above.
  RefPtr<IBsInfoReader> replyInfo_;
  RefPtr<IBsErrorInfo> errorInfo_;

 private:
  enum class Started { yes, alreadyRunning, no };
  /// Whether the start of a request clears an abort flag that is set, or gives way to it.
  enum class AbortFlag { clear, respect };

  // The exchange. `runAttempt` returns the error object that the attempt wrote, which the request may have
  // exchanged for another one meanwhile.
  RefPtr<IBsErrorInfo> runAttempt(IBsInfoReader* info);
  void attempt(IBsInfoReader* info, IBsErrorInfo& error);
  void applyServerProxy(INetworkClient& client);
  void reportFailure(const NetReply& reply, IBsErrorInfo& error);
  void failExchange(IBsInfoReader* info, IBsErrorInfo& error, NetReply& reply);

  // The worker.
  [[nodiscard]] Started start(IBsInfoReader* info, AbortFlag abortFlagRule);
  [[nodiscard]] bool takeWorker(AbortFlag abortFlagRule, Started& refusal);
  void _asyncRequestWithInfo(IBsInfoReader* info);
  [[nodiscard]] RefPtr<IBsErrorInfo> runTries(IBsInfoReader* info);
  void tellOutcome(IBsInfoReader* info, IBsErrorInfo& error);
  void endWorker(IBsInfoReader* info);

  // The chain.
  void drop(IBsInfoReader* info, IBsErrorInfo* error, bool othersDecide);
  void dropWaitingRequests(IBsInfoReader* info, IBsErrorInfo* error, bool othersDecide);

  mutable std::mutex resultMutex_;  // a leaf: a poll exchanges replyInfo_ and errorInfo_ beside the worker
  std::atomic<std::size_t> responseSize_{0};
  bool abortedForGood_ = false;  // guarded by abortMutex
  RefPtr<IBsInfoReader> keptRecord_;
};

/// Base of the concrete requests: answers "BsExternlMediaAuthRequest" to the cast by name, and nothing else,
/// and keeps what their exchanges share.
class ConcreteAuthRequest : public BsExternlMediaAuthRequest {
 public:
  using BsExternlMediaAuthRequest::BsExternlMediaAuthRequest;
  void* QueryInterfaceByName(const char* requested) override;

 protected:
  /// Refuses the exchange before any network use.
  static _Result refuse(NetReply& reply, int code, const char* message);
  /// Logs the name, the address and `logSuffix`, and runs the exchange there, watched by `progress` if that
  /// is not null. An address that is not usable, such as one that a blank in a token has spoilt, is refused
  /// with "url invalid".
  _Result exchange(INetworkClient& client, NetReply& reply, const std::string& address,
                   const std::string& logSuffix = {}, IBsProgressCallback* progress = nullptr,
                   const std::source_location& caller = std::source_location::current());
  /// The text under `key`, or empty, or `otherwise`, when it is unset.
  [[nodiscard]] static std::string textOf(IBsInfoReader* info, const char* key);
  [[nodiscard]] static std::string textOr(IBsInfoReader* info, const char* key, const char* otherwise);
  /// A new mixed record with a copy of `info`, as the reply.
  void keepCopyAsReply(IBsInfoReader* info);
};

/// Sets a request up from its manager's context: network proxy, public parameters, timeout, platform, owner
/// tag and user uuid.
void initAuthRequest(const AuthContext& context, const std::string& uuid, BsExternlMediaAuthRequest& request);

}  // namespace KBL
