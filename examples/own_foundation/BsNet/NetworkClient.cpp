// The network client, on libcurl.
#include "NetworkClient.h"

#include <curl/curl.h>
#include <strings.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <utility>

namespace KBL {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int standardLimitMs = 30000;
constexpr std::size_t largestReply = 64U << 20;
constexpr std::size_t largeBody = 1U << 20;
constexpr int mostRedirections = 10;
constexpr int askEveryMs = 25;

struct EndEasy {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct EndMulti {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct EndList {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct EndForm {
  void operator()(curl_mime* form) const { curl_mime_free(form); }
};

/// "https://host:port" of an address.
std::string originOf(const std::string& address) {
  return address.substr(0, address.find_first_of("/?#", address.find("://") + 3));
}

bool isOneOf(const std::string& name, std::initializer_list<const char*> names) {
  return std::any_of(names.begin(), names.end(),
                     [&](const char* one) { return strcasecmp(name.c_str(), one) == 0; });
}

/// What libcurl calls while an exchange runs.
struct Exchange {
  NetReply reply;
  IBsResponseWriteCallback* writer = nullptr;
  void* writerContext = nullptr;
  IBsProgressCallback* progress = nullptr;
  CURL* easy = nullptr;
  bool isCancelled = false;
  bool isRedirected = false;  // this answer leads elsewhere: its body is nobody's
  bool followsRedirections = false;
  bool isBodyBegun = false;

  /// What the host's callback answers; one that throws counts as `otherwise`.
  template <class Call>
  bool ask(bool otherwise, Call call) {
    try {
      return call();
    } catch (...) {
      return otherwise;
    }
  }

  static std::size_t onBody(char* data, std::size_t, std::size_t size, void* self) {
    auto& exchange = *static_cast<Exchange*>(self);
    exchange.isBodyBegun = true;
    if (exchange.isRedirected) return size;
    if (exchange.writer == nullptr) {
      if (exchange.reply.content.size() + size > largestReply) return 0;
      exchange.reply.content.append(data, size);
      return size;
    }
    return exchange.ask(false,
                        [&] { return exchange.writer->onResponseData(data, size, exchange.writerContext); })
               ? size
               : 0;
  }

  static std::size_t onHeader(char* data, std::size_t, std::size_t size, void* self) {
    auto& exchange = *static_cast<Exchange*>(self);
    std::string line(data, size);
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
    return exchange.takeHeader(line) ? size : 0;
  }

  bool takeHeader(const std::string& line) {
    HeaderMap& lines = isBodyBegun ? reply.trailers : reply.headers;
    if (line.rfind("HTTP/", 0) == 0) {
      lines.clear();
      return true;
    }
    if (line.empty()) return isBodyBegun || takeHead();
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) return true;
    const std::size_t value = line.find_first_not_of(" \t", colon + 1);
    lines[line.substr(0, colon)] = value == std::string::npos ? "" : line.substr(value);
    return true;
  }

  /// All headers of an answer have come.
  bool takeHead() {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    isRedirected = followsRedirections && status / 100 == 3 && reply.headers.count("Location") != 0;
    if (status < 200 || isRedirected || progress == nullptr) return true;
    isCancelled = !ask(true, [&] { return progress->onReplyStarted(static_cast<int>(status)); });
    return !isCancelled;
  }

  [[nodiscard]] curl_off_t number(CURLINFO what) const {
    curl_off_t value = 0;
    curl_easy_getinfo(easy, what, &value);
    return (std::max)(value, curl_off_t{0});
  }

  /// False when the host wants an end.
  bool mayGoOn() {
    if (progress == nullptr) return true;
    isCancelled = !ask(true, [&] {
      return progress->onProgress(number(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T),
                                  number(CURLINFO_SIZE_DOWNLOAD_T), number(CURLINFO_CONTENT_LENGTH_UPLOAD_T),
                                  number(CURLINFO_SIZE_UPLOAD_T));
    });
    return !isCancelled;
  }
};

class NetworkClient final : public INetworkClient {
 public:
  NetworkClient() : easy_(curl_easy_init()), multi_(curl_multi_init()) {}
  ~NetworkClient() = default;
  NetworkClient(const NetworkClient&) = delete;
  NetworkClient& operator=(const NetworkClient&) = delete;

  [[nodiscard]] bool isUsable() const { return easy_ && multi_; }

