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
// as they were just before. `parent` "" is the top level; `after_first`
// inserts after the parent's first child instead of appending.
struct Recorder {
  TreeModel& model;
  std::vector<std::string> given;
  std::vector<std::string> expected;

  void add(const Item& added, const std::string& parent = "", bool after_first = false) {
    const Position p = parent.empty() ? model.end() : at(model, parent);
    const Siblings first = parent.empty() ? model.top_level_begin() : p.begin();
    const Siblings last = parent.empty() ? model.top_level_end() : p.end();
    expected.push_back(reference_identifier(added->identifier().text(), first, last));
    if (parent.empty()) {
      model.insert(added);
    } else if (after_first) {
      model.insert_after(Position(p.begin()), added);
    } else {
      model.append_child(p, added);
    }
    given.push_back(added->identifier().text());
  }
  void insert(const std::string& id, int times = 1) {
    for (int i = 0; i < times; ++i) add(item(id));
  }
  void append_child(const std::string& parent, const std::string& id, int times = 1, bool after_first = false) {
    for (int i = 0; i < times; ++i) add(item(id), parent, after_first);
  }
};

TEST(UniqueIdentifier, ManyInsertionsGiveThePlainAlgorithmsIdentifiers) {
  struct Case {
    const char* name;
    std::function<void(Recorder&)> run;
  };
  const Case cases[] = {
      {"one identifier at the top level", [](Recorder& r) { r.insert("peak", 120); }},
      {"after the first child",
       [](Recorder& r) {
         r.insert("p");
         r.append_child("p", "x");
         r.append_child("p", "x", 40, true);
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
      {"items loaded unchecked, then renamed",
       [](Recorder& r) {
         r.model.set_duplicate_checking(false);
         for (const char* id : {"a", "a_1", "a_2", "a_3"}) r.model.insert(item(id));
         r.model.set_duplicate_checking(true);
         r.insert("a", 3);
         (*at(r.model, "a_2"))->set_identifier(DatabaseEntryIdentifier("z"));
         r.insert("a", 2);
       }},
      {"items renamed before they are inserted",
       [](Recorder& r) {
         r.insert("a", 5);
         for (const char* id : {"a", "a_7", "a", "a_5", "a"}) {
           const Item renamed = item("new");
           renamed->set_identifier(DatabaseEntryIdentifier(id));
           r.add(renamed);
         }
       }},
      {"one item inserted twice",
       [](Recorder& r) {
         r.insert("a", 3);
         const Item twice = item("b");
         r.add(twice);
         r.add(twice);  // renames a sibling: b becomes b_1 in both places
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
      {"a clone and its source, sharing items",
       [](Recorder& r) {
         r.insert("a", 10);
         const THandle<TreeModel> clone = r.model.clone();
         Recorder c{*clone, {}, {}};
         c.insert("a", 3);
         r.insert("a", 5);
         (*at(r.model, "a_2"))->set_identifier(DatabaseEntryIdentifier("shared"));  // in both models
         c.insert("a", 2);
         r.insert("a", 2);
         r.given.insert(r.given.end(), c.given.begin(), c.given.end());
         r.expected.insert(r.expected.end(), c.expected.begin(), c.expected.end());
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
