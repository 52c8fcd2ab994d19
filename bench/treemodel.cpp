// The tree model at scale: unique-identifier insertion, building, walking,
// sorting and the two range searches over a model of about a million items
// (a balanced tree of four levels built level by level), with the pre-order
// walk measured against a walk over the same payloads in a std::vector,
// before and after the model's nodes are laid out in pre-order.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cmath>
#include <cstdio>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "vorn/foundation/THandle.h"
#include "vorn/treemodel/IntegerAttribute.h"
#include "vorn/treemodel/TreeModel.h"

namespace {

using vorn::DatabaseEntryIdentifier;
using vorn::ModelItem;
using vorn::THandle;
using vorn::TreeModel;
using Item = THandle<ModelItem>;
using Position = TreeModel::pre_order_iterator;

// An item with a value for the attribute supplier.
class ValuedItem : public ModelItem {
 public:
  ValuedItem(const std::string& id, int value) : ModelItem(DatabaseEntryIdentifier(id)), value(value) {}
  int value;
};

class ValueSupplier : public vorn::AttributeSupplier {
 public:
  THandle<vorn::Attribute> attribute(ModelItem& item) override {
    return THandle<vorn::Attribute>(new vorn::IntegerAttribute(static_cast<ValuedItem&>(item).value));
  }
};

// Exposes the container, to shuffle siblings between timed sorts.
class BenchModel : public TreeModel {
 public:
  using TreeModel::tree;
};

// ---- Unique identifiers ------------------------------------------------------

// The straightforward search: rescan the siblings for every candidate suffix.
void ensure_unique_by_rescanning(const Item& item, TreeModel::sibling_iterator first,
                                 TreeModel::sibling_iterator last) {
  const DatabaseEntryIdentifier base = item->identifier();
  DatabaseEntryIdentifier candidate = base;
  int counter = 0;
  for (;;) {
    bool taken = false;
    for (auto it = first; it != last && !taken; ++it) taken = (*it)->identifier() == candidate;
    if (!taken) break;
    candidate = DatabaseEntryIdentifier(base.text() + "_" + std::to_string(++counter));
  }
  if (counter > 0) item->set_identifier(candidate);
}

// N items named alike, inserted at the top level with duplicate checking.
void BM_InsertSameIdentifier(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  std::vector<Item> items;
  for (auto _ : state) {
    state.PauseTiming();
    items.clear();
    for (std::size_t i = 0; i < n; ++i) items.emplace_back(new ModelItem(DatabaseEntryIdentifier("peak")));
    auto model = std::make_unique<TreeModel>();
    state.ResumeTiming();
    for (const Item& item : items) model->insert(item);
    benchmark::DoNotOptimize(model->begin());
    state.PauseTiming();
    model.reset();
    state.ResumeTiming();
  }
  state.SetComplexityN(static_cast<std::int64_t>(n));
}
BENCHMARK(BM_InsertSameIdentifier)
    ->Apply([](benchmark::internal::Benchmark* b) {
      const auto n = static_cast<std::int64_t>(vorn::bench::problem_size(10000, 100));
      b->Arg(n / 10)->Arg(n)->Arg(n * 4);
    })
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

// The same with one rescan of the siblings per candidate: cubic, so only at
// sizes where it finishes.
void BM_InsertSameIdentifierRescanning(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  std::vector<Item> items;
  for (auto _ : state) {
    state.PauseTiming();
    items.clear();
    for (std::size_t i = 0; i < n; ++i) items.emplace_back(new ModelItem(DatabaseEntryIdentifier("peak")));
    auto model = std::make_unique<TreeModel>();
    model->set_duplicate_checking(false);
    state.ResumeTiming();
    for (const Item& item : items) {
      ensure_unique_by_rescanning(item, model->top_level_begin(), model->top_level_end());
      model->insert(item);
    }
    benchmark::DoNotOptimize(model->begin());
    state.PauseTiming();
    model.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_InsertSameIdentifierRescanning)
    ->Apply([](benchmark::internal::Benchmark* b) {
      const auto n = static_cast<std::int64_t>(vorn::bench::problem_size(10000, 100));
      b->Arg(n / 20);
    })
    ->Unit(benchmark::kMillisecond);

// One identifier check against 10,000 distinct siblings, one of which
// carries the item's identifier.
template <bool kRescanning>
void BM_EnsureUniqueAmongDistinctSiblings(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  TreeModel model;
  model.set_duplicate_checking(false);
  for (std::size_t i = 0; i < n; ++i) {
    model.insert(Item(new ModelItem(DatabaseEntryIdentifier("s" + std::to_string(i)))));
  }
  const DatabaseEntryIdentifier taken("s" + std::to_string(n / 2));
  Item item(new ModelItem(taken));
  for (auto _ : state) {
    item->set_identifier(taken);
    if constexpr (kRescanning) {
      ensure_unique_by_rescanning(item, model.top_level_begin(), model.top_level_end());
    } else {
      model.ensure_unique_identifier(item, model.top_level_begin(), model.top_level_end());
    }
  }
  if (item->identifier().text() != taken.text() + "_1") state.SkipWithError("wrong identifier");
}
BENCHMARK_TEMPLATE(BM_EnsureUniqueAmongDistinctSiblings, false)
    ->Arg(static_cast<std::int64_t>(vorn::bench::problem_size(10000, 100)))
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(BM_EnsureUniqueAmongDistinctSiblings, true)
    ->Arg(static_cast<std::int64_t>(vorn::bench::problem_size(10000, 100)))
    ->Unit(benchmark::kMicrosecond);

// ---- A model of a million items ---------------------------------------------

// Calls compact() when the model has it (so that this file also measures a
// model without one); false when it has not.
template <class Model>
auto compact_if_possible(Model& model, int) -> decltype(model.compact(), bool()) {
  model.compact();
  return true;
}
template <class Model>
bool compact_if_possible(Model&, long) {
  return false;
}

// A balanced tree of four levels with `branching` children per item, made
// and linked level by level (every top-level item, then the children of
// each top-level item, and so on), as a loader that reads a breadth-first
// listing would: the nodes of one subtree are spread over the whole model,
// and each node is allocated between items. Values repeat in runs of three
// (in pre-order) so that the range searches find something.
struct BalancedModel {
  explicit BalancedModel(int branching) {
    int serial = 0;
    make_items(branching, 0, -1, serial);
    build();
  }

  void make_items(int branching, int level, std::ptrdiff_t parent, int& serial) {
    for (int i = 0; i < branching; ++i) {
      // Siblings in ascending order, so that the descending sort has work.
      const int value = serial++ / 3;
      char id[16];
      std::snprintf(id, sizeof id, "n%03d", i);
      const auto self = static_cast<std::ptrdiff_t>(levels.size());
      levels.push_back(level);
      parents.push_back(parent);
      ids.emplace_back(id);
      values.push_back(value);
      if (level < 3) make_items(branching, level + 1, self, serial);
    }
  }

  // Drops the model and its items; the trim returns the freed memory so
  // that the next build starts from the same state.
  void release() {
    model.reset();
    items.clear();
    malloc_trim(0);
  }

  void build() {
    model = std::make_unique<BenchModel>();
    model->set_duplicate_checking(false);
    items.resize(levels.size());
    std::vector<Position> positions(levels.size());
    Position last_top;
    for (int level = 0; level < 4; ++level) {
      for (std::size_t i = 0; i < levels.size(); ++i) {
        if (levels[i] != level) continue;
        items[i] = Item(new ValuedItem(ids[i], values[i]));
        if (level != 0) {
          positions[i] = model->append_child(positions[static_cast<std::size_t>(parents[i])], items[i]);
        } else if (last_top.node() == nullptr) {
          positions[i] = last_top = model->insert(items[i]);
        } else {
          positions[i] = last_top = model->insert_after(last_top, items[i]);
        }
      }
    }
  }

  // Of each item, in pre-order:
  std::vector<int> levels;
  std::vector<std::ptrdiff_t> parents;  // the index of its parent, -1 at the top level
  std::vector<std::string> ids;
  std::vector<int> values;
  std::vector<Item> items;
  std::unique_ptr<BenchModel> model;
};

int branching_for(std::int64_t items) {
  return static_cast<int>(std::lround(std::pow(static_cast<double>(items), 0.25)));
}

std::map<int, std::unique_ptr<BalancedModel>>& balanced_models() {
  static std::map<int, std::unique_ptr<BalancedModel>> models;
  return models;
}

BalancedModel& balanced_model(int branching) {
  auto& slot = balanced_models()[branching];
  if (!slot) slot = std::make_unique<BalancedModel>(branching);
  return *slot;
}

// Item counts 1/64, 1/8 and all of the full size (the exact count is that of
// the nearest balanced tree).
void model_sizes(benchmark::internal::Benchmark* b) {
  const auto n = static_cast<std::int64_t>(vorn::bench::problem_size(1000000, 1000));
  const int full = branching_for(n);
  b->Arg(full / 4 > 1 ? full / 4 : 2)->Arg(full / 2 > 1 ? full / 2 : 2)->Arg(full);
}

// The walks run at about 70 k, 1 M and 4 M items: in the cache, the vector
// in the last-level cache but not the nodes, and both streaming from memory.
int large_branching() {
  return static_cast<int>(std::lround(std::sqrt(2.0) * branching_for(static_cast<std::int64_t>(
                                                            vorn::bench::problem_size(1000000, 1000)))));
}

// Adds up the item addresses in pre-order: the same work per payload as the
// vector walk.
std::uintptr_t walk(const TreeModel& model) {
  std::uintptr_t sum = 0;
  for (auto it = model.begin(), end = model.end(); it != end; ++it) {
    sum += reinterpret_cast<std::uintptr_t>(it->unhand());
  }
  return sum;
}

// The three walks of one size run in a row: the model as built level by
// level, the vector of the same handles in pre-order, and the model after
// compact() (skipped by a container without it).
void BM_PreOrderWalk(benchmark::State& state) {
  BalancedModel& m = balanced_model(static_cast<int>(state.range(0)));
  const TreeModel& model = *m.model;
  for (auto _ : state) benchmark::DoNotOptimize(walk(model));
  state.counters["items"] = static_cast<double>(m.items.size());
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(m.items.size()));
}

void BM_VectorWalk(benchmark::State& state) {
  BalancedModel& m = balanced_model(static_cast<int>(state.range(0)));
  const std::vector<Item> payloads(m.items);
  for (auto _ : state) {
    std::uintptr_t sum = 0;
    for (const Item& item : payloads) sum += reinterpret_cast<std::uintptr_t>(item.unhand());
    benchmark::DoNotOptimize(sum);
  }
  state.counters["items"] = static_cast<double>(m.items.size());
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(m.items.size()));
}

