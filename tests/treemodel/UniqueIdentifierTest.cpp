// Unique identifiers over long runs of insertions: whatever the model does
// to find the first free suffix quickly, every identifier it gives must be
// the one that trying the candidates in turn against the current siblings
// gives, also after removals, sorts, merges, copies, clones and identifiers
// changed behind the model's back.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "vorn/treemodel/TreeModel.h"

namespace vorn {
namespace {

using Position = TreeModel::pre_order_iterator;
using Siblings = TreeModel::sibling_iterator;
using Item = THandle<ModelItem>;

Item item(const std::string& id) { return Item(new ModelItem(DatabaseEntryIdentifier(id))); }

// The plain algorithm: base, base_1, base_2, ... until no sibling carries the candidate.
std::string reference_identifier(const std::string& base, Siblings first, Siblings last) {
  std::string candidate = base;
  for (int counter = 1;; ++counter) {
    const bool taken = std::any_of(first, last, [&](const Item& s) { return s->identifier().text() == candidate; });
    if (!taken) return candidate;
    candidate = DatabaseEntryIdentifier(base + "_" + std::to_string(counter)).text();
  }
}

Position at(const TreeModel& model, const std::string& id) { return model.find(model.begin(), model.end(), id); }

// Inserts through the model and records, for every insertion, the identifier
// the model gave next to the one the plain algorithm gives for the siblings
// as they were just before.
struct Recorder {
  TreeModel& model;
  std::vector<std::string> given;
  std::vector<std::string> expected;

