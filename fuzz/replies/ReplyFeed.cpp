#include "fuzz/replies/ReplyFeed.h"

#include "boundary/records/Records.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetworkClients.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblLogger/KblLogger.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace {

class ReadingLogger final : public KBL::IBsLogger {
 public:
  bool testSeverity(Severity) override { return true; }
  void write(Severity, const char*, int, const char*, const std::string& text) override {
    if (std::strlen(text.c_str()) > text.size()) std::abort();
  }
};

}  // namespace

class ReplyFeed::Client final : public KBL::INetworkClient {
 public:
  Client(std::string_view replies, int status) : rest_(replies), status_(status) {}
  virtual ~Client() = default;

  void setProxy(int, const std::string&, int, const std::string&, const std::string&) override {}
  void setConnectTimeout(int) override {}
  void setTotalTimeout(int) override {}
  void setLowSpeed(int, int) override {}
  void setHeaders(const std::map<std::string, std::string>&) override {}
  void setBody(std::string) override {}
  void setUploadSource(const std::map<std::string, std::string>&) override {}
  void setBearerToken(const std::string&) override {}
  KBL::NetReply perform(const KBL::URL&, int, KBL::IBsResponseWriteCallback* writer, void* context,
                        KBL::IBsProgressCallback*, void*) override {
    const std::string_view reply = rest_.substr(0, rest_.find('\0'));
    if (reply.size() < rest_.size()) rest_.remove_prefix(reply.size() + 1);
    KBL::NetReply answer;
    answer.resultCode = 0;
    answer.httpCode = status_;
    answer.content = reply;
    (void)writer;
    (void)context;
    return answer;
  }
  void destroy() override { ::delete this; }

 private:
  std::string_view rest_;
  const int status_;
};

ReplyFeed::ReplyFeed(const std::uint8_t* data, std::size_t size)
    : replies_(reinterpret_cast<const char*>(data), size) {
  static const bool isSetUp = [] {
    KBL::installLogger(std::make_shared<ReadingLogger>());
    std::map<std::string, std::string> urls;
    for (const char* key :
         {"urlLFServerUserSupportSession", "urlLFServerUserSupportCode", "urlLFServerUserSupportToken",
          "urlLFServerClientCredentials", "urlCloudDiskAuthGoogleDiskUserInfo", "urlYoutubeVideoCategories",
          "urlMediaAuthTiktokUserInfo", "urlMediaAuthDouyinUserInfo", "urlUserSupportQueryConsume"}) {
      urls[key] = "http://127.0.0.1:9/";
    }
    KBL::setCloudConfig(urls);
    return true;
  }();
  (void)isSetUp;
}

ReplyFeed::~ReplyFeed() {
  KBL::setNetworkClientFactory({});
}

void ReplyFeed::runRequest(KBL::BsExternlMediaAuthRequest& request, int status) {
  KBL::setNetworkClientFactory(
      [this, status]() -> KBL::INetworkClient* { return ::new Client(replies_, status); });
  KBL::AuthContext context;
  context.platform = KBL::ema_youtube;
  context.logTag = "nobody";
  KBL::initAuthRequest(context, "uuid", request);
  const auto info = signedInUser();
  request.syncRequestWithInfo(info.get());
  checkError(request);
}

KBL::RefPtr<KBL::IBsInfoReader> signedInUser() {
  auto info = KBL::makeRef<KBL::BsExternlMediaAuthLoginInfo>();
  using Key = KBL::ExternlMediaMixedCharKey;
  for (const char* key : {Key::thirdAccessToken, Key::accessToken, Key::refreshToken, Key::userAccountUid}) {
    info->setCharKeyConfig(key, "text");
  }
  return info;
}

void checkError(KBL::BsExternlMediaAuthRequest& request) {
  const auto error = request.errorInfo();
  if (error->errorMessage() == nullptr) std::abort();
}