void BM_PreOrderWalkCompacted(benchmark::State& state) {
  BalancedModel& m = balanced_model(static_cast<int>(state.range(0)));
  if (compact_if_possible(*m.model, 0)) {
    const TreeModel& model = *m.model;
    for (auto _ : state) benchmark::DoNotOptimize(walk(model));
    state.counters["items"] = static_cast<double>(m.items.size());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(m.items.size()));
  } else {
    state.SkipWithError("the container has no compact()");
  }
  if (state.range(0) == large_branching()) {
    balanced_models().erase(large_branching());  // its last use
  } else {
    m.release();  // later benchmarks measure the model as built
    m.build();
  }
}

// Registered size by size, so that the three walks of one size run in a row.
const bool walks_registered = [] {
  const int full = branching_for(static_cast<std::int64_t>(vorn::bench::problem_size(1000000, 1000)));
  for (int branching : {full / 2 > 1 ? full / 2 : 2, full, large_branching()}) {
    benchmark::RegisterBenchmark("BM_PreOrderWalk", BM_PreOrderWalk)->Arg(branching)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("BM_VectorWalk", BM_VectorWalk)->Arg(branching)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("BM_PreOrderWalkCompacted", BM_PreOrderWalkCompacted)
        ->Arg(branching)
        ->Unit(benchmark::kMicrosecond);
  }
  return true;
}();

