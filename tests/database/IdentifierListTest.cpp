// Identifier lists and pair lists: the gcd/dip text readers and set operations.
#include <algorithm>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "vorn/database/DatabaseEntryIdentifierList.h"
#include "vorn/database/DatabaseEntryIdentifierPairList.h"

namespace vorn {
namespace {

using IdList = DatabaseEntryIdentifierList;
using PairList = DatabaseEntryIdentifierPairList;

IdList ids(std::initializer_list<const char*> texts) {
  IdList list;
  for (const char* t : texts) list.push_back(DatabaseEntryIdentifier(t));
  return list;
}

PairList pairs(std::initializer_list<std::pair<const char*, const char*>> texts) {
  PairList list;
  for (const auto& p : texts) list.push_back({DatabaseEntryIdentifier(p.first), DatabaseEntryIdentifier(p.second)});
  return list;
}

// Reads `text` into a list that held a stale element.
template <class List>
List read(const std::string& text, List list) {
  std::istringstream in(text);
  list.read_from_file(in);
  return list;
}

// The list as its gcd or dip file.
template <class List>
std::string printed(const List& list) {
  std::ostringstream out;
  list.print(out);
  return out.str();
}

TEST(DatabaseEntryIdentifierList, ReadsGcdText) {
  const struct { const char* name; std::string text; std::string written_back; } cases[] = {
      {"mixed lines", "ABC\n\n  \"XYZ\" \t\nAB\"C\n", "ABC\nXYZ\n"},
      {"line ends", "a\r\nb\rc\nd", "a\nb\nc\nd\n"},
      {"final carriage return", "a\r", "a\n"},
      {"quotes keep inner blanks", "\" a b \"\n\"\"\n\"\n", "a b\n\n"},
      {"empty", "", ""},
      {"only blank lines", "\n \t\n\r\n", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(printed(read(c.text, ids({"stale"}))), c.written_back);
  }
  std::istringstream in("a\nb\n" + std::string(256, 'x') + "\nc\n");
  IdList list;
  EXPECT_THROW(list.read_from_file(in), std::invalid_argument);
  EXPECT_EQ(list, ids({"a", "b"}));  // the lines before the bad one are kept
}

TEST(DatabaseEntryIdentifierList, SetOperations) {
  IdList list = ids({"b", "a", "b", "c", "a"});
  list.remove_duplicates();
  EXPECT_EQ(list, ids({"b", "a", "c"}));
  list.sort();
  list.add(ids({"a", "d"}));
  EXPECT_EQ(list, ids({"a", "b", "c", "a", "d"}));
  EXPECT_TRUE(is_equivalent(ids({"A", "B", "B"}), ids({"B", "A"})));
  EXPECT_FALSE(is_equivalent(ids({"A", "B"}), ids({"A", "b"})));

  struct Case {
    const char* name;
    IdList a, b;
    IdList only_in_a, only_in_b, in_both;
  };
  const Case cases[] = {
      {"sorted", ids({"a", "b", "d"}), ids({"b", "c", "d", "e"}), ids({"a"}), ids({"c", "e"}), ids({"b", "d"})},
      {"repeats", ids({"a", "a", "b"}), ids({"a"}), ids({"a", "b"}), ids({}), ids({"a"})},
      {"unsorted inputs are merged as they stand", ids({"b", "a"}), ids({"a"}), ids({"b", "a"}), ids({"a"}),
       ids({})},
      {"empty", ids({}), ids({"x"}), ids({}), ids({"x"}), ids({})},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    IdList only_a = ids({"junk"}), only_b = ids({"junk"});  // replaced, not appended to
    difference(c.a, c.b, only_a, only_b);
    EXPECT_EQ(printed(only_a), printed(c.only_in_a));
    EXPECT_EQ(printed(only_b), printed(c.only_in_b));
    EXPECT_EQ(printed(intersection(c.a, c.b)), printed(c.in_both));
  }
}

TEST(DatabaseEntryIdentifierList, SortMatchesStringOrder) {
  // Long shared prefixes, zero and high bytes, and lengths around the 8- and
  // 16-byte keys the sort uses internally.
  std::mt19937 random(3);
  const std::string alphabet("\0\x01" "aAz\x7F\x80\xFF", 8);
  for (const std::size_t n : {10, 100, 5000}) {
    SCOPED_TRACE(n);
    std::vector<DatabaseEntryIdentifier> raw;
    for (std::size_t i = 0; i < n; ++i) {
      std::string text = (i % 3 == 0) ? "GENE_PREFIX_0123" : (i % 3 == 1 ? "GENE" : "");
      for (std::size_t len = random() % 24; len > 0; --len) text += alphabet[random() % alphabet.size()];
      raw.emplace_back(text);
    }
    IdList list(raw);
    list.sort();
    std::sort(raw.begin(), raw.end());
    EXPECT_TRUE(list == IdList(raw));
  }
}

TEST(DatabaseEntryIdentifierPairList, ReadsDipText) {
  // pair: "first|second", or "" when the line is skipped.
  const struct { const char* line; const char* pair; } cases[] = {
      {"\"A B\"\tC", "A B|C"}, {"A B C", ""},    {"A", ""},         {"  A \t B  ", "A|B"}, {"A \"B C\"", "A|B C"},
      {"A \"\"", "A|"},        {"\"\" B", ""},   {"\"A B\"", ""},   {"\"A B C", ""},       {"\"A\"B", "A|B"},
      {"A B\"C", ""},          {"A \"B\"C", ""}, {"A \"", ""},      {"A\"x B", "A\"x|B"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    std::string got;
    for (const auto& p : read(std::string(c.line) + "\n", pairs({{"stale", "stale"}}))) {
      got += p.first.text() + "|" + p.second.text();
    }
    EXPECT_EQ(got, c.pair);
  }
}

TEST(DatabaseEntryIdentifierPairList, PairOperations) {
  const PairList list = pairs({{"b", "a"}, {"a", "b"}, {"b", "a"}, {"c", "c"}});
  PairList ordered = list, unordered = list;
  ordered.remove_duplicates(PairList::order_matters);
  EXPECT_EQ(ordered, pairs({{"b", "a"}, {"a", "b"}, {"c", "c"}}));
  unordered.remove_duplicates(PairList::order_ignored);
  EXPECT_EQ(unordered, pairs({{"b", "a"}, {"c", "c"}}));

  PairList p = pairs({{"b", "a"}, {"a", "c"}});
  p.sort_each_pair();
  EXPECT_EQ(p, pairs({{"a", "b"}, {"a", "c"}}));
  p.swap_each_pair();
  p.add(pairs({{"a", "z"}}));
  p.sort();
  EXPECT_EQ(p, pairs({{"a", "z"}, {"b", "a"}, {"c", "a"}}));
  IdList firsts = ids({"junk"}), seconds;
  p.split(firsts, seconds);
  EXPECT_EQ(firsts, ids({"a", "b", "c"}));
  EXPECT_EQ(seconds, ids({"z", "a", "a"}));

  EXPECT_TRUE(is_equivalent(pairs({{"A", "B"}}), pairs({{"B", "A"}}), PairList::order_ignored));
  EXPECT_FALSE(is_equivalent(pairs({{"A", "B"}}), pairs({{"B", "A"}}), PairList::order_matters));
  EXPECT_TRUE(is_equivalent(pairs({{"A", "B"}, {"C", "D"}, {"A", "B"}}), pairs({{"C", "D"}, {"A", "B"}}),
                            PairList::order_matters));

  PairList only_a, only_b;
  difference(pairs({{"b", "a"}, {"x", "y"}}), pairs({{"a", "b"}, {"q", "p"}}), only_a, only_b,
             PairList::order_ignored);
  EXPECT_EQ(printed(only_a), "x y\n");
  EXPECT_EQ(printed(only_b), "p q\n");
  difference(pairs({{"a", "b"}, {"x", "y"}}), pairs({{"a", "b"}, {"b", "a"}}), only_a, only_b,
             PairList::order_matters);
  EXPECT_EQ(printed(only_a), "x y\n");
  EXPECT_EQ(printed(only_b), "b a\n");
}

}  // namespace
}  // namespace vorn
