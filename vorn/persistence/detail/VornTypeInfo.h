// Internal: do not include this file directly.
//
// VornTypeInfo: a std::type_info that can be copied, compared and used as
// the key of an ordered map.
//
// Keys order by the address of the type's name string, the order that
// type_info::before gives on this platform:
//
//   std::map<vorn::detail::VornTypeInfo, int> per_type;
//   per_type[vorn::detail::VornTypeInfo(typeid(int))] = 1;
//
// Never throws.
#ifndef VORN_PERSISTENCE_DETAIL_VORNTYPEINFO_H_
#define VORN_PERSISTENCE_DETAIL_VORNTYPEINFO_H_

#include <cstdint>
#include <typeinfo>

namespace vorn::detail {

class VornTypeInfo {
 public:
  /*implicit*/ VornTypeInfo(const std::type_info& info) noexcept : info_(&info) {}  // NOLINT(google-explicit-constructor)

  const std::type_info& type_info() const noexcept { return *info_; }
  const char* name() const noexcept { return info_->name(); }

  friend bool operator<(const VornTypeInfo& a, const VornTypeInfo& b) noexcept { return a.key() < b.key(); }
  friend bool operator==(const VornTypeInfo& a, const VornTypeInfo& b) noexcept { return a.key() == b.key(); }
  friend bool operator!=(const VornTypeInfo& a, const VornTypeInfo& b) noexcept { return !(a == b); }

 private:
  std::uintptr_t key() const noexcept { return reinterpret_cast<std::uintptr_t>(info_->name()); }

  const std::type_info* info_;
};

}  // namespace vorn::detail

#endif  // VORN_PERSISTENCE_DETAIL_VORNTYPEINFO_H_
