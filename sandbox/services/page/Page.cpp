#include "sandbox/services/page/Page.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Masking.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/HtmlPage.h"
#include "sandbox/services/SameOrigin.h"
#include "sandbox/services/page/PageFiles.h"
#include "sandbox/services/page/PageJson.h"
#include "sandbox/services/page/PageNews.h"

#include <memory>
#include <string_view>

namespace sandbox {

namespace {

constexpr const char* pagePath = "/sandbox/";
constexpr const char* filesPath = "/sandbox/page/";
constexpr const char* eventsPath = "/sandbox/events";
constexpr const char* exchangesPath = "/sandbox/exchanges/";
constexpr const char* videosPath = "/sandbox/videos/";
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

/// The bytes that a player asks for: of "bytes=FIRST-LAST", "bytes=FIRST-" and "bytes=-COUNT".
struct Range {
  std::uint64_t first = 0;
  std::uint64_t count = 0;
};
std::optional<Range> rangeOf(std::string_view text, std::uint64_t size) {
  constexpr std::string_view unit = "bytes=";
  if (!text.starts_with(unit)) return std::nullopt;
  text.remove_prefix(unit.size());
  const std::size_t dash = std::min(text.find('-'), text.size());
  const std::string_view begin = text.substr(0, dash);
  const std::string_view end = text.substr(std::min(dash + 1, text.size()));
  unsigned long long first = 0;
  unsigned long long last = size - 1;
  if (begin.empty()) {
    unsigned long long count = 0;
    if (!parseNumber(end, count) || count == 0) return std::nullopt;
    first = size - std::min<unsigned long long>(count, size);
  } else if (!parseNumber(begin, first) || (!end.empty() && !parseNumber(end, last))) {
    return std::nullopt;
  }
  if (first >= size || last < first) return std::nullopt;
  return Range{first, std::min<std::uint64_t>(last, size - 1) - first + 1};
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
      videosPath, [this](Call& call) { return video(call); }, Endpoint::Path::withRest);
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

/// What came of an upload, whole or in the range that a player asks for.
Reply Page::video(const Call& call) const {
  const std::optional<ArrivalState> arrival = context_.arrivals->one(call.rest);
  if (!arrival || !arrival->isKept) return notFound();
  const std::uint64_t size = arrival->position;
  Reply reply;
  reply.contentType = mediaTypeOf(arrival->start);
  reply.headers = {{"Accept-Ranges", "bytes"},
                   {"Cache-Control", "no-store"},
                   {"Content-Security-Policy", "default-src 'none'; sandbox"},
                   {"Cross-Origin-Resource-Policy", "same-origin"},
                   {"X-Content-Type-Options", "nosniff"}};
  Range range{0, size};
  if (const auto wanted = call.request.header("Range")) {
    const std::optional<Range> part = rangeOf(*wanted, size);
    reply.status = part ? 206 : 416;
    const std::string which =
        part ? std::to_string(part->first) + "-" + std::to_string(part->first + part->count - 1) : "*";
    reply.headers.emplace_back("Content-Range", "bytes " + which + "/" + std::to_string(size));
    if (!part) return reply;
    range = *part;
  }
  std::optional<std::string> bytes = context_.arrivals->readKept(call.rest, range.first, range.count);
  if (!bytes) return notFound();
  reply.body = *std::move(bytes);
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
