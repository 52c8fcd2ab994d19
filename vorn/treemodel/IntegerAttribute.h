// IntegerAttribute: an attribute holding a signed 32-bit integer.
//
//   IntegerAttribute five(5);
//   five < IntegerAttribute(3);       // true: the other value is smaller
//   five == DoubleAttribute(5.9);     // true: 5.9 truncates to 5
//   IntegerAttribute(-7).as_text();   // "-7"
//
// Comparisons convert the other operand with as_integer() and compare signed
// integers. Nothing throws.
#ifndef VORN_TREEMODEL_INTEGERATTRIBUTE_H_
#define VORN_TREEMODEL_INTEGERATTRIBUTE_H_

#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/treemodel/Attribute.h"

namespace vorn {

class VORN_API IntegerAttribute : public Attribute {
 public:
  IntegerAttribute() = default;
  explicit IntegerAttribute(int value) noexcept : value_(value) {}

  // The value as printf's "%d".
  std::string as_text() const override;
  double as_double() const override;
  int as_integer() const override;

  bool operator<(const Attribute& other) const override;
  bool operator==(const Attribute& other) const override;
  bool operator!=(const Attribute& other) const override;

 private:
  int value_ = 0;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_INTEGERATTRIBUTE_H_
