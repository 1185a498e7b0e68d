#include "commands/FetchPool.h"

#include "host/MediaEvents.h"
#include "options/Failure.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <limits>
#include <thread>

namespace host {

/// One transfer; its callbacks know it by its address.
struct FetchPool::Slot {
  WaitingQueue<News>& news;
  std::size_t place;
  std::size_t number = 0;  ///< the caller's, of what runs
  bool isBusy = false;
  DownloadEvent progress;
  KBL::RefPtr<KBL::IExternlMediaTransfer> transfer;
};

FetchPool::FetchPool(int jobs) {
  for (int i = 0; i < jobs; ++i) {
    auto slot = std::make_unique<Slot>(Slot{news_, slots_.size(), 0, false, {}, {}});
    slot->transfer = KBL::adoptRef(createEMTDlTransfer());
    if (!slot->transfer) throw Failure(Cause::call, "the library cannot make a transfer");
    slot->transfer->Command(KBL::commandSetContext, static_cast<void*>(slot.get()));
    slots_.push_back(std::move(slot));
  }
}

FetchPool::~FetchPool() {
  stop();
  // The transfers end before what their callbacks reach.
  for (const auto& slot : slots_) slot->transfer.reset();
}

void FetchPool::begin(std::size_t number, const std::string& url, const std::string& path) {
  for (const auto& slot : slots_) {
    if (slot->isBusy) continue;
    slot->isBusy = true;
    slot->number = number;
    slot->progress = {};
    ++running_;
    auto* const more = KBL::queryInterface<KBL::IExternlMediaDownloadNews>(slot->transfer.get(),
                                                                           "IExternlMediaDownloadNews");
    if (more != nullptr) more->RefuseErrorStatus(true);
    slot->transfer->Command(KBL::commandDownloadFile, url.c_str(), path.c_str(), &onError, &onProgress);
    slot->transfer->Start();
    return;
  }
}

std::optional<FetchPool::End> FetchPool::next(std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    const std::optional<News> news = news_.pop(std::max(left, std::chrono::milliseconds(0)));
    if (!news) return std::nullopt;
    Slot& slot = *slots_[news->slot];
    if (!news->error) {
      slot.progress = news->progress;
      if (!slot.progress.finished) continue;
    }
    const bool isTooLarge = slot.progress.total == std::numeric_limits<std::int32_t>::max();
    bytesOfEnded_ += static_cast<std::uint64_t>(slot.progress.bytes);
    slot.progress = {};
    slot.isBusy = false;
    --running_;
    return End{slot.number, news->error, isTooLarge};
  }
}

std::uint64_t FetchPool::bytes() const {
  std::uint64_t bytes = bytesOfEnded_;
  for (const auto& slot : slots_) bytes += static_cast<std::uint64_t>(slot->progress.bytes);
  return bytes;
}

void FetchPool::stop() {
  // Each takes up to a second where its server is silent.
  std::vector<std::thread> stops;
  for (const auto& slot : slots_) {
    if (slot->isBusy) stops.emplace_back([transfer = slot->transfer.get()] { transfer->Stop(); });
  }
  for (std::thread& thread : stops) thread.join();
}

std::int32_t FetchPool::onProgress(void* context, KBL::IExternlMediaTransfer*,
                                   const KBL::hostProgressRecord* progress) {
  const Slot& slot = *static_cast<Slot*>(context);
  slot.news.push(News{slot.place, MediaEvents::progressOf(*progress), {}});
  return 0;
}

std::int32_t FetchPool::onError(void* context, KBL::IExternlMediaTransfer*,
                                const KBL::hostErrorRecord* error) {
  const Slot& slot = *static_cast<Slot*>(context);
  slot.news.push(News{slot.place, {}, MediaEvents::errorOf(*error)});
  return 0;
}

}  // namespace host
