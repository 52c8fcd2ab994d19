// The tree model at scale: unique-identifier insertion, building, walking,
// sorting and the two range searches over a model of about a million items
// (a balanced tree of four levels), with the pre-order walk measured against
// a walk over the same payloads in a std::vector.
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

// N items named alike, inserted at the top level with duplicate checking:
// the k-th insertion scans k siblings once.
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
      b->Arg(n / 4)->Arg(n / 2)->Arg(n);
    })
    ->Complexity(benchmark::oNSquared)
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

// A balanced tree of four levels with `branching` children per item. The
// items are made first, then linked in pre-order, as a loader would; values
// repeat in runs of three so that the range searches find something.
struct BalancedModel {
  explicit BalancedModel(int branching) {
    int serial = 0;
    make_items(branching, 0, serial);
    build();
  }

  void make_items(int branching, int level, int& serial) {
    for (int i = 0; i < branching; ++i) {
      // Siblings in ascending order, so that the descending sort has work.
      const int value = serial++ / 3;
      char id[16];
      std::snprintf(id, sizeof id, "n%03d", i);
      levels.push_back(level);
      items.emplace_back(new ValuedItem(id, value));
      if (level < 3) make_items(branching, level + 1, serial);
    }
  }

  // Drops the model; the trim coalesces the freed nodes so that the next
  // build lays its nodes out in order again.
  void release() {
    model.reset();
    malloc_trim(0);
  }

  void build() {
    model = std::make_unique<BenchModel>();
    model->set_duplicate_checking(false);
    std::vector<Position> parents;
    Position last_top;
    for (std::size_t i = 0; i < items.size(); ++i) {
      const int level = levels[i];
      parents.resize(static_cast<std::size_t>(level));
      Position p;
      if (level != 0) {
        p = model->append_child(parents.back(), items[i]);
      } else if (last_top.node() == nullptr) {
        p = last_top = model->insert(items[i]);
      } else {
        p = last_top = model->insert_after(last_top, items[i]);
      }
      parents.push_back(p);
    }
  }

  std::vector<int> levels;
  std::vector<Item> items;  // in pre-order
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

// The walks also run at four times the full size, where the vector no
// longer fits in the last-level cache either and both sides stream from
// memory.
int large_branching() {
  return static_cast<int>(std::lround(std::sqrt(2.0) * branching_for(static_cast<std::int64_t>(
                                                            vorn::bench::problem_size(1000000, 1000)))));
}

void walk_sizes(benchmark::internal::Benchmark* b) {
  model_sizes(b);
  b->Arg(large_branching());
}

// Both walks add up the item addresses, the same work per payload.
void BM_PreOrderWalk(benchmark::State& state) {
  BalancedModel& m = balanced_model(static_cast<int>(state.range(0)));
  const TreeModel& model = *m.model;
  for (auto _ : state) {
    std::uintptr_t sum = 0;
    for (auto it = model.begin(), end = model.end(); it != end; ++it) {
      sum += reinterpret_cast<std::uintptr_t>(it->unhand());
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetComplexityN(static_cast<std::int64_t>(m.items.size()));
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(m.items.size()));
}
BENCHMARK(BM_PreOrderWalk)->Apply(walk_sizes)->Complexity(benchmark::oN)->Unit(benchmark::kMicrosecond);

void BM_VectorWalk(benchmark::State& state) {
  BalancedModel& m = balanced_model(static_cast<int>(state.range(0)));
  const std::vector<Item> payloads(m.items);
  for (auto _ : state) {
    std::uintptr_t sum = 0;
    for (const Item& item : payloads) sum += reinterpret_cast<std::uintptr_t>(item.unhand());
    benchmark::DoNotOptimize(sum);
  }
  state.SetComplexityN(static_cast<std::int64_t>(m.items.size()));
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(m.items.size()));
  if (state.range(0) == large_branching()) balanced_models().erase(large_branching());  // its last use
}
BENCHMARK(BM_VectorWalk)->Apply(walk_sizes)->Complexity(benchmark::oN)->Unit(benchmark::kMicrosecond);

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

// Runs last: it replaces the models whose first layout the walks measure.
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
