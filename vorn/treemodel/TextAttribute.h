// TextAttribute: an attribute holding a text.
//
//   TextAttribute name("abd");
//   name < TextAttribute("abc");     // true: the other text orders first
//   name == IntegerAttribute(2);     // compares "abd" with "2"
//   TextAttribute("12.5").as_double();  // 12.5
//
// Comparisons convert the other operand with as_text() and compare byte-wise.
// as_integer() and as_double() parse leniently (string_to_int,
// string_to_double) and give 0 for text without digits; nothing throws.
#ifndef VORN_TREEMODEL_TEXTATTRIBUTE_H_
#define VORN_TREEMODEL_TEXTATTRIBUTE_H_

#include <string>
#include <utility>

#include "vorn/foundation/Export.h"
#include "vorn/treemodel/Attribute.h"

namespace vorn {

class VORN_API TextAttribute : public Attribute {
 public:
  TextAttribute() = default;
  explicit TextAttribute(std::string text) noexcept : text_(std::move(text)) {}

  std::string as_text() const override;
  double as_double() const override;
  int as_integer() const override;

  bool operator<(const Attribute& other) const override;
  bool operator==(const Attribute& other) const override;
  bool operator!=(const Attribute& other) const override;

 private:
  std::string text_;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_TEXTATTRIBUTE_H_
