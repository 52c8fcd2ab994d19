// PolymorphicRegistrar<Base, Derived>: registers a default-constructed
// Derived as the prototype of its class name in PolymorphicFactory<Base>
// when it is constructed. Define one per class at namespace scope in the
// class's source file:
//
//   // Circle.cpp
//   namespace { const vorn::PolymorphicRegistrar<Shape, Circle> registrar; }
//
// Handles of Base can then be read back as Circles. Throws whatever
// Derived's constructor or class_name() throws.
#ifndef VORN_PERSISTENCE_POLYMORPHICREGISTRAR_H_
#define VORN_PERSISTENCE_POLYMORPHICREGISTRAR_H_

#include <type_traits>

#include "vorn/foundation/THandle.h"
#include "vorn/persistence/PolymorphicFactory.h"

namespace vorn {

template <class Base, class Derived>
class PolymorphicRegistrar {
  static_assert(std::is_base_of_v<Base, Derived>, "PolymorphicRegistrar: Derived must derive from Base");

 public:
  PolymorphicRegistrar() { PolymorphicFactory<Base>::register_class(THandle<Base>(new Derived)); }
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_POLYMORPHICREGISTRAR_H_
