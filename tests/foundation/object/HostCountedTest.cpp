#include "foundation/object/HostCounted.h"
#include "support/LastRelease.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

/// Keeps the steps of its end.
class Held final : public KBL::HostCounted<Held> {
 public:
  explicit Held(std::vector<std::string>& steps) : steps_(steps) {}
  ~Held() override { steps_.emplace_back("gone"); }
  void* QueryInterfaceByName(const char*) override { return nullptr; }

  std::function<void()> whileFallingSilent = [] {};

 protected:
  void fallSilent() override {
    steps_.emplace_back("silent");
    whileFallingSilent();
  }
  void windUp() override { steps_.emplace_back("wound up"); }
  void logThrown(const char* what) override { steps_.emplace_back(what); }

 private:
  std::vector<std::string>& steps_;
};

using Steps = std::vector<std::string>;

TEST(HostCounted, TheFactoryGivesTheHostsFirstReference) {
  Steps steps;
  Held* const object = Held::make(steps).leak();
  EXPECT_EQ(object->AddRef(), 2);
  EXPECT_EQ(object->Release(), 1);
  EXPECT_TRUE(steps.empty());
  EXPECT_EQ(object->Release(), 0);
  EXPECT_EQ(steps, (Steps{"silent", "wound up", "gone"}));
}

TEST(HostCounted, WhoPassesThroughLeavesTheHostsCountAloneAndKeepsTheMemory) {
  Steps steps;
  Held* const object = Held::make(steps).leak();
  std::shared_ptr<Held> core = object->shared_from_this();
  EXPECT_EQ(object->AddRef(), 2);
  EXPECT_EQ(object->Release(), 1);
  EXPECT_EQ(object->Release(), 0);
  EXPECT_EQ(steps, (Steps{"silent", "wound up"}));
  core.reset();
  EXPECT_EQ(steps.back(), "gone");
}

TEST(HostCounted, AReferenceFromZeroRevivesNothing) {
  Steps steps;
  Held* const object = Held::make(steps).leak();
  const std::shared_ptr<Held> core = object->shared_from_this();
  object->Release();
  EXPECT_EQ(object->AddRef(), 0);
  EXPECT_EQ(object->Release(), 0);
  EXPECT_EQ(object->Release(), 0);
  EXPECT_EQ(object->AddRef(), 0);
  EXPECT_EQ(steps, (Steps{"silent", "wound up"}));
}

TEST(HostCounted, TheProtocolIsToldOnceBetweenTheStepsAndMayUseItsPointer) {
  Steps steps;
  LastRelease protocol([&](KBL::IDmBaseObj* object) {
    steps.emplace_back("told");
    EXPECT_EQ(object->AddRef(), 0);
    EXPECT_EQ(object->Release(), 0);
  });
  Held* const object = Held::make(steps).leak();
  object->SetProtocol(&protocol);
  object->Release();
  EXPECT_EQ(steps, (Steps{"silent", "told", "wound up", "gone"}));
}

TEST(HostCounted, AProtocolThatThrowsIsLoggedAndKeepsNothing) {
  Steps steps;
  LastRelease protocol([](KBL::IDmBaseObj*) { throw std::runtime_error("of the host's"); });
  Held* const object = Held::make(steps).leak();
  object->SetProtocol(&protocol);
  EXPECT_EQ(object->Release(), 0);
  EXPECT_EQ(steps, (Steps{"silent", "of the host's", "wound up", "gone"}));
}

TEST(HostCounted, OfManyReleasesOneIsTheLast) {
  constexpr int rounds = 500;
  for (int round = 0; round < rounds; ++round) {
    Steps steps;
    Held* const object = Held::make(steps).leak();
    const std::shared_ptr<Held> core = object->shared_from_this();
    object->AddRef();
    std::thread other([&] { object->Release(); });
    std::thread reviver([&] {
      if (object->AddRef() != 0) object->Release();
    });
    object->Release();
    other.join();
    reviver.join();
    ASSERT_EQ(steps, (Steps{"silent", "wound up"})) << round;
  }
}

}  // namespace
