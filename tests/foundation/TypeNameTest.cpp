#include "vorn/foundation/TypeName.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <typeinfo>

#include "vorn/foundation/THandle.h"

namespace vorn {
namespace {

struct Base {
  virtual ~Base() = default;
};
struct Leaf : Base {};

TEST(DemangledTypeName, SpellsTypesAsInSource) {
  const Leaf leaf;
  const Base& base = leaf;
  const struct {
    const char* name;
    const std::type_info& type;
    const char* want;
  } cases[] = {
      {"a built-in type", typeid(int), "int"},
      {"a library class", typeid(THandle<Base>), "vorn::THandle<vorn::(anonymous namespace)::Base>"},
      {"the dynamic type behind a reference", typeid(base), "vorn::(anonymous namespace)::Leaf"},
      {"a pointer to const", typeid(const char*), "char const*"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(demangled_type_name(c.type), c.want);
  }
}

}  // namespace
}  // namespace vorn
