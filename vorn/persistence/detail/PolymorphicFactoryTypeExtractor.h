// Internal: do not include this file directly.
//
// PolymorphicFactoryTypeExtractor<T>: the function object through which
// PolymorphicFactory<T> learns the type name of a prototype: the object's
// class_name().
//
//   vorn::detail::PolymorphicFactoryTypeExtractor<Shape>()(circle);   // "Circle"
//
// A factory over a hierarchy that names its classes differently takes its
// own extractor as the second template argument. Throws whatever
// class_name() throws.
#ifndef VORN_PERSISTENCE_DETAIL_POLYMORPHICFACTORYTYPEEXTRACTOR_H_
#define VORN_PERSISTENCE_DETAIL_POLYMORPHICFACTORYTYPEEXTRACTOR_H_

namespace vorn::detail {

template <class T>
struct PolymorphicFactoryTypeExtractor {
  const char* operator()(const T& object) const { return object.class_name(); }
};

}  // namespace vorn::detail

#endif  // VORN_PERSISTENCE_DETAIL_POLYMORPHICFACTORYTYPEEXTRACTOR_H_
