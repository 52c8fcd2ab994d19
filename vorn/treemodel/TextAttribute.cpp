#include "vorn/treemodel/TextAttribute.h"

#include "vorn/foundation/StringFunctions.h"

namespace vorn {

std::string TextAttribute::as_text() const { return text_; }

double TextAttribute::as_double() const { return string_to_double(text_); }

int TextAttribute::as_integer() const { return string_to_int(text_); }

bool TextAttribute::operator<(const Attribute& other) const { return other.as_text() < text_; }

bool TextAttribute::operator==(const Attribute& other) const { return other.as_text() == text_; }

bool TextAttribute::operator!=(const Attribute& other) const { return other.as_text() != text_; }

}  // namespace vorn
