#include "foundation/object/Counted.h"
#include <KblUtils/RefPtr.h>

#include <gtest/gtest.h>

using KBL::adoptRef;
using KBL::makeRef;
using KBL::RefPtr;
using KBL::shareRef;

namespace {

class RefPtrTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(Counted::alive, 0); }
};

TEST_F(RefPtrTest, MadeObjectHasOneReference) {
  const auto pointer = makeRef<Counted>();

  EXPECT_EQ(countOf(*pointer), 1);
}

TEST_F(RefPtrTest, AdoptTakesTheReferenceThatIsThere) {
  auto* const object = new Counted;
  object->AddRef();

  const auto pointer = adoptRef(object);

  EXPECT_EQ(countOf(*pointer), 1);
}

TEST_F(RefPtrTest, ShareAddsAReference) {
  const auto first = makeRef<Counted>();

  const auto second = shareRef(first.get());

  EXPECT_EQ(countOf(*first), 2);
}

TEST_F(RefPtrTest, NullSharesAndAdoptsToNothing) {
  EXPECT_FALSE(shareRef<Counted>(nullptr));
  EXPECT_FALSE(adoptRef<Counted>(nullptr));
}

TEST_F(RefPtrTest, CopyAddsAndMoveKeepsTheCount) {
  auto first = makeRef<Counted>();
  const auto copy = first;
  EXPECT_EQ(countOf(*copy), 2);

  const auto moved = std::move(first);

  EXPECT_EQ(countOf(*moved), 2);
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): a moved pointer is null
}

TEST_F(RefPtrTest, SelfAssignmentKeepsTheObject) {
  auto pointer = makeRef<Counted>();
  auto& same = pointer;

  pointer = same;

  EXPECT_EQ(countOf(*pointer), 1);
}

TEST_F(RefPtrTest, SelfMoveKeepsTheObject) {
  auto pointer = makeRef<Counted>();
  auto& same = pointer;

  pointer = std::move(same);

  ASSERT_TRUE(pointer);
  EXPECT_EQ(countOf(*pointer), 1);
}

TEST_F(RefPtrTest, AssignmentReleasesTheFormerObject) {
  auto pointer = makeRef<Counted>();

  pointer = makeRef<Counted>();

  EXPECT_EQ(Counted::alive, 1);
}

TEST_F(RefPtrTest, DerivedPointerConvertsToBaseWithAndWithoutMove) {
  auto derived = makeRef<DerivedCounted>();

  const RefPtr<Counted> shared = derived;
  const RefPtr<Counted> moved = std::move(derived);

  EXPECT_EQ(countOf(*moved), 2);
  EXPECT_EQ(shared.get(), moved.get());
}

TEST_F(RefPtrTest, ReleaseSeesThePointerAlreadyEmpty) {
  RefPtr<Counted> pointer;
  bool wasEmpty = false;
  pointer = makeRef<Counted>([&] { wasEmpty = !pointer; });

  pointer.reset();

  EXPECT_TRUE(wasEmpty);
}

TEST_F(RefPtrTest, ReleaseThatAssignsTheSamePointerIsSound) {
  RefPtr<Counted> pointer;
  pointer = makeRef<Counted>([&] { pointer = makeRef<Counted>(); });

  pointer.reset();

  EXPECT_TRUE(pointer);
  EXPECT_EQ(Counted::alive, 1);
}

TEST_F(RefPtrTest, ObjectThatOwnsItselfEndsOnce) {
  auto* const object = new Counted;
  object->itself = shareRef(object);

  object->itself.reset();

  EXPECT_EQ(Counted::alive, 0);
}

TEST_F(RefPtrTest, LeakGivesTheReferenceToTheCaller) {
  auto pointer = makeRef<Counted>();

  Counted* const object = pointer.leak();

  EXPECT_FALSE(pointer);
  EXPECT_EQ(object->Release(), 0);
}

}  // namespace
