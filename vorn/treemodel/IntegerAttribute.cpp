#include "vorn/treemodel/IntegerAttribute.h"

#include "vorn/foundation/StringFunctions.h"

namespace vorn {

std::string IntegerAttribute::as_text() const { return int_to_string(value_); }

double IntegerAttribute::as_double() const { return static_cast<double>(value_); }

int IntegerAttribute::as_integer() const { return value_; }

bool IntegerAttribute::operator<(const Attribute& other) const { return other.as_integer() < value_; }

bool IntegerAttribute::operator==(const Attribute& other) const { return other.as_integer() == value_; }

bool IntegerAttribute::operator!=(const Attribute& other) const { return other.as_integer() != value_; }

}  // namespace vorn
