// Runs one program of archive reads and writes over the input's bytes on
// three devices at once: a MemoryDevice, and FileDevices over an in-memory
// File with the smallest buffer and with a buffer the input chooses, which
// may grow fourfold for long runs. The
// devices must agree on every value read, on failed(), on the bytes left and
// on the bytes they hold at the end; buffer edges, switches between reading
// and writing and reads past the end are where they could differ.
//
// The input's first byte picks the buffer size and the format, the next
// bytes up to the first 0xFF are the program, and the whole input is the
// archive's starting contents.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vorn/io/FileDevice.h"
#include "vorn/io/FileSystem.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"

namespace {

class StringFile : public vorn::File {
 public:
  explicit StringFile(std::string& bytes) : File("memory"), bytes_(bytes) {}
  std::size_t read_at(std::uint64_t offset, void* data, std::size_t size) override {
    const std::size_t n = offset < bytes_.size() ? std::min<std::size_t>(size, bytes_.size() - offset) : 0;
    bytes_.copy(static_cast<char*>(data), n, offset);
    return n;
  }
  void write_at(std::uint64_t offset, const void* data, std::size_t size) override {
    if (bytes_.size() < offset + size) bytes_.resize(offset + size);
    bytes_.replace(offset, size, static_cast<const char*>(data), size);
  }
  std::uint64_t size() override { return bytes_.size(); }
  void truncate(std::uint64_t size) override { bytes_.resize(size); }
  void sync() override {}
  void close() override {}

 private:
  std::string& bytes_;
};

// What one step observed: the bytes of the values read, then the state.
template <class T>
void record_values(std::string& log, const T* values, std::size_t count) {
  log.append(reinterpret_cast<const char*>(values), count * sizeof(T));
}

template <class T>
void run_read(vorn::Archive& a, std::size_t count, std::string& log) {
  std::unique_ptr<T[]> values(new T[count]());
  const std::size_t got = a.read_array(values.get(), count);
  log.append(reinterpret_cast<const char*>(&got), sizeof got);
  if constexpr (sizeof(T) == sizeof(long double)) {
    for (std::size_t i = 0; i < count; ++i)
      log.append(reinterpret_cast<const char*>(&values[i]), 10);  // the padding is undefined
  } else {
    record_values(log, values.get(), count);
  }
}

template <class T>
void run_single_read(vorn::Archive& a, std::string& log) {
  T value{};
  a >> value;
  if constexpr (sizeof(T) == sizeof(long double)) {
    log.append(reinterpret_cast<const char*>(&value), 10);
  } else {
    record_values(log, &value, 1);
  }
}

void step(vorn::Archive& a, std::uint8_t op, std::string& log) {
  const std::size_t count = static_cast<std::size_t>(op >> 4) * 5 + 1;
  switch (op & 0x0F) {
    case 0: run_single_read<char>(a, log); break;
    case 1: run_single_read<short>(a, log); break;
    case 2: run_single_read<int>(a, log); break;
    case 3: run_single_read<double>(a, log); break;
    case 4: run_single_read<long double>(a, log); break;
    case 5: run_read<bool>(a, count, log); break;
    case 6: run_read<unsigned short>(a, count, log); break;
    case 7: run_read<int>(a, count, log); break;
    case 8: run_read<long>(a, count, log); break;
    case 9: run_read<float>(a, count, log); break;
    case 10: run_read<long double>(a, count, log); break;
    case 11: {
      std::string text;
      const std::size_t got = a.read_bytes(text, count * 3);
      log.append(reinterpret_cast<const char*>(&got), sizeof got);
      log += text;
      break;
    }
    case 12: a << static_cast<int>(op); break;
    case 13: {
      const std::vector<int> values(count, op);
      a.write_array(values.data(), values.size());
      break;
    }
    case 14: {
      const std::vector<long double> values(count, 0.5L);
      a.write_array(values.data(), values.size());
      break;
    }
    default: a.sync(); break;
  }
  const std::uint64_t remaining = a.bytes_remaining();
  log.append(reinterpret_cast<const char*>(&remaining), sizeof remaining);
  log += a.failed() ? 'F' : '-';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t buffer = 16 + data[0] % 64;
  const unsigned int format = (data[0] & 0x80) != 0 ? vorn::Archive::PORTABLE_FORMAT : vorn::Archive::NATIVE_FORMAT;
  const std::uint8_t* program_end = std::find(data + 1, data + std::min<std::size_t>(size, 65), 0xFF);
  const std::string start(reinterpret_cast<const char*>(data), size);

  vorn::MemoryDevice memory(start);
  std::string small_bytes = start;
  std::string chosen_bytes = start;
  const unsigned int mode = vorn::Archive::READ | vorn::Archive::WRITE | format;
  vorn::Archive on_memory(memory, mode);
  vorn::Archive on_small(std::make_unique<vorn::FileDevice>(std::make_unique<StringFile>(small_bytes), 16, 16), mode);
  auto chosen_device = std::make_unique<vorn::FileDevice>(std::make_unique<StringFile>(chosen_bytes), buffer, buffer * 4);
  vorn::Archive on_chosen(std::move(chosen_device), mode);
  for (const std::uint8_t* op = data + 1; op < program_end; ++op) {
    std::string memory_log, small_log, chosen_log;
    step(on_memory, *op, memory_log);
    step(on_small, *op, small_log);
    step(on_chosen, *op, chosen_log);
    if (memory_log != small_log || memory_log != chosen_log) std::abort();
  }
  on_memory.close();
  on_small.close();
  on_chosen.close();
  const std::string held = memory.take();
  if (held != small_bytes || held != chosen_bytes) std::abort();
  return 0;
}
