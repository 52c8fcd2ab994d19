// Device: a sequence of bytes with one position, read and written in order,
// that an Archive stores its values in. FileDevice keeps the bytes in a file
// (through FileSystem), MemoryDevice in memory.
//
//   vorn::MemoryDevice device;                    // an empty, growing buffer
//   vorn::Archive out(device, vorn::Archive::WRITE);
//   out << 42;
//   out.close();                                  // flushes; the device stays
//   std::string bytes = device.take();            // "\0\0\0\x2A"
//
// A device is buffered: between the reads and writes it keeps a window of
// bytes that the inline fast paths below copy to or from directly, and only
// when the window is used up does it call its implementation. A device is
// in reading or in writing at any time; switching flushes the pending
// writes or forgets the bytes read ahead.
//
// Devices do not throw for a failed read or write: read() returns fewer
// bytes, write(), flush(), sync() and close() return false, and error()
// holds the errno value of the last failure. Running out of memory throws
// std::bad_alloc as usual.
#ifndef VORN_IO_DEVICE_H_
#define VORN_IO_DEVICE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API Device {
 public:
  virtual ~Device() = default;
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  // Writes all `size` bytes at the position; false when the device refused
  // them (see error()).
  bool write(const void* data, std::size_t size) {
    if (size <= writable()) {
      if (size != 0) std::memcpy(put_, data, size);
      put_ += size;
      return true;
    }
    return write_slow(data, size);
  }

  // Reads up to `size` bytes from the position and returns how many were
  // read: fewer only at the end of the bytes or on a failure.
  std::size_t read(void* data, std::size_t size) {
    if (size <= readable()) {
      if (size != 0) std::memcpy(data, get_, size);
      get_ += size;
      return size;
    }
    return read_slow(data, size);
  }

  // The read window: readable() bytes at read_window() that the next reads
  // return; skip() consumes them. Empty while writing. Callers that convert
  // values can work on these bytes directly instead of copying them first.
  std::size_t readable() const noexcept { return static_cast<std::size_t>(get_end_ - get_); }
  const unsigned char* read_window() const noexcept { return get_; }
  void skip(std::size_t size) noexcept { get_ += size; }

  // Makes the read window hold at least one byte unless the bytes have
  // ended (or failed); returns readable().
  std::size_t fill() { return readable() != 0 ? readable() : fill_slow(); }

  // The write window: writable() bytes at write_window() that the caller
  // may fill and then hand over with advance(). Empty while reading.
  std::size_t writable() const noexcept { return static_cast<std::size_t>(put_end_ - put_); }
  unsigned char* write_window() noexcept { return put_; }
  void advance(std::size_t size) noexcept { put_ += size; }

  // Makes the write window at least `size` bytes wide (`size` at most
  // max_reserve()), opening it after reading. Returns false, with error()
  // set, when the device refuses writes (the window stays empty) or when
  // pending bytes could not be written out to make room (the window is
  // opened all the same, and the bytes that failed are dropped).
  bool reserve(std::size_t size) { return writable() >= size ? true : reserve_slow(size); }

  // The widest write window that reserve() grants: the buffer of a file,
  // any width in memory.
  virtual std::size_t max_reserve() const noexcept = 0;

  // The offset of the position from the start, and the number of bytes
  // held, counting the pending writes.
  virtual std::uint64_t position() const noexcept = 0;
  virtual std::uint64_t size() const noexcept = 0;

  // Hands the pending writes on (to the file); false on a failure.
  virtual bool flush() = 0;
  // flush(), then makes every byte written durable; false on a failure.
  virtual bool sync() = 0;
  // flush(), then releases what the device holds on to (the file); false on
  // a failure. A closed device refuses reads and writes.
  virtual bool close() = 0;

  // The errno value of the last failure, 0 when none failed.
  int error() const noexcept { return error_; }

 protected:
  Device() = default;

  virtual bool write_slow(const void* data, std::size_t size) = 0;
  virtual std::size_t read_slow(void* data, std::size_t size) = 0;
  virtual std::size_t fill_slow() = 0;
  virtual bool reserve_slow(std::size_t size) = 0;

  // The windows, set by the implementations. At most one is non-empty.
  unsigned char* put_ = nullptr;
  unsigned char* put_end_ = nullptr;
  const unsigned char* get_ = nullptr;
  const unsigned char* get_end_ = nullptr;
  int error_ = 0;
};

}  // namespace vorn

#endif  // VORN_IO_DEVICE_H_
