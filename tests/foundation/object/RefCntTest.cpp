#include "foundation/object/Counted.h"
#include "support/LastRelease.h"
#include <KblUtils/RefCnt.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

/// Makes the count visible while the memory stays: what a table of borrowed pointers needs.
class Kept : public KBL::RefCnt<Kept> {
 public:
  void* QueryInterfaceByName(const char*) override { return nullptr; }
  using RefCnt::addReferenceUnlessZero;
  using RefCnt::dropReference;
};

TEST(RefCnt, ObjectsAreBornWithoutAReference) {
  auto* const object = new Counted;

  EXPECT_EQ(object->AddRef(), 1);
  EXPECT_EQ(object->AddRef(), 2);
  EXPECT_EQ(object->Release(), 1);
  EXPECT_EQ(object->Release(), 0);
  EXPECT_EQ(Counted::alive, 0);
}

TEST(RefCnt, LastReleaseTellsTheProtocolBeforeTheEnd) {
  int aliveAtCall = -1;
  const KBL::IDmBaseObj* last = nullptr;
  LastRelease witness([&](KBL::IDmBaseObj* object) {
    aliveAtCall = Counted::alive;
    last = object;
  });
  auto* const object = new Counted;
  const KBL::IDmBaseObj* const base = object;  // the way to a virtual base ends with the object
  object->AddRef();
  EXPECT_EQ(object->GetProtocol(), nullptr);
  object->SetProtocol(&witness);
  EXPECT_EQ(object->GetProtocol(), &witness);

  object->Release();

  EXPECT_EQ(witness.calls, 1);
  EXPECT_EQ(aliveAtCall, 1);
  EXPECT_EQ(last, base);
}

TEST(RefCnt, DetachedProtocolHearsNothing) {
  LastRelease witness;
  auto* const object = new Counted;
  object->AddRef();
  object->SetProtocol(&witness);
  object->SetProtocol(nullptr);

  object->Release();

  EXPECT_EQ(witness.calls, 0);
}

TEST(RefCnt, NoReferenceIsAddedToAnObjectWithNone) {
  Kept object;
  EXPECT_FALSE(object.addReferenceUnlessZero());
  object.AddRef();

  EXPECT_TRUE(object.addReferenceUnlessZero());
  EXPECT_EQ(object.dropReference(), 1);
  EXPECT_EQ(object.dropReference(), 0);
  EXPECT_FALSE(object.addReferenceUnlessZero());
}

TEST(RefCnt, ConcurrentReleaseAndAddReferenceAgreeOnTheLastOne) {
  constexpr int rounds = 5000;
  int lastReleases = 0;
  for (int round = 0; round < rounds; ++round) {
    Kept object;
    object.AddRef();
    std::atomic<int> zeros{0};
    std::thread adder([&] {
      if (object.addReferenceUnlessZero() && object.dropReference() == 0) ++zeros;
    });
    if (object.dropReference() == 0) ++zeros;
    adder.join();
    lastReleases += zeros;
  }

  EXPECT_EQ(lastReleases, rounds);
}

TEST(RefCnt, ManyThreadsEndTheObjectOnce) {
  auto* const object = new Counted;
  object->AddRef();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    object->AddRef();
    threads.emplace_back([object] {
      for (int round = 0; round < 1000; ++round) {
        object->AddRef();
        object->Release();
      }
      object->Release();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Counted::alive, 1);

  EXPECT_EQ(object->Release(), 0);
  EXPECT_EQ(Counted::alive, 0);
}

}  // namespace
