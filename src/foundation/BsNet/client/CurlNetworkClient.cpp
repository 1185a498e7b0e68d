#include "foundation/BsNet/client/CurlNetworkClient.h"

#include "foundation/neverFreed.h"
#include "foundation/tls/CurlFitness.h"
#include <KblUtils/HostCode.h>

#include <mutex>
#include <new>
#include <set>
#include <utility>

namespace KBL {
namespace {

/// The clients of this kind that live. What a host's factory makes can be told from them by its address
/// alone: it may come from a compiler that was told to leave the types of objects out.
struct LiveClients {
  std::mutex mutex;
  std::set<const INetworkClient*> clients;
};

// Workers end their clients while the process ends.
LiveClients& live() {
  static LiveClients& instance = neverFreed<LiveClients>();
  return instance;
}

}  // namespace

CurlNetworkClient::CurlNetworkClient(const NetSettings& settings) {
  settings_.net = settings;
  settings_.trust = CurlTrust::with(settings.extraCaFile);
  const std::lock_guard lock(live().mutex);
  live().clients.insert(this);
}

CurlNetworkClient::~CurlNetworkClient() {
  const std::lock_guard lock(live().mutex);
  live().clients.erase(this);
}

void CurlNetworkClient::setProxy(int type, const std::string& server, int port, const std::string& user,
                                 const std::string& password) {
  settings_.proxy = {type, server, port, user, password};
}

void CurlNetworkClient::setConnectTimeout(int milliseconds) {
  settings_.connectTimeoutMs = milliseconds;
}
void CurlNetworkClient::setTotalTimeout(int milliseconds) {
  settings_.totalTimeoutMs = milliseconds;
}

void CurlNetworkClient::setLowSpeed(int bytesPerSecond, int seconds) {
  settings_.lowSpeedBytes = bytesPerSecond;
  settings_.lowSpeedSeconds = seconds;
}

void CurlNetworkClient::setHeaders(const std::map<std::string, std::string>& headers) {
  settings_.headers.replace(HeaderMap(headers.begin(), headers.end()));
}

void CurlNetworkClient::setBody(std::string body) {
  settings_.body.assign(std::move(body));
}

void CurlNetworkClient::setBodySource(IBodySource* source, unsigned long long size) {
  settings_.body.assign(source, size);
}

void CurlNetworkClient::setUploadSource(const std::map<std::string, std::string>& fieldToPath) {
  settings_.uploadSource = fieldToPath;
}

void CurlNetworkClient::setBearerToken(const std::string& token) {
  settings_.headers.setBearer(token);
}

NetReply CurlNetworkClient::perform(const URL& url, int method, IBsResponseWriteCallback* writer,
                                    void* writerContext, IBsProgressCallback* progress, void*) {
  const CurlStay stay;
  if (!stay.isGranted()) {
    return CurlExchange::failure(CURLE_ABORTED_BY_CALLBACK, transportFailureText(CURLE_ABORTED_BY_CALLBACK));
  }
  if (!url.IsValid())
    return CurlExchange::failure(CURLE_URL_MALFORMAT, transportFailureText(CURLE_URL_MALFORMAT));
  try {
    connections_.setSound(false);
    CurlExchange exchange(easy_, connections_, settings_,
                          {url.string(), method, writer, writerContext, progress});
    NetReply reply = exchange.run();
    // A proxy may close a connection behind each reply without a word, and the next client's request be lost.
    const bool endsAtProxy = settings_.proxy.type == proxyHttp && exchange.isPlain();
    connections_.setSound(reply.resultCode == CURLE_OK && !endsAtProxy);
    return reply;
  } catch (const std::bad_alloc&) {
    return CurlExchange::failure(CURLE_OUT_OF_MEMORY, transportFailureText(CURLE_OUT_OF_MEMORY));
  } catch (...) {
    passThreadEnd();
    return CurlExchange::failure(ErrorCode::noNetworkClient, "the exchange was broken off by an exception");
  }
}

IBodySourceClient* bodySourceClient(INetworkClient* client) {
  const std::lock_guard lock(live().mutex);
  return live().clients.contains(client) ? static_cast<CurlNetworkClient*>(client) : nullptr;
}

namespace {

INetworkClient* newClient(const NetSettings& settings) {
  const CurlStay stay;
  if (!stay.isGranted() || !isCurlReady()) return nullptr;
  // With the global operators: the interface's own operator delete is for finished clients.
  auto* const client = ::new CurlNetworkClient(settings);
  if (client->isUsable()) return client;
  client->destroy();
  return nullptr;
}

}  // namespace

INetworkClient* makeCurlNetworkClient(const NetSettings& settings) {
  INetworkClient* const client = newClient(settings);
  if (client == nullptr) tellOfUnfitCurl();
  return client;
}

}  // namespace KBL