  void note(const Item& added, const std::string& want) {
    given.push_back(added->identifier().text());
    expected.push_back(want);
  }
  // `added` at the front of the top level.
  void insert_item(const Item& added) {
    const std::string want =
        reference_identifier(added->identifier().text(), model.top_level_begin(), model.top_level_end());
    model.insert(added);
    note(added, want);
  }
  // At the front of the top level.
  void insert(const std::string& id, int times = 1) {
    for (int i = 0; i < times; ++i) {
      const Item added = item(id);
      const std::string want = reference_identifier(id, model.top_level_begin(), model.top_level_end());
      model.insert(added);
      note(added, want);
    }
  }
  void append_child(const std::string& parent, const std::string& id, int times = 1) {
    for (int i = 0; i < times; ++i) {
      const Position p = at(model, parent);
      const Item added = item(id);
      const std::string want = reference_identifier(id, p.begin(), p.end());
      model.append_child(p, added);
      note(added, want);
    }
  }
  // After the first child of `parent`.
  void insert_after_first_child(const std::string& parent, const std::string& id, int times = 1) {
    for (int i = 0; i < times; ++i) {
      const Position p = at(model, parent);
      const Item added = item(id);
      const std::string want = reference_identifier(id, p.begin(), p.end());
      model.insert_after(Position(p.begin()), added);
      note(added, want);
    }
  }
};

TEST(UniqueIdentifier, ManyInsertionsGiveThePlainAlgorithmsIdentifiers) {
  struct Case {
    const char* name;
    std::function<void(Recorder&)> run;
  };
  const Case cases[] = {
      {"one identifier at the top level", [](Recorder& r) { r.insert("peak", 150); }},
      {"one identifier under one parent",
       [](Recorder& r) {
         r.insert("p");
         r.append_child("p", "peak", 150);
       }},
      {"after the first child",
       [](Recorder& r) {
         r.insert("p");
         r.append_child("p", "x");
         r.insert_after_first_child("p", "x", 40);
       }},
      {"two parents in turn",
       [](Recorder& r) {
         r.insert("p");
         r.insert("q");
         for (int i = 0; i < 30; ++i) {
           r.append_child("p", "a");
           r.append_child("q", "a");
         }
       }},
      {"several identifiers in one list",
       [](Recorder& r) {
         for (int i = 0; i < 30; ++i) {
           r.insert("a");
           r.insert("b");
           r.insert("a_1");
         }
       }},
      {"removed siblings free their suffixes",
       [](Recorder& r) {
         r.insert("a", 30);
         r.model.remove(at(r.model, "a_7"));
         r.model.remove(at(r.model, "a"));
         r.model.remove(at(r.model, "a_20"));
         r.insert("a", 5);
       }},
      {"identifiers changed behind the model's back",
       [](Recorder& r) {
         r.insert("a", 20);
         (*at(r.model, "a_3"))->set_identifier(DatabaseEntryIdentifier("b"));
         r.insert("a", 2);
         (*at(r.model, "a_5"))->set_identifier(DatabaseEntryIdentifier("a_25"));
         r.insert("a", 4);
         (*at(r.model, "b"))->set_identifier(DatabaseEntryIdentifier("a_26"));
         r.insert("a", 3);
       }},
      {"a sibling renamed while an outside item is renamed too",
       [](Recorder& r) {
         r.insert("a", 10);
         const Item outside = item("z");
         (*at(r.model, "a_4"))->set_identifier(DatabaseEntryIdentifier("c"));
         outside->set_identifier(DatabaseEntryIdentifier("y"));
         r.insert("a", 2);
       }},
      {"one item inserted twice",
       [](Recorder& r) {
         r.insert("a", 3);
         const Item twice = item("b");
         r.insert_item(twice);
         r.insert_item(twice);  // renames a sibling: b becomes b_1 in both places
         r.insert("b", 2);
         r.insert("a", 2);
       }},
      {"sorted between insertions",
       [](Recorder& r) {
         r.insert("a", 15);
         r.model.sort(r.model.top_level_begin(), r.model.top_level_end(), false);
         r.insert("a", 5);
       }},
      {"siblings added by append_children and merge",
       [](Recorder& r) {
         r.insert("src");
         r.append_child("src", "a", 5);
         r.insert("p");
         r.append_child("p", "a", 2);
         const Position src = at(r.model, "src");
         const Position p = at(r.model, "p");
         r.model.append_children(p, src.begin(), src.end());  // a, a_1 again, then a_2..a_4: unchecked
         r.append_child("p", "a", 3);
         const Item extra = item("a_9");
         r.model.set_duplicate_checking(false);
         r.model.append_child(p, extra);
         r.model.set_duplicate_checking(true);
         r.append_child("p", "a", 4);
         Siblings from = src.begin();
         r.model.merge(p.begin(), p.end(), from, std::next(from), true);  // a matches itself: a leaf duplicate
         r.append_child("p", "a", 2);
       }},
      {"duplicate checking off in between",
       [](Recorder& r) {
         r.insert("a", 5);
         r.model.set_duplicate_checking(false);
         r.model.insert(item("a_6"));
         r.model.insert(item("a"));
         r.model.set_duplicate_checking(true);
         r.insert("a", 4);
       }},
      {"grafted branches",
       [](Recorder& r) {
         r.insert("r");
         r.append_child("r", "x", 3);
         TreeModel other;
         const Position root = other.insert(item("r"));
         other.append_child(other.append_child(root, item("x_4")), item("y"));
         r.model.merge_branch(TreeModelBranch(std::prev(other.end())));
         r.append_child("r", "x", 3);
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TreeModel model;
    Recorder recorder{model, {}, {}};
    c.run(recorder);
    EXPECT_EQ(recorder.given, recorder.expected);
  }
}

// A clone starts with what it copied; insertions into either model are
// checked against that model's own siblings.
TEST(UniqueIdentifier, ClonesAndCopiesCheckTheirOwnSiblings) {
  TreeModel model;
  Recorder original{model, {}, {}};
  original.insert("a", 10);
  const THandle<TreeModel> clone = model.clone();
  Recorder copy{*clone, {}, {}};
  copy.insert("a", 3);
  original.insert("a", 5);
  (*at(model, "a_2"))->set_identifier(DatabaseEntryIdentifier("shared"));  // the item is in both models
  copy.insert("a", 2);
  original.insert("a", 2);
  {
    SCOPED_TRACE("original");
    EXPECT_EQ(original.given, original.expected);
  }
  {
    SCOPED_TRACE("clone");
    EXPECT_EQ(copy.given, copy.expected);
  }
}

// The public call on a part of a list, or on a list the model did not just
// insert into, looks only at the range it is given.
TEST(UniqueIdentifier, ArbitraryRangesAreSearchedAsGiven) {
  TreeModel model;
  Recorder r{model, {}, {}};
  r.insert("a", 8);  // top level: a_7, a_6, ..., a_1, a
  struct Case {
    const char* name;
    int from;
    int to;  // positions in the top-level list; -1 for its end
  };
  const Case cases[] = {
      {"the whole list", 0, -1}, {"all but the first", 1, -1}, {"the first three", 0, 3},
      {"an empty range", 2, 2},  {"the last one", 7, -1},
  };
  for (const char* base : {"a", "a_3", "b"}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(c.name) + " for " + base);
      const Siblings first = std::next(model.top_level_begin(), c.from);
      const Siblings last = c.to < 0 ? model.top_level_end() : std::next(model.top_level_begin(), c.to);
      const Item probe = item(base);
      model.ensure_unique_identifier(probe, first, last);
      EXPECT_EQ(probe->identifier().text(), reference_identifier(base, first, last));
    }
  }
}

}  // namespace
}  // namespace vorn
