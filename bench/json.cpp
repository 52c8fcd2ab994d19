// The JSON streams against cereal's JSON archive, in memory (a string
// stream each way): a vector of 1 million doubles, and a graph of 100,000
// distinct shared objects, each referenced twice. Both sides write compact
// JSON (cereal's NoIndent option) and read it back; the counter "inexact"
// counts doubles that did not read back to the value written.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <cereal/archives/json.hpp>
#include <cereal/types/memory.hpp>
#include <cereal/types/vector.hpp>

#include "bench/bench_support.h"
#include "vorn/foundation/THandle.h"
#include "vorn/persistence/PersistentContainers.h"
#include "vorn/persistence/json/JsonReadStream.h"
#include "vorn/persistence/json/JsonWriteStream.h"

namespace {

const std::vector<double>& doubles() {
  static const std::vector<double> values = [] {
    std::vector<double> v(vorn::bench::problem_size(1'000'000));
    std::uint64_t x = 88172645463325252u;
    for (double& d : v) {
      x ^= x << 13;
      x ^= x >> 7;
      x ^= x << 17;
      d = static_cast<double>(x % 2000000001) / 1000.0 - 1e6;  // three decimals, as measurements have
    }
    return v;
  }();
  return values;
}

void count_inexact(benchmark::State& state, const std::vector<double>& back) {
  const std::vector<double>& written = doubles();
  std::size_t inexact = back.size() == written.size() ? 0 : written.size();
  for (std::size_t i = 0; inexact == 0 && i < back.size(); ++i) inexact += back[i] != written[i];
  state.counters["inexact"] = static_cast<double>(inexact);
}

void BM_Doubles_VornJson(benchmark::State& state) {
  std::vector<double> back;
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::ostringstream out;
    {
      vorn::JsonWriteStream stream(out);
      stream.write("data", doubles());
      stream.close();
    }
    std::istringstream in(out.str());
    vorn::JsonReadStream stream(in);
    stream.read("data", back);
    bytes = out.str().size();
    benchmark::DoNotOptimize(back.data());
  }
  count_inexact(state, back);
  state.counters["bytes"] = static_cast<double>(bytes);
}

void BM_Doubles_CerealJson(benchmark::State& state) {
  std::vector<double> back;
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::ostringstream out;
    {
      cereal::JSONOutputArchive archive(out, cereal::JSONOutputArchive::Options::NoIndent());
      archive(cereal::make_nvp("data", doubles()));
    }
    std::istringstream in(out.str());
    cereal::JSONInputArchive archive(in);
    archive(cereal::make_nvp("data", back));
    bytes = out.str().size();
    benchmark::DoNotOptimize(back.data());
  }
  count_inexact(state, back);
  state.counters["bytes"] = static_cast<double>(bytes);
}

struct Shared {
  int value = 0;
  void write(const char* tag, vorn::PersistentWriteStream& s) const {
    vorn::PersistentWriteStream::Block block(s, tag, "Shared");
    s.write("value", value);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) {
    vorn::PersistentReadStream::Block block(s, tag, "Shared", presence);
    s.read("value", value);
  }
  template <class Archive>
  void serialize(Archive& archive) {
    archive(CEREAL_NVP(value));
  }
};

std::size_t graph_size() { return vorn::bench::problem_size(100'000); }

// N distinct objects, each referenced twice: all of them, then all again.
template <class Handle>
std::vector<Handle> make_graph(std::size_t n) {
  std::vector<Handle> graph(2 * n);
  for (std::size_t i = 0; i < n; ++i) {
    graph[i] = Handle(new Shared{static_cast<int>(i)});
    graph[n + i] = graph[i];
  }
  return graph;
}

void BM_Graph_VornJson(benchmark::State& state) {
  const std::size_t n = graph_size();
  const auto graph = make_graph<vorn::THandle<Shared>>(n);
  for (auto _ : state) {
    std::ostringstream out;
    {
      vorn::JsonWriteStream stream(out);
      stream.write("graph", graph);
      stream.close();
    }
    std::istringstream in(out.str());
    vorn::JsonReadStream stream(in);
    std::vector<vorn::THandle<Shared>> back;
    stream.read("graph", back);
    if (back.size() != graph.size() || back[0] != back[n] || back[n - 1]->value != graph[n - 1]->value) {
      state.SkipWithError("graph differs");
    }
    benchmark::DoNotOptimize(back.data());
  }
}

void BM_Graph_CerealJson(benchmark::State& state) {
  const std::size_t n = graph_size();
  const auto graph = make_graph<std::shared_ptr<Shared>>(n);
  for (auto _ : state) {
    std::ostringstream out;
    {
      cereal::JSONOutputArchive archive(out, cereal::JSONOutputArchive::Options::NoIndent());
      archive(cereal::make_nvp("graph", graph));
    }
    std::istringstream in(out.str());
    cereal::JSONInputArchive archive(in);
    std::vector<std::shared_ptr<Shared>> back;
    archive(cereal::make_nvp("graph", back));
    if (back.size() != graph.size() || back[0] != back[n] || back[n - 1]->value != graph[n - 1]->value) {
      state.SkipWithError("graph differs");
    }
    benchmark::DoNotOptimize(back.data());
  }
}

BENCHMARK(BM_Doubles_VornJson)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Doubles_CerealJson)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Graph_VornJson)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Graph_CerealJson)->Unit(benchmark::kMillisecond);

}  // namespace
