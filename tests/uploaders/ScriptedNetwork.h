#pragma once

#include "foundation/BsNet/INetworkClient.h"
#include "foundation/BsNet/NetworkClients.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// What one exchange sent.
struct SentExchange {
  std::string url;
  int method = 0;
  std::map<std::string, std::string> headers;
  int headerCalls = 0;  ///< how often this client was given headers
  std::string body;
  int bodyCalls = 0;                          ///< how often this client was given a body
  std::map<std::string, std::string> source;  ///< form field to path
  bool watched = false;                       ///< a progress callback was given

  [[nodiscard]] std::string header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? "(none)" : found->second;
  }
};

/// Stands in for the network for its own life: every client answers with the next reply of the script, the
/// last one again and again, and what was sent is kept.
class ScriptedNetwork {
 public:
  ScriptedNetwork() {
    KBL::setNetworkClientFactory([this] { return new Client(*this); });
  }
  ~ScriptedNetwork() { KBL::setNetworkClientFactory({}); }
  ScriptedNetwork(const ScriptedNetwork&) = delete;
  ScriptedNetwork& operator=(const ScriptedNetwork&) = delete;

  /// Appends a completed exchange.
  void reply(int httpCode, std::string content = {}, std::map<std::string, std::string> headers = {}) {
    KBL::NetReply answer;
    answer.httpCode = httpCode;
    answer.resultCode = 0;
    answer.content = std::move(content);
    answer.headers.insert(headers.begin(), headers.end());
    replies.push_back(std::move(answer));
  }
  /// Appends a transport failure.
  void failure(int resultCode, std::string message) {
    KBL::NetReply answer;
    answer.resultCode = resultCode;
    answer.errorMessage = std::move(message);
    replies.push_back(std::move(answer));
  }

  std::deque<KBL::NetReply> replies;
  std::vector<SentExchange> sent;
  /// Called with the number of each exchange, counted from 1, before it is answered.
  std::function<void(std::size_t)> onExchange = [](std::size_t) {};
  /// Called in the midst of each exchange that is watched; false ends it as the real client does.
  std::function<bool(KBL::IBsProgressCallback&)> onWatched = [](KBL::IBsProgressCallback&) { return true; };

 private:
  class Client final : public KBL::INetworkClient {
   public:
    explicit Client(ScriptedNetwork& network) : network_(network) {}

    void setProxy(int, const std::string&, int, const std::string&, const std::string&) override {}
    void setConnectTimeout(int) override {}
    void setTotalTimeout(int) override {}
    void setLowSpeed(int, int) override {}
    void setHeaders(const std::map<std::string, std::string>& headers) override {
      next_.headers = headers;
      ++next_.headerCalls;
    }
    void setBody(std::string body) override {
      next_.body = std::move(body);
      ++next_.bodyCalls;
    }
    void setUploadSource(const std::map<std::string, std::string>& source) override { next_.source = source; }
    void setBearerToken(const std::string&) override {}
    KBL::NetReply perform(const KBL::URL& url, int method, KBL::IBsResponseWriteCallback*, void*,
                          KBL::IBsProgressCallback* progress, void*) override {
      next_.url = url.string();
      next_.method = method;
      next_.watched = progress != nullptr;
      network_.sent.push_back(next_);
      network_.onExchange(network_.sent.size());
      if (progress != nullptr && !network_.onWatched(*progress)) return stopped();
      KBL::NetReply answer = network_.replies.front();
      if (network_.replies.size() > 1) network_.replies.pop_front();
      return answer;
    }
    void destroy() override { ::delete this; }

   private:
    static KBL::NetReply stopped() {
      KBL::NetReply answer;
      answer.resultCode = -10007;
      answer.errorMessage = "User cancelled!";
      return answer;
    }

    ScriptedNetwork& network_;
    SentExchange next_;
  };
};
