#include "sandbox/TestClient.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"

#include <httplib.h>

#include <csignal>

struct TestClient::State {
  explicit State(const std::string& baseUrl) : client(baseUrl) {}
  httplib::Client client;
};

namespace {

httplib::Headers headersOf(const Fields& fields) {
  httplib::Headers headers;
  for (const auto& [name, value] : fields) headers.emplace(name, value);
  return headers;
}

std::string contentTypeOf(const Fields& fields) {
  for (const auto& [name, value] : fields) {
    if (sandbox::equalIgnoringCase(name, "Content-Type")) return value;
  }
  return "application/octet-stream";
}

/// The library sets the content type by an argument of its own.
Fields withoutContentType(Fields fields) {
  std::erase_if(fields,
                [](const auto& field) { return sandbox::equalIgnoringCase(field.first, "Content-Type"); });
  return fields;
}

Answer answerOf(const httplib::Result& result) {
  Answer answer;
  if (!result) return answer;
  answer.arrived = true;
  answer.status = result->status;
  answer.body = result->body;
  for (const auto& [name, value] : result->headers) answer.headers.emplace_back(name, value);
  return answer;
}

/// The address as this client's library can check it against a certificate: built by MinGW it knows names
/// alone.
std::string checkable(std::string baseUrl) {
#if defined(__MINGW32__)
  const std::string number = "https://127.0.0.1:";
  if (baseUrl.starts_with(number)) baseUrl.replace(0, number.size(), "https://localhost:");
#endif
  return baseUrl;
}

}  // namespace

std::string Answer::header(const std::string& name) const {
  for (const auto& [known, value] : headers) {
    if (sandbox::equalIgnoringCase(known, name)) return value;
  }
  return {};
}

Json::Value Answer::json() const {
  return sandbox::parseJson(body).value_or(Json::Value());
}

TestClient::TestClient(const sandbox::Sandbox& server, std::chrono::milliseconds limit)
    : TestClient(server.baseUrl(), server.caFile(), limit) {}

TestClient::TestClient(const std::string& baseUrl, const std::string& caFile, std::chrono::milliseconds limit)
    : state_(std::make_unique<State>(checkable(baseUrl))) {
#if defined(SIGPIPE)
  // This client's library would let a broken pipe end the process.
  (void)std::signal(SIGPIPE, SIG_IGN);
#endif
  state_->client.set_keep_alive(true);
  state_->client.set_tcp_nodelay(true);
  state_->client.set_connection_timeout(limit);
  state_->client.set_read_timeout(limit);
  state_->client.set_write_timeout(limit);
  if (!caFile.empty()) state_->client.set_ca_cert_path(caFile);
}

TestClient::~TestClient() = default;

Answer TestClient::get(const std::string& target, const Fields& headers) {
  return answerOf(state_->client.Get(target, headersOf(headers)));
}

Answer TestClient::post(const std::string& target, const std::string& body, const Fields& headers) {
  return answerOf(
      state_->client.Post(target, headersOf(withoutContentType(headers)), body, contentTypeOf(headers)));
}

Answer TestClient::put(const std::string& target, const std::string& body, const Fields& headers) {
  return answerOf(
      state_->client.Put(target, headersOf(withoutContentType(headers)), body, contentTypeOf(headers)));
}

Answer TestClient::patch(const std::string& target, const std::string& body, const Fields& headers) {
  return answerOf(
      state_->client.Patch(target, headersOf(withoutContentType(headers)), body, contentTypeOf(headers)));
}

Answer TestClient::remove(const std::string& target, const Fields& headers) {
  return answerOf(state_->client.Delete(target, headersOf(headers)));
}

Answer TestClient::head(const std::string& target, const Fields& headers) {
  return answerOf(state_->client.Head(target, headersOf(headers)));
}

std::pair<std::string, std::string> bearer(const std::string& token) {
  return {"Authorization", "Bearer " + token};
}

std::string targetOf(const std::string& url) {
  const std::size_t host = url.find("://") + 3;
  return url.substr(url.find('/', host));
}
