#include "vorn/persistence/Archive.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "vorn/io/FileDevice.h"
#include "vorn/io/FileSystem.h"
#include "vorn/persistence/detail/Coding.h"

namespace vorn {

namespace {

[[noreturn]] void no_portable_form_error(long double value) {
  std::ostringstream message;
  message << "Archive::operator<<: " << value << " has no portable floating-point form";
  throw std::invalid_argument(message.str());
}

inline float portable_float(float x) {
  if (!detail::has_portable_float_form(x)) no_portable_form_error(x);
  return x;
}

inline double portable_double(double x) {
  if (!detail::has_portable_double_form(x)) no_portable_form_error(x);
  return x;
}

template <class T>
[[noreturn]] void long_out_of_range_error(T value) {
  std::ostringstream message;
  message << "Archive::operator<<: " << (std::is_signed_v<T> ? "long" : "unsigned long") << " value " << value
          << " does not fit in 4 bytes";
  throw std::out_of_range(message.str());
}

template <class T>
void check_archived_longs(const T* values, std::size_t count) {
  const std::size_t unfit = detail::first_unfit_archived_long(values, count);
  if (unfit != count) long_out_of_range_error(values[unfit]);
}

[[noreturn]] void closed_error(const char* operation) {
  throw std::runtime_error(std::string("Archive::") + operation + ": the archive is not open");
}

// Runs read straight into their place go in pieces of this size, each
// swapped while it is still in the cache.
constexpr std::size_t direct_read_bytes = 1 << 20;

}  // namespace

Archive::Archive(const std::string& file_name, unsigned int mode) { open(file_name, mode); }

Archive::Archive(Device& device, unsigned int mode) { open(device, mode); }

Archive::Archive(std::unique_ptr<Device> device, unsigned int mode) { open(std::move(device), mode); }

Archive::~Archive() { close(); }

void Archive::set_mode(unsigned int mode) {
  mode_ = mode;
  if ((mode_ & (NATIVE_FORMAT | PORTABLE_FORMAT)) == 0) mode_ |= NATIVE_FORMAT;
  if ((mode_ & NATIVE_FORMAT) != 0 && (mode_ & PORTABLE_FORMAT) != 0)
    throw std::invalid_argument("Archive::open: all formats specified");
}

void Archive::attach(Device& device, unsigned int mode) {
  set_mode(mode);
  device_ = &device;
  failed_ = false;
  last_error_ = 0;
  size_ = device.size();
  position_ = device.position();
}

void Archive::open(const std::string& file_name, unsigned int mode) {
  close();
  set_mode(mode);
  OpenOptions options;
  options.read = (mode_ & READ) != 0;
  options.write = (mode_ & WRITE) != 0;
  options.create = options.write;
  options.truncate = options.write && !options.read;
  if (!options.read && !options.write) throw std::invalid_argument("Archive::open: Couldn't open file: " + file_name);
  std::unique_ptr<Device> device;
  try {
    device = std::make_unique<FileDevice>(file_name, options);
  } catch (const FileError&) {
    throw std::invalid_argument("Archive::open: Couldn't open file: " + file_name);
  }
  open(std::move(device), mode);
}

void Archive::open(Device& device, unsigned int mode) {
  close();
  attach(device, mode);
}

void Archive::open(std::unique_ptr<Device> device, unsigned int mode) {
  close();
  if (device == nullptr) throw std::invalid_argument("Archive::open: no device");
  attach(*device, mode);
  owned_device_ = std::move(device);
}

void Archive::close() noexcept {
  if (device_ != nullptr) {
    try {
      if (!(owned_device_ != nullptr ? owned_device_->close() : device_->flush())) note_failure();
    } catch (...) {
      failed_ = true;
    }
  }
  owned_device_.reset();
  device_ = nullptr;
  size_ = 0;
  position_ = 0;
}

bool Archive::sync() {
  if (device_ == nullptr) closed_error("sync");
  if (device_->sync()) return true;
  note_failure();
  return false;
}

void Archive::note_failure() noexcept {
  failed_ = true;
  if (device_ != nullptr && device_->error() != 0) last_error_ = device_->error();
}

// After a short read the rest of the target is zero, never uninitialised.
void Archive::zero_rest(unsigned char* data, std::size_t size, std::size_t got) noexcept {
  note_failure();
  std::memset(data + got, 0, size - got);
}

void Archive::write_bytes(const void* data, std::size_t size) {
  if (device_ == nullptr) closed_error("write");
  if (!device_->write(data, size)) {
    note_failure();
    return;
  }
  position_ += size;
  if (position_ > size_) size_ = position_;
}

std::size_t Archive::read_bytes(void* data, std::size_t size) {
  if (device_ == nullptr) closed_error("read");
  const std::size_t got = device_->read(data, size);
  position_ += got;
  if (got != size) zero_rest(static_cast<unsigned char*>(data), size, got);
  return got;
}

std::size_t Archive::read_bytes(std::string& text, std::size_t size) {
  if (device_ == nullptr) closed_error("read");
  if (size <= device_->readable()) {
    text.assign(reinterpret_cast<const char*>(device_->read_window()), size);
    device_->skip(size);
    position_ += size;
    return size;
  }
  text.resize(size);
  return read_bytes(text.data(), size);
}

// Single words are stored in or loaded from the device's window directly
// when it has room, which is nearly always.
template <class T>
void Archive::write_integer(T value) {
  constexpr std::size_t width = sizeof(T);
  unsigned char bytes[width];
  unsigned char* out = device_ != nullptr && device_->writable() >= width ? device_->write_window() : bytes;
  if constexpr (width == 2) {
    detail::store_big_endian16(static_cast<std::uint16_t>(value), out);
  } else if constexpr (width == 8) {
    detail::store_big_endian64(static_cast<std::uint64_t>(value), out);
  } else {
    detail::store_big_endian32(static_cast<std::uint32_t>(value), out);
  }
  if (out == bytes) {
    write_bytes(bytes, width);
    return;
  }
  device_->advance(width);
  position_ += width;
  if (position_ > size_) size_ = position_;
}

template <class T>
void Archive::read_integer(T& value) {
  constexpr std::size_t width = sizeof(T);
  unsigned char bytes[width];
  const unsigned char* in = bytes;
  if (device_ != nullptr && device_->readable() >= width) {
    in = device_->read_window();
    device_->skip(width);
    position_ += width;
  } else {
    read_bytes(bytes, width);
  }
  if constexpr (width == 2) {
    value = static_cast<T>(detail::load_big_endian16(in));
  } else if constexpr (width == 8) {
    value = static_cast<T>(detail::load_big_endian64(in));
  } else {
    value = static_cast<T>(detail::load_big_endian32(in));
  }
}

Archive& Archive::operator<<(char value) {
  write_bytes(&value, 1);
  return *this;
}

Archive& Archive::operator<<(signed char value) {
  write_bytes(&value, 1);
  return *this;
}

Archive& Archive::operator<<(unsigned char value) {
  write_bytes(&value, 1);
  return *this;
}

Archive& Archive::operator<<(bool value) {
  const unsigned char byte = value ? 1 : 0;
  write_bytes(&byte, 1);
  return *this;
}

Archive& Archive::operator<<(short value) {
  write_integer(value);
  return *this;
}

Archive& Archive::operator<<(unsigned short value) {
  write_integer(value);
  return *this;
}

Archive& Archive::operator<<(int value) {
  write_integer(value);
  return *this;
}

Archive& Archive::operator<<(unsigned int value) {
  write_integer(value);
  return *this;
}

// long and unsigned long are stored in 4 bytes, whatever their host width;
// a value that needs more is refused rather than cut.
Archive& Archive::operator<<(long value) {
  if (!detail::fits_archived_long(value)) long_out_of_range_error(value);
  write_integer(static_cast<std::int32_t>(value));
  return *this;
}

Archive& Archive::operator<<(unsigned long value) {
  if (!detail::fits_archived_long(value)) long_out_of_range_error(value);
  write_integer(static_cast<std::uint32_t>(value));
  return *this;
}

Archive& Archive::operator<<(long long value) {
  write_integer(static_cast<std::int64_t>(value));
  return *this;
}

Archive& Archive::operator<<(unsigned long long value) {
  write_integer(static_cast<std::uint64_t>(value));
  return *this;
}

Archive& Archive::operator<<(float value) {
  write_array(&value, 1);
  return *this;
}

Archive& Archive::operator<<(double value) {
  write_array(&value, 1);
  return *this;
}

Archive& Archive::operator<<(long double value) {
  write_array(&value, 1);
  return *this;
}

Archive& Archive::operator>>(char& value) {
  char byte;
  if (read_bytes(&byte, 1) == 1) value = byte;
  return *this;
}

Archive& Archive::operator>>(signed char& value) {
  signed char byte;
  if (read_bytes(&byte, 1) == 1) value = byte;
  return *this;
}

Archive& Archive::operator>>(unsigned char& value) {
  unsigned char byte;
  if (read_bytes(&byte, 1) == 1) value = byte;
  return *this;
}

Archive& Archive::operator>>(bool& value) {
  unsigned char byte;
  if (read_bytes(&byte, 1) == 1) value = byte != 0;
  return *this;
}

Archive& Archive::operator>>(short& value) {
  read_integer(value);
  return *this;
}

Archive& Archive::operator>>(unsigned short& value) {
  read_integer(value);
  return *this;
}

Archive& Archive::operator>>(int& value) {
  read_integer(value);
  return *this;
}

Archive& Archive::operator>>(unsigned int& value) {
  read_integer(value);
  return *this;
}

Archive& Archive::operator>>(long& value) {
  std::int32_t v;
  read_integer(v);
  value = v;
  return *this;
}

Archive& Archive::operator>>(unsigned long& value) {
  std::uint32_t v;
  read_integer(v);
  value = v;
  return *this;
}

Archive& Archive::operator>>(long long& value) {
  std::int64_t v;
  read_integer(v);
  value = v;
  return *this;
}

Archive& Archive::operator>>(unsigned long long& value) {
  std::uint64_t v;
  read_integer(v);
  value = v;
  return *this;
}

Archive& Archive::operator>>(float& value) {
  read_array(&value, 1);
  return *this;
}

Archive& Archive::operator>>(double& value) {
  read_array(&value, 1);
  return *this;
}

Archive& Archive::operator>>(long double& value) {
  read_array(&value, 1);
  return *this;
}

// Encodes `count` values of `Width` bytes each straight into the device's
// write window. A device that refuses to make room fails the archive and
// the rest of the run is dropped.
template <std::size_t Width, class Encode>
void Archive::write_encoded(std::size_t count, Encode encode) {
  if (device_ == nullptr) closed_error("write");
  for (std::size_t done = 0; done < count;) {
    if (device_->writable() < Width) {
      const std::size_t wanted = std::min((count - done) * Width, device_->max_reserve());
      if (!device_->reserve(wanted)) note_failure();
      if (device_->writable() < Width) return;
    }
    const std::size_t n = std::min(count - done, device_->writable() / Width);
    encode(done, n, device_->write_window());
    device_->advance(n * Width);
    position_ += n * Width;
    if (position_ > size_) size_ = position_;
    done += n;
  }
}

// Decodes `count` values of `Width` bytes each from the device's read
// window. A value split between two windows is read through a small buffer.
// Past the end the values decode from zero bytes, as single reads give them.
template <std::size_t Width, class Decode>
std::size_t Archive::read_encoded(std::size_t count, Decode decode) {
  if (device_ == nullptr) closed_error("read");
  for (std::size_t done = 0; done < count;) {
    const std::size_t available = device_->readable();
    if (available >= Width) {
      const std::size_t n = std::min(count - done, available / Width);
      decode(done, n, device_->read_window());
      device_->skip(n * Width);
      position_ += n * Width;
      done += n;
      continue;
    }
    if (available == 0 && device_->fill() >= Width) continue;
    unsigned char value[Width];
    if (read_bytes(value, Width) != Width) {
      const unsigned char zero[Width] = {};
      decode(done, 1, value);
      for (std::size_t i = done + 1; i < count; ++i) decode(i, 1, zero);
      return done;
    }
    decode(done, 1, value);
    ++done;
  }
  return count;
}

// Values whose host image is their file image with the bytes reversed.
template <std::size_t Width>
void Archive::write_swapped(const void* values, std::size_t count) {
  const auto* in = static_cast<const unsigned char*>(values);
  write_encoded<Width>(count, [in](std::size_t first, std::size_t n, unsigned char* out) {
    detail::swap_copy<Width>(in + first * Width, out, n);
  });
}

// Runs are swapped out of the device's window when it holds them (a memory
// device holds everything); otherwise they are read straight into their
// place and swapped there.
template <std::size_t Width>
std::size_t Archive::read_swapped(void* values, std::size_t count) {
  if (device_ == nullptr) closed_error("read");
  auto* out = static_cast<unsigned char*>(values);
  for (std::size_t done = 0; done < count;) {
    const std::size_t available = device_->readable();
    if (available >= Width) {
      const std::size_t n = std::min(count - done, available / Width);
      detail::swap_copy<Width>(device_->read_window(), out + done * Width, n);
      device_->skip(n * Width);
      position_ += n * Width;
      done += n;
      continue;
    }
    const std::size_t n = std::min(count - done, direct_read_bytes / Width);
    unsigned char* target = out + done * Width;
    const std::size_t got = read_bytes(target, n * Width);
    detail::swap_in_place<Width>(target, got / Width);
    if (got != n * Width) {
      // A partial value keeps its zero-filled bytes, as a single read does.
      std::memset(target + got / Width * Width, 0, (count - done) * Width - got / Width * Width);
      return done + got / Width;
    }
    done += n;
  }
  return count;
}

// long and unsigned long: stored as the big-endian image of the 4-byte
// `Encoded`, whatever their host size.
template <class T, class Encoded>
void Archive::write_array_as(const T* values, std::size_t count) {
  write_encoded<sizeof(Encoded)>(count, [values](std::size_t first, std::size_t n, unsigned char* out) {
    for (std::size_t i = 0; i < n; ++i)
      detail::store_big_endian32(static_cast<std::uint32_t>(static_cast<Encoded>(values[first + i])), out + i * 4);
  });
}

template <class T, class Encoded>
std::size_t Archive::read_array_as(T* values, std::size_t count) {
  return read_encoded<sizeof(Encoded)>(count, [values](std::size_t first, std::size_t n, const unsigned char* in) {
    for (std::size_t i = 0; i < n; ++i)
      values[first + i] = static_cast<T>(static_cast<Encoded>(detail::load_big_endian32(in + i * 4)));
  });
}

void Archive::write_array(const char* values, std::size_t count) { write_bytes(values, count); }

void Archive::write_array(const signed char* values, std::size_t count) { write_bytes(values, count); }

void Archive::write_array(const unsigned char* values, std::size_t count) { write_bytes(values, count); }

void Archive::write_array(const bool* values, std::size_t count) {
  write_encoded<1>(count, [values](std::size_t first, std::size_t n, unsigned char* out) {
    for (std::size_t i = 0; i < n; ++i) out[i] = values[first + i] ? 1 : 0;
  });
}

void Archive::write_array(const short* values, std::size_t count) { write_swapped<2>(values, count); }

void Archive::write_array(const unsigned short* values, std::size_t count) { write_swapped<2>(values, count); }

void Archive::write_array(const int* values, std::size_t count) { write_swapped<4>(values, count); }

void Archive::write_array(const unsigned int* values, std::size_t count) { write_swapped<4>(values, count); }

void Archive::write_array(const long* values, std::size_t count) {
  check_archived_longs(values, count);
  write_array_as<long, std::int32_t>(values, count);
}

void Archive::write_array(const unsigned long* values, std::size_t count) {
  check_archived_longs(values, count);
  write_array_as<unsigned long, std::uint32_t>(values, count);
}

void Archive::write_array(const long long* values, std::size_t count) { write_swapped<8>(values, count); }

void Archive::write_array(const unsigned long long* values, std::size_t count) { write_swapped<8>(values, count); }

void Archive::write_array(const float* values, std::size_t count) {
  if (!portable()) {
    write_swapped<4>(values, count);
    return;
  }
  write_encoded<detail::portable_float_bytes>(count, [values](std::size_t first, std::size_t n, unsigned char* out) {
    for (std::size_t i = 0; i < n; ++i) {
      detail::encode_portable_float(portable_float(values[first + i]), out + i * 4);
    }
  });
}

void Archive::write_array(const double* values, std::size_t count) {
  if (!portable()) {
    write_swapped<8>(values, count);
    return;
  }
  write_encoded<detail::portable_double_bytes>(count, [values](std::size_t first, std::size_t n, unsigned char* out) {
    for (std::size_t i = 0; i < n; ++i) detail::encode_portable_double(portable_double(values[first + i]), out + i * 8);
  });
}

void Archive::write_array(const long double* values, std::size_t count) {
  if (portable()) {
    write_encoded<detail::portable_double_bytes>(count, [values](std::size_t first, std::size_t n, unsigned char* out) {
      for (std::size_t i = 0; i < n; ++i) {
        detail::encode_portable_double(portable_double(static_cast<double>(values[first + i])), out + i * 8);
      }
    });
    return;
  }
  write_encoded<detail::x87_image_bytes>(count, [values](std::size_t first, std::size_t n, unsigned char* out) {
    for (std::size_t i = 0; i < n; ++i)
      detail::encode_x87_long_double(values[first + i], out + i * detail::x87_image_bytes);
  });
}

// One-byte values past the end of the file stay unchanged, as single reads
// leave them.
std::size_t Archive::read_array(char* values, std::size_t count) {
  if (device_ == nullptr) closed_error("read");
  const std::size_t got = device_->read(values, count);
  position_ += got;
  if (got != count) note_failure();
  return got;
}

std::size_t Archive::read_array(signed char* values, std::size_t count) {
  return read_array(reinterpret_cast<char*>(values), count);
}

std::size_t Archive::read_array(unsigned char* values, std::size_t count) {
  return read_array(reinterpret_cast<char*>(values), count);
}

std::size_t Archive::read_array(bool* values, std::size_t count) {
  if (device_ == nullptr) closed_error("read");
  std::size_t done = 0;
  while (done < count) {
    const std::size_t available = device_->fill();
    if (available == 0) {
      note_failure();
      break;
    }
    const std::size_t n = std::min(count - done, available);
    const unsigned char* in = device_->read_window();
    for (std::size_t i = 0; i < n; ++i) values[done + i] = in[i] != 0;
    device_->skip(n);
    position_ += n;
    done += n;
  }
  return done;
}

std::size_t Archive::read_array(short* values, std::size_t count) { return read_swapped<2>(values, count); }

std::size_t Archive::read_array(unsigned short* values, std::size_t count) { return read_swapped<2>(values, count); }

std::size_t Archive::read_array(int* values, std::size_t count) { return read_swapped<4>(values, count); }

std::size_t Archive::read_array(unsigned int* values, std::size_t count) { return read_swapped<4>(values, count); }

std::size_t Archive::read_array(long* values, std::size_t count) {
  return read_array_as<long, std::int32_t>(values, count);
}

std::size_t Archive::read_array(unsigned long* values, std::size_t count) {
  return read_array_as<unsigned long, std::uint32_t>(values, count);
}

std::size_t Archive::read_array(long long* values, std::size_t count) { return read_swapped<8>(values, count); }

std::size_t Archive::read_array(unsigned long long* values, std::size_t count) {
  return read_swapped<8>(values, count);
}

std::size_t Archive::read_array(float* values, std::size_t count) {
  if (!portable()) return read_swapped<4>(values, count);
  return read_encoded<detail::portable_float_bytes>(
      count, [values](std::size_t first, std::size_t n, const unsigned char* in) {
        for (std::size_t i = 0; i < n; ++i) values[first + i] = detail::decode_portable_float(in + i * 4);
      });
}

std::size_t Archive::read_array(double* values, std::size_t count) {
  if (!portable()) return read_swapped<8>(values, count);
  return read_encoded<detail::portable_double_bytes>(
      count, [values](std::size_t first, std::size_t n, const unsigned char* in) {
        for (std::size_t i = 0; i < n; ++i) values[first + i] = detail::decode_portable_double(in + i * 8);
      });
}

std::size_t Archive::read_array(long double* values, std::size_t count) {
  if (portable()) {
    return read_encoded<detail::portable_double_bytes>(
        count, [values](std::size_t first, std::size_t n, const unsigned char* in) {
          for (std::size_t i = 0; i < n; ++i) values[first + i] = detail::decode_portable_double(in + i * 8);
        });
  }
  return read_encoded<detail::x87_image_bytes>(
      count, [values](std::size_t first, std::size_t n, const unsigned char* in) {
        for (std::size_t i = 0; i < n; ++i)
          values[first + i] = detail::decode_x87_long_double(in + i * detail::x87_image_bytes);
      });
}

}  // namespace vorn
