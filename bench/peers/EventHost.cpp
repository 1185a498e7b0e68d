// How soon a host hears of a chunk: CONFIG CACHE TOKEN FILE UPLOADS. So many uploads run at once; the time
// from the moment at which the client has the complete answer of a chunk to the call of the host's function.
// Prints the milliseconds that 99 of 100 stay below.
#include "boundary/transfers/SignedInHost.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetworkClients.h>
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t clientsAnUpload = 8;
constexpr std::size_t timesKept = 1 << 16;

/// When the exchange that ended last on this thread had its answer, until the host hears of it: a chunk is
/// told on the thread of its upload.
thread_local std::optional<Clock::time_point> answered;

/// The reference client, whose answers are timed.
class TimedClient : public KBL::INetworkClient {
 public:
  explicit TimedClient(KBL::INetworkClient* inner) : inner_(inner) {}

  void setProxy(int type, const std::string& server, int port, const std::string& user,
                const std::string& password) override {
    inner_->setProxy(type, server, port, user, password);
  }
  void setConnectTimeout(int milliseconds) override { inner_->setConnectTimeout(milliseconds); }
  void setTotalTimeout(int milliseconds) override { inner_->setTotalTimeout(milliseconds); }
  void setLowSpeed(int bytesPerSecond, int seconds) override { inner_->setLowSpeed(bytesPerSecond, seconds); }
  void setHeaders(const std::map<std::string, std::string>& headers) override { inner_->setHeaders(headers); }
  void setBody(std::string body) override { inner_->setBody(std::move(body)); }
  void setUploadSource(const std::map<std::string, std::string>& fieldToPath) override {
    inner_->setUploadSource(fieldToPath);
  }
  void setBearerToken(const std::string& token) override { inner_->setBearerToken(token); }
  KBL::NetReply perform(const KBL::URL& url, int method, KBL::IBsResponseWriteCallback* writer,
                        void* writerContext, KBL::IBsProgressCallback* progress,
                        void* progressContext) override {
    KBL::NetReply reply = inner_->perform(url, method, writer, writerContext, progress, progressContext);
    answered = Clock::now();
    return reply;
  }
  void destroy() override { ::delete this; }
  virtual ~TimedClient() = default;

 private:
  KBL::OwnedNetworkClient inner_;
};

/// Timed clients for all requests of all uploads, made ahead: the library makes its own only where no factory
/// is installed.
class Factory {
 public:
  explicit Factory(std::size_t clients) {
    while (clients_.size() < clients) clients_.push_back(new TimedClient(KBL::makeNetworkClient()));
  }
  KBL::INetworkClient* next() {
    const std::lock_guard lock(mutex_);
    if (clients_.empty()) return nullptr;
    KBL::INetworkClient* const client = clients_.back();
    clients_.pop_back();
    return client;
  }

 private:
  std::mutex mutex_;
  std::vector<KBL::INetworkClient*> clients_;
};

/// What the host's function heard. Times are kept without a lock: a thread that waited for one of ours would
/// be measured. The second call behind an answer, of which the last chunk has one, would have the first one's
/// time.
struct Heard {
  std::vector<double> milliseconds = std::vector<double>(timesKept);
  std::atomic<std::size_t> times = 0;
  std::mutex mutex;
  std::condition_variable changed;
  int finished = 0;
  bool hasFailed = false;

  static int record(void* self, KBL::IExternlMediaTransfer*, int event, int, const char*) {
    const auto now = Clock::now();
    auto& heard = *static_cast<Heard*>(self);
    if (event == KBL::transferEventProgress) {
      if (answered) heard.keep(std::chrono::duration<double, std::milli>(now - *answered).count());
      answered.reset();
      return 1;
    }
    const std::lock_guard lock(heard.mutex);
    event == KBL::transferEventFinished ? void(++heard.finished) : void(heard.hasFailed = true);
    heard.changed.notify_one();
    return 1;
  }

  void keep(double time) {
    const std::size_t place = times++;
    if (place < timesKept) milliseconds[place] = time;
  }
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 6) return 2;
  KBL::setKeyStore(KBL::makeFileKeyStore(arguments[2]));
  if (!KBL::loadCloudConfig(arguments[1]).empty()) return 2;
  const int uploads = std::atoi(arguments[5]);
  static Factory& clients = *new Factory(clientsAnUpload * static_cast<std::size_t>(uploads));
  KBL::setNetworkClientFactory([] { return clients.next(); });
  static Heard& heard = *new Heard;
  static EventLog& unused = *new EventLog;
  [[maybe_unused]] static SignedInManager& manager = *new SignedInManager(arguments[2], arguments[3]);
  std::vector<KBL::RefPtr<KBL::IExternlMediaTransfer>> transfers;
  for (int made = 0; made < uploads; ++made) {
    const auto transfer = makeUpload(unused, arguments[4]);
    const KBL::TransferCallback callback = &Heard::record;
    transfer->Command(KBL::commandSetCallback, callback);
    transfer->Command(KBL::commandSetContext, static_cast<void*>(&heard));
    transfers.push_back(transfer);
  }
  for (const auto& transfer : transfers) transfer->Start();
  std::unique_lock lock(heard.mutex);
  heard.changed.wait(lock, [&] { return heard.finished >= uploads || heard.hasFailed; });
  const std::size_t times = std::min<std::size_t>(heard.times, timesKept);
  if (heard.hasFailed || times == 0) return 4;
  heard.milliseconds.resize(times);
  std::sort(heard.milliseconds.begin(), heard.milliseconds.end());
  (void)std::printf("milliseconds %.4f\n", heard.milliseconds[times * 99 / 100]);
  (void)std::fflush(stdout);
  std::_Exit(0);
}
