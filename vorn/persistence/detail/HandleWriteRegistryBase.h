// Internal: do not include this file directly.
//
// HandleWriteRegistryBase: the common base of the per-type write registries,
// so that a PersistentWriteStream can keep registries of unrelated handle
// types in one map. Users never touch it directly; the stream hands out the
// typed registry:
//
//   THandle<HandleWriteRegistry<Peak>> peaks = stream.registry(THandle<Peak>());
#ifndef VORN_PERSISTENCE_DETAIL_HANDLEWRITEREGISTRYBASE_H_
#define VORN_PERSISTENCE_DETAIL_HANDLEWRITEREGISTRYBASE_H_

namespace vorn::detail {

class HandleWriteRegistryBase {
 public:
  HandleWriteRegistryBase() = default;
  HandleWriteRegistryBase(const HandleWriteRegistryBase&) = delete;
  HandleWriteRegistryBase& operator=(const HandleWriteRegistryBase&) = delete;
  virtual ~HandleWriteRegistryBase() = default;
};

}  // namespace vorn::detail

#endif  // VORN_PERSISTENCE_DETAIL_HANDLEWRITEREGISTRYBASE_H_
