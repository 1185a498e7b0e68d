#include "foundation/BsNet/CurlTransfer.h"

#include <algorithm>

namespace KBL {
namespace {

constexpr std::chrono::milliseconds beat(25);

}  // namespace

CurlTransfer::Outcome CurlTransfer::run() {
  if (curl_multi_add_handle(multi_, easy_.get()) != CURLM_OK) return {End::finished, CURLE_FAILED_INIT};
  // Also when the caller's callback throws.
  const auto removeFromMulti = [this](CURL* easy) { curl_multi_remove_handle(multi_, easy); };
  const std::unique_ptr<CURL, decltype(removeFromMulti)> added(easy_.get(), removeFromMulti);
  return drive();
}

CurlTransfer::Outcome CurlTransfer::drive() {
  lastMove_ = Clock::now();
  while (true) {
    if (!mayGoOn(false)) return {End::cancelled, CURLE_OK};
    int running = 0;
    if (curl_multi_perform(multi_, &running) != CURLM_OK) return {End::finished, CURLE_FAILED_INIT};
    if (const auto code = finishedCode()) {
      return mayGoOn(true) ? Outcome{End::finished, *code} : Outcome{End::cancelled, CURLE_OK};
    }
    if (ExchangeGate::isClosing()) return {End::closing, CURLE_OK};
    if (isStalled()) return {End::stalled, CURLE_OK};
    if (curl_multi_poll(multi_, nullptr, 0, static_cast<int>(beat.count()), nullptr) != CURLM_OK) {
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

/// Asks the caller once a beat, and at the end once more if he has not seen the last counts.
bool CurlTransfer::mayGoOn(bool isOver) {
  if (progress_ == nullptr) return true;
  const Clock::time_point now = Clock::now();
  const bool isDue = !lastTold_.has_value() || (isOver ? counts() != *lastTold_ : now - lastAsked_ >= beat);
  if (!isDue) return true;
  lastAsked_ = now;
  lastTold_ = counts();
  // libcurl answers -1 while a length is unknown.
  const auto total = [&](CURLINFO what) { return std::max<curl_off_t>(easy_.info<curl_off_t>(what, 0), 0); };
  return progress_->onProgress(total(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T), lastTold_->received,
                               total(CURLINFO_CONTENT_LENGTH_UPLOAD_T), lastTold_->sent);
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
