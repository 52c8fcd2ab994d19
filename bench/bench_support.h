// Helpers shared by the benchmark programs.
#ifndef VORN_BENCH_BENCH_SUPPORT_H_
#define VORN_BENCH_BENCH_SUPPORT_H_

#include <cstddef>
#include <cstdlib>

namespace vorn::bench {

// The problem size for a benchmark: `full` normally, a hundredth of it (at
// least `minimum`) when VORN_BENCH_QUICK is set, as CI does to check that
// every benchmark still runs.
inline std::size_t problem_size(std::size_t full, std::size_t minimum = 1) {
  if (std::getenv("VORN_BENCH_QUICK") == nullptr) return full;
  const std::size_t quick = full / 100;
  return quick < minimum ? minimum : quick;
}

}  // namespace vorn::bench

#endif  // VORN_BENCH_BENCH_SUPPORT_H_
