// A representative object graph for the round-trip, golden-file and fuzz
// tests: every primitive type, empty and non-empty strings, nested
// containers, a null handle, shared handles, a cycle through handles, and
// handles of two types on one stream. No dependency on a test framework.
// Tests compare a graph read back with the original by their native archive
// bytes, which hold every value exactly and the sharing as serial numbers.
#ifndef VORN_TESTS_PERSISTENCE_REPRESENTATIVEGRAPH_H_
#define VORN_TESTS_PERSISTENCE_REPRESENTATIVEGRAPH_H_

#include <array>
#include <deque>
#include <list>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "vorn/foundation/THandle.h"
#include "vorn/persistence/PersistentContainers.h"
#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"

namespace vorn::test {

// Each type lists its fields once, as a tie of references under `tags`,
// which serves both directions; VORN_TEST_BLOCK(Type) writes and reads them
// in a block named after the type.
template <class Tuple>
void write_fields(PersistentWriteStream& stream, const char* const* tags, const Tuple& fields) {
  std::size_t k = 0;
  std::apply([&](const auto&... field) { (stream.write(tags[k++], field), ...); }, fields);
}
template <class Tuple>
void read_fields(PersistentReadStream& stream, const char* const* tags, const Tuple& fields) {
  std::size_t k = 0;
  std::apply([&](auto&... field) { (stream.read(tags[k++], field), ...); }, fields);
}

#define VORN_TEST_BLOCK(Type)                                                           \
  void write(const char* tag, PersistentWriteStream& s) const {                         \
    PersistentWriteStream::Block block(s, tag, #Type);                                  \
    ::vorn::test::write_fields(s, tags, fields(*this));                                             \
  }                                                                                     \
  void read(const char* tag, PersistentReadStreamPresence p, PersistentReadStream& s) { \
    PersistentReadStream::Block block(s, tag, #Type, p);                                \
    ::vorn::test::read_fields(s, tags, fields(*this));                                              \
  }

struct Primitives {
  char c = 0;
  unsigned char uc = 0;
  bool b = false;
  short s = 0;
  unsigned short us = 0;
  int i = 0;
  unsigned int ui = 0;
  long l = 0;
  unsigned long ul = 0;
  float f = 0;
  double d = 0;
  long double ld = 0;

  static constexpr const char* tags[] = {"c", "uc", "b", "s", "us", "i", "ui", "l", "ul", "f", "d", "ld"};
  template <class Self>
  static auto fields(Self& x) {
    return std::tie(x.c, x.uc, x.b, x.s, x.us, x.i, x.ui, x.l, x.ul, x.f, x.d, x.ld);
  }
  VORN_TEST_BLOCK(Primitives)
};

struct Leaf {
  std::string name;
  int weight = 0;

  static constexpr const char* tags[] = {"name", "weight"};
  template <class Self>
  static auto fields(Self& x) {
    return std::tie(x.name, x.weight);
  }
  VORN_TEST_BLOCK(Leaf)
};

// A node of a ring. Live nodes are tracked so that a test can break every
// cycle (also those left half-built by a failed read) and free the nodes.
struct Node {
  std::string label;
  THandle<Node> next;
  THandle<Leaf> leaf;

  Node() { live().insert(this); }
  Node(const Node& other) : label(other.label), next(other.next), leaf(other.leaf) { live().insert(this); }
  Node& operator=(const Node&) = default;
  ~Node() { live().erase(this); }

  static std::set<Node*>& live() {
    static std::set<Node*> nodes;
    return nodes;
  }

  static void break_all_cycles() {
    std::vector<THandle<Node>> detached;
    for (Node* node : live()) detached.push_back(std::move(node->next));
    detached.clear();
  }

  static constexpr const char* tags[] = {"label", "leaf", "next"};
  template <class Self>
  static auto fields(Self& x) {
    return std::tie(x.label, x.leaf, x.next);
  }
  VORN_TEST_BLOCK(Node)
};

struct Graph {
  Primitives primitives;
  std::string empty_text;
  std::string text;
  std::vector<int> numbers;
  std::vector<std::string> words;
  std::vector<bool> flags;
  std::deque<short> shorts;
  std::list<std::vector<double>> nested;
  std::set<std::string> names;
  std::multiset<int> repeated;
  std::map<std::string, std::vector<long>> series;
  std::multimap<int, std::string> index;
  std::pair<unsigned int, std::string> pair;
  std::array<float, 3> triple{};
  THandle<Leaf> missing;
  THandle<Leaf> first_leaf;
  THandle<Leaf> second_leaf;
  std::vector<THandle<Leaf>> leaves;
  THandle<Node> ring;

  // The same contents every time; floating-point values are exact in both
  // formats so that portable round trips compare equal.
  static Graph make() {
    Graph g{{'A', 200, true, -2, 65000, -123456, 4000000000u, -7, 123456789UL, 1.5f, -0.1, 0.625L},
            "",
            "representative",
            {1, -1, 0x7FFFFFFF},
            {"alpha", "", "gamma"},
            {true, false, true},
            {-300, 300},
            {{0.5, -2.25}, {}, {1e10}},
            {"x", "y"},
            {3, 3, 1},
            {{"a", {1, 2}}, {"b", {}}},
            {{1, "one"}, {1, "uno"}, {2, "two"}},
            {7u, "seven"},
            {0.25f, -1.0f, 8.0f},
            {},
            THandle<Leaf>(new Leaf{"shared", 42}),
            {},
            {},
            THandle<Node>(new Node)};
    g.second_leaf = g.first_leaf;
    g.leaves = {g.first_leaf, THandle<Leaf>(new Leaf{"own", -1}), THandle<Leaf>()};
    g.ring->label = "alpha";
    g.ring->leaf = g.first_leaf;
    g.ring->next = THandle<Node>(new Node);
    g.ring->next->label = "beta";
    g.ring->next->leaf = g.leaves[1];
    g.ring->next->next = g.ring;
    return g;
  }

  static constexpr const char* tags[] = {"primitives", "empty_text", "text",   "numbers",     "words",
                                         "flags",      "shorts",     "nested", "names",       "repeated",
                                         "series",     "index",      "pair",   "triple",      "missing",
                                         "first_leaf", "ring",       "second_leaf", "leaves"};
  template <class Self>
  static auto fields(Self& x) {
    return std::tie(x.primitives, x.empty_text, x.text, x.numbers, x.words, x.flags, x.shorts, x.nested, x.names,
                    x.repeated, x.series, x.index, x.pair, x.triple, x.missing, x.first_leaf, x.ring, x.second_leaf,
                    x.leaves);
  }
  VORN_TEST_BLOCK(Graph)
};

}  // namespace vorn::test

#endif  // VORN_TESTS_PERSISTENCE_REPRESENTATIVEGRAPH_H_
