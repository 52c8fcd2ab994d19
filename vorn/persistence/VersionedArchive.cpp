#include "vorn/persistence/VersionedArchive.h"

#include <stdexcept>
#include <utility>

namespace vorn {

VersionedArchive::VersionedArchive(const std::string& file_name, unsigned int mode) : Archive(file_name, mode) {}

VersionedArchive::VersionedArchive(Device& device, unsigned int mode) : Archive(device, mode) {}

VersionedArchive::VersionedArchive(std::unique_ptr<Device> device, unsigned int mode)
    : Archive(std::move(device), mode) {}

bool VersionedArchive::is_versioned(const Archive& archive) noexcept {
  return dynamic_cast<const VersionedArchive*>(&archive) != nullptr;
}

std::int32_t VersionedArchive::version(const Archive& archive) {
  const auto* versioned = dynamic_cast<const VersionedArchive*>(&archive);
  if (versioned == nullptr) throw std::runtime_error("VersionedArchive::version() - file is not versioned");
  return versioned->file_version;
}

}  // namespace vorn
