// Reads arbitrary bytes through a TypedArchiveReadStream as a vector of
// polymorphic handles whose classes carry versions, and as the
// representative graph. Every input must end in a value or an exception:
// never a crash, a hang, a leak or a huge allocation.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <set>
#include <string>
#include <vector>

#include "persistence/RepresentativeGraph.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/PersistentContainers.h"
#include "vorn/persistence/PolymorphicPersistent.h"
#include "vorn/persistence/PolymorphicRegistrar.h"
#include "vorn/persistence/TypedArchiveReadStream.h"

namespace {

class Figure {
 public:
  virtual ~Figure() = default;
  virtual void write(const char* tag, vorn::PersistentWriteStream& s) const = 0;
  virtual void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) = 0;
  virtual vorn::THandle<Figure> clone() const = 0;
  virtual const char* class_name() const = 0;
};

class Disc : public vorn::PolymorphicPersistent<Disc, Figure> {
 public:
  static constexpr const char* type_name_ = "Disc";
  double radius = 1;
  std::string label;
  void write(const char* tag, vorn::PersistentWriteStream& s) const override {
    vorn::PersistentWriteStream::Block block(s, tag, class_name(), 2);
    s.write("radius", radius);
    s.write("label", label);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) override {
    vorn::PersistentReadStream::Block block(s, tag, class_name(), presence);
    s.read("radius", radius);
    if (block.version() >= 2) s.read("label", label);
  }
};

// A polygon may hold itself among its parts: the stream restores such cycles,
// and counted handles never free them. Live polygons are tracked so that the
// harness can break every cycle after each input, also those left half-built
// by a failed read.
class Polygon : public vorn::PolymorphicPersistent<Polygon, Figure> {
 public:
  static constexpr const char* type_name_ = "Polygon";
  int sides = 3;
  std::vector<vorn::THandle<Figure>> parts;

  Polygon() { live().insert(this); }
  Polygon(const Polygon& other) : sides(other.sides), parts(other.parts) { live().insert(this); }
  Polygon& operator=(const Polygon&) = default;
  ~Polygon() override { live().erase(this); }

  static std::set<Polygon*>& live() {
    // Never destroyed: the registered prototype outlives every static.
    static auto* polygons = new std::set<Polygon*>;
    return *polygons;
  }

  static void break_all_cycles() {
    std::vector<vorn::THandle<Figure>> detached;
    for (Polygon* polygon : live()) {
      for (auto& part : polygon->parts) detached.push_back(std::move(part));
      polygon->parts.clear();
    }
    detached.clear();
  }
  void write(const char* tag, vorn::PersistentWriteStream& s) const override {
    vorn::PersistentWriteStream::Block block(s, tag, class_name());
    s.write("sides", sides);
    s.write("parts", parts);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) override {
    vorn::PersistentReadStream::Block block(s, tag, class_name(), presence);
    s.read("sides", sides);
    s.read("parts", parts);
  }
};

const vorn::PolymorphicRegistrar<Figure, Disc> disc_registrar;
const vorn::PolymorphicRegistrar<Figure, Polygon> polygon_registrar;

template <class T>
void read_as(const std::uint8_t* data, std::size_t size) {
  vorn::MemoryDevice input(data, size);
  vorn::Archive archive(input, vorn::Archive::READ);
  vorn::TypedArchiveReadStream stream(archive);
  T value;
  try {
    stream.read("v", value);
  } catch (const std::exception&) {
    // Damaged input: the exception is the expected outcome.
  }
}

}  // namespace

extern "C" const char* __asan_default_options() { return "quarantine_size_mb=64"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  read_as<std::vector<vorn::THandle<Figure>>>(data, size);
  read_as<vorn::test::Graph>(data, size);
  Polygon::break_all_cycles();
  vorn::test::Node::break_all_cycles();
  return 0;
}
