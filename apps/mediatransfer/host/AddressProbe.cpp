#include "host/AddressProbe.h"

#include <BsNet/NetworkClients.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <future>
#include <string_view>

namespace host {
namespace {

class StopWhenTold final : public KBL::IBsProgressCallback {
 public:
  explicit StopWhenTold(const std::atomic<bool>& stop) : stop_(stop) {}
  bool onProgress(long long, long long, long long, long long) override { return !stop_; }
  bool onReplyStarted(int) override { return !stop_; }

 private:
  const std::atomic<bool>& stop_;
};

/// Nobody reads what comes.
class Nowhere final : public KBL::IBsResponseWriteCallback {
 public:
  bool onResponseData(const char*, unsigned long long, void*) override { return true; }
};

std::int64_t now() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch).count();
}

ProbeResult probe(const std::string& address, const std::optional<ProxyAddress>& proxy,
                  std::chrono::milliseconds limit, const std::atomic<bool>& stop) {
  ProbeResult result{address, -1, "the library makes no network client", {}, 0};
  const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
  if (!client) return result;
  client->setConnectTimeout(static_cast<int>(limit.count() / 2));
  client->setTotalTimeout(static_cast<int>(limit.count()));
  if (proxy) client->setProxy(proxy->type, proxy->server, proxy->port, proxy->user, proxy->password);
  StopWhenTold progress(stop);
  Nowhere nowhere;
  const KBL::NetReply reply = client->perform(KBL::URL::FromString(address + "/"), KBL::httpGet, &nowhere,
                                              nullptr, &progress, nullptr);
  result.at = now();
  result.code = covertToErrorCode(&reply.resultCode);
  result.text = reply.errorMessage;
  if (const auto date = reply.headers.find("Date"); date != reply.headers.end()) result.date = date->second;
  return result;
}

std::optional<int> numberOf(std::string_view digits) {
  int number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size() || number < 0) return std::nullopt;
  return number;
}

}  // namespace

std::optional<std::vector<ProbeResult>> probeAddresses(const std::vector<std::string>& addresses,
                                                       const std::optional<ProxyAddress>& proxy,
                                                       const std::function<bool()>& wait,
                                                       std::chrono::milliseconds limit) {
  constexpr std::chrono::milliseconds slice(100);
  std::atomic<bool> stop{false};
  std::vector<std::future<ProbeResult>> running;
  running.reserve(addresses.size());
  for (const std::string& address : addresses) {
    running.push_back(std::async(
        std::launch::async, [&proxy, &stop, address, limit] { return probe(address, proxy, limit, stop); }));
  }
  std::vector<ProbeResult> results;
  for (std::future<ProbeResult>& one : running) {
    while (one.wait_for(slice) != std::future_status::ready) {
      if (!wait()) stop = true;
    }
    results.push_back(one.get());
  }
  if (stop) return std::nullopt;
  return results;
}

std::optional<std::int64_t> secondsOfHttpDate(const std::string& text) {
  constexpr std::string_view months = "JanFebMarAprMayJunJulAugSepOctNovDec";
  constexpr std::size_t length = 29;
  if (text.size() != length || !text.ends_with(" GMT") || text[19] != ':' || text[22] != ':') {
    return std::nullopt;
  }
  const std::string_view whole = text;
  const std::size_t month = months.find(whole.substr(8, 3));
  const auto day = numberOf(whole.substr(5, 2));
  const auto year = numberOf(whole.substr(12, 4));
  const auto hour = numberOf(whole.substr(17, 2));
  const auto minute = numberOf(whole.substr(20, 2));
  const auto second = numberOf(whole.substr(23, 2));
  if (month == std::string_view::npos || month % 3 != 0 || !day || !year || !hour || !minute || !second) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(*year),
                                         std::chrono::month(static_cast<unsigned>(month / 3 + 1)),
                                         std::chrono::day(static_cast<unsigned>(*day))};
  if (!date.ok()) return std::nullopt;
  const auto days = std::chrono::sys_days(date).time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(days).count() + *hour * 3600 + *minute * 60 +
         *second;
}

}  // namespace host
