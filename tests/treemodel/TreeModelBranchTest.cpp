#include "vorn/treemodel/TreeModelBranch.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "vorn/treemodel/TreeModel.h"
#include "vorn/treemodel/TreeModelBranchIdentifiers.h"
#include "vorn/treemodel/TreeModelFunctions.h"

namespace vorn {
namespace {

namespace tmf = TreeModelFunctions;
using Position = TreeModel::pre_order_iterator;

THandle<ModelItem> item(const std::string& id) {
  return THandle<ModelItem>(new ModelItem(DatabaseEntryIdentifier(id)));
}

TreeModelBranchIdentifiers path(const std::vector<std::string>& texts) {
  std::vector<DatabaseEntryIdentifier> ids;
  for (const std::string& t : texts) ids.emplace_back(t);
  return TreeModelBranchIdentifiers(ids);
}

std::vector<std::string> texts(const TreeModelBranchIdentifiers& p) {
  std::vector<std::string> out;
  for (const DatabaseEntryIdentifier& id : p.identifiers()) out.push_back(id.text());
  return out;
}

// Top level: a (b (c, d), e), z
struct Fixture : ::testing::Test {
  void SetUp() override {
    z = model.insert(item("z"));
    a = model.insert(item("a"));
    b = model.append_child(a, item("b"));
    c = model.append_child(b, item("c"));
    d = model.append_child(b, item("d"));
    e = model.append_child(a, item("e"));
  }
  TreeModel model;
  Position a, b, c, d, e, z;
};

TEST_F(Fixture, BranchesRunFromTheTopLevelDown) {
  const TreeModelBranch top(z);
  EXPECT_EQ(top.size(), 1u);
  EXPECT_EQ(tmf::branch_identifiers(z).max_depth(), 1u);

  const TreeModelBranch deep(d);
  ASSERT_EQ(deep.size(), 3u);
  EXPECT_FALSE(deep.empty());
  EXPECT_EQ(deep.node(0), a);
  EXPECT_EQ(deep.node(1), b);
  EXPECT_EQ(deep.node(2), d);
  EXPECT_EQ(deep.node(3).node(), nullptr);
  EXPECT_EQ(texts(tmf::branch_identifiers(d)), (std::vector<std::string>{"a", "b", "d"}));

  std::vector<Position> out{z};
  tmf::branch(c, out);
  EXPECT_EQ(out, (std::vector<Position>{a, b, c, z}));
}

TEST_F(Fixture, ClimbingFunctions) {
  EXPECT_EQ(tmf::depth(a), 0);
  EXPECT_EQ(tmf::depth(d), 2);
  struct Case {
    const char* name;
    Position got;
    Position expected;
  };
  const Case cases[] = {
      {"parent 1", tmf::parent(d, 1), b},
      {"parent 2", tmf::parent(d, 2), a},
      {"parent stops at the top", tmf::parent(d, 10), a},
      {"parent 0", tmf::parent(d, 0), d},
      {"parent negative", tmf::parent(d, -3), d},
      {"parent of a top-level item", tmf::parent(z, 1), z},
      {"ancestor at depth 0", tmf::parent_at_depth(d, 0), a},
      {"ancestor at depth 1", tmf::parent_at_depth(d, 1), b},
      {"ancestor at own depth", tmf::parent_at_depth(d, 2), d},
      {"ancestor below the item", tmf::parent_at_depth(b, 3), Position()},
      {"left-most parent", tmf::left_most_parent(d), a},
      {"left-most parent of a top-level item", tmf::left_most_parent(z), z},
  };
  for (const Case& x : cases) {
    SCOPED_TRACE(x.name);
    EXPECT_EQ(x.got, x.expected);
  }
  EXPECT_TRUE(tmf::has_children(model.top_level_begin(), model.top_level_end()));
  EXPECT_FALSE(tmf::has_children(b.begin(), b.end()));
  EXPECT_TRUE(tmf::has_children(a.begin(), a.end()));
  EXPECT_FALSE(tmf::has_children(a.begin(), a.begin()));
  EXPECT_TRUE(tmf::has_grandchildren(a));
  EXPECT_FALSE(tmf::has_grandchildren(b));
  EXPECT_FALSE(tmf::has_grandchildren(z));
}

TEST(TreeModelBranchIdentifiers, LookupAndSubBranches) {
  const TreeModelBranchIdentifiers abc = path({"a", "b", "c"});
  bool found = false;
  EXPECT_EQ(abc.identifier(2, found).text(), "c");
  EXPECT_TRUE(found);
  EXPECT_EQ(abc.identifier(5, found).text(), "");
  EXPECT_FALSE(found);
  EXPECT_EQ(abc.identifier(3, found).text(), "");
  EXPECT_FALSE(found);
  EXPECT_EQ(abc.max_depth(), 3u);
  EXPECT_EQ(TreeModelBranchIdentifiers().max_depth(), 0u);

  EXPECT_EQ(abc.sub_branch(2), path({"a", "b"}));
  EXPECT_EQ(abc.sub_branch(7), abc);
  EXPECT_EQ(abc.sub_branch(3), abc);
  EXPECT_EQ(abc.sub_branch(0).max_depth(), 0u);

  std::ostringstream out;
  abc.print(out);
  EXPECT_EQ(out.str(), "a\nb\nc\n");
}

TEST(TreeModelBranchIdentifiers, OverlapMeansOneIsAPrefixOfTheOther) {
  struct Case {
    std::vector<std::string> left, right;
    bool overlap;
  };
  const Case cases[] = {
      {{"a", "b"}, {"a", "b", "c"}, true}, {{"a", "b", "c"}, {"a", "b"}, true}, {{"a", "b"}, {"a", "c"}, false},
      {{}, {"a", "b"}, true},              {{"a"}, {}, true},                   {{}, {}, true},
      {{"a", "b"}, {"a", "b"}, true},      {{"x", "b"}, {"a", "b"}, false},     {{"a", "b", "c"}, {"a", "B"}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.left) + " / " + ::testing::PrintToString(c.right));
    EXPECT_EQ(path(c.left).overlap_with(path(c.right)), c.overlap);
    EXPECT_EQ(path(c.left).overlaps_with(path(c.right)), c.overlap);
  }
}

}  // namespace
}  // namespace vorn