  void setProxy(int type, const std::string& server, int port, const std::string& user,
                const std::string& password) override {
    proxyType_ = server.empty() ? 0 : type;
    proxy_ = server + ":" + std::to_string(port);
    proxyUser_ = user;
    proxyPassword_ = password;
  }
  void setConnectTimeout(int milliseconds) override { connectLimitMs_ = milliseconds; }
  void setTotalTimeout(int milliseconds) override { limitMs_ = milliseconds; }
  void setLowSpeed(int bytesPerSecond, int seconds) override {
    lowSpeedBytes_ = bytesPerSecond;
    lowSpeedSeconds_ = seconds;
  }
  void setHeaders(const std::map<std::string, std::string>& headers) override { headers_ = headers; }
  void setBody(std::string body) override { body_ = std::move(body); }
  void setUploadSource(const std::map<std::string, std::string>& fieldToPath) override {
    files_ = fieldToPath;
  }
  void setBearerToken(const std::string& token) override { bearer_ = token; }
  void destroy() override { ::delete this; }

  NetReply perform(const URL& url, int method, IBsResponseWriteCallback* writer, void* writerContext,
                   IBsProgressCallback* progress, void*) override {
    const std::string origin = originOf(url.string());
    std::string address = url.string();
    for (int redirections = 0;; ++redirections) {
      Exchange exchange;
      exchange.writer = writer;
      exchange.writerContext = writerContext;
      exchange.progress = progress;
      exchange.easy = easy_.get();
      exchange.followsRedirections = method == httpGet && redirections < mostRedirections;
      run(exchange, address, method, originOf(address) == origin);
      if (!exchange.isRedirected || exchange.reply.resultCode != 0) return std::move(exchange.reply);
      char* next = nullptr;
      curl_easy_getinfo(easy_.get(), CURLINFO_REDIRECT_URL, &next);
      const bool leavesTls = strncasecmp(address.c_str(), "https:", 6) == 0 &&
                             (next == nullptr || strncasecmp(next, "https:", 6) != 0);
      if (next == nullptr || leavesTls) {
        exchange.reply.resultCode = CURLE_UNSUPPORTED_PROTOCOL;
        exchange.reply.errorMessage = curl_easy_strerror(CURLE_UNSUPPORTED_PROTOCOL);
        return std::move(exchange.reply);
      }
      address = next;
    }
  }

 private:
  template <class Value>
  void set(CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(easy_.get(), option, value);
    if (refused_ == CURLE_OK) refused_ = code;
  }

  void run(Exchange& exchange, const std::string& address, int method, bool isFirstOrigin) {
    curl_easy_reset(easy_.get());
    refused_ = CURLE_OK;
    std::unique_ptr<curl_slist, EndList> headers;
    std::unique_ptr<curl_mime, EndForm> form;
    setExchange(exchange, address);
    setHeaderLines(headers, isFirstOrigin);
    setMethod(method, form);
    if (!setProxyOptions()) {
      return fail(exchange, ErrorCode::paramInvalid, "the proxy is of an unknown kind");
    }
    if (refused_ != CURLE_OK) return fail(exchange, refused_, curl_easy_strerror(refused_));
    curl_multi_add_handle(multi_.get(), easy_.get());
    const CURLcode code = drive(exchange);
    curl_multi_remove_handle(multi_.get(), easy_.get());
    if (exchange.isCancelled) return fail(exchange, ErrorCode::userCancelled, "User cancelled!");
    if (code != CURLE_OK) return fail(exchange, code, curl_easy_strerror(code));
    long status = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    exchange.reply.httpCode = static_cast<int>(status);
    exchange.reply.resultCode = 0;
  }

  static void fail(Exchange& exchange, int code, const char* message) {
    exchange.reply.resultCode = code;
    exchange.reply.errorMessage = message;
  }

  void setExchange(Exchange& exchange, const std::string& address) {
    set(CURLOPT_URL, address.c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_ACCEPT_ENCODING, "");
    set(CURLOPT_WRITEFUNCTION, &Exchange::onBody);
    set(CURLOPT_WRITEDATA, &exchange);
    set(CURLOPT_HEADERFUNCTION, &Exchange::onHeader);
    set(CURLOPT_HEADERDATA, &exchange);
    set(CURLOPT_CONNECTTIMEOUT_MS,
        static_cast<long>(connectLimitMs_ >= 1 ? connectLimitMs_ : standardLimitMs));
    set(CURLOPT_LOW_SPEED_LIMIT, static_cast<long>(lowSpeedBytes_));
    set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(lowSpeedSeconds_));
  }

