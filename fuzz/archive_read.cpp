// Reads arbitrary bytes, straight from memory, as the representative object
// graph through an ArchiveReadStream, in both floating-point formats. Every
// input must end in a value or an exception: never a crash, a hang, a leak
// or a huge allocation.
#include <cstddef>
#include <cstdint>
#include <exception>

#include "persistence/RepresentativeGraph.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"

namespace {

void read_graph(const std::uint8_t* data, std::size_t size, unsigned int format) {
  vorn::MemoryDevice input(data, size);
  vorn::Archive archive(input, vorn::Archive::READ | format);
  vorn::ArchiveReadStream stream(archive);
  vorn::test::Graph graph;
  try {
    stream.read("graph", graph);
  } catch (const std::exception&) {
    // Damaged input: the exception is the expected outcome.
  }
}

}  // namespace

// Each input allocates a few dozen kilobytes; a smaller quarantine of freed
// memory keeps the process well below the fuzzer's memory limit.
extern "C" const char* __asan_default_options() { return "quarantine_size_mb=64"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  read_graph(data, size, vorn::Archive::NATIVE_FORMAT);
  read_graph(data, size, vorn::Archive::PORTABLE_FORMAT);
  // A ring read half-way holds itself alive; free it.
  vorn::test::Node::break_all_cycles();
  return 0;
}
