// A representative object graph for the round-trip, golden-file and fuzz
// tests: every primitive type, empty and non-empty strings, nested
// containers, a null handle, shared handles, a cycle through handles, and
// handles of two types on one stream. No dependency on a test framework.
#ifndef VORN_TESTS_PERSISTENCE_REPRESENTATIVEGRAPH_H_
#define VORN_TESTS_PERSISTENCE_REPRESENTATIVEGRAPH_H_

#include <array>
#include <deque>
#include <list>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "vorn/foundation/THandle.h"
#include "vorn/persistence/PersistentContainers.h"
#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"

namespace vorn::test {

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

  void write(const char* tag, PersistentWriteStream& stream) const {
    PersistentWriteStream::Block block(stream, tag, "Primitives");
    stream.write("c", c);
    stream.write("uc", uc);
    stream.write("b", b);
    stream.write("s", s);
    stream.write("us", us);
    stream.write("i", i);
    stream.write("ui", ui);
    stream.write("l", l);
    stream.write("ul", ul);
    stream.write("f", f);
    stream.write("d", d);
    stream.write("ld", ld);
  }

  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& stream) {
    PersistentReadStream::Block block(stream, tag, "Primitives", presence);
    stream.read("c", c);
    stream.read("uc", uc);
    stream.read("b", b);
    stream.read("s", s);
    stream.read("us", us);
    stream.read("i", i);
    stream.read("ui", ui);
    stream.read("l", l);
    stream.read("ul", ul);
    stream.read("f", f);
    stream.read("d", d);
    stream.read("ld", ld);
  }

  bool operator==(const Primitives& o) const {
    return c == o.c && uc == o.uc && b == o.b && s == o.s && us == o.us && i == o.i && ui == o.ui && l == o.l &&
           ul == o.ul && f == o.f && d == o.d && ld == o.ld;
  }
};

struct Leaf {
  std::string name;
  int weight = 0;

  void write(const char* tag, PersistentWriteStream& stream) const {
    PersistentWriteStream::Block block(stream, tag, "Leaf");
    stream.write("name", name);
    stream.write("weight", weight);
  }

  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& stream) {
    PersistentReadStream::Block block(stream, tag, "Leaf", presence);
    stream.read("name", name);
    stream.read("weight", weight);
  }
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

  void write(const char* tag, PersistentWriteStream& stream) const {
    PersistentWriteStream::Block block(stream, tag, "Node");
    stream.write("label", label);
    stream.write("leaf", leaf);
    stream.write("next", next);
  }

  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& stream) {
    PersistentReadStream::Block block(stream, tag, "Node", presence);
    stream.read("label", label);
    stream.read("leaf", leaf);
    stream.read("next", next);
  }
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
    Graph g;
    g.primitives = {'A', 200, true, -2, 65000, -123456, 4000000000u, -7, 123456789UL, 1.5f, -0.1, 0.625L};
    g.text = "representative";
    g.numbers = {1, -1, 0x7FFFFFFF};
    g.words = {"alpha", "", "gamma"};
    g.flags = {true, false, true};
    g.shorts = {-300, 300};
    g.nested = {{0.5, -2.25}, {}, {1e10}};
    g.names = {"x", "y"};
    g.repeated = {3, 3, 1};
    g.series = {{"a", {1, 2}}, {"b", {}}};
    g.index = {{1, "one"}, {1, "uno"}, {2, "two"}};
    g.pair = {7u, "seven"};
    g.triple = {0.25f, -1.0f, 8.0f};
    g.first_leaf = THandle<Leaf>(new Leaf{"shared", 42});
    g.second_leaf = g.first_leaf;
    g.leaves = {g.first_leaf, THandle<Leaf>(new Leaf{"own", -1}), THandle<Leaf>()};
    THandle<Node> alpha(new Node);
    THandle<Node> beta(new Node);
    alpha->label = "alpha";
    alpha->leaf = g.first_leaf;
    alpha->next = beta;
    beta->label = "beta";
    beta->leaf = g.leaves[1];
    beta->next = alpha;
    g.ring = alpha;
    return g;
  }

  void write(const char* tag, PersistentWriteStream& stream) const {
    PersistentWriteStream::Block block(stream, tag, "Graph");
    stream.write("primitives", primitives);
    stream.write("empty_text", empty_text);
    stream.write("text", text);
    stream.write("numbers", numbers);
    stream.write("words", words);
    stream.write("flags", flags);
    stream.write("shorts", shorts);
    stream.write("nested", nested);
    stream.write("names", names);
    stream.write("repeated", repeated);
    stream.write("series", series);
    stream.write("index", index);
    stream.write("pair", pair);
    stream.write("triple", triple);
    stream.write("missing", missing);
    stream.write("first_leaf", first_leaf);
    stream.write("ring", ring);
    stream.write("second_leaf", second_leaf);
    stream.write("leaves", leaves);
  }

  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& stream) {
    PersistentReadStream::Block block(stream, tag, "Graph", presence);
    stream.read("primitives", primitives);
    stream.read("empty_text", empty_text);
    stream.read("text", text);
    stream.read("numbers", numbers);
    stream.read("words", words);
    stream.read("flags", flags);
    stream.read("shorts", shorts);
    stream.read("nested", nested);
    stream.read("names", names);
    stream.read("repeated", repeated);
    stream.read("series", series);
    stream.read("index", index);
    stream.read("pair", pair);
    stream.read("triple", triple);
    stream.read("missing", missing);
    stream.read("first_leaf", first_leaf);
    stream.read("ring", ring);
    stream.read("second_leaf", second_leaf);
    stream.read("leaves", leaves);
  }

  // Equal values, ignoring identity.
  bool same_values(const Graph& o) const {
    auto same_leaf = [](const THandle<Leaf>& a, const THandle<Leaf>& b) {
      if (a == nullptr || b == nullptr) return a == nullptr && b == nullptr;
      return a->name == b->name && a->weight == b->weight;
    };
    auto same_node = [&](const THandle<Node>& a, const THandle<Node>& b) {
      if (a == nullptr || b == nullptr) return a == nullptr && b == nullptr;
      return a->label == b->label && same_leaf(a->leaf, b->leaf);
    };
    bool leaves_equal = leaves.size() == o.leaves.size();
    for (std::size_t k = 0; leaves_equal && k < leaves.size(); ++k) leaves_equal = same_leaf(leaves[k], o.leaves[k]);
    return primitives == o.primitives && empty_text == o.empty_text && text == o.text && numbers == o.numbers &&
           words == o.words && flags == o.flags && shorts == o.shorts && nested == o.nested && names == o.names &&
           repeated == o.repeated && series == o.series && index == o.index && pair == o.pair &&
           triple == o.triple && same_leaf(missing, o.missing) && same_leaf(first_leaf, o.first_leaf) &&
           same_leaf(second_leaf, o.second_leaf) && leaves_equal && same_node(ring, o.ring) &&
           ring != nullptr && o.ring != nullptr && same_node(ring->next, o.ring->next);
  }

  // The sharing that make() builds: one leaf behind three handles, a
  // two-node ring.
  bool sharing_intact() const {
    return ring != nullptr && ring->next != nullptr && ring->next->next == ring && first_leaf == second_leaf &&
           leaves.size() == 3 && leaves[0] == first_leaf && ring->leaf == first_leaf &&
           ring->next->leaf == leaves[1] && missing == nullptr;
  }
};

}  // namespace vorn::test

#endif  // VORN_TESTS_PERSISTENCE_REPRESENTATIVEGRAPH_H_
