// FileDevice: a Device over a File of the library's file layer, with its
// own buffer. Reads and writes move whole buffers with File::read_at and
// File::write_at; runs at least as long as the buffer go straight between
// the caller's memory and the file.
//
//   vorn::OpenOptions options;
//   options.write = true;
//   options.create = true;
//   vorn::FileDevice device("/data/values.arc", options);   // throws FileError
//   vorn::Archive archive(device, vorn::Archive::READ | vorn::Archive::WRITE);
//   archive << 42;
//   archive.sync();                                          // flush + fsync
//
// A long run of values asks for a wider write window (reserve() beyond the
// buffer): the buffer then grows up to `largest_buffer` bytes, so that a
// large array reaches the file in a few large writes.
//
// Every operation goes through FileSystem::current() as it was when the
// device was opened, so a fault-injecting file system sees all of them.
// Failures of the file are not thrown: they show as short reads and false
// results, with the errno value in error(); a failed flush drops the bytes
// it could not write.
#ifndef VORN_IO_FILEDEVICE_H_
#define VORN_IO_FILEDEVICE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/io/Device.h"
#include "vorn/io/FileSystem.h"

namespace vorn {

class VORN_API FileDevice : public Device {
 public:
  static constexpr std::size_t default_buffer_size = 1 << 16;
  static constexpr std::size_t largest_buffer_size = 1 << 20;

  // Opens `path` with FileSystem::current().open(); throws its FileError.
  // Without options.write, writes are refused at once with EBADF.
  FileDevice(const std::string& path, const OpenOptions& options, std::size_t buffer_size = default_buffer_size,
             std::size_t largest_buffer = largest_buffer_size);
  // Takes over an open file, positioned at its start.
  explicit FileDevice(std::unique_ptr<File> file, std::size_t buffer_size = default_buffer_size,
                      std::size_t largest_buffer = largest_buffer_size);
  // Closes the file, ignoring a failure: call close() to see it.
  ~FileDevice() override;

  std::size_t max_reserve() const noexcept override { return std::max(capacity_, largest_buffer_); }
  std::uint64_t position() const noexcept override;
  std::uint64_t size() const noexcept override;
  bool flush() override;
  bool sync() override;
  bool close() override;

 protected:
  bool write_slow(const void* data, std::size_t size) override;
  std::size_t read_slow(void* data, std::size_t size) override;
  std::size_t fill_slow() override;
  bool reserve_slow(std::size_t size) override;

 private:
  // Writes the pending bytes or forgets the bytes read ahead, leaving both
  // windows empty; false when the write failed.
  bool settle();
  bool write_file(const void* data, std::size_t size);
  std::size_t read_file(void* data, std::size_t size);
  void open_write_window() noexcept;
  bool check_open() noexcept;

  std::unique_ptr<File> file_;
  std::unique_ptr<unsigned char[]> buffer_;
  std::size_t capacity_;
  std::size_t largest_buffer_;
  std::uint64_t start_ = 0;  // file offset of buffer_[0], or the position when no window is open
  std::uint64_t size_ = 0;   // file size, not counting the pending bytes
  bool writable_ = true;
};

}  // namespace vorn

#endif  // VORN_IO_FILEDEVICE_H_
