#pragma once

#include "authorize/switchboard/AuthContext.h"
#include "authorize/switchboard/RequestFlow.h"
#include "authorize/switchboard/SwitchboardInterfaces.h"
#include "requests/ReplyShapes.h"
#include "requests/RequestChain.h"
#include "requests/RequestExchange.h"
#include "requests/RequestWorker.h"
#include <BsNet/KblBaseRequest.h>

#include <json/value.h>

#include <cstdint>
#include <memory>
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

/// The frame through which every account-server and platform request travels. One attempt is the business of
/// its RequestExchange, thread, tries and late releases that of its RequestWorker, those that wait on it that
/// of its RequestChain; the envelope and the hooks stand here. A concrete request fixes its constants and
/// overrides the hooks.
///
/// A request is born with a count of 0; its creator takes the first reference and hands it to the worker with
/// `asyncRequestWithInfo`. References are given back late, from detached threads, so that no thread destroys
/// the object that it runs on. Until the start the creator's thread alone touches a request, then its worker.
///
/// A request that waits on another one belongs to it and starts, or is dropped, in its `queryResponse`. A
/// dropped request gives its creator's reference back and drops the one that waits on it.
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
  /// Takes `next` with its creator's reference: it starts, or is dropped, when this request has ended and the
  /// callbacks that are registered by now have heard of it. Before the start. 1 when memory is short.
  [[nodiscard]] _Result goOnWith(RefPtr<BsExternlMediaAuthRequest> next);
  /// Gives one reference back after `milliseconds`, from a detached thread.
  void delayRelease(int milliseconds);
  /// Sets the abort flag for good: the request starts no more and makes no further try, and its flow is
  /// canceled.
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
  /// The flow that the request is a step of, or null; joined before the start, kept until the request goes.
  void joinFlow(std::shared_ptr<RequestFlow> flow) { flow_ = std::move(flow); }
  [[nodiscard]] const std::shared_ptr<RequestFlow>& flow() const { return flow_; }

 protected:
  [[nodiscard]] std::string configuredUrl() const { return exchange_.configuredUrl(); }
  [[nodiscard]] int httpMethod() const { return exchange_.httpMethod(); }
  /// Does what `checkResponseValid` does, for a service that answers in `shape`. Lines are those of `caller`.
  int checkReply(const ReplyShape& shape, const std::string& content, Json::Value& root, std::string& message,
                 int& code, const std::source_location& caller = std::source_location::current());
  /// Reads a reply that `checkResponseValid` takes for good into `root`; else false, with the error set.
  [[nodiscard]] bool readEnvelope(const std::string& content, Json::Value& root, IBsErrorInfo& error);
  /// True when the abort flag is set.
  [[nodiscard]] bool aborted() { return worker_.aborted(); }
  /// Full copy of the public information, secret included, or null.
  [[nodiscard]] IBsPubInfo* fullPubInfo() const { return pubInfoCopy_.get(); }

  // The parts, for a request that the library does not make.
  [[nodiscard]] const RequestExchange& exchangePart() const { return exchange_; }
  [[nodiscard]] RequestWorker& workerPart() { return worker_; }
  [[nodiscard]] RequestChain& chainPart() { return chain_; }

 private:
  // They work together through the request, and use the foundation's protected side of it.
  friend class RequestChain;
  friend class RequestExchange;
  friend class RequestWorker;
  friend void initAuthRequest(const AuthContext& context, const std::string& uuid,
                              BsExternlMediaAuthRequest& request);

  void _asyncRequestWithInfo(IBsInfoReader* info);

  const std::int32_t requestType_;
  std::int32_t platform_ = ema_none;
  std::string ownerTag_;
  std::string userUuid_;
  RefPtr<IBsPubInfo> pubInfoCopy_;
  mutable std::mutex resultMutex_;  // a leaf: a poll exchanges what follows beside the worker
  RefPtr<IBsInfoReader> replyInfo_;
  RefPtr<IBsErrorInfo> errorInfo_;
  RefPtr<IBsInfoReader> keptRecord_;
  std::shared_ptr<RequestFlow> flow_;
  RequestExchange exchange_;
  RequestWorker worker_;
  RequestChain chain_;
};

/// Sets a request up from its manager's context: network proxy, public parameters, timeout, platform, owner
/// tag and user uuid.
void initAuthRequest(const AuthContext& context, const std::string& uuid, BsExternlMediaAuthRequest& request);

}  // namespace KBL
