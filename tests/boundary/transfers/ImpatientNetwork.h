#pragma once

#include <BsNet/NetworkClients.h>

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

/// For its own life, exchanges give up after a second whatever limit their requests set. The clients are the
/// real ones, made beforehand, so a test may use `clients` of them at most.
class ImpatientNetwork {
 public:
  explicit ImpatientNetwork(std::size_t clients) {
    for (std::size_t i = 0; i < clients; ++i) clients_.emplace_back(KBL::makeNetworkClient());
    KBL::setNetworkClientFactory([this] { return next(); });
  }
  ~ImpatientNetwork() { KBL::setNetworkClientFactory({}); }
  ImpatientNetwork(const ImpatientNetwork&) = delete;
  ImpatientNetwork& operator=(const ImpatientNetwork&) = delete;

 private:
  class Client final : public KBL::INetworkClient {
   public:
    explicit Client(KBL::OwnedNetworkClient real) : real_(std::move(real)) { real_->setTotalTimeout(1000); }

    void setProxy(int type, const std::string& server, int port, const std::string& user,
                  const std::string& password) override {
      real_->setProxy(type, server, port, user, password);
    }
    void setConnectTimeout(int milliseconds) override { real_->setConnectTimeout(milliseconds); }
    void setTotalTimeout(int) override {}
    void setLowSpeed(int bytesPerSecond, int seconds) override {
      real_->setLowSpeed(bytesPerSecond, seconds);
    }
    void setHeaders(const std::map<std::string, std::string>& headers) override {
      real_->setHeaders(headers);
    }
    void setBody(std::string body) override { real_->setBody(std::move(body)); }
    void setUploadSource(const std::map<std::string, std::string>& source) override {
      real_->setUploadSource(source);
    }
    void setBearerToken(const std::string& token) override { real_->setBearerToken(token); }
    KBL::NetReply perform(const KBL::URL& url, int method, KBL::IBsResponseWriteCallback* writer,
                          void* writerContext, KBL::IBsProgressCallback* progress,
                          void* progressContext) override {
      return real_->perform(url, method, writer, writerContext, progress, progressContext);
    }
    void destroy() override { ::delete this; }

   private:
    KBL::OwnedNetworkClient real_;
  };

  KBL::INetworkClient* next() {
    const std::lock_guard lock(mutex_);
    if (clients_.empty()) return nullptr;
    KBL::OwnedNetworkClient real = std::move(clients_.front());
    clients_.pop_front();
    return ::new Client(std::move(real));
  }

  std::mutex mutex_;
  std::deque<KBL::OwnedNetworkClient> clients_;
};
