// PolymorphicPersistent<Derived, Base>: supplies clone() and class_name() for
// a concrete class of a polymorphic persistent hierarchy, so that the class
// writes only its data and its name.
//
//   class Shape {   // the hierarchy's base
//    public:
//     virtual ~Shape() = default;
//     virtual void write(const char* tag, vorn::PersistentWriteStream& s) const = 0;
//     virtual void read(const char* tag, vorn::PersistentReadStreamPresence p,
//                       vorn::PersistentReadStream& s) = 0;
//     virtual vorn::THandle<Shape> clone() const = 0;
//     virtual const char* class_name() const = 0;
//   };
//
//   class Circle : public vorn::PolymorphicPersistent<Circle, Shape> {
//    public:
//     static constexpr const char* type_name_ = "Circle";
//     void write(...) const override;   // a Block(tag, class_name()) of members
//     void read(...) override;
//   };
//
// clone() copies the object with Derived's copy constructor; class_name()
// returns Derived::type_name_. Constructors of Base are inherited.
#ifndef VORN_PERSISTENCE_POLYMORPHICPERSISTENT_H_
#define VORN_PERSISTENCE_POLYMORPHICPERSISTENT_H_

#include "vorn/foundation/THandle.h"

namespace vorn {

template <class Derived, class Base>
class PolymorphicPersistent : public Base {
 public:
  using Base::Base;

  THandle<Base> clone() const override { return THandle<Base>(new Derived(static_cast<const Derived&>(*this))); }
  const char* class_name() const override { return Derived::type_name_; }
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_POLYMORPHICPERSISTENT_H_
