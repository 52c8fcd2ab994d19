// Reads arbitrary bytes as the representative object graph through a
// JsonReadStream. Every input must end in a value or an exception: never a
// crash, a hang, a leak or an allocation out of proportion to the input.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <sstream>
#include <string>

#include "persistence/RepresentativeGraph.h"
#include "vorn/persistence/json/JsonReadStream.h"

// The parsed tree takes some tens of bytes per input byte; a smaller
// quarantine of freed memory keeps the process well below the fuzzer's
// memory limit.
extern "C" const char* __asan_default_options() { return "quarantine_size_mb=64"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  try {
    vorn::JsonReadStream stream(in);
    vorn::test::Graph graph;
    stream.read("graph", graph);
  } catch (const std::exception&) {
    // Malformed or damaged input: the exception is the expected outcome.
  }
  // A ring read half-way holds itself alive; free it.
  vorn::test::Node::break_all_cycles();
  return 0;
}
