// Internal: do not include this file directly.
//
// HandleReadRegistryBase: the common base of the per-type read registries,
// so that a PersistentReadStream can keep registries of unrelated handle
// types in one map. Users never touch it directly; the stream hands out the
// typed registry:
//
//   THandle<HandleReadRegistry<Peak>> peaks = stream.registry(THandle<Peak>());
#ifndef VORN_PERSISTENCE_DETAIL_HANDLEREADREGISTRYBASE_H_
#define VORN_PERSISTENCE_DETAIL_HANDLEREADREGISTRYBASE_H_

namespace vorn::detail {

class HandleReadRegistryBase {
 public:
  HandleReadRegistryBase() = default;
  HandleReadRegistryBase(const HandleReadRegistryBase&) = delete;
  HandleReadRegistryBase& operator=(const HandleReadRegistryBase&) = delete;
  virtual ~HandleReadRegistryBase() = default;
};

}  // namespace vorn::detail

#endif  // VORN_PERSISTENCE_DETAIL_HANDLEREADREGISTRYBASE_H_
