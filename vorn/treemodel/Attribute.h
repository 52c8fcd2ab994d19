// Attribute: a small immutable value (text, integer or floating point) that
// describes a model item for one purpose, such as a name to sort by or a
// count to group by.
//
// Attributes are made by an AttributeSupplier, cached by the ModelItem and
// held through THandle<Attribute>; they never change after construction.
// Every kind converts to the three representations, so attributes of
// different kinds can be compared. A comparison converts the *right*
// operand into the left operand's kind, so it is asymmetric across kinds:
//
//   IntegerAttribute three(3);
//   DoubleAttribute three_point_seven(3.7);
//   three == three_point_seven;   // true: 3.7 truncates to 3
//   three_point_seven == three;   // false: 3.0 != 3.7
//
// `a < b` is true when `b` is the smaller of the two in `a`'s domain, so a
// sequence sorted with this operator runs in descending order.
//
// Nothing here throws except what the kinds' conversions throw (they do
// not; unparsable text converts to what the lenient parsers give).
#ifndef VORN_TREEMODEL_ATTRIBUTE_H_
#define VORN_TREEMODEL_ATTRIBUTE_H_

#include <string>

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API Attribute {
 public:
  virtual ~Attribute();

  virtual std::string as_text() const = 0;
  virtual double as_double() const = 0;
  virtual int as_integer() const = 0;

  // False for every attribute the library defines.
  virtual bool is_empty() const;

  // True when `other`, converted into this attribute's kind, is smaller.
  virtual bool operator<(const Attribute& other) const = 0;
  // True when `other`, converted into this attribute's kind, is equal.
  virtual bool operator==(const Attribute& other) const = 0;
  virtual bool operator!=(const Attribute& other) const = 0;

 protected:
  Attribute() = default;
  Attribute(const Attribute&) = default;
  Attribute& operator=(const Attribute&) = default;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_ATTRIBUTE_H_
