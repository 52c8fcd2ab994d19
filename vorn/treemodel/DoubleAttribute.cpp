#include "vorn/treemodel/DoubleAttribute.h"

#include <climits>
#include <cmath>

#include "vorn/foundation/StringFunctions.h"

namespace vorn {

std::string DoubleAttribute::as_text() const { return double_to_string(value_); }

double DoubleAttribute::as_double() const { return value_; }

int DoubleAttribute::as_integer() const {
  // A plain cast is undefined outside int's range; the bounds are exact
  // doubles, and anything strictly between them truncates into range.
  if (!(value_ > -2147483649.0 && value_ < 2147483648.0)) return INT_MIN;
  return static_cast<int>(value_);
}

bool DoubleAttribute::operator<(const Attribute& other) const { return other.as_double() < value_; }

bool DoubleAttribute::operator==(const Attribute& other) const { return other.as_double() == value_; }

bool DoubleAttribute::operator!=(const Attribute& other) const { return !(other.as_double() == value_); }

}  // namespace vorn
