// A small polymorphic hierarchy for the tests of handles to a base class:
// Disc and Polygon are registered with the factory, Square never is. Disc
// is at version 2: version 1 stored the radius only, version 2 added the
// label.
#ifndef VORN_TESTS_PERSISTENCE_SHAPES_H_
#define VORN_TESTS_PERSISTENCE_SHAPES_H_

#include <string>

#include "vorn/foundation/THandle.h"
#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/PolymorphicPersistent.h"
#include "vorn/persistence/PolymorphicRegistrar.h"

namespace vorn::test {

class Shape {
 public:
  virtual ~Shape() = default;
  virtual void write(const char* tag, PersistentWriteStream& s) const = 0;
  virtual void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) = 0;
  virtual THandle<Shape> clone() const = 0;
  virtual const char* class_name() const = 0;
};

class Disc : public PolymorphicPersistent<Disc, Shape> {
 public:
  static constexpr const char* type_name_ = "Disc";
  double radius = 1;
  std::string label;
  unsigned int read_version = 99;
  void write(const char* tag, PersistentWriteStream& s) const override {
    PersistentWriteStream::Block block(s, tag, class_name(), 2);
    s.write("radius", radius);
    s.write("label", label);
  }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) override {
    PersistentReadStream::Block block(s, tag, class_name(), presence);
    read_version = block.version();
    s.read("radius", radius);
    if (block.version() >= 2) s.read("label", label);
  }
};

class Polygon : public PolymorphicPersistent<Polygon, Shape> {
 public:
  static constexpr const char* type_name_ = "Polygon";
  int sides = 3;
  void write(const char* tag, PersistentWriteStream& s) const override {
    PersistentWriteStream::Block block(s, tag, class_name());
    s.write("sides", sides);
  }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) override {
    PersistentReadStream::Block block(s, tag, class_name(), presence);
    s.read("sides", sides);
  }
};

class Square : public PolymorphicPersistent<Square, Shape> {  // never registered
 public:
  static constexpr const char* type_name_ = "Square";
  void write(const char*, PersistentWriteStream&) const override {}
  void read(const char*, PersistentReadStreamPresence, PersistentReadStream&) override {}
};

inline const PolymorphicRegistrar<Shape, Disc> disc_registrar;
inline const PolymorphicRegistrar<Shape, Polygon> polygon_registrar;

}  // namespace vorn::test

#endif  // VORN_TESTS_PERSISTENCE_SHAPES_H_
