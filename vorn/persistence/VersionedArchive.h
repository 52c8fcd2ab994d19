// VersionedArchive: an Archive that carries the format version of the file it
// is reading, so that the readers of nested objects can ask which layout
// they are reading.
//
// The class neither writes nor reads the version itself. Code that keeps
// versioned files writes the current version as the first int of the file
// and, when reading, stores the int it reads first in `file_version`:
//
//   vorn::VersionedArchive out("entry.ade", 3);
//   out << vorn::VersionedArchive::current_version;   // 00 00 00 06
//   ...
//   vorn::VersionedArchive in("entry.ade", vorn::Archive::READ);
//   in >> in.file_version;
//   ...
//   int v = vorn::VersionedArchive::version(in);      // in a nested reader
//
// version() throws std::runtime_error "VersionedArchive::version() - file is
// not versioned" for an archive that is not a VersionedArchive; the
// constructor throws as Archive's does.
#ifndef VORN_PERSISTENCE_VERSIONEDARCHIVE_H_
#define VORN_PERSISTENCE_VERSIONEDARCHIVE_H_

#include <cstdint>
#include <memory>
#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/persistence/Archive.h"

namespace vorn {

class VORN_API VersionedArchive : public Archive {
 public:
  static constexpr std::int32_t current_version = 6;

  // Opens the file as Archive does; file_version starts as current_version.
  VersionedArchive(const std::string& file_name, unsigned int mode);
  // On a device, as Archive's constructors.
  VersionedArchive(Device& device, unsigned int mode);
  VersionedArchive(std::unique_ptr<Device> device, unsigned int mode);

  // True exactly when `archive` is dynamically a VersionedArchive.
  static bool is_versioned(const Archive& archive) noexcept;

  // The file_version of `archive`; throws std::runtime_error when it is not
  // a VersionedArchive.
  static std::int32_t version(const Archive& archive);

  std::int32_t file_version = current_version;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_VERSIONEDARCHIVE_H_
