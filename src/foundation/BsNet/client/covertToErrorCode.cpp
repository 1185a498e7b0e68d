#include "foundation/BsNet/client/CurlHandle.h"
#include <BsNet/NetReply.h>
#include <KblUtils/Result.h>

#include <curl/curl.h>

#include <algorithm>
#include <iterator>
#include <limits>

namespace KBL {
namespace {

struct TransportFailure {
  int transportCode;  // raw, as in NetReply::resultCode
  int errorCode;      // what covertToErrorCode makes of it
  const char* meaning;
};

/// The transport failures that an exchange of the reference client can end with. A code that is not listed
/// maps by the same rule.
constexpr TransportFailure transportFailures[] = {
    {CURLE_UNSUPPORTED_PROTOCOL, 200001, "the address has a scheme other than http and https"},
    {CURLE_FAILED_INIT, 200002, "the client could not be set up"},
    {CURLE_URL_MALFORMAT, 200003, "the address cannot be read"},
    {CURLE_NOT_BUILT_IN, 200004, "the client lacks a feature that the exchange needs"},
    {CURLE_COULDNT_RESOLVE_PROXY, 200005, "the proxy's name cannot be resolved"},
    {CURLE_COULDNT_RESOLVE_HOST, 200006, "the server's name cannot be resolved"},
    {CURLE_COULDNT_CONNECT, 200007, "no connection to the server or proxy"},
    {CURLE_WEIRD_SERVER_REPLY, 200008, "the server's reply is no HTTP"},
    {CURLE_HTTP2, 200016, "HTTP/2 framing failed"},
    {CURLE_PARTIAL_FILE, 200018, "the reply ended before its announced length"},
    {CURLE_WRITE_ERROR, 200023, "the receiver refused the reply"},
    {CURLE_READ_ERROR, 200026, "the body or file to send could not be read"},
    {CURLE_OUT_OF_MEMORY, 200027, "memory is short"},
    {CURLE_OPERATION_TIMEDOUT, 200028, "a time limit passed"},
    {CURLE_SSL_CONNECT_ERROR, 200035, "the TLS handshake failed"},
    {CURLE_ABORTED_BY_CALLBACK, 200042, "the process is closing"},
    {CURLE_BAD_FUNCTION_ARGUMENT, 200043, "a setting or header of the exchange is unusable"},
    {CURLE_TOO_MANY_REDIRECTS, 200047, "too many redirections"},
    {CURLE_GOT_NOTHING, 200052, "the server closed without a reply"},
    {CURLE_SEND_ERROR, 200055, "sending failed: the connection broke"},
    {CURLE_RECV_ERROR, 200056, "receiving failed: the connection broke, or the proxy refused the tunnel"},
    {CURLE_PEER_FAILED_VERIFICATION, 200060, "the server's certificate is not trusted"},
    {CURLE_BAD_CONTENT_ENCODING, 200061, "the reply is compressed in a broken or unknown way"},
    {CURLE_FILESIZE_EXCEEDED, 200063, "the reply is larger than the limit"},
    {CURLE_SEND_FAIL_REWIND, 200065, "the body could not be sent again from its start"},
    {CURLE_SSL_CACERT_BADFILE, 200077, "the certificate authorities cannot be read"},
    {CURLE_HTTP2_STREAM, 200092, "the HTTP/2 stream was reset"},
    {CURLE_PROXY, 200097, "the proxy refused or broke its handshake"},
    {transportPending, 201000, "no exchange was made"},
};

static_assert(std::all_of(std::begin(transportFailures), std::end(transportFailures),
                          [](const TransportFailure& row) {
                            return row.errorCode == transportErrorBase + row.transportCode;
                          }));

}  // namespace

const char* transportFailureText(int transportCode) {
  const auto* const row =
      std::find_if(std::begin(transportFailures), std::end(transportFailures),
                   [&](const TransportFailure& failure) { return failure.transportCode == transportCode; });
  return row != std::end(transportFailures) ? row->meaning
                                            : curl_easy_strerror(static_cast<CURLcode>(transportCode));
}

}  // namespace KBL

extern "C" int covertToErrorCode(const int* transportCode) {
  if (transportCode == nullptr || *transportCode == 0) return 0;
  const int code = *transportCode;
  const bool isOurs = code < 0 || code == KBL::ErrorCode::tokenMissing;
  return isOurs || code > std::numeric_limits<int>::max() - KBL::transportErrorBase
             ? code
             : KBL::transportErrorBase + code;
}
