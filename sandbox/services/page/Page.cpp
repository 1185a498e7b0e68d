#include "sandbox/services/page/Page.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Masking.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/HtmlPage.h"
#include "sandbox/services/SameOrigin.h"
#include "sandbox/services/page/PageFiles.h"
#include "sandbox/services/page/PageNews.h"

#include <memory>
#include <string_view>

namespace sandbox {

namespace {

constexpr const char* pagePath = "/sandbox/";
constexpr const char* filesPath = "/sandbox/page/";
constexpr const char* eventsPath = "/sandbox/events";
constexpr const char* exchangesPath = "/sandbox/exchanges/";
/// How far the page may be behind what happens.
constexpr std::chrono::milliseconds newsInterval{200};
/// What is shown of a body.
constexpr std::size_t shownBody = std::size_t{16} * 1024;

std::string typeOf(std::string_view name) {
  if (name.ends_with(".html")) return "text/html; charset=utf-8";
  if (name.ends_with(".css")) return "text/css; charset=utf-8";
  return "text/javascript; charset=utf-8";
}

Reply notFound() {
  return {404,
          R"({"error":"there is no such thing here, or no longer"})"
          "\n",
          "application/json",
          {}};
}

/// JSON in lines of its own; everything else as it came.
std::string bodyText(const std::string& body) {
  const std::optional<Json::Value> value =
      body.starts_with('{') || body.starts_with('[') ? parseJson(body) : std::nullopt;
  return maskedText(readableText(value ? readableJson(*value) : body));
}

Json::Value message(const std::string& head, const std::string& body, bool isCut) {
  Json::Value value;
  value["head"] = readableText(head);
  value["body"] = bodyText(body);
  value["cut"] = isCut;
  return value;
}

Json::Value requestJson(const RecordedRequest& request) {
  return message(maskedHead(request.method + " " + request.target + " HTTP/1.1", request.headers),
                 request.body.substr(0, shownBody),
                 request.bodySize > std::min(request.body.size(), shownBody));
}

Json::Value replyJson(const ReplyText& reply) {
  constexpr std::string_view endOfHead = "\r\n\r\n";
  const std::size_t end = std::min(reply.sent.find(endOfHead), reply.sent.size());
  const std::string sentBody = reply.sent.substr(std::min(end + endOfHead.size(), reply.sent.size()));
  const bool isCut = std::max(reply.sent.size(), reply.body.size()) >= ExchangeJournal::replyLimit;
  // A body that never went out, as behind a reset, is not shown.
  return message(maskedHead(std::string_view(reply.sent).substr(0, end)),
                 sentBody.empty() || reply.body.empty() ? sentBody : reply.body, isCut);
}

}  // namespace

void Page::addTo(Router& router) {
  const auto get = [&](const char* path, Handler handler, Endpoint::Path match = Endpoint::Path::exact) {
    router.add(
        {Route::inspection, "GET", path, forSameOrigin(std::move(handler)), Endpoint::Body::whole, match});
  };
  get("/", [](Call&) { return redirectTo(pagePath); });
  get(pagePath, [](Call&) { return file("index.html"); });
  get(
      filesPath, [](Call& call) { return file(call.rest); }, Endpoint::Path::withRest);
  get(eventsPath, [this](Call&) { return events(); });
  get(
      exchangesPath, [this](Call& call) { return exchange(call); }, Endpoint::Path::withRest);
}

Reply Page::file(const std::string& name) {
  const std::optional<std::string_view> text = pageFile(name);
  if (!text) return notFound();
  return {200,
          std::string(*text),
          typeOf(name),
          {{"Cache-Control", "no-cache"},
           {"Content-Security-Policy",
            "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; media-src 'self'; "
            "img-src 'self' data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
           {"Cross-Origin-Resource-Policy", "same-origin"},
           {"Referrer-Policy", "no-referrer"},
           {"X-Content-Type-Options", "nosniff"}}};
}

Reply Page::events() const {
  Reply reply;
  reply.contentType = "text/event-stream";
  reply.headers = {{"Cache-Control", "no-store"}};
  reply.pieces = [&faults = context_.faults, news = std::make_shared<PageNews>(context_),
                  first = true]() mutable -> std::optional<std::string> {
    if (!std::exchange(first, false) && !faults.pause(newsInterval)) return std::nullopt;
    return news->next();
  };
  return reply;
}

Reply Page::exchange(const Call& call) const {
  unsigned long long serial = 0;
  if (!parseNumber(call.rest, serial)) return notFound();
  const std::optional<RecordedRequest> request = context_.log.one(serial);
  const std::optional<ReplyText> reply = context_.journal->replyOf(serial);
  if (!request || !reply) return notFound();
  Json::Value value;
  value["request"] = requestJson(*request);
  value["reply"] = replyJson(*reply);
  return {200, compactJson(value), "application/json", {{"Cache-Control", "no-store"}}};
}

}  // namespace sandbox
