#include "requests/FakeNetwork.h"

#include <gtest/gtest.h>

#include <utility>

using namespace KBL;

NetReply httpReply(int httpCode, const std::string& content) {
  NetReply reply;
  reply.httpCode = httpCode;
  reply.resultCode = 0;
  reply.content = content;
  return reply;
}

NetReply transportFailure(int resultCode, const std::string& message) {
  NetReply reply;
  reply.resultCode = resultCode;
  reply.errorMessage = message;
  return reply;
}

class FakeNetwork::Client final : public INetworkClient {
 public:
  explicit Client(FakeNetwork& network) : network_(network) {
    ++network_.clientsMade_;
    ++network_.clientsAlive_;
  }
  ~Client() { --network_.clientsAlive_; }

  void setProxy(int type, const std::string& server, int port, const std::string& user,
                const std::string& password) override {
    exchange_.proxy = FakeExchange::Proxy{type, server, port, user, password};
  }
  void setConnectTimeout(int) override {}
  void setTotalTimeout(int milliseconds) override { exchange_.totalTimeoutMs = milliseconds; }
  void setLowSpeed(int, int) override {}
  void setHeaders(const std::map<std::string, std::string>& headers) override { exchange_.headers = headers; }
  void setBody(std::string body) override { exchange_.body = std::move(body); }
  void setUploadSource(const std::map<std::string, std::string>&) override {}
  void setBearerToken(const std::string& token) override { exchange_.bearer = token; }
  NetReply perform(const URL& url, int method, IBsResponseWriteCallback* writer, void* writerContext,
                   IBsProgressCallback* progress, void* progressContext) override {
    EXPECT_TRUE(url.IsValid()) << url.string();
    EXPECT_EQ(writer, nullptr);
    EXPECT_EQ(writerContext, nullptr);
    EXPECT_EQ(progress, nullptr);
    EXPECT_EQ(progressContext, nullptr);
    exchange_.url = url.string();
    exchange_.method = method;
    return network_.perform(exchange_);
  }
  void destroy() override { ::delete this; }

 private:
  FakeNetwork& network_;
  FakeExchange exchange_;
};

FakeNetwork::FakeNetwork() : answer_([](const FakeExchange&) { return okReply(R"({"code":0})"); }) {
  setNetworkClientFactory([this]() -> INetworkClient* { return refusing_ ? nullptr : new Client(*this); });
}

FakeNetwork::~FakeNetwork() {
  setNetworkClientFactory({});
}

void FakeNetwork::answer(Answer answer) {
  const std::lock_guard lock(mutex_);
  answer_ = std::move(answer);
}

void FakeNetwork::answer(const NetReply& reply) {
  answer([reply](const FakeExchange&) { return reply; });
}

std::vector<FakeExchange> FakeNetwork::exchanges() const {
  const std::lock_guard lock(mutex_);
  return exchanges_;
}

FakeExchange FakeNetwork::onlyExchange() const {
  const std::vector<FakeExchange> all = exchanges();
  EXPECT_EQ(all.size(), 1U);
  return all.empty() ? FakeExchange() : all.front();
}

std::size_t FakeNetwork::countOf(const std::string& part) const {
  std::size_t count = 0;
  for (const FakeExchange& exchange : exchanges())
    count += exchange.url.find(part) != std::string::npos ? 1 : 0;
  return count;
}

NetReply FakeNetwork::perform(const FakeExchange& exchange) {
  Answer answer;
  {
    const std::lock_guard lock(mutex_);
    exchanges_.push_back(exchange);
    answer = answer_;
  }
  return answer(exchange);
}