// Range searches with one supplier; the items' caches are filled by the
// first run, so the figures are for cached attributes.
void BM_RangesOfEquivalentItems(benchmark::State& state) {
  BalancedModel& m = balanced_model(static_cast<int>(state.range(0)));
  const THandle<vorn::AttributeSupplier> supplier(new ValueSupplier);
  std::size_t found = 0;
  for (auto _ : state) {
    const auto ranges = m.model->find_ranges_of_equivalent_items(supplier);
    found = ranges.size();
    benchmark::DoNotOptimize(found);
  }
  state.counters["ranges"] = static_cast<double>(found);
  state.SetComplexityN(static_cast<std::int64_t>(m.items.size()));
}
BENCHMARK(BM_RangesOfEquivalentItems)->Apply(model_sizes)->Complexity(benchmark::oN)->Unit(benchmark::kMillisecond);

void BM_RangesOfEquivalentSiblings(benchmark::State& state) {
  BalancedModel& m = balanced_model(static_cast<int>(state.range(0)));
  const TreeModel::Suppliers suppliers{THandle<vorn::AttributeSupplier>(new ValueSupplier)};
  std::vector<vorn::TreeModelSiblingRange> ranges;
  for (auto _ : state) {
    ranges.clear();
    m.model->find_ranges_of_equivalent_siblings(suppliers, ranges);
    benchmark::DoNotOptimize(ranges.data());
  }
  state.counters["ranges"] = static_cast<double>(ranges.size());
  state.SetComplexityN(static_cast<std::int64_t>(m.items.size()));
}
BENCHMARK(BM_RangesOfEquivalentSiblings)
    ->Apply(model_sizes)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMillisecond);

