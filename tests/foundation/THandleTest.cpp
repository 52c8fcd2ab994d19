#include "vorn/foundation/THandle.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

#include "vorn/foundation/TWeakHandle.h"

namespace vorn {
namespace {

// Counts live instances so that tests can see exactly when objects die.
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
  void TearDown() override { EXPECT_EQ(Tracked::alive, 0) << "an object leaked or died twice"; }
};

int strong(const THandle<Tracked>& h) { return h.count_block()->strong_count(); }

TEST_F(THandleTest, Tour) {
  THandle<Tracked> a(new Derived);
  EXPECT_EQ(strong(a), 1);
  {
    THandle<Tracked> b = a;
    EXPECT_EQ(strong(a), 2);
    EXPECT_EQ(b.count_block(), a.count_block());
    THandle<Derived> d = handle_dynamic_cast<Derived>(b);
    ASSERT_TRUE(d);
    EXPECT_EQ(d->value, 7);
    EXPECT_EQ(strong(a), 3);
  }
  EXPECT_EQ(strong(a), 1);
  a = THandle<Tracked>();
  EXPECT_EQ(Tracked::alive, 0);
}

TEST_F(THandleTest, NullHandleAllocatesNothingAndRefusesAccess) {
  THandle<Tracked> null_from_pointer(nullptr);
  THandle<Tracked> null_default;
  for (const THandle<Tracked>* h : {&null_from_pointer, &null_default}) {
    EXPECT_EQ(h->unhand(), nullptr);
    EXPECT_EQ(h->count_block(), nullptr);
    EXPECT_TRUE(*h == nullptr);
    EXPECT_FALSE(*h);
    THandle<Tracked> copy = *h;
    EXPECT_EQ(copy.count_block(), nullptr);
    try {
      (void)h->operator->();
      FAIL() << "operator-> on a null handle must throw";
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), "Internal error: access of null handle");
    }
    EXPECT_THROW((void)**h, std::runtime_error);
  }
}

TEST_F(THandleTest, AssignmentToTheSameObjectTouchesNoCount) {
  THandle<Tracked> a(new Tracked);
  THandle<Tracked> b = a;
  a = b;
  EXPECT_EQ(strong(a), 2);
  a = a;  // NOLINT: self-assignment is the point
  EXPECT_EQ(strong(a), 2);
}

TEST_F(THandleTest, AssignmentReleasesThePreviousObject) {
  THandle<Tracked> a(new Tracked);
  THandle<Tracked> b(new Tracked);
  EXPECT_EQ(Tracked::alive, 2);
  a = b;
  EXPECT_EQ(Tracked::alive, 1);
  EXPECT_EQ(strong(b), 2);
  THandle<Tracked> moved = std::move(a);
  EXPECT_EQ(a.unhand(), nullptr);  // NOLINT: checking the moved-from state
  EXPECT_EQ(strong(b), 2);
  moved = THandle<Tracked>(new Tracked);
  EXPECT_EQ(strong(b), 1);
  EXPECT_EQ(Tracked::alive, 2);
}

TEST_F(THandleTest, CastsShareTheCounterBlock) {
  THandle<Tracked> base(new Derived);
  THandle<Unrelated> wrong = handle_dynamic_cast<Unrelated>(base);
  EXPECT_EQ(wrong.unhand(), nullptr);
  EXPECT_EQ(wrong.count_block(), nullptr);
  EXPECT_EQ(strong(base), 1);

  THandle<Derived> right = handle_static_cast<Derived>(base);
  EXPECT_EQ(right.count_block(), base.count_block());
  EXPECT_EQ(strong(base), 2);

  THandle<Tracked> null_base;
  EXPECT_EQ(handle_static_cast<Derived>(null_base).count_block(), nullptr);
  EXPECT_EQ(handle_dynamic_cast<Derived>(null_base).count_block(), nullptr);

  // The last owner may be the derived handle: the object dies through the
  // virtual destructor exactly once.
  base = THandle<Tracked>();
  EXPECT_EQ(Tracked::alive, 1);
  right = THandle<Derived>();
  EXPECT_EQ(Tracked::alive, 0);
}

TEST_F(THandleTest, OrderingAndHashingFollowTheObjectAddress) {
  std::vector<THandle<Tracked>> objects;
  for (int i = 0; i < 8; ++i) objects.emplace_back(new Tracked);
  std::map<THandle<Tracked>, int> by_handle;
  for (int i = 0; i < 8; ++i) by_handle[objects[i]] = i;
  by_handle[THandle<Tracked>(objects[3])] = 33;  // same object, same key
  by_handle[THandle<Tracked>()] = -1;
  ASSERT_EQ(by_handle.size(), 9u);
  EXPECT_EQ(by_handle.begin()->first.unhand(), nullptr) << "the null handle sorts first";
  EXPECT_EQ(by_handle[objects[3]], 33);
  const Tracked* previous = nullptr;
  for (const auto& entry : by_handle) {
    EXPECT_LE(reinterpret_cast<std::uintptr_t>(previous), reinterpret_cast<std::uintptr_t>(entry.first.unhand()));
    previous = entry.first.unhand();
  }
  std::unordered_set<THandle<Tracked>> set(objects.begin(), objects.end());
  set.insert(objects[0]);
  EXPECT_EQ(set.size(), 8u);
  EXPECT_TRUE(objects[0] == THandle<Tracked>(objects[0]));
  EXPECT_TRUE(objects[0] != objects[1]);
}

TEST_F(THandleTest, CounterBlockOutlivesTheObjectWhileWeakReferencesRemain) {
  THandle<Tracked> h(new Tracked);
  HandleCommon::UseCount* block = h.count_block();
  block->up_weak();
  h = THandle<Tracked>();
  EXPECT_EQ(Tracked::alive, 0);
  EXPECT_FALSE(block->weak_reference_valid());
  EXPECT_EQ(block->strong_count(), 0);
  EXPECT_EQ(block->weak_count(), 1);
  block->down_weak();  // frees the block; ASan reports a leak otherwise
}

TEST_F(THandleTest, WeakHandleFollowsTheObjectsLife) {
  TWeakHandle<Tracked> empty;
  EXPECT_TRUE(empty.expired());
  EXPECT_EQ(empty.lock().unhand(), nullptr);

  THandle<Derived> owner(new Derived);
  TWeakHandle<Tracked> weak(owner);
  TWeakHandle<Tracked> copy = weak;
  EXPECT_EQ(owner.count_block()->weak_count(), 2);
  {
    THandle<Tracked> locked = copy.lock();
    EXPECT_EQ(locked.unhand(), owner.unhand());
    EXPECT_EQ(locked.count_block(), owner.count_block());
    EXPECT_EQ(owner.count_block()->strong_count(), 2);
  }
  copy = TWeakHandle<Tracked>();
  EXPECT_EQ(owner.count_block()->weak_count(), 1);
  owner = THandle<Derived>();
  EXPECT_EQ(Tracked::alive, 0);
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(weak.lock().unhand(), nullptr);
  TWeakHandle<Tracked> late = weak;  // copying an expired reference is fine
  EXPECT_TRUE(late.expired());
}

}  // namespace
}  // namespace vorn
