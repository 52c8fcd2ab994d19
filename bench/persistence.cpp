// Archive streams against other serialisation libraries and against the
// limit (one fwrite and one fread of a buffer in file order): a vector of
// 10 million ints and a vector of 1 million short strings, each written to
// a file in /tmp and read back; the same through a MemoryDevice. Also the
// round trip, in memory, of a graph of N distinct shared objects, each
// referenced twice, over several N.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <cereal/archives/portable_binary.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

#include "bench/bench_support.h"
#include "vorn/foundation/THandle.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/PersistentContainers.h"

namespace {

const std::string file_name = "/tmp/vorn_bench_persistence_" + std::to_string(::getpid()) + ".bin";

// Removes the scratch file when the program ends.
const struct ScratchFileRemover {
  ~ScratchFileRemover() { std::remove(file_name.c_str()); }
} scratch_file_remover;

const std::vector<int>& ints() {
  static const std::vector<int> values = [] {
    std::vector<int> v(vorn::bench::problem_size(10'000'000));
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<int>(i * 2654435761u);
    return v;
  }();
  return values;
}

const std::vector<std::string>& strings() {
  static const std::vector<std::string> values = [] {
    std::vector<std::string> v(vorn::bench::problem_size(1'000'000));
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = "item-" + std::to_string(i * 7919 % 1000003);
    return v;
  }();
  return values;
}

template <class T>
void check_equal(benchmark::State& state, const T& a, const T& b) {
  if (a != b) state.SkipWithError("read back differs");
}

template <class T>
void vorn_round_trip(benchmark::State& state, const T& data) {
  for (auto _ : state) {
    {
      vorn::Archive archive(file_name, vorn::Archive::WRITE);
      vorn::ArchiveWriteStream stream(archive);
      stream.write("data", data);
    }
    T back;
    {
      vorn::Archive archive(file_name, vorn::Archive::READ);
      vorn::ArchiveReadStream stream(archive);
      stream.read("data", back);
    }
    benchmark::DoNotOptimize(back.data());
    state.PauseTiming();
    check_equal(state, back, data);
    state.ResumeTiming();
  }
}

// The same through memory: what the archive costs without the file. The
// device is reused, as a program that serialises often would, so that its
// buffer is allocated once rather than paged in on every iteration.
template <class T>
void vorn_memory_round_trip(benchmark::State& state, const T& data) {
  vorn::MemoryDevice memory;
  for (auto _ : state) {
    memory.clear();
    {
      vorn::Archive archive(memory, vorn::Archive::WRITE);
      vorn::ArchiveWriteStream stream(archive);
      stream.write("data", data);
    }
    const std::string_view bytes = memory.view();
    T back;
    {
      vorn::MemoryDevice input(bytes.data(), bytes.size());
      vorn::Archive archive(input, vorn::Archive::READ);
      vorn::ArchiveReadStream stream(archive);
      stream.read("data", back);
    }
    benchmark::DoNotOptimize(back.data());
    state.PauseTiming();
    check_equal(state, back, data);
    state.ResumeTiming();
  }
}

template <class T>
void cereal_round_trip(benchmark::State& state, const T& data, cereal::PortableBinaryOutputArchive::Options out,
                       cereal::PortableBinaryInputArchive::Options in) {
  for (auto _ : state) {
    {
      std::ofstream file(file_name, std::ios::binary);
      cereal::PortableBinaryOutputArchive archive(file, out);
      archive(data);
    }
    T back;
    {
      std::ifstream file(file_name, std::ios::binary);
      cereal::PortableBinaryInputArchive archive(file, in);
      archive(back);
    }
    benchmark::DoNotOptimize(back.data());
    state.PauseTiming();
    check_equal(state, back, data);
    state.ResumeTiming();
  }
}

template <class T>
void boost_round_trip(benchmark::State& state, const T& data) {
  for (auto _ : state) {
    {
      std::ofstream file(file_name, std::ios::binary);
      boost::archive::binary_oarchive archive(file);
      archive << data;
    }
    T back;
    {
      std::ifstream file(file_name, std::ios::binary);
      boost::archive::binary_iarchive archive(file);
      archive >> back;
    }
    benchmark::DoNotOptimize(back.data());
    state.PauseTiming();
    check_equal(state, back, data);
    state.ResumeTiming();
  }
}

// The limit: the bytes already in file order, one fwrite and one fread.
void limit_round_trip(benchmark::State& state, const std::vector<unsigned char>& image) {
  std::vector<unsigned char> back(image.size());
  for (auto _ : state) {
    std::FILE* out = std::fopen(file_name.c_str(), "wb");
    std::fwrite(image.data(), 1, image.size(), out);
    std::fclose(out);
    std::FILE* in = std::fopen(file_name.c_str(), "rb");
    if (std::fread(back.data(), 1, back.size(), in) != back.size()) state.SkipWithError("short read");
    std::fclose(in);
    benchmark::DoNotOptimize(back.data());
  }
}

std::vector<unsigned char> ints_image() {
  std::vector<unsigned char> image;
  for (int v : ints()) {
    const auto u = static_cast<unsigned int>(v);
    for (int shift = 24; shift >= 0; shift -= 8) image.push_back(static_cast<unsigned char>(u >> shift));
  }
  return image;
}

std::vector<unsigned char> strings_image() {
  std::vector<unsigned char> image;
  for (const std::string& s : strings()) {
    const auto n = static_cast<unsigned int>(s.size());
    for (int shift = 24; shift >= 0; shift -= 8) image.push_back(static_cast<unsigned char>(n >> shift));
    image.insert(image.end(), s.begin(), s.end());
  }
  return image;
}

using CerealOut = cereal::PortableBinaryOutputArchive::Options;
using CerealIn = cereal::PortableBinaryInputArchive::Options;

void BM_Ints_Vorn(benchmark::State& state) { vorn_round_trip(state, ints()); }
void BM_Ints_VornMemory(benchmark::State& state) { vorn_memory_round_trip(state, ints()); }
void BM_Ints_CerealPortable(benchmark::State& state) {
  cereal_round_trip(state, ints(), CerealOut::Default(), CerealIn::Default());
}
void BM_Ints_CerealPortableBigEndian(benchmark::State& state) {
  cereal_round_trip(state, ints(), CerealOut::BigEndian(), CerealIn::Default());
}
void BM_Ints_BoostBinary(benchmark::State& state) { boost_round_trip(state, ints()); }
void BM_Ints_Limit(benchmark::State& state) { limit_round_trip(state, ints_image()); }

void BM_Strings_Vorn(benchmark::State& state) { vorn_round_trip(state, strings()); }
void BM_Strings_VornMemory(benchmark::State& state) { vorn_memory_round_trip(state, strings()); }
void BM_Strings_CerealPortable(benchmark::State& state) {
  cereal_round_trip(state, strings(), CerealOut::Default(), CerealIn::Default());
}
void BM_Strings_CerealPortableBigEndian(benchmark::State& state) {
  cereal_round_trip(state, strings(), CerealOut::BigEndian(), CerealIn::Default());
}
void BM_Strings_BoostBinary(benchmark::State& state) { boost_round_trip(state, strings()); }
void BM_Strings_Limit(benchmark::State& state) { limit_round_trip(state, strings_image()); }

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
};

