// PolymorphicFactory<T>: recreates objects of a polymorphic persistent
// hierarchy with base T from the type name stored with them, by cloning a
// registered prototype.
//
// A hierarchy's base declares `virtual THandle<T> clone() const` and
// `virtual const char* class_name() const` besides write() and read(). Each
// concrete class is registered once, usually by a PolymorphicRegistrar
// defined next to the class:
//
//   vorn::PolymorphicFactory<Shape>::register_class(vorn::make_handle<Circle>());
//   vorn::PolymorphicFactory<Shape>::has_type("Circle");          // true
//   vorn::THandle<Shape> s = vorn::PolymorphicFactory<Shape>::create("Circle");
//   vorn::PolymorphicFactory<Shape>::create("Square");            // null handle
//
// There is one prototype map per base type, process-wide, made on first use
// (so registrars in other translation units may run in any order). It is not
// locked: register classes at start-up, from one thread. register_class of a
// null handle throws the null-handle std::runtime_error; a later prototype
// with the same name replaces the earlier one.
#ifndef VORN_PERSISTENCE_POLYMORPHICFACTORY_H_
#define VORN_PERSISTENCE_POLYMORPHICFACTORY_H_

#include <functional>
#include <map>
#include <string>

#include "vorn/foundation/THandle.h"
#include "vorn/persistence/detail/PolymorphicFactoryTypeExtractor.h"

namespace vorn {

template <class T, class Extractor = detail::PolymorphicFactoryTypeExtractor<T>>
class PolymorphicFactory {
 public:
  PolymorphicFactory() = delete;

  static void register_class(const THandle<T>& prototype) { prototypes_()[Extractor()(*prototype)] = prototype; }

  // A fresh clone of the prototype registered as `type_name`; a null handle
  // when there is none.
  static THandle<T> create(const char* type_name) {
    const auto& prototypes = prototypes_();
    auto found = prototypes.find(type_name);
    if (found == prototypes.end()) return THandle<T>();
    return found->second->clone();
  }

  static bool has_type(const char* type_name) { return prototypes_().count(type_name) != 0; }

 private:
  static std::map<std::string, THandle<T>, std::less<>>& prototypes_() {
    static std::map<std::string, THandle<T>, std::less<>> prototypes;
    return prototypes;
  }
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_POLYMORPHICFACTORY_H_
