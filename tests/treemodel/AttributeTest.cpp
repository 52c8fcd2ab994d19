#include "vorn/treemodel/Attribute.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "vorn/foundation/StringFunctions.h"
#include "vorn/treemodel/DoubleAttribute.h"
#include "vorn/treemodel/IntegerAttribute.h"
#include "vorn/treemodel/TextAttribute.h"

namespace vorn {
namespace {

TEST(Attribute, ConversionsOfEveryKind) {
  struct Case {
    const char* name;
    std::shared_ptr<Attribute> attribute;
    std::string text;
    int integer;
    double real;
  };
  const Case cases[] = {
      {"default text", std::make_shared<TextAttribute>(), "", 0, 0.0},
      {"numeric text", std::make_shared<TextAttribute>("width 12.5 mm"), "width 12.5 mm", 12, 12.5},
      {"word", std::make_shared<TextAttribute>("x"), "x", string_to_int("x"), string_to_double("x")},
      {"negative integer", std::make_shared<IntegerAttribute>(-7), "-7", -7, -7.0},
      {"default integer", std::make_shared<IntegerAttribute>(), "0", 0, 0.0},
      {"largest integer", std::make_shared<IntegerAttribute>(INT_MAX), "2147483647", INT_MAX, 2147483647.0},
      {"half", std::make_shared<DoubleAttribute>(2.5), "2.500000", 2, 2.5},
      {"negative truncates toward zero", std::make_shared<DoubleAttribute>(-2.9), "-2.900000", -2, -2.9},
      {"default double", std::make_shared<DoubleAttribute>(), "0.000000", 0, 0.0},
      {"just inside int", std::make_shared<DoubleAttribute>(2147483647.9), "2147483647.900000", INT_MAX,
       2147483647.9},
      {"beyond int", std::make_shared<DoubleAttribute>(3e9), "3000000000.000000", INT_MIN, 3e9},
      {"infinite", std::make_shared<DoubleAttribute>(-HUGE_VAL), "-inf", INT_MIN, -HUGE_VAL},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.attribute->as_text(), c.text);
    EXPECT_EQ(c.attribute->as_integer(), c.integer);
    EXPECT_EQ(c.attribute->as_double(), c.real);
    EXPECT_FALSE(c.attribute->is_empty());
  }
}

// The left operand's kind decides the domain, and `a < b` means b is smaller.
TEST(Attribute, ComparisonsConvertTheRightOperand) {
  const IntegerAttribute i3(3), i5(5), i2(2);
  const DoubleAttribute d37(3.7), d2(2.0), d3(3.0);
  const TextAttribute t2("2"), t20("2.0"), abc("abc"), abd("abd"), ab("ab"), a("a"), t3("3");
  struct Case {
    const char* name;
    const Attribute& left;
    const Attribute& right;
    bool equal;
    bool less;
  };
  const Case cases[] = {
      {"5 < 3 holds", i5, i3, false, true},
      {"3 < 5 does not", i3, i5, false, false},
      {"integer 3 equals double 3.7", i3, d37, true, false},
      {"double 3.7 differs from integer 3", d37, i3, false, true},
      {"double 3.0 equals integer 3", d3, i3, true, false},
      {"text 2 equals integer 2", t2, i2, true, false},
      {"text 2.0 differs from double 2.0", t20, d2, false, false},  // "2.000000" orders after "2.0"
      {"double 2.0 equals text 2.0", d2, t20, true, false},
      {"abc < abd is false", abc, abd, false, false},
      {"abd < abc is true", abd, abc, false, true},
      {"ab < a is true", ab, a, false, true},
      {"text 3 against integer 5 compares texts", t3, i5, false, false},
      {"integer 5 against text 3 compares integers", i5, t3, false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.left == c.right, c.equal);
    EXPECT_EQ(c.left != c.right, !c.equal);
    EXPECT_EQ(c.left < c.right, c.less);
  }
}

TEST(Attribute, NotANumberIsUnorderedAndUnequal) {
  const DoubleAttribute nan(std::numeric_limits<double>::quiet_NaN());
  const DoubleAttribute one(1.0);
  const IntegerAttribute integer(1);
  EXPECT_FALSE(nan == nan);
  EXPECT_TRUE(nan != nan);
  EXPECT_FALSE(nan < nan);
  EXPECT_FALSE(nan == one);
  EXPECT_TRUE(nan != one);
  EXPECT_FALSE(nan < one);
  EXPECT_FALSE(one < nan);
  EXPECT_TRUE(one != nan);
  EXPECT_FALSE(nan < integer);
  EXPECT_EQ(nan.as_integer(), INT_MIN);
  EXPECT_EQ(nan.as_text(), "nan");
}

}  // namespace
}  // namespace vorn