// A deep sort from a shuffled state each time: the siblings are first put
// into a pseudo-random order (untimed).
void BM_SortDeep(benchmark::State& state) {
  BalancedModel& m = balanced_model(static_cast<int>(state.range(0)));
  m.build();
  BenchModel& model = *m.model;
  std::uint64_t round = 0;
  for (auto _ : state) {
    state.PauseTiming();
    ++round;
    model.tree().sort_by_key(
        model.top_level_begin(), model.top_level_end(),
        [round](const Item& item) {
          return (reinterpret_cast<std::uintptr_t>(item.unhand()) * 0x9E3779B97F4A7C15ull) ^ round;
        },
        std::less<std::uint64_t>(), true);
    state.ResumeTiming();
    model.sort(model.top_level_begin(), model.top_level_end(), true);
  }
  state.SetComplexityN(static_cast<std::int64_t>(m.items.size()));
}
BENCHMARK(BM_SortDeep)->Apply(model_sizes)->Complexity(benchmark::oNLogN)->Unit(benchmark::kMillisecond);

// Making and linking the items level by level. Runs last: it replaces the
// models the other benchmarks use.
void BM_BuildModel(benchmark::State& state) {
  const auto branching = static_cast<int>(state.range(0));
  BalancedModel& m = balanced_model(branching);
  for (auto _ : state) {
    state.PauseTiming();
    m.release();
    state.ResumeTiming();
    m.build();
    benchmark::DoNotOptimize(m.model->begin());
  }
  state.SetComplexityN(static_cast<std::int64_t>(m.items.size()));
  state.counters["items"] = static_cast<double>(m.items.size());
}
BENCHMARK(BM_BuildModel)->Apply(model_sizes)->Complexity(benchmark::oN)->Unit(benchmark::kMillisecond);

}  // namespace
