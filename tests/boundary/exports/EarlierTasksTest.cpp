// What becomes of the tasks of former commands, and how long they live. A program of its own: its `operator
// new` serves the whole process.
#include "support/MediaHost.h"
#include "support/PageServer.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <utility>

namespace {

/// The size of a token that a task keeps, and of its copies alone.
constexpr std::size_t watchedSize = 100'003;
std::atomic<void*> watched{nullptr};

/// What this thread does once, in the middle of its next allocation.
thread_local std::function<void()>* inNextAllocation = nullptr;

void* allocate(std::size_t size) {
  if (auto* const what = std::exchange(inNextAllocation, nullptr)) (*what)();
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  if (size == watchedSize + 1) watched = memory;
  return memory;
}

void release(void* memory) {
  void* expected = memory;
  if (memory != nullptr) watched.compare_exchange_strong(expected, nullptr);
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}
void operator delete(void* memory) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  release(memory);
}

TEST(EarlierTasks, LiveAsLongAsTheirTransfer) {
  const std::string token(watchedSize, 't');
  auto transfer = KBL::adoptRef(createEMTDlTransfer());
  watched = nullptr;
  ASSERT_EQ(transfer->Command(KBL::commandListFacebookAlbums, token.c_str(), &MediaHost::onAlbum,
                              &MediaHost::onError),
            0);
  ASSERT_NE(watched, nullptr);
  for (int later = 0; later < 3; ++later) {
    ASSERT_EQ(
        transfer->Command(KBL::commandListFacebookAlbums, "LATER", &MediaHost::onAlbum, &MediaHost::onError),
        0);
    EXPECT_EQ(transfer->Stop(), 0);
    EXPECT_NE(watched, nullptr) << later;
  }
  transfer.reset();
  EXPECT_EQ(watched, nullptr);
}

// A command makes its task behind the stop of the one before it. What another thread's command starts
// meanwhile is stopped as well.
TEST(EarlierTasks, AreStoppedThatStartedWhileTheNextOneWasMade) {
  PageServer server;
  const ScopedMediaHosts hosts{server};
  server.answerAlways(R"({"data":[{"id":"1"}],"paging":{"next":")" + server.url() + R"(/graph/again"}})");
  MediaHost host;
  const auto transfer = KBL::adoptRef(createEMTDlTransfer());
  ASSERT_EQ(transfer->Command(KBL::commandSetContext, static_cast<void*>(&host)), 0);
  bool cameBetween = false;
  std::function<void()> comeBetween = [&] {
    EXPECT_EQ(
        transfer->Command(KBL::commandListFacebookAlbums, "OTHER", &MediaHost::onAlbum, &MediaHost::onError),
        0);
    EXPECT_EQ(transfer->Start(), 4);
    cameBetween = waitUntil([&] { return host.albums().size() > 2; });
  };
  inNextAllocation = &comeBetween;
  EXPECT_EQ(
      transfer->Command(KBL::commandListFacebookAlbums, "TOKEN", &MediaHost::onAlbum, &MediaHost::onError),
      0);
  ASSERT_TRUE(cameBetween);
  const std::size_t albums = host.albums().size();
  EXPECT_FALSE(waitUntil([&] { return host.albums().size() > albums; }, std::chrono::milliseconds(100)));
}
