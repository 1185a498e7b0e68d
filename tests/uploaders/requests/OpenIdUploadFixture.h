#pragma once

#include "uploaders/requests/BsExternlMediaAuthDouyinUploadFileRequest.h"
#include "uploaders/requests/BsExternlMediaAuthTiktokUploadFileRequest.h"
#include "uploaders/requests/UploadRequestFixture.h"
#include <BsNet/NetworkClients.h>

#include <memory>

inline constexpr const char* namedUrl = "http://127.0.0.1:9/named";
inline constexpr const char* openUrl = "http://127.0.0.1:9/video/part/init";
inline constexpr const char* partUrl = "http://127.0.0.1:9/video/part/upload";
inline constexpr const char* completeUrl = "http://127.0.0.1:9/video/part/complete";

/// An upload of a user whose open id is "open-7" and whose token is "token-1".
template <class Request>
class OpenIdUploadFixture : public UploadRequestFixture<Request> {
 protected:
  explicit OpenIdUploadFixture(int platform)
      : UploadRequestFixture<Request>(platform,
                                      {{"urlExternlMediaAuthTiktokUpload", namedUrl},
                                       {"urlExternlMediaAuthDouyinUpload", namedUrl},
                                       {"urlExternlMediaAuthDouyinVideoPartInit", openUrl},
                                       {"urlExternlMediaAuthDouyinVideoPartUpload", partUrl},
                                       {"urlExternlMediaAuthDouyinVideoPartComplete", completeUrl}}) {
    this->set("externlmedia_user_account_uid", "open-7");
  }

  /// Runs the exchange alone, without the frame around it.
  KBL::_Result request(KBL::IBsInfoReader* info) {
    const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
    return this->request_->Request(info, client.get(), &reply_);
  }

  KBL::NetReply reply_;
};

class TiktokUpload : public OpenIdUploadFixture<KBL::BsExternlMediaAuthTiktokUploadFileRequest> {
 protected:
  TiktokUpload() : OpenIdUploadFixture(KBL::ema_tiktok) {}
};

class DouyinUpload : public OpenIdUploadFixture<KBL::BsExternlMediaAuthDouyinUploadFileRequest> {
 protected:
  static constexpr std::uint64_t mebi4 = 4194304;
  static constexpr const char* accepted = R"({"data":{"error_code":0}})";

  DouyinUpload() : OpenIdUploadFixture(KBL::ema_douyin) {}

  void replyOpened() { network_.reply(200, R"({"data":{"error_code":0,"upload_id":"up-1"}})"); }
  void replyAccepted(int times = 1) {
    for (int i = 0; i < times; ++i) network_.reply(200, accepted);
  }
  void replyRefused(int code = 2100005, int times = 1) {
    for (int i = 0; i < times; ++i) {
      network_.reply(200, R"({"data":{"error_code":)" + std::to_string(code) + R"(,"description":"no"}})");
    }
  }
  void replyCompleted() {
    network_.reply(200, R"({"data":{"error_code":0,"video_id":"v1","share_id":"s1"}})");
  }

  static std::string partAddress(int number) {
    return std::string(partUrl) + "?open_id=open-7&upload_id=up-1&part_number=" + std::to_string(number);
  }
  static std::string completeAddress() { return std::string(completeUrl) + "?open_id=open-7&upload_id=up-1"; }
  /// Addresses of all exchanges, in order.
  [[nodiscard]] std::vector<std::string> addresses() const {
    std::vector<std::string> urls;
    for (const SentExchange& exchange : network_.exchanges()) urls.push_back(exchange.url);
    return urls;
  }
};
