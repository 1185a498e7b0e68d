#include "foundation/BsNet/client/CurlTransfer.h"

#include "foundation/BsNet/client/hostAnswer.h"

#include <algorithm>

namespace KBL {
namespace {

/// How often a caller is asked.
constexpr std::chrono::milliseconds beat(25);
/// How long a transfer waits that nobody asks about.
constexpr std::chrono::milliseconds quietWait(1000);

void wake(CURLM* multi) {
  (void)curl_multi_wakeup(multi);
}

}  // namespace

CurlTransfer::Outcome CurlTransfer::run() {
  if (curl_multi_add_handle(multi_, easy_.get()) != CURLM_OK) return {End::finished, CURLE_FAILED_INIT};
  // Also when the caller's callback throws.
  const auto removeFromMulti = [this](CURL* easy) { curl_multi_remove_handle(multi_, easy); };
  const std::unique_ptr<CURL, decltype(removeFromMulti)> added(easy_.get(), removeFromMulti);
  return drive();
}

CurlTransfer::Outcome CurlTransfer::drive() {
  const CurlStay::WakeUp atTheEnd(&wake, multi_);
  lastMove_ = Clock::now();
  while (true) {
    if (!mayGoOn()) return {End::cancelled, CURLE_OK};
    int running = 0;
    if (curl_multi_perform(multi_, &running) != CURLM_OK) return {End::finished, CURLE_FAILED_INIT};
    if (const auto code = finishedCode()) {
      return {End::finished, *code};
    }
    if (CurlStay::isClosing()) return {End::closing, CURLE_OK};
    if (isStalled()) return {End::stalled, CURLE_OK};
    if (curl_multi_poll(multi_, nullptr, 0, static_cast<int>(longestWait().count()), nullptr) != CURLM_OK) {
      return {End::finished, CURLE_FAILED_INIT};
    }
  }
}

std::optional<CURLcode> CurlTransfer::finishedCode() const {
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
    if (message->msg == CURLMSG_DONE && message->easy_handle == easy_.get()) return message->data.result;
  }
  return std::nullopt;
}

CurlTransfer::Counts CurlTransfer::counts() const {
  return {easy_.info<curl_off_t>(CURLINFO_SIZE_UPLOAD_T, 0),
          easy_.info<curl_off_t>(CURLINFO_SIZE_DOWNLOAD_T, 0)};
}

/// Asks the caller once a beat; never about a transfer that is over, whose outcome nobody's answer may
/// change.
bool CurlTransfer::mayGoOn() {
  if (progress_ == nullptr) return true;
  const Clock::time_point now = Clock::now();
  if (lastAsked_.has_value() && now - *lastAsked_ < beat) return true;
  lastAsked_ = now;
  const Counts done = counts();
  // libcurl answers -1 while a length is unknown.
  const auto total = [&](CURLINFO what) { return std::max<curl_off_t>(easy_.info<curl_off_t>(what, 0), 0); };
  return hostAnswer(true, "a progress callback", [&] {
    return progress_->onProgress(total(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T), done.received,
                                 total(CURLINFO_CONTENT_LENGTH_UPLOAD_T), done.sent);
  });
}

std::chrono::milliseconds CurlTransfer::longestWait() const {
  if (progress_ != nullptr) return beat;
  if (stallLimit_.count() == 0) return quietWait;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(lastMove_ + stallLimit_ - Clock::now());
  return std::clamp(left, std::chrono::milliseconds(0), quietWait);
}

bool CurlTransfer::isStalled() {
  if (stallLimit_.count() == 0) return false;
  const Counts now = counts();
  if (now != lastCounts_) {
    lastCounts_ = now;
    lastMove_ = Clock::now();
  }
  return Clock::now() - lastMove_ >= stallLimit_;
}

}  // namespace KBL
