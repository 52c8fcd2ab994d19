// DoubleAttribute: an attribute holding a 64-bit floating-point number.
//
//   DoubleAttribute x(2.5);
//   x.as_text();                     // "2.500000" (printf "%f")
//   DoubleAttribute(-2.9).as_integer();  // -2, truncated toward zero
//   x == IntegerAttribute(2);        // false: 2.0 against 2.5
//
// Comparisons convert the other operand with as_double(). A NaN on either
// side makes == and < false and != true. as_integer() of a NaN or of a value
// outside int's range gives INT_MIN, the x87 "integer indefinite" that the
// truncating conversion yields on the library's original platform.
// Nothing throws.
#ifndef VORN_TREEMODEL_DOUBLEATTRIBUTE_H_
#define VORN_TREEMODEL_DOUBLEATTRIBUTE_H_

#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/treemodel/Attribute.h"

namespace vorn {

class VORN_API DoubleAttribute : public Attribute {
 public:
  DoubleAttribute() = default;
  explicit DoubleAttribute(double value) noexcept : value_(value) {}

  std::string as_text() const override;
  double as_double() const override;
  int as_integer() const override;

  bool operator<(const Attribute& other) const override;
  bool operator==(const Attribute& other) const override;
  bool operator!=(const Attribute& other) const override;

 private:
  double value_ = 0.0;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_DOUBLEATTRIBUTE_H_