// N distinct objects, each referenced twice: all of them, then all again.
void BM_Graph_Vorn(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  std::vector<vorn::THandle<Shared>> graph(2 * n);
  for (std::size_t i = 0; i < n; ++i) {
    graph[i] = vorn::THandle<Shared>(new Shared{static_cast<int>(i)});
    graph[n + i] = graph[i];
  }
  for (auto _ : state) {
    vorn::MemoryDevice memory;
    {
      vorn::Archive archive(memory, vorn::Archive::WRITE);
      vorn::ArchiveWriteStream stream(archive);
      stream.write("graph", graph);
    }
    std::vector<vorn::THandle<Shared>> back;
    {
      vorn::MemoryDevice input(memory.take());
      vorn::Archive archive(input, vorn::Archive::READ);
      vorn::ArchiveReadStream stream(archive);
      stream.read("graph", back);
    }
    if (back.size() != graph.size() || back[0] != back[n]) state.SkipWithError("sharing lost");
    benchmark::DoNotOptimize(back.data());
  }
  state.SetComplexityN(static_cast<benchmark::IterationCount>(n));
}

BENCHMARK(BM_Ints_Vorn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Ints_VornMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Ints_CerealPortable)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Ints_CerealPortableBigEndian)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Ints_BoostBinary)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Ints_Limit)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings_Vorn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings_VornMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings_CerealPortable)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings_CerealPortableBigEndian)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings_BoostBinary)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings_Limit)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Graph_Vorn)
    ->RangeMultiplier(4)
    ->Range(static_cast<std::int64_t>(vorn::bench::problem_size(1 << 14, 64)),
            static_cast<std::int64_t>(vorn::bench::problem_size(1 << 20, 256)))
    ->Complexity(benchmark::oNLogN)
    ->Unit(benchmark::kMillisecond);

}  // namespace
