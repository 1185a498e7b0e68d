#pragma once

#include "support/RawServer.h"
#include <BsNet/INetworkClient.h>
#include <BsNet/NetworkClients.h>

#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// A client of the reference foundation.
using ClientOwner = KBL::OwnedNetworkClient;
inline ClientOwner newClient() {
  return ClientOwner(KBL::makeNetworkClient());
}

inline KBL::NetReply perform(KBL::INetworkClient& client, const std::string& url, int method,
                             KBL::IBsProgressCallback* progress = nullptr,
                             KBL::IBsResponseWriteCallback* writer = nullptr) {
  return client.perform(KBL::URL::FromString(url), method, writer, nullptr, progress, nullptr);
}

inline KBL::NetReply get(const std::string& url) {
  return perform(*newClient(), url, KBL::httpGet);
}

/// What libcurl tells of a connection that is reset ahead of an answer. Wine, unlike Windows, hands some
/// resets on as an orderly end.
inline testing::Matcher<int> aReset() {
#if defined(_WIN32)
  return testing::AnyOf(52, 56);
#else
  return testing::Eq(56);
#endif
}

using Clock = std::chrono::steady_clock;

/// Bytes that tell their place.
inline std::string patterned(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 2654435761U) >> 13);
  return bytes;
}

inline long long millisecondsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

/// Keeps the requests of a server that answers 200 with `body` to all of them.
class KeepingServer {
 public:
  explicit KeepingServer(const std::string& body = "ok")
      : server_(eachRequest([this, body](RawConnection& connection, const RawConnection::Request& request) {
          {
            const std::lock_guard lock(mutex_);
            requests_.push_back(request);
          }
          connection.reply(200, body);
        })) {}

  [[nodiscard]] std::string url(const std::string& path = "/") const { return server_.url(path); }
  [[nodiscard]] int port() const { return server_.port(); }
  [[nodiscard]] int connections() const { return server_.connections(); }
  [[nodiscard]] std::vector<RawConnection::Request> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<RawConnection::Request> requests_;
  RawServer server_;
};

/// Answers the first request of the first connection, resets it within the second request's body, and keeps
/// what comes on the next connection.
class ResettingServer {
 public:
  explicit ResettingServer(std::size_t bytesBeforeReset)
      : server_([this, bytesBeforeReset](RawConnection& connection) {
          RawConnection::Request request;
          if (connection.number == 1) {
            if (!connection.readRequest(request)) return;
            connection.reply(200);
            if (!connection.readHead(request)) return;
            (void)connection.read(bytesBeforeReset);
            connection.reset();
            return;
          }
          while (connection.readRequest(request)) {
            {
              const std::lock_guard lock(mutex_);
              repeated_ = request.body;
            }
            connection.reply(200, "repeated");
          }
        }) {}

  [[nodiscard]] std::string url() const { return server_.url(); }
  [[nodiscard]] int connections() const { return server_.connections(); }
  [[nodiscard]] std::string repeated() const {
    const std::lock_guard lock(mutex_);
    return repeated_;
  }

 private:
  mutable std::mutex mutex_;
  std::string repeated_;
  RawServer server_;
};

/// Answers progress calls from a function and counts them.
class Progress : public KBL::IBsProgressCallback {
 public:
  explicit Progress(std::function<bool(long long sent, long long received)> answer = {})
      : answer_(std::move(answer)) {}

  bool onProgress(long long downloadTotal, long long downloaded, long long uploadTotal,
                  long long uploaded) override {
    ++calls;
    lastDownloadTotal = downloadTotal;
    lastDownloaded = downloaded;
    lastUploadTotal = uploadTotal;
    lastUploaded = uploaded;
    return !answer_ || answer_(uploaded, downloaded);
  }
  bool onReplyStarted(int httpCode) override {
    started.push_back(httpCode);
    if (throwsAtStart) throw std::runtime_error("host");
    return goesOnAfterStart;
  }

  int calls = 0;
  long long lastDownloadTotal = -1;
  long long lastDownloaded = -1;
  long long lastUploadTotal = -1;
  long long lastUploaded = -1;
  std::vector<int> started;
  bool goesOnAfterStart = true;
  bool throwsAtStart = false;

 private:
  std::function<bool(long long, long long)> answer_;
};

/// Keeps the bytes of a reply, and refuses it beyond `limit`.
class CollectingWriter : public KBL::IBsResponseWriteCallback {
 public:
  bool onResponseData(const char* data, unsigned long long size, void* context) override {
    bytes.append(data, size);
    lastContext = context;
    return bytes.size() <= limit;
  }
  std::string bytes;
  void* lastContext = nullptr;
  std::size_t limit = static_cast<std::size_t>(-1);
};

/// Settings of the clients that are made during its life.
class ScopedNetSettings {
 public:
  explicit ScopedNetSettings(const KBL::NetSettings& settings) { KBL::setNetSettings(settings); }
  ~ScopedNetSettings() { KBL::setNetSettings({}); }
  ScopedNetSettings(const ScopedNetSettings&) = delete;
  ScopedNetSettings& operator=(const ScopedNetSettings&) = delete;
};

/// Settings under which the authority of a test's server is unknown. Wine's Schannel, unlike that of Windows,
/// trusts every authority when the check is left to it; with a strange one named libcurl checks by itself.
inline KBL::NetSettings knowingAStrangerAtMost([[maybe_unused]] const std::string& strangeAuthority) {
  KBL::NetSettings settings;
#if defined(_WIN32)
  settings.extraCaFile = strangeAuthority;
#endif
  return settings;
}
