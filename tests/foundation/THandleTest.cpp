#include "vorn/foundation/THandle.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>

#include "support/TestSupport.h"
#include "vorn/foundation/TWeakHandle.h"

namespace vorn {
namespace {

// Counts live instances, so a leak or a double delete shows in TearDown.
struct Tracked {
  static int alive;
  Tracked() { ++alive; }
  Tracked(const Tracked&) = delete;
  virtual ~Tracked() { --alive; }
};
int Tracked::alive = 0;
struct Derived : Tracked {
  int value = 7;
};
struct Unrelated : Tracked {};

class THandleTest : public ::testing::Test {
 protected:
  void SetUp() override { Tracked::alive = 0; }
  void TearDown() override { EXPECT_EQ(Tracked::alive, 0); }
  static int strong(const THandle<Tracked>& h) { return h.count_block()->strong_count(); }
};

TEST_F(THandleTest, CopiesMovesAndCastsShareOneCounterBlock) {
  THandle<Tracked> a(new Derived);
  THandle<Tracked> b = a;
  THandle<Derived> d = handle_dynamic_cast<Derived>(b);
  THandle<Derived> s = handle_static_cast<Derived>(a);
  EXPECT_EQ(strong(a), 4);
  EXPECT_EQ(d.count_block(), a.count_block());
  EXPECT_EQ(d->value, 7);
  EXPECT_EQ(handle_dynamic_cast<Unrelated>(a).count_block(), nullptr) << "a failed cast holds no block";
  EXPECT_EQ(strong(a), 4);

  b = a;  // same object: no count changes
  a = a;  // NOLINT(clang-diagnostic-self-assign-overloaded)
  EXPECT_EQ(strong(a), 4);
  THandle<Tracked> moved = std::move(b);
  EXPECT_EQ(b.unhand(), nullptr);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(strong(a), 4);

  a = THandle<Tracked>(new Tracked);  // releases one reference to the first object
  EXPECT_EQ(strong(moved), 3);
  moved = THandle<Tracked>();
  d = THandle<Derived>();
  EXPECT_EQ(Tracked::alive, 2);
  s = THandle<Derived>();  // the last owner is a derived handle: deleted once
  EXPECT_EQ(Tracked::alive, 1);
}

TEST_F(THandleTest, NullHandlesOwnNothingAndRefuseAccess) {
  for (const THandle<Tracked>& h : {THandle<Tracked>(), THandle<Tracked>(nullptr)}) {
    EXPECT_TRUE(h == nullptr);
    EXPECT_EQ(h.count_block(), nullptr);
    EXPECT_EQ(THandle<Tracked>(h).count_block(), nullptr);
    EXPECT_EQ(handle_static_cast<Derived>(h).count_block(), nullptr);
    EXPECT_EQ(testing::error_of([&] { (void)h.operator->(); }), "Internal error: access of null handle");
    EXPECT_THROW((void)*h, std::runtime_error);
  }
}

TEST_F(THandleTest, HandlesAreKeysOrderedByAddress) {
  const THandle<Tracked> low(new Tracked), high(new Tracked);
  const std::less<THandle<Tracked>> less;
  const bool ordered = reinterpret_cast<std::uintptr_t>(low.unhand()) < reinterpret_cast<std::uintptr_t>(high.unhand());
  EXPECT_EQ(less(low, high), ordered);
  EXPECT_EQ(less(high, low), !ordered);
  EXPECT_TRUE(less(THandle<Tracked>(), low)) << "the null handle sorts first";
  EXPECT_FALSE(less(low, THandle<Tracked>(low))) << "copies are one key";
  std::unordered_set<THandle<Tracked>> set{low, high, THandle<Tracked>(low)};
  EXPECT_EQ(set.size(), 2u);
}

TEST_F(THandleTest, WeakReferencesOutliveTheObject) {
  THandle<Derived> owner = make_handle<Derived>();
  HandleCommon::UseCount* block = owner.count_block();
  TWeakHandle<Tracked> weak(owner);
  TWeakHandle<Tracked> copy = weak;
  EXPECT_EQ(block->weak_count(), 2);
  EXPECT_EQ(copy.lock().count_block(), block);
  EXPECT_EQ(block->strong_count(), 1) << "the locked handle was released";
  copy = TWeakHandle<Tracked>();
  owner = THandle<Derived>();
  EXPECT_EQ(Tracked::alive, 0);
  EXPECT_FALSE(block->weak_reference_valid());
  EXPECT_EQ(block->weak_count(), 1) << "the block waits for the last weak reference";
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(weak.lock().unhand(), nullptr);
  EXPECT_TRUE(TWeakHandle<Tracked>().expired());
}

// An aggregate, a class with a constructor and one whose constructor throws.
struct Point : Tracked {
  Point(double x_, double y_) : x(x_), y(y_) {}
  double x, y;
};
struct Pair {
  int first;
  std::string second;
};
struct Refuses : Tracked {
  explicit Refuses(int n) {
    if (n < 0) throw std::invalid_argument("Refuses: negative");
  }
};

TEST_F(THandleTest, MakeHandleAndAdoptionOwnTheObject) {
  const THandle<Point> point = make_handle<Point>(1.5, -2.0);
  EXPECT_EQ(point->y, -2.0);
  EXPECT_EQ(point.count_block()->strong_count(), 1);
  EXPECT_EQ(make_handle<Pair>(3, "three")->second, "three");
  EXPECT_THROW(make_handle<Refuses>(-1), std::invalid_argument);
  EXPECT_EQ(Tracked::alive, 1) << "a throwing constructor leaves nothing behind";

  std::unique_ptr<Derived> unique = std::make_unique<Derived>();
  Derived* const object = unique.get();
  THandle<Tracked> adopted(std::move(unique));
  EXPECT_EQ(unique, nullptr);  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(adopted == object);
  EXPECT_EQ(strong(adopted), 1);
  EXPECT_EQ(THandle<Tracked>(std::unique_ptr<Tracked>{}).count_block(), nullptr) << "an empty one gives null";
}

}  // namespace
}  // namespace vorn
