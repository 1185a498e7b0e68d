#include "foundation/BsNet/client/CurlExchange.h"

#include "foundation/Texts.h"
#include "foundation/system/NetworkSystem.h"
#include <ExternlMediaTransfer/Version.h>
#include <KblUtils/HostCode.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace KBL {
namespace {

/// Who asks, unless the request's headers say it.
constexpr const char* userAgent = "media-transfer/" KBL_TRANSFER_VERSION;
constexpr int defaultTotalTimeoutMs = 30000;
constexpr int maxRedirects = 10;
/// A body beyond this makes the total time a limit of standstill.
constexpr curl_off_t smallBodyBytes = 1 << 20;
/// What a slow line must at least carry in a second, or the exchange ends.
constexpr curl_off_t slowestBytesPerSecond = 16 << 10;

/// Scheme, host and port of an address: what credentials are meant for.
struct Origin {
  std::string scheme;  ///< lower case
  std::string host;    ///< lower case
  std::string port;    ///< never empty but in an address that cannot be read
  bool operator==(const Origin&) const = default;
};

std::string partOf(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owned(text, &curl_free);
  return lowerCase(text);
}

Origin originOf(const std::string& address) {
  const CurlUrl url(curl_url());
  if (url == nullptr || curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK) return {};
  return {partOf(url.get(), CURLUPART_SCHEME), partOf(url.get(), CURLUPART_HOST),
          partOf(url.get(), CURLUPART_PORT)};
}

/// libcurl's text where it gave one that names no address with a query: that may carry a token.
std::string messageOf(const char* curlText, CURLcode code) {
  const std::string_view text = curlText;
  const bool isUsable =
      !text.empty() && text.find('?') == std::string_view::npos && text.find("://") == std::string_view::npos;
  return isUsable ? std::string(text) : transportFailureText(code);
}

}  // namespace

CurlExchange::CurlExchange(CurlEasy& easy, CurlConnections& connections, CurlClientSettings& settings,
                           Call call)
    : easy_(easy), connections_(connections), settings_(settings), call_(std::move(call)) {}

// The handle must not keep pointers to what ends with this exchange, nor the tokens in its header lines.
CurlExchange::~CurlExchange() {
  easy_.reset();
}

NetReply CurlExchange::failure(int resultCode, std::string message) {
  NetReply reply;
  reply.resultCode = resultCode;
  reply.errorMessage = std::move(message);
  return reply;
}

NetReply CurlExchange::unreadableForm(const std::string& field) {
  return failure(CURLE_READ_ERROR, "the file of the form field \"" + field + "\" cannot be read");
}

NetReply CurlExchange::transportFailure(CURLcode code) const {
  return failure(code, messageOf(errorText_.data(), code));
}

NetReply CurlExchange::run() {
  if (const auto fault = settings_.headers.unusable()) return failure(CURLE_BAD_FUNCTION_ARGUMENT, *fault);
  if (call_.method < httpGet || call_.method > httpPut) {
    return failure(CURLE_BAD_FUNCTION_ARGUMENT, "unknown method");
  }
  if (!settings_.proxy.isKnown()) {
    return failure(ErrorCode::paramInvalid, "the proxy is of an unknown kind");
  }
  NetReply refusedForm;
  if (!setUpForm(refusedForm)) return refusedForm;
  limitTime();
  return runHops();
}

bool CurlExchange::setUpForm(NetReply& refusedForm) {
  sendsForm_ = call_.method != httpGet && !settings_.uploadSource.empty();
  std::string badField;
  if (!sendsForm_ || form_.build(easy_.get(), settings_.uploadSource, badField)) return true;
  refusedForm = unreadableForm(badField);
  return false;
}

