#include "authorize/FakeNetwork.h"

#include "foundation/BsCloudConfig/BsCloudConfig.h"
#include "foundation/BsNet/NetworkClients.h"
#include "support/WaitUntil.h"

#include <condition_variable>
#include <mutex>
#include <set>
#include <utility>

namespace {
constexpr const char* host = "http://fake.test";

bool isBelow(const std::string& url, const std::string& path) {
  return url.rfind(host + path, 0) == 0;
}
}  // namespace

class FakeNetwork::State {
 public:
  KBL::NetReply perform(const FakeRequest& request) {
    Answer chosen;
    {
      std::unique_lock lock(mutex);
      asked.push_back(request);
      opened.wait(lock, [&] { return !isHeld(request.url); });
      for (const auto& [part, answer] : answers) {
        if (isBelow(request.url, part)) chosen = answer;
      }
    }
    return chosen ? chosen(request) : fakeReply("no such address", 404);
  }

  [[nodiscard]] bool isHeld(const std::string& url) const {
    for (const std::string& part : held) {
      if (isBelow(url, part)) return true;
    }
    return false;
  }

  mutable std::mutex mutex;
  std::condition_variable opened;
  std::map<std::string, Answer> answers;
  std::set<std::string> held;
  std::vector<FakeRequest> asked;
};

class FakeClient final : public KBL::INetworkClient {
 public:
  explicit FakeClient(std::shared_ptr<FakeNetwork::State> state) : state_(std::move(state)) {}
  virtual ~FakeClient() = default;

  void setProxy(int, const std::string&, int, const std::string&, const std::string&) override {}
  void setConnectTimeout(int) override {}
  void setTotalTimeout(int) override {}
  void setLowSpeed(int, int) override {}
  void setHeaders(const std::map<std::string, std::string>& headers) override { request_.headers = headers; }
  void setBody(std::string body) override { request_.body = std::move(body); }
  void setUploadSource(const std::map<std::string, std::string>&) override {}
  void setBearerToken(const std::string& token) override { request_.bearer = token; }
  KBL::NetReply perform(const KBL::URL& url, int method, KBL::IBsResponseWriteCallback*, void*,
                        KBL::IBsProgressCallback*, void*) override {
    request_.url = url.string();
    request_.method = method;
    return state_->perform(request_);
  }
  void destroy() override { ::delete this; }

 private:
  std::shared_ptr<FakeNetwork::State> state_;
  FakeRequest request_;
};

FakeNetwork::FakeNetwork() : state_(std::make_shared<State>()) {
  KBL::setCloudConfig({
      {"urlLFServerClientCredentials", "http://fake.test/credentials"},
      {"urlLFServerUserSupportSession", "http://fake.test/session"},
      {"urlLFServerUserSupportCode", "http://fake.test/code"},
      {"urlLFServerUserSupportToken", "http://fake.test/token"},
      {"urlUserSupportQueryConsume", "http://fake.test/consume"},
      {"urlCloudDiskAuthGoogleDiskUserInfo", "http://fake.test/googleuser"},
      {"urlYoutubeVideoCategories", "http://fake.test/categories"},
      {"urlMediaAuthTiktokUserInfo", "http://fake.test/tiktokuser"},
      {"urlMediaAuthDouyinUserInfo", "http://fake.test/douyinuser"},
      {"urlExternlMediaAuthYoutubeUpload", "http://fake.test/upload"},
  });
  answer("/credentials", R"({"code":0,"data":{"access_token":"account-token","expires_in":7200}})");
  answer("/session", R"({"code":0,"data":{"open_url":"http://fake.test/open","session_id":"session-1"}})");
  answer("/code", R"({"code":0,"data":{"status":1,"code":"c","callback_url":"http://fake.test/done",)"
                  R"("access_token":"third-1","refresh_token":"refresh-1","open_id":"open-1",)"
                  R"("expires_in":3600}})");
  answer("/token", R"({"code":0,"data":{"access_token":"third-2","refresh_token":"refresh-2",)"
                   R"("expires_in":3600}})");
  answer("/consume", R"({"code":0,"data":{}})");
  answer("/googleuser", R"({"id":"google-id","email":"a@fake.test","name":"Ada L","given_name":"Ada",)"
                        R"("family_name":"L","picture":"http://fake.test/a.png"})");
  answer("/categories", R"({"items":[{"snippet":{"title":"Film","assignable":true}}]})");
  answer("/tiktokuser", R"({"data":{"user":{"open_id":"tt-id","display_name":"Tik"}},"error":{"code":0}})");
  answer("/douyinuser", R"({"data":{"error_code":0,"open_id":"dy-id","nickname":"Dou","union_id":"u"}})");
  KBL::setNetworkClientFactory([state = state_]() -> KBL::INetworkClient* { return new FakeClient(state); });
}

FakeNetwork::~FakeNetwork() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->held.clear();
    state_->opened.notify_all();
  }
  KBL::setNetworkClientFactory({});
  KBL::clearCloudConfig();
}

void FakeNetwork::answer(const std::string& path, Answer answer) {
  const std::lock_guard lock(state_->mutex);
  state_->answers[path] = std::move(answer);
}

void FakeNetwork::answer(const std::string& path, const std::string& body) {
  answer(path, [body](const FakeRequest&) { return fakeReply(body); });
}

void FakeNetwork::hold(const std::string& path) {
  const std::lock_guard lock(state_->mutex);
  state_->held.insert(path);
}

void FakeNetwork::open(const std::string& path) {
  const std::lock_guard lock(state_->mutex);
  state_->held.erase(path);
  state_->opened.notify_all();
}

bool FakeNetwork::waitForRequests(const std::string& path, std::size_t count) const {
  return waitUntil([&] { return requests(path).size() >= count; });
}

std::vector<FakeRequest> FakeNetwork::requests(const std::string& path) const {
  const std::lock_guard lock(state_->mutex);
  std::vector<FakeRequest> found;
  for (const FakeRequest& request : state_->asked) {
    if (isBelow(request.url, path)) found.push_back(request);
  }
  return found;
}

KBL::NetReply fakeReply(const std::string& body, int httpCode) {
  KBL::NetReply reply;
  reply.httpCode = httpCode;
  reply.resultCode = 0;
  reply.content = body;
  return reply;
}
