// MemoryDevice: a Device over bytes in memory, for archives that need no
// file: tests, fuzzers, images built before they are written somewhere.
//
//   vorn::MemoryDevice out;                            // empty, writable
//   { vorn::Archive a(out, vorn::Archive::WRITE); a << 1 << 2; }
//   std::string bytes = out.take();                    // 8 bytes
//
//   vorn::MemoryDevice in(bytes.data(), bytes.size()); // reads the caller's bytes
//   vorn::Archive b(in, vorn::Archive::READ);
//   int x, y;
//   b >> x >> y;
//
// Three kinds: empty and growing; holding a copy of given bytes, which can
// be read, overwritten and extended; or a read-only view of the caller's
// bytes, which must outlive the device and whose writes fail with EBADF.
// Reading at the end returns no bytes without an error.
#ifndef VORN_IO_MEMORYDEVICE_H_
#define VORN_IO_MEMORYDEVICE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "vorn/foundation/Export.h"
#include "vorn/io/Device.h"

namespace vorn {

class VORN_API MemoryDevice : public Device {
 public:
  // Empty and writable.
  MemoryDevice();
  // Holds `bytes`, positioned at their start; writable.
  explicit MemoryDevice(std::string bytes);
  // A read-only view of `size` bytes at `data`, positioned at their start.
  MemoryDevice(const void* data, std::size_t size);
  ~MemoryDevice() override;

  // The bytes held. A writable device is left empty at position 0; a view
  // is left as it is and its bytes are copied.
  std::string take();

  // A copy of the bytes held.
  std::string bytes() const;

  // The bytes held, without a copy; valid until the next write, clear(),
  // take() or the end of the device.
  std::string_view view();

  // Empties a writable device but keeps its memory, so that a device used
  // again and again allocates once; a view goes back to its start.
  void clear();

  std::size_t max_reserve() const noexcept override { return static_cast<std::size_t>(-1); }
  std::uint64_t position() const noexcept override;
  std::uint64_t size() const noexcept override;
  bool flush() override { return true; }
  bool sync() override { return true; }
  bool close() override { return true; }

 protected:
  bool write_slow(const void* data, std::size_t size) override;
  std::size_t read_slow(void* data, std::size_t size) override;
  std::size_t fill_slow() override;
  bool reserve_slow(std::size_t size) override;

 private:
  // Small: a growing buffer is zero-filled up to its capacity, and most
  // images written to memory (an entry, a record) are a few hundred bytes.
  static constexpr std::size_t initial_capacity_ = 1 << 8;

  // Closes the open window, moving its position into position_ and size_.
  void settle() noexcept;
  // Opens the read window at position_.
  void open_read_window() noexcept;

  std::string owned_;  // the bytes of a writable device; may run past size_
  const unsigned char* base_ = nullptr;
  std::size_t size_ = 0;
  std::size_t position_ = 0;
  bool writable_ = true;
};

}  // namespace vorn

#endif  // VORN_IO_MEMORYDEVICE_H_