/// The total time is a plain limit for small bodies. Above, it counts from the last byte that moved, under a
/// limit that grows with the body.
void CurlExchange::limitTime() {
  const int given = settings_.totalTimeoutMs;
  const std::chrono::milliseconds total(given >= 1 ? given : defaultTotalTimeoutMs);
  const curl_off_t bytes = call_.method == httpGet ? 0 : sendsForm_ ? form_.size() : settings_.body.size();
  deadline_ = Clock::now() + total;
  if (bytes <= smallBodyBytes) return;
  stallLimit_ = total;
  deadline_ += std::chrono::seconds((bytes + slowestBytesPerSecond - 1) / slowestBytesPerSecond);
}

NetReply CurlExchange::runHops() {
  CURLM* const multi = connections_.on({settings_.proxy.address(), settings_.trust});
  if (multi == nullptr) return transportFailure(CURLE_OUT_OF_MEMORY);
  while (true) {
    CurlReply reply({call_.writer, call_.writerContext, call_.progress, settings_.net.maxReplyBytes,
                     call_.method == httpGet});
    easy_.reset();
    configure(reply);
    if (easy_.failure() != CURLE_OK) return transportFailure(easy_.failure());
    if (Clock::now() >= deadline_) return transportFailure(CURLE_OPERATION_TIMEDOUT);

    const CurlTransfer::Outcome outcome = transfer(multi);
    const bool isDone = outcome.end == CurlTransfer::End::finished && outcome.code == CURLE_OK;
    if (isDone && easy_.info<long>(CURLINFO_HTTP_VERSION, 0) == CURL_HTTP_VERSION_1_1) {
      connections_.wires().setHttp1(localPort_);
    }
    if (!isDone || !reply.isHeldBack() || !follow()) return conclude(outcome, reply);
    if (++redirects_ > maxRedirects) return transportFailure(CURLE_TOO_MANY_REDIRECTS);
  }
}

bool CurlExchange::isPlain() const {
  constexpr std::string_view scheme = "http://";
  return lowerCase(call_.address.substr(0, scheme.size())) == scheme;
}

void CurlExchange::configure(CurlReply& reply) {
  errorText_.fill('\0');
  easy_.set(CURLOPT_ERRORBUFFER, errorText_.data());
  easy_.set(CURLOPT_URL, call_.address);
  configureConnection();
  configureProxy();
  configureTrust();
  configureTime();
  configureRequest();
  sending_.emplace(easy_, connections_, errorText_.data());
  easy_.set(CURLOPT_PREREQFUNCTION, &CurlExchange::prepareRequest);
  easy_.set(CURLOPT_PREREQDATA, this);
  easy_.set(CURLOPT_HEADERFUNCTION, &CurlReply::takeHeader);
  easy_.set(CURLOPT_HEADERDATA, &reply);
  easy_.set(CURLOPT_WRITEFUNCTION, &CurlReply::takeBody);
  easy_.set(CURLOPT_WRITEDATA, &reply);
}

void CurlExchange::configureConnection() {
  easy_.set(CURLOPT_USERAGENT, userAgent);
  easy_.set(CURLOPT_SHARE, curlShare());
  easy_.set(CURLOPT_PROTOCOLS_STR, "http,https");
  easy_.set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  easy_.set(CURLOPT_FOLLOWLOCATION, 0L);  // redirections are followed here, by our own rules
  easy_.set(CURLOPT_NOSIGNAL, 1L);
  easy_.set(CURLOPT_OPENSOCKETFUNCTION, &CurlExchange::openSocket);
  easy_.set(CURLOPT_OPENSOCKETDATA, this);
  easy_.set(CURLOPT_CLOSESOCKETFUNCTION, &CurlWires::close);
  easy_.set(CURLOPT_CLOSESOCKETDATA, static_cast<void*>(&connections_.wires()));
  easy_.set(CURLOPT_RESOLVER_START_FUNCTION, &CurlExchange::beginLookUp);
  easy_.set(CURLOPT_RESOLVER_START_DATA, this);
  // libcurl allows for this many whole seconds and the fraction of one.
  easy_.set(CURLOPT_MAXAGE_CONN, CurlConnections::maxIdleSeconds - 1);
  easy_.set(CURLOPT_QUICK_EXIT, 1L);  // a stop does not wait for a name that is being resolved
  easy_.set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  easy_.set(CURLOPT_UPLOAD_BUFFERSIZE, 256L << 10);
  easy_.set(CURLOPT_BUFFERSIZE, 64L << 10);
  if (settings_.lowSpeedBytes > 0 && settings_.lowSpeedSeconds > 0) {
    easy_.set(CURLOPT_LOW_SPEED_LIMIT, static_cast<long>(settings_.lowSpeedBytes));
    easy_.set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(settings_.lowSpeedSeconds));
  }
}

