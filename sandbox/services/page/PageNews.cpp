#include "sandbox/services/page/PageNews.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Masking.h"
#include "sandbox/services/page/PageJson.h"

#include <utility>

namespace sandbox {

namespace {

/// A word from time to time, so that either side notices when the other has gone.
constexpr std::chrono::seconds longestSilence{5};

Json::Int64 milliseconds(std::chrono::system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

Json::Value jsonOf(const ExchangeRecord& exchange) {
  Json::Value value;
  value["serial"] = Json::UInt64(exchange.serial);
  value["time"] = milliseconds(exchange.time);
  value["route"] = std::string(routeName(exchange.route));
  value["method"] = exchange.method;
  value["target"] = maskedText(exchange.target);
  value["ended"] = exchange.ended;
  value["status"] = exchange.status;
  value["microseconds"] = Json::Int64(exchange.duration.count());
  value["sent"] = Json::UInt64(exchange.requestSize);
  value["received"] = Json::UInt64(exchange.replySize);
  if (exchange.fault) value["fault"] = Json::UInt64(*exchange.fault);
  return value;
}

}  // namespace

std::string PageNews::next() {
  news_.clear();
  if (told_.empty()) tell("setting", settingJson(context_));
  tellIfNew("people", peopleJson(context_));
  tellIfNew("logins", loginsJson(context_));
  tellIfNew("faults", faultsJson(context_));
  for (const Json::Value& upload : uploadsJson(context_)) {
    tellIfNew("upload " + upload["id"].asString(), "upload", upload);
  }
  tellExchanges();
  keepAlive();
  return std::exchange(news_, {});
}

void PageNews::tellExchanges() {
  const ExchangeNews news = context_.journal->since(change_);
  change_ = news.change;
  if (news.exchanges.empty()) return;
  Json::Value list(Json::arrayValue);
  for (const ExchangeRecord& exchange : news.exchanges) list.append(jsonOf(exchange));
  tell("exchanges", list);
}

void PageNews::tell(const std::string& event, const Json::Value& data) {
  news_ += "event: " + event + "\ndata: " + compactJson(data) + "\n\n";
}

void PageNews::tellIfNew(const std::string& thing, const std::string& event, const Json::Value& data) {
  std::string text = compactJson(data);
  std::string& told = told_[thing];
  if (text == told) return;
  news_ += "event: " + event + "\ndata: " + text + "\n\n";
  told = std::move(text);
}

void PageNews::keepAlive() {
  const auto now = std::chrono::steady_clock::now();
  if (news_.empty() && now - lastWord_ < longestSilence) return;
  lastWord_ = now;
  if (news_.empty()) news_ = ": nothing new\n\n";
}

}  // namespace sandbox
