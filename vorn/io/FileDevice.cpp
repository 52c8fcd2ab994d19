#include "vorn/io/FileDevice.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace vorn {

FileDevice::FileDevice(const std::string& path, const OpenOptions& options, std::size_t buffer_size,
                       std::size_t largest_buffer)
    : FileDevice(FileSystem::current().open(path, options), buffer_size, largest_buffer) {
  writable_ = options.write;
}

FileDevice::FileDevice(std::unique_ptr<File> file, std::size_t buffer_size, std::size_t largest_buffer)
    : file_(std::move(file)), capacity_(std::max<std::size_t>(buffer_size, 16)), largest_buffer_(largest_buffer) {
  buffer_.reset(new unsigned char[capacity_]);
  size_ = file_->size();
}

FileDevice::~FileDevice() {
  try {
    close();
  } catch (...) {
    // A destructor cannot report; close() does.
  }
}

std::uint64_t FileDevice::position() const noexcept {
  if (put_ != nullptr) return start_ + static_cast<std::uint64_t>(put_ - buffer_.get());
  if (get_ != nullptr) return start_ + static_cast<std::uint64_t>(get_ - buffer_.get());
  return start_;
}

std::uint64_t FileDevice::size() const noexcept {
  return put_ != nullptr ? std::max(size_, position()) : size_;
}

bool FileDevice::check_open() noexcept {
  if (file_ != nullptr) return true;
  error_ = EBADF;
  return false;
}

bool FileDevice::write_file(const void* data, std::size_t size) {
  if (!check_open()) return false;
  try {
    file_->write_at(start_, data, size);
    return true;
  } catch (const FileError& e) {
    error_ = e.error();
    return false;
  }
}

std::size_t FileDevice::read_file(void* data, std::size_t size) {
  if (!check_open()) return 0;
  try {
    return file_->read_at(start_, data, size);
  } catch (const FileError& e) {
    error_ = e.error();
    return 0;
  }
}

// The position moves past bytes whose write failed as if they had been
// written, so that the device's position stays the caller's.
bool FileDevice::settle() {
  bool ok = true;
  if (put_ != nullptr) {
    const auto pending = static_cast<std::size_t>(put_ - buffer_.get());
    put_ = put_end_ = nullptr;
    if (pending != 0) {
      ok = write_file(buffer_.get(), pending);
      start_ += pending;
      size_ = std::max(size_, start_);
    }
  } else if (get_ != nullptr) {
    start_ += static_cast<std::uint64_t>(get_ - buffer_.get());
    get_ = get_end_ = nullptr;
  }
  return ok;
}

void FileDevice::open_write_window() noexcept {
  put_ = buffer_.get();
  put_end_ = buffer_.get() + capacity_;
}

bool FileDevice::reserve_slow(std::size_t size) {
  if (!writable_) {
    error_ = EBADF;
    return false;
  }
  const bool ok = settle();
  if (size > capacity_) {
    capacity_ = std::min(size, max_reserve());
    buffer_.reset(new unsigned char[capacity_]);
  }
  open_write_window();
  return ok && check_open();
}

bool FileDevice::write_slow(const void* data, std::size_t size) {
  if (!writable_) {
    error_ = EBADF;
    return false;
  }
  if (size < capacity_) {
    const bool ok = reserve_slow(size);
    std::memcpy(put_, data, size);
    put_ += size;
    return ok;
  }
  bool ok = settle();
  ok = write_file(data, size) && ok;
  start_ += size;
  size_ = std::max(size_, start_);
  return ok;
}

std::size_t FileDevice::read_slow(void* data, std::size_t size) {
  auto* out = static_cast<unsigned char*>(data);
  const std::size_t buffered = readable();
  if (buffered != 0) std::memcpy(out, get_, buffered);
  get_ += buffered;
  settle();
  const std::size_t remaining = size - buffered;
  if (remaining >= capacity_) {
    const std::size_t got = read_file(out + buffered, remaining);
    start_ += got;
    return buffered + got;
  }
  const std::size_t got = std::min(remaining, fill_slow());
  std::memcpy(out + buffered, get_, got);
  get_ += got;
  return buffered + got;
}

std::size_t FileDevice::fill_slow() {
  settle();
  const std::size_t got = read_file(buffer_.get(), capacity_);
  get_ = buffer_.get();
  get_end_ = buffer_.get() + got;
  return got;
}

bool FileDevice::flush() { return put_ != nullptr ? settle() : true; }

bool FileDevice::sync() {
  if (!flush() || !check_open()) return false;
  try {
    file_->sync();
    return true;
  } catch (const FileError& e) {
    error_ = e.error();
    return false;
  }
}

bool FileDevice::close() {
  if (file_ == nullptr) return true;
  bool ok = settle();
  try {
    file_->close();
  } catch (const FileError& e) {
    error_ = e.error();
    ok = false;
  }
  file_.reset();
  return ok;
}

}  // namespace vorn
