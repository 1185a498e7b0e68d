#include "support/ScriptedNetwork.h"

#include "support/WaitUntil.h"
#include <BsNet/NetworkClients.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>
#include <utility>

using namespace KBL;

namespace {
/// Whether the path of the address begins so.
bool isBelow(const std::string& url, const std::string& path) {
  const std::size_t scheme = url.find("://");
  const std::size_t host = scheme == std::string::npos ? 0 : scheme + 3;
  return path.empty() || url.compare(std::min(url.find('/', host), url.size()), path.size(), path) == 0;
}
}  // namespace

std::string SentExchange::header(const std::string& name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? "(none)" : found->second;
}

NetReply httpReply(int httpCode, std::string content, HeaderMap headers) {
  NetReply reply;
  reply.httpCode = httpCode;
  reply.resultCode = 0;
  reply.content = std::move(content);
  reply.headers = std::move(headers);
  return reply;
}

NetReply okReply(std::string content) {
  return httpReply(200, std::move(content));
}

NetReply transportFailure(int resultCode, std::string message) {
  NetReply reply;
  reply.resultCode = resultCode;
  reply.errorMessage = std::move(message);
  return reply;
}

struct ScriptedNetwork::State {
  NetReply perform(SentExchange& exchange) {
    keep(exchange);
    if (const auto told = locked(onExchange)) told(exchange);
    const auto watched = locked(onWatched);
    if (exchange.progress != nullptr && watched && !watched(*exchange.progress)) {
      return transportFailure(-10007, "User cancelled!");
    }
    return choose(exchange.url)(exchange);
  }

  template <class Function>
  [[nodiscard]] Function locked(const Function& function) const {
    const std::lock_guard lock(mutex);
    return function;
  }

  void keep(SentExchange& exchange) {
    const std::lock_guard lock(mutex);
    exchange.number = sent.size() + 1;
    sent.push_back(exchange);
  }

  /// The answer as it stands once nothing holds the address.
  Answer choose(const std::string& url) {
    std::unique_lock lock(mutex);
    opened.wait(lock, [&] {
      return std::none_of(held.begin(), held.end(), [&](const auto& path) { return isBelow(url, path); });
    });
    const Answer* chosen = &otherwise;
    std::size_t length = 0;
    for (const auto& [path, answer] : answers) {
      if (path.size() <= length || !isBelow(url, path)) continue;
      chosen = &answer;
      length = path.size();
    }
    if (length > 0 || script.empty()) return *chosen;
    NetReply next = script.front();
    if (script.size() > 1) script.pop_front();
    return [next = std::move(next)](const SentExchange&) { return next; };
  }

  mutable std::mutex mutex;
  std::condition_variable opened;
  std::map<std::string, Answer> answers;
  Answer otherwise = [](const SentExchange&) { return httpReply(404, "no such address"); };
  std::deque<NetReply> script;
  std::set<std::string> held;
  std::vector<SentExchange> sent;
  std::function<void(const SentExchange&)> onExchange;
  std::function<bool(IBsProgressCallback&)> onWatched;
  std::atomic<bool> refusing{false};
  std::atomic<int> clientsMade{0};
  std::atomic<int> clientsAlive{0};
};

class ScriptedNetwork::Client final : public INetworkClient {
 public:
  explicit Client(std::shared_ptr<State> state) : state_(std::move(state)) {
    ++state_->clientsMade;
    ++state_->clientsAlive;
  }
  virtual ~Client() { --state_->clientsAlive; }

  void setProxy(int type, const std::string& server, int port, const std::string& user,
                const std::string& password) override {
    next_.proxy = SentExchange::Proxy{type, server, port, user, password};
  }
  void setConnectTimeout(int milliseconds) override { next_.connectTimeoutMs = milliseconds; }
  void setTotalTimeout(int milliseconds) override { next_.totalTimeoutMs = milliseconds; }
  void setLowSpeed(int bytesPerSecond, int seconds) override {
    next_.lowSpeedBytes = bytesPerSecond;
    next_.lowSpeedSeconds = seconds;
  }
  void setHeaders(const std::map<std::string, std::string>& headers) override {
    next_.headers = headers;
    ++next_.headerCalls;
  }
  void setBody(std::string body) override {
    next_.body = std::move(body);
    ++next_.bodyCalls;
  }
  void setUploadSource(const std::map<std::string, std::string>& source) override { next_.source = source; }
  void setBearerToken(const std::string& token) override { next_.bearer = token; }
  NetReply perform(const URL& url, int method, IBsResponseWriteCallback* writer, void* writerContext,
                   IBsProgressCallback* progress, void* progressContext) override {
    next_.url = url.string();
    next_.method = method;
    next_.writer = writer;
    next_.writerContext = writerContext;
    next_.progress = progress;
    next_.progressContext = progressContext;
    return state_->perform(next_);
  }
  void destroy() override { ::delete this; }