void CurlExchange::configureProxy() {
  // Set in any case: the environment's proxies are not the host's.
  easy_.set(CURLOPT_NOPROXY, "");
  easy_.set(CURLOPT_PROXY, settings_.proxy.address());
  easy_.set(CURLOPT_HEADEROPT, static_cast<long>(CURLHEADER_SEPARATE));  // tokens are none of the proxy's
}

void CurlExchange::configureTrust() {
  easy_.set(CURLOPT_SSL_VERIFYPEER, 1L);
  easy_.set(CURLOPT_SSL_VERIFYHOST, 2L);
  easy_.set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  if (settings_.trust != nullptr && !isPlain()) settings_.trust->applyTo(easy_);
}

void CurlExchange::configureTime() {
  const int given = settings_.connectTimeoutMs;
  easy_.set(CURLOPT_CONNECTTIMEOUT_MS,
            static_cast<long>(given >= 1 ? given : settings_.net.connectTimeoutMs));
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
  easy_.set(CURLOPT_TIMEOUT_MS, static_cast<long>(std::clamp<long long>(left, 1, 0x7fffffff)));
}

void CurlExchange::configureRequest() {
  headerLines_ = settings_.headers.lines(sendsForm_, withCredentials_);
  if (headerLines_ == nullptr) return easy_.fail(CURLE_OUT_OF_MEMORY);
  easy_.set(CURLOPT_HTTPHEADER, headerLines_.get());
  easy_.set(CURLOPT_ACCEPT_ENCODING, settings_.headers.acceptedCodings());
  if (call_.method == httpGet) return;
  if (sendsForm_) {
    easy_.set(CURLOPT_MIMEPOST, form_.get());
    if (call_.method == httpPut) easy_.set(CURLOPT_CUSTOMREQUEST, "PUT");
    return;
  }
  settings_.body.rewind();
  if (const char* const bytes = settings_.body.small(); bytes != nullptr && call_.method == httpPost) {
    easy_.set(CURLOPT_POSTFIELDSIZE_LARGE, settings_.body.size());
    easy_.set(CURLOPT_POSTFIELDS, bytes);
    return;
  }
  easy_.set(CURLOPT_READFUNCTION, &CurlBody::read);
  easy_.set(CURLOPT_READDATA, &settings_.body);
  easy_.set(CURLOPT_SEEKFUNCTION, &CurlBody::seek);
  easy_.set(CURLOPT_SEEKDATA, &settings_.body);
  if (call_.method == httpPut) {
    easy_.set(CURLOPT_UPLOAD, 1L);
    easy_.set(CURLOPT_INFILESIZE_LARGE, settings_.body.size());
  } else {
    easy_.set(CURLOPT_POST, 1L);
    easy_.set(CURLOPT_POSTFIELDSIZE_LARGE, settings_.body.size());
  }
}

int CurlExchange::beginLookUp(void*, void*, void* self) {
  try {
    return static_cast<CurlExchange*>(self)->sending_->mayConnect() ? 0 : 1;
  } catch (...) {
    passThreadEnd();
    return 1;
  }
}

curl_socket_t CurlExchange::openSocket(void* self, curlsocktype purpose, curl_sockaddr* address) {
  auto& exchange = *static_cast<CurlExchange*>(self);
  try {
    if (!exchange.sending_->mayConnect()) return CURL_SOCKET_BAD;
    return exchange.connections_.wires().open(purpose, address);
  } catch (...) {
    passThreadEnd();
    return CURL_SOCKET_BAD;
  }
}

