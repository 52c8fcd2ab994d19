// Benchmarks of the string functions.
//
// Line reading: vorn::getline over a file of LF lines against std::getline
// over the same file, and vorn::getline over the same lines ended by CRLF and
// by CR, which should take as long as LF. The files (100 MB each) are written
// once per process to a temporary directory and removed at exit.
//
// Text functions: replace, split, wrap and to_valid_base_filename on prose of
// growing length up to 10 MB, with a fitted complexity that should come out
// as O(N).
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "bench/bench_support.h"
#include "vorn/foundation/StringFunctions.h"

namespace {

// Deterministic prose: words of 1 to 10 letters, some capitalised or followed
// by punctuation, separated by blanks.
std::string make_prose(std::size_t size) {
  std::string text;
  text.reserve(size + 16);
  std::uint32_t state = 12345;
  const auto next = [&state] {
    state = state * 1664525u + 1013904223u;
    return state >> 8;
  };
  while (text.size() < size) {
    const std::uint32_t length = 1 + next() % 10;
    for (std::uint32_t i = 0; i < length; ++i) text += static_cast<char>('a' + next() % 26);
    if (next() % 8 == 0) text += ",.;()"[next() % 5];
    text += ' ';
    if (next() % 16 == 0) text += "the ";
  }
  text.resize(size);
  return text;
}

// Three files with the same lines (20 to 120 characters) and different line
// ends.
class LineFiles {
 public:
  LineFiles() : directory_(std::filesystem::temp_directory_path() / ("vorn_bench_" + std::to_string(getpid()))) {
    std::filesystem::create_directories(directory_);
    const std::size_t size = vorn::bench::problem_size(100u << 20, 1u << 16);
    const std::string prose = make_prose(size);
    std::ofstream lf(path("lf"), std::ios::binary);
    std::ofstream crlf(path("crlf"), std::ios::binary);
    std::ofstream cr(path("cr"), std::ios::binary);
    std::uint32_t state = 777;
    for (std::size_t pos = 0; pos < prose.size();) {
      state = state * 1664525u + 1013904223u;
      const std::size_t length = 20 + (state >> 8) % 101;
      const std::string line = prose.substr(pos, length);
      pos += length;
      lf << line << '\n';
      crlf << line << "\r\n";
      cr << line << '\r';
      ++lines_;
    }
  }
  ~LineFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  LineFiles(const LineFiles&) = delete;
  LineFiles& operator=(const LineFiles&) = delete;

  std::string path(const std::string& kind) const { return (directory_ / (kind + ".txt")).string(); }
  std::size_t lines() const { return lines_; }

  static const LineFiles& instance() {
    static const LineFiles files;
    return files;
  }

 private:
  std::filesystem::path directory_;
  std::size_t lines_ = 0;
};

template <class ReadLine>
void read_file(benchmark::State& state, const std::string& kind, ReadLine read_line) {
  const LineFiles& files = LineFiles::instance();
  const std::string path = files.path(kind);
  const auto bytes = static_cast<std::int64_t>(std::filesystem::file_size(path));
  for (auto _ : state) {
    std::ifstream in(path, std::ios::binary);
    std::string line;
    std::size_t count = 0;
    std::size_t characters = 0;
    while (read_line(in, line) && !(line.empty() && in.eof())) {
      ++count;
      characters += line.size();
    }
    benchmark::DoNotOptimize(characters);
    if (count != files.lines()) state.SkipWithError("wrong number of lines");
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

const auto vorn_getline = [](std::istream& in, std::string& line) -> std::istream& {
  return vorn::getline(in, line);
};
const auto std_getline = [](std::istream& in, std::string& line) -> std::istream& {
  return std::getline(in, line);
};

void BM_StdGetlineLF(benchmark::State& state) { read_file(state, "lf", std_getline); }
void BM_VornGetlineLF(benchmark::State& state) { read_file(state, "lf", vorn_getline); }
void BM_VornGetlineCRLF(benchmark::State& state) { read_file(state, "crlf", vorn_getline); }
void BM_VornGetlineCR(benchmark::State& state) { read_file(state, "cr", vorn_getline); }

BENCHMARK(BM_StdGetlineLF)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VornGetlineLF)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VornGetlineCRLF)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VornGetlineCR)->Unit(benchmark::kMillisecond);

const std::string& prose_of_maximum_size() {
  static const std::string text = make_prose(vorn::bench::problem_size(10u << 20, 1u << 12));
  return text;
}

template <class Operation>
void on_text(benchmark::State& state, Operation operation) {
  const std::string text = prose_of_maximum_size().substr(0, static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) operation(text);
  state.SetComplexityN(state.range(0));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_Replace(benchmark::State& state) {
  on_text(state, [](const std::string& text) { benchmark::DoNotOptimize(vorn::replace("the ", "THE: ", text)); });
}

void BM_Split(benchmark::State& state) {
  std::vector<std::string> fields;
  on_text(state, [&fields](const std::string& text) {
    vorn::split(text, fields, " ,.;");
    benchmark::DoNotOptimize(fields.data());
  });
}

void BM_Wrap(benchmark::State& state) {
  std::vector<std::string> lines;
  on_text(state, [&lines](const std::string& text) {
    vorn::wrap(text, lines, 72, " ");
    benchmark::DoNotOptimize(lines.data());
  });
}

void BM_ToValidBaseFilename(benchmark::State& state) {
  on_text(state, [](const std::string& text) { benchmark::DoNotOptimize(vorn::to_valid_base_filename(text)); });
}

void text_sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(4)
      ->Range(static_cast<std::int64_t>(vorn::bench::problem_size(40u << 10, 1u << 10)),
              static_cast<std::int64_t>(vorn::bench::problem_size(10u << 20, 1u << 12)))
      ->Complexity(benchmark::oN)
      ->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_Replace)->Apply(text_sizes);
BENCHMARK(BM_Split)->Apply(text_sizes);
BENCHMARK(BM_Wrap)->Apply(text_sizes);
BENCHMARK(BM_ToValidBaseFilename)->Apply(text_sizes);

}  // namespace
