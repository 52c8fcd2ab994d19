// Handles against std::shared_ptr, and the cost of a suppressed debug trace.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "vorn/foundation/THandle.h"
#include "vorn/foundation/VornLog.h"

namespace {

struct Payload {
  virtual ~Payload() = default;
  int value = 1;
};

// One copy and one destruction per iteration. The clobber keeps the compiler
// from fusing the increment with the decrement.
void BM_THandleCopyDestroy(benchmark::State& state) {
  vorn::THandle<Payload> original(new Payload);
  for (auto _ : state) {
    vorn::THandle<Payload> copy(original);
    benchmark::DoNotOptimize(copy);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_THandleCopyDestroy);

void BM_SharedPtrCopyDestroy(benchmark::State& state) {
  std::shared_ptr<Payload> original = std::make_shared<Payload>();
  for (auto _ : state) {
    std::shared_ptr<Payload> copy(original);
    benchmark::DoNotOptimize(copy);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_SharedPtrCopyDestroy);

// The levels are reloaded every iteration (the clobber), as they would be in
// real code between calls.
void BM_SuppressedDebugTrace(benchmark::State& state) {
  vorn::VornLog::set_level(0);
  vorn::VornLog::set_minimum_level(0);
  const std::string text = "an expensive message";
  for (auto _ : state) {
    VORN_DEBUG_TRACE(2, "value " << text << ' ' << 3.14159);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_SuppressedDebugTrace);

}  // namespace
