// Unique identifiers over long runs of insertions: whatever the model does
// to find the first free suffix quickly, every identifier it gives must be
// the one that trying the candidates in turn against the current siblings
// gives, also after removals, sorts, merges, copies, clones and identifiers
// changed behind the model's back.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <sstream>
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

  // Runs a script of words: "a" inserts a at the top level, "p/a" appends it under p, "p>a" inserts it after p's
  // first child, each N times with "*N"; "-a" removes a, "a=b" renames a to b behind the model's back, "sort" sorts
  // the top level; "!a" inserts a unchecked, "~a" an item renamed to a before the insertion, "&a" one item twice.
  void run(const std::string& script) {
    std::istringstream words(script);
    for (std::string w; words >> w;) {
      const std::size_t star = w.find('*');
      const int times = star == std::string::npos ? 1 : std::stoi(w.substr(star + 1));
      w = w.substr(0, star);
      const std::size_t rename = w.find('='), parent = w.find_first_of("/>");
      if (w == "sort") {
        model.sort(model.top_level_begin(), model.top_level_end(), false);
      } else if (w[0] == '-') {
        model.remove(at(model, w.substr(1)));
      } else if (rename != std::string::npos) {
        (*at(model, w.substr(0, rename)))->set_identifier(DatabaseEntryIdentifier(w.substr(rename + 1)));
      } else if (w[0] == '!') {
        model.set_duplicate_checking(false);
        model.insert(item(w.substr(1)));
        model.set_duplicate_checking(true);
      } else if (w[0] == '~') {
        const Item renamed = item("new");
        renamed->set_identifier(DatabaseEntryIdentifier(w.substr(1)));
        add(renamed);
      } else if (w[0] == '&') {
        const Item twice = item(w.substr(1));
        add(twice);
        add(twice);  // renames a sibling: the item gets a suffix in both places
      } else {
        for (int i = 0; i < times; ++i) {
          if (parent == std::string::npos) add(item(w));
          if (parent != std::string::npos) add(item(w.substr(parent + 1)), w.substr(0, parent), w[parent] == '>');
        }
      }
    }
  }
};

std::string repeat(const std::string& text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += text;
  return out;
}

TEST(UniqueIdentifier, ManyInsertionsGiveThePlainAlgorithmsIdentifiers) {
  struct Case { const char* name; std::string script; std::function<void(Recorder&)> then = nullptr; };
  const Case cases[] = {
      {"one identifier at the top level", "peak*120"},
      {"after the first child", "p p/x p>x*40"},
      {"two parents in turn", "p q " + repeat("p/a q/a ", 30)},
      {"removed siblings free their suffixes", "a*30 -a_7 -a -a_20 a*5"},
      {"identifiers changed behind the model's back", "a*20 a_3=b a*2 a_5=a_25 a*4 b=a_26 a*3"},
      {"items loaded unchecked, then renamed", "!a !a_1 !a_2 !a_3 a*3 a_2=z a*2"},
      {"only canonical suffixes count, case matters", "!a !a_01 !a_x !a_-1 !a_1_1 !A a*2 a_1=z !a_1 a*2"},
      {"items renamed before they are inserted", "a*5 ~a ~a_7 ~a ~a_5 ~a"},
      {"one item inserted twice", "a*3 &b b*2 a*2"},
      {"sorted between insertions", "a*15 sort a*5"},
      {"siblings added by append_children and merge", "src src/a*5 p p/a*2",
       [](Recorder& r) {
         const Position src = at(r.model, "src"), p = at(r.model, "p");
         r.model.append_children(p, src.begin(), src.end());  // a, a_1 again, then a_2..a_4: unchecked
         r.run("p/a*3");
         r.model.set_duplicate_checking(false);
         r.model.append_child(p, item("a_9"));
         r.model.set_duplicate_checking(true);
         r.run("p/a*4");
         Siblings from = src.begin();
         r.model.merge(p.begin(), p.end(), from, std::next(from), true);  // a matches itself: a leaf duplicate
         r.run("p/a*2");
       }},
      {"a clone and its source, sharing items", "a*10",
       [](Recorder& r) {
         const THandle<TreeModel> clone = r.model.clone();
         Recorder c{*clone, {}, {}};
         c.run("a*3");
         r.run("a*5 a_2=shared");  // renamed in both models
         c.run("a*2");
         r.run("a*2");
         r.given.insert(r.given.end(), c.given.begin(), c.given.end());
         r.expected.insert(r.expected.end(), c.expected.begin(), c.expected.end());
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TreeModel model;
    Recorder recorder{model, {}, {}};
    recorder.run(c.script);
    if (c.then) c.then(recorder);
    EXPECT_EQ(recorder.given, recorder.expected);
  }
}

// The public call on a part of a list, or on a list the model did not just
// insert into, looks only at the range it is given.
TEST(UniqueIdentifier, ArbitraryRangesAreSearchedAsGiven) {
  TreeModel model;
  Recorder r{model, {}, {}};
  r.run("a*8");  // top level: a_7, a_6, ..., a_1, a
  struct Case { const char* name; int from, to; };  // positions in the top-level list; -1 for its end
  const Case cases[] = {{"the whole list", 0, -1}, {"all but the first", 1, -1}, {"the first three", 0, 3},
                        {"an empty range", 2, 2},  {"the last one", 7, -1}};
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
