// Reads arbitrary bytes as the representative object graph through an
// ArchiveReadStream, in both floating-point formats. Every input must end in
// a value or an exception: never a crash, a hang, a leak or a huge
// allocation.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

#include "persistence/RepresentativeGraph.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"

namespace {

const std::string& input_file() {
  static const std::string name = "/tmp/vorn_fuzz_archive_read_" + std::to_string(::getpid()) + ".arc";
  return name;
}

void read_graph(unsigned int format) {
  vorn::Archive archive(input_file(), vorn::Archive::READ | format);
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
  std::FILE* file = std::fopen(input_file().c_str(), "wb");
  if (file == nullptr) return 0;
  std::fwrite(data, 1, size, file);
  std::fclose(file);
  read_graph(vorn::Archive::NATIVE_FORMAT);
  read_graph(vorn::Archive::PORTABLE_FORMAT);
  // A ring read half-way holds itself alive; free it.
  vorn::test::Node::break_all_cycles();
  std::remove(input_file().c_str());
  return 0;
}