 private:
  const std::shared_ptr<State> state_;
  SentExchange next_;
};

ScriptedNetwork::ScriptedNetwork() : state_(std::make_shared<State>()) {
  setNetworkClientFactory(
      [state = state_]() -> INetworkClient* { return state->refusing ? nullptr : ::new Client(state); });
}

ScriptedNetwork::ScriptedNetwork(Answer answer) : ScriptedNetwork() {
  this->answer(std::move(answer));
}

ScriptedNetwork::ScriptedNetwork(const NetReply& reply) : ScriptedNetwork() {
  answer(reply);
}

ScriptedNetwork::~ScriptedNetwork() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->held.clear();
    state_->opened.notify_all();
  }
  setNetworkClientFactory({});
}

void ScriptedNetwork::answer(const std::string& path, Answer answer) {
  const std::lock_guard lock(state_->mutex);
  state_->answers[path] = std::move(answer);
}

void ScriptedNetwork::answer(const std::string& path, const std::string& body) {
  answer(path, [body](const SentExchange&) { return okReply(body); });
}

void ScriptedNetwork::answer(Answer answer) {
  const std::lock_guard lock(state_->mutex);
  state_->otherwise = std::move(answer);
}

void ScriptedNetwork::answer(const NetReply& reply) {
  answer([reply](const SentExchange&) { return reply; });
}

void ScriptedNetwork::reply(int httpCode, std::string content, HeaderMap headers) {
  const std::lock_guard lock(state_->mutex);
  state_->script.push_back(httpReply(httpCode, std::move(content), std::move(headers)));
}

void ScriptedNetwork::failure(int resultCode, std::string message) {
  const std::lock_guard lock(state_->mutex);
  state_->script.push_back(transportFailure(resultCode, std::move(message)));
}

void ScriptedNetwork::clear() {
  const std::lock_guard lock(state_->mutex);
  state_->script.clear();
  state_->sent.clear();
}

void ScriptedNetwork::hold(const std::string& path) {
  const std::lock_guard lock(state_->mutex);
  state_->held.insert(path);
}

void ScriptedNetwork::open(const std::string& path) {
  const std::lock_guard lock(state_->mutex);
  state_->held.erase(path);
  state_->opened.notify_all();
}

void ScriptedNetwork::refuseClients() {
  state_->refusing = true;
}

void ScriptedNetwork::onExchange(std::function<void(const SentExchange&)> action) {
  const std::lock_guard lock(state_->mutex);
  state_->onExchange = std::move(action);
}

void ScriptedNetwork::onWatched(std::function<bool(IBsProgressCallback&)> action) {
  const std::lock_guard lock(state_->mutex);
  state_->onWatched = std::move(action);
}

std::vector<SentExchange> ScriptedNetwork::exchanges(const std::string& path) const {
  const std::lock_guard lock(state_->mutex);
  std::vector<SentExchange> found;
  for (const SentExchange& exchange : state_->sent) {
    if (isBelow(exchange.url, path)) found.push_back(exchange);
  }
  return found;
}

SentExchange ScriptedNetwork::onlyExchange() const {
  const std::vector<SentExchange> all = exchanges();
  EXPECT_EQ(all.size(), 1U);
  return all.empty() ? SentExchange() : all.front();
}

bool ScriptedNetwork::waitForExchanges(const std::string& path, std::size_t count) const {
  return waitUntil([&] { return exchanges(path).size() >= count; });
}

int ScriptedNetwork::clientsMade() const {
  return state_->clientsMade;
}

int ScriptedNetwork::clientsAlive() const {
  return state_->clientsAlive;
}