  /// Another origin gets neither tokens nor what the host sends along.
  void setHeaderLines(std::unique_ptr<curl_slist, EndList>& lines, bool isFirstOrigin) {
    const auto add = [&](const std::string& line) {
      curl_slist* const longer = curl_slist_append(lines.get(), line.c_str());
      if (longer == nullptr) throw std::bad_alloc();
      (void)lines.release();
      lines.reset(longer);
    };
    add("Expect:");
    bool isNamed = false;
    for (const auto& [name, value] : headers_) {
      if (isOneOf(name, {"Content-Length", "Transfer-Encoding", "Expect"})) continue;
      if (!isFirstOrigin && !isOneOf(name, {"Accept", "Accept-Language", "User-Agent"})) continue;
      isNamed = isNamed || isOneOf(name, {"User-Agent"});
      add(value.empty() ? name + ";" : name + ": " + value);
    }
    if (!isNamed) set(CURLOPT_USERAGENT, "own-foundation/1.0");
    if (isFirstOrigin && !bearer_.empty()) add("Authorization: Bearer " + bearer_);
    set(CURLOPT_HTTPHEADER, lines.get());
  }

  void setMethod(int method, std::unique_ptr<curl_mime, EndForm>& form) {
    if (method == httpGet) return set(CURLOPT_HTTPGET, 1L);
    if (files_.empty()) {
      set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_.size()));
      set(CURLOPT_POSTFIELDS, body_.data());
    } else {
      form.reset(curl_mime_init(easy_.get()));
      for (const auto& [field, path] : files_) {
        curl_mimepart* const part = curl_mime_addpart(form.get());
        curl_mime_name(part, field.c_str());
        curl_mime_filedata(part, path.c_str());
      }
      set(CURLOPT_MIMEPOST, form.get());
    }
    if (method == httpPut) set(CURLOPT_CUSTOMREQUEST, "PUT");
  }

  bool setProxyOptions() {
    set(CURLOPT_PROXY, proxyType_ == 0 ? "" : proxy_.c_str());  // empty: not the environment's either
    if (proxyType_ == 0) return true;
    if (proxyType_ < proxyHttp || proxyType_ > proxySocks5) return false;
    set(CURLOPT_PROXYTYPE, static_cast<long>(proxyType_ == proxyHttp     ? CURLPROXY_HTTP
                                             : proxyType_ == proxySocks4 ? CURLPROXY_SOCKS4
                                                                         : CURLPROXY_SOCKS5));
    if (!proxyUser_.empty()) set(CURLOPT_PROXYUSERNAME, proxyUser_.c_str());
    if (!proxyPassword_.empty()) set(CURLOPT_PROXYPASSWORD, proxyPassword_.c_str());
    return true;
  }

  /// Asks the host every now and then; a large body has its time from the last byte that moved.
  CURLcode drive(Exchange& exchange) {
    const auto limit = std::chrono::milliseconds(limitMs_ >= 1 ? limitMs_ : standardLimitMs);
    Clock::time_point begun = Clock::now();
    curl_off_t moved = 0;
    while (true) {
      int running = 0;
      if (curl_multi_perform(multi_.get(), &running) != CURLM_OK) return CURLE_FAILED_INIT;
      int left = 0;
      while (const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left)) {
        if (message->msg == CURLMSG_DONE) return message->data.result;
      }
      if (!exchange.mayGoOn()) return CURLE_ABORTED_BY_CALLBACK;
      const curl_off_t now = exchange.number(CURLINFO_SIZE_UPLOAD_T);
      if ((body_.size() > largeBody || !files_.empty()) && now != moved) {
        moved = now;
        begun = Clock::now();
      }
      if (Clock::now() - begun >= limit) return CURLE_OPERATION_TIMEDOUT;
      curl_multi_poll(multi_.get(), nullptr, 0, askEveryMs, nullptr);
    }
  }

  const std::unique_ptr<CURL, EndEasy> easy_;
  const std::unique_ptr<CURLM, EndMulti> multi_;  // keeps connections from exchange to exchange
  CURLcode refused_ = CURLE_OK;
  int proxyType_ = 0;
  std::string proxy_;
  std::string proxyUser_;
  std::string proxyPassword_;
  int connectLimitMs_ = 0;
  int limitMs_ = 0;
  int lowSpeedBytes_ = 0;
  int lowSpeedSeconds_ = 0;
  std::map<std::string, std::string> headers_;
  std::string body_;
  std::map<std::string, std::string> files_;
  std::string bearer_;
};

}  // namespace

INetworkClient* makeOwnNetworkClient() {
  static const CURLcode ready = curl_global_init(CURL_GLOBAL_ALL);
  if (ready != CURLE_OK) return nullptr;
  auto client = std::make_unique<NetworkClient>();
  return client->isUsable() ? client.release() : nullptr;
}

}  // namespace KBL