int CurlExchange::prepareRequest(void* self, char* server, char* local, int serverPort, int localPort) {
  auto& exchange = *static_cast<CurlExchange*>(self);
  try {
    if (!exchange.sending_->mayLeave({server, local, serverPort, localPort})) return CURL_PREREQFUNC_ABORT;
  } catch (...) {
    passThreadEnd();
    return CURL_PREREQFUNC_ABORT;
  }
  exchange.localPort_ = localPort;
  // OpenSSL writes each record of 16 KiB for itself. Over HTTP/2 the server may wait for the rest of a packet
  // before it lets more be sent.
  exchange.settings_.body.restart(exchange.isPlain() ? CURL_SOCKET_BAD
                                                     : exchange.connections_.wires().http1(localPort));
  return CURL_PREREQFUNC_OK;
}

CurlTransfer::Outcome CurlExchange::transfer(CURLM* multi) {
  CurlTransfer running(multi, easy_, call_.progress);
  running.setStallLimit(stallLimit_);
  return running.run();
}

bool CurlExchange::follow() {
  const char* const target = easy_.info<const char*>(CURLINFO_REDIRECT_URL, nullptr);
  if (target == nullptr || !URL::FromString(target).IsValid()) return false;
  const Origin from = originOf(call_.address);
  const Origin to = originOf(target);
  // A redirection must not lead out of TLS.
  if (to.host.empty() || (from.scheme == "https" && to.scheme != "https")) return false;
  // Once outside the first origin, credentials stay away, also on the way back.
  withCredentials_ = withCredentials_ && from == to;
  call_.address = target;
  return true;
}

NetReply CurlExchange::conclude(const CurlTransfer::Outcome& outcome, CurlReply& reply) const {
  switch (outcome.end) {
    case CurlTransfer::End::cancelled:
      return refused(CurlReply::Refusal::byProgress);
    case CurlTransfer::End::closing:
      return failure(CURLE_ABORTED_BY_CALLBACK, transportFailureText(CURLE_ABORTED_BY_CALLBACK));
    case CurlTransfer::End::stalled:
      return failure(CURLE_OPERATION_TIMEDOUT,
                     "no byte moved for " + std::to_string(stallLimit_.count()) + " ms");
    case CurlTransfer::End::finished:
      break;
  }
  if (outcome.code == CURLE_OK) (void)reply.deliverHeldBack();
  if (reply.refusal() != CurlReply::Refusal::none) return refused(reply.refusal());
  if (outcome.code == CURLE_ABORTED_BY_CALLBACK && form_.cutField() != nullptr) {
    return unreadableForm(*form_.cutField());
  }
  if (outcome.code == CURLE_ABORTED_BY_CALLBACK && settings_.body.isCut()) {
    return failure(CURLE_READ_ERROR, "the body cannot be read");
  }
  if (sending_->isRefused()) return failure(sending_->code(), messageOf(sending_->text(), sending_->code()));
  if (outcome.code != CURLE_OK) return transportFailure(outcome.code);
  NetReply result;
  reply.moveTo(result);
  result.resultCode = CURLE_OK;
  return result;
}

NetReply CurlExchange::refused(CurlReply::Refusal refusal) const {
  switch (refusal) {
    case CurlReply::Refusal::byProgress:
      return failure(ErrorCode::userCancelled, "User cancelled!");
    case CurlReply::Refusal::tooLarge:
      return failure(CURLE_FILESIZE_EXCEEDED, "the reply is larger than the limit of " +
                                                  std::to_string(settings_.net.maxReplyBytes) + " bytes");
    case CurlReply::Refusal::headersTooLarge:
      return failure(CURLE_FILESIZE_EXCEEDED, "the reply's headers are larger than the limit");
    default:
      return failure(CURLE_WRITE_ERROR, transportFailureText(CURLE_WRITE_ERROR));
  }
}

}  // namespace KBL
