#include "vorn/io/MemoryDevice.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace vorn {

MemoryDevice::MemoryDevice() : MemoryDevice(std::string()) {}

MemoryDevice::MemoryDevice(std::string bytes)
    : owned_(std::move(bytes)), base_(reinterpret_cast<const unsigned char*>(owned_.data())), size_(owned_.size()) {
  open_read_window();
}

MemoryDevice::MemoryDevice(const void* data, std::size_t size)
    : base_(static_cast<const unsigned char*>(data)), size_(size), writable_(false) {
  open_read_window();
}

MemoryDevice::~MemoryDevice() = default;

std::uint64_t MemoryDevice::position() const noexcept {
  if (put_ != nullptr) return static_cast<std::uint64_t>(put_ - base_);
  if (get_ != nullptr) return static_cast<std::uint64_t>(get_ - base_);
  return position_;
}

std::uint64_t MemoryDevice::size() const noexcept {
  const std::size_t written = put_ != nullptr ? static_cast<std::size_t>(put_ - base_) : 0;
  return std::max(size_, written);
}

std::string MemoryDevice::take() {
  settle();
  if (!writable_) {
    open_read_window();
    return std::string(reinterpret_cast<const char*>(base_), size_);
  }
  owned_.resize(size_);
  std::string result = std::move(owned_);
  owned_.clear();
  base_ = reinterpret_cast<const unsigned char*>(owned_.data());
  size_ = 0;
  position_ = 0;
  open_read_window();
  return result;
}

std::string MemoryDevice::bytes() const {
  return std::string(reinterpret_cast<const char*>(base_), static_cast<std::size_t>(size()));
}

std::string_view MemoryDevice::view() {
  settle();
  open_read_window();
  return std::string_view(reinterpret_cast<const char*>(base_), size_);
}

void MemoryDevice::clear() {
  settle();
  if (writable_) size_ = 0;
  position_ = 0;
  open_read_window();
}

void MemoryDevice::settle() noexcept {
  if (put_ != nullptr) {
    position_ = static_cast<std::size_t>(put_ - base_);
    size_ = std::max(size_, position_);
  } else if (get_ != nullptr) {
    position_ = static_cast<std::size_t>(get_ - base_);
  }
  put_ = put_end_ = nullptr;
  get_ = get_end_ = nullptr;
}

void MemoryDevice::open_read_window() noexcept {
  get_ = base_ + position_;
  get_end_ = base_ + size_;
}

std::size_t MemoryDevice::read_slow(void* data, std::size_t size) {
  if (get_ == nullptr) fill_slow();
  const std::size_t n = std::min(size, readable());
  if (n != 0) std::memcpy(data, get_, n);
  get_ += n;
  return n;
}

std::size_t MemoryDevice::fill_slow() {
  settle();
  open_read_window();
  return readable();
}

// Grows the bytes at least twofold, so that a run of small writes costs
// amortised constant time per byte.
bool MemoryDevice::reserve_slow(std::size_t size) {
  if (!writable_) {
    error_ = EBADF;
    return false;
  }
  settle();
  const std::size_t needed = position_ + size;
  if (owned_.size() < needed) {
    owned_.resize(std::max({needed, 2 * owned_.size(), initial_capacity_}));
    base_ = reinterpret_cast<const unsigned char*>(owned_.data());
  }
  put_ = reinterpret_cast<unsigned char*>(owned_.data()) + position_;
  put_end_ = reinterpret_cast<unsigned char*>(owned_.data()) + owned_.size();
  return true;
}

bool MemoryDevice::write_slow(const void* data, std::size_t size) {
  if (!reserve_slow(size)) return false;
  std::memcpy(put_, data, size);
  put_ += size;
  return true;
}

}  // namespace vorn
