// PersistentWriteStream: the abstract stream through which every persistent
// object stores itself, as a tree of tagged items.
//
// Primitive items carry a value (the integer types from char to long long,
// signed char, bool, the floating-point types and std::string); blocks carry
// a type name, a class version (0 unless given) and hold further items. A persistent class offers `write(const char* tag,
// PersistentWriteStream&) const` and writes itself as one Block:
//
//   void Point::write(const char* tag, vorn::PersistentWriteStream& s) const {
//     vorn::PersistentWriteStream::Block block(s, tag, "Point");
//     s.write("x", x_);
//     s.write("y", y_);
//     s.write("label", label_);     // std::string
//     s.write("owner", owner_);     // THandle<Person>: stored once per stream
//     s.write("samples", samples_); // std::vector<double> (PersistentContainers.h)
//   }
//
// The concrete streams (ArchiveWriteStream, DebugPrintStream) decide what of
// this reaches their medium. Handles are written as a "Handle" block with a
// "serial_number" and, on an object's first appearance on this stream, its
// "value"; serial numbers run 1, 2, 3, ... across all handle types, 0 is the
// null handle. A handle of a polymorphic persistent class (one with clone()
// and class_name(); see PolymorphicFactory) needs a stream that supports
// polymorphism and a registered class.
//
// Derived streams implement the pure virtual operations; they may override
// write_array() to store runs of primitives faster, provided the result is
// identical to writing the items one by one under the tag given.
//
// Throws std::length_error for nesting deeper than maximum_block_depth()
// (see below), std::runtime_error "Failed whilst writing as stream does not
// support polymorphism" and "Error: Type '<name>' has not been registered
// with PolymorphicFactory" for polymorphic handles, std::length_error for a
// container of more than 2^32 - 1 items, and whatever the concrete stream
// throws.
#ifndef VORN_PERSISTENCE_PERSISTENTWRITESTREAM_H_
#define VORN_PERSISTENCE_PERSISTENTWRITESTREAM_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"
#include "vorn/persistence/PolymorphicFactory.h"
#include "vorn/persistence/detail/Counter.h"
#include "vorn/persistence/detail/HandleWriteRegistry.h"
#include "vorn/persistence/detail/HandleWriteRegistryBase.h"
#include "vorn/persistence/detail/PersistentTraits.h"
#include "vorn/persistence/detail/VornTypeInfo.h"

namespace vorn {

class VORN_API PersistentWriteStream {
 public:
  // Opens a block on construction and closes it on destruction, also when an
  // exception passes.
  class Block {
   public:
    // `version` is the class version of the block's layout, stored by the
    // streams that keep versions (and 0 is what the others read back).
    Block(PersistentWriteStream& stream, const char* tag, const char* type_name, unsigned int version = 0)
        : stream_(stream) {
      stream_.enter_block(tag);
      try {
        stream_.begin_block(tag, type_name, version);
      } catch (...) {
        --stream_.block_depth_;
        throw;
      }
    }
    ~Block() {
      --stream_.block_depth_;
      stream_.end_block();
    }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

   private:
    PersistentWriteStream& stream_;
  };

  // The write-side checks for handles of polymorphic classes; nothing for
  // the others.
  template <class T, bool Polymorphic>
  struct PolymorphismChecks {
    static void check(const PersistentWriteStream&, const THandle<T>&) {}
  };
  template <class T>
  struct PolymorphismChecks<T, true> {
    static void check(const PersistentWriteStream& stream, const THandle<T>& handle) {
      stream.check_stream_supports_polymorphism();
      stream.check_type_is_registered(handle);
    }
  };

  PersistentWriteStream();
  virtual ~PersistentWriteStream();
  PersistentWriteStream(const PersistentWriteStream&) = delete;
  PersistentWriteStream& operator=(const PersistentWriteStream&) = delete;

  virtual bool supports_polymorphism() const = 0;

  virtual void write(const char* tag, char value) = 0;
  virtual void write(const char* tag, signed char value) = 0;
  virtual void write(const char* tag, unsigned char value) = 0;
  virtual void write(const char* tag, bool value) = 0;
  virtual void write(const char* tag, short value) = 0;
  virtual void write(const char* tag, unsigned short value) = 0;
  virtual void write(const char* tag, int value) = 0;
  virtual void write(const char* tag, unsigned int value) = 0;
  virtual void write(const char* tag, long value) = 0;
  virtual void write(const char* tag, unsigned long value) = 0;
  virtual void write(const char* tag, long long value) = 0;
  virtual void write(const char* tag, unsigned long long value) = 0;
  virtual void write(const char* tag, float value) = 0;
  virtual void write(const char* tag, double value) = 0;
  virtual void write(const char* tag, long double value) = 0;
  virtual void write(const char* tag, const std::string& value) = 0;

  virtual void begin_block(const char* tag, const char* type_name) = 0;
  // Opens a block of class version `version`. The default drops the version
  // and opens the block as above; streams that store versions override it.
  virtual void begin_block(const char* tag, const char* type_name, unsigned int version);
  virtual void end_block() = 0;

  // Called after the items of a container whose items may encode to no
  // bytes at all, with how many bytes they took (bytes_written() before and
  // after), so that a stream whose reader bounds such counts by the bytes
  // left can refuse what that reader would refuse. The default accepts.
  virtual void check_unsized_items_written(const char* tag, std::size_t count, std::uint64_t item_bytes);
  // The bytes written so far, for check_unsized_items_written; 0 for a
  // stream that does not count them.
  virtual std::uint64_t bytes_written() const { return 0; }

  // Called when a polymorphic handle's object is written for the first
  // time, just before its "value" block, with its registered class name, so
  // that a stream that supports polymorphism can store what the reader needs
  // to re-create it. The default stores nothing.
  virtual void write_type_name(const char* tag, const char* type_name);

  // Writes `count` items, each under `tag`. The default writes them one by
  // one; overrides must produce exactly the same result.
  virtual void write_array(const char* tag, const char* values, std::size_t count);
  virtual void write_array(const char* tag, const signed char* values, std::size_t count);
  virtual void write_array(const char* tag, const unsigned char* values, std::size_t count);
  virtual void write_array(const char* tag, const bool* values, std::size_t count);
  virtual void write_array(const char* tag, const short* values, std::size_t count);
  virtual void write_array(const char* tag, const unsigned short* values, std::size_t count);
  virtual void write_array(const char* tag, const int* values, std::size_t count);
  virtual void write_array(const char* tag, const unsigned int* values, std::size_t count);
  virtual void write_array(const char* tag, const long* values, std::size_t count);
  virtual void write_array(const char* tag, const unsigned long* values, std::size_t count);
  virtual void write_array(const char* tag, const long long* values, std::size_t count);
  virtual void write_array(const char* tag, const unsigned long long* values, std::size_t count);
  virtual void write_array(const char* tag, const float* values, std::size_t count);
  virtual void write_array(const char* tag, const double* values, std::size_t count);
  virtual void write_array(const char* tag, const long double* values, std::size_t count);

  // A C string is written as a std::string.
  void write(const char* tag, const char* value) { write(tag, std::string(value)); }

  // Any persistent value: an object with a write() member, or a type with an
  // overload of write_persistent_value (the containers of
  // PersistentContainers.h).
  template <class T>
  void write(const char* tag, const T& value) {
    write_persistent_value(tag, value, *this);
  }

  // A handle: the object is written on its first appearance on this stream,
  // later handles to it write only its serial number.
  template <class T>
  void write(const char* tag, const THandle<T>& handle);

  // The registry of THandle<T> on this stream, made on first use; `handle`
  // only selects T.
  template <class T>
  THandle<detail::HandleWriteRegistry<T>> registry(const THandle<T>& handle);

  // Open blocks are counted, and a stream refuses to open more than
  // maximum_block_depth() at once (default 2000, the readers' limit), so that
  // whatever is written can be read back and a deep structure fails with an
  // exception instead of overflowing the stack. The limit is on the data
  // structure: each handle in a chain nests two blocks (the "Handle" block
  // and its value), each container or pair one. Raise it on both sides for
  // deliberately deep graphs (each level costs stack).
  static constexpr std::size_t default_maximum_block_depth = 2000;
  std::size_t block_depth() const noexcept { return block_depth_; }
  std::size_t maximum_block_depth() const noexcept { return maximum_block_depth_; }
  void set_maximum_block_depth(std::size_t depth) noexcept { maximum_block_depth_ = depth; }

  void check_stream_supports_polymorphism() const;
  [[noreturn]] void non_registered_type_error(const std::string& type_name) const;

  template <class T>
  void check_type_is_registered(const THandle<T>& handle) const {
    if (handle == nullptr) return;
    const char* type_name = handle->class_name();
    if (!PolymorphicFactory<T>::has_type(type_name)) non_registered_type_error(type_name);
  }

 private:
  // Counts a block about to open; throws std::length_error
  // "PersistentWriteStream::Block: nesting deeper than <N> blocks writing
  // '<tag>'" past the limit.
  void enter_block(const char* tag);

  std::map<detail::VornTypeInfo, THandle<detail::HandleWriteRegistryBase>> registries_;
  THandle<detail::Counter> counter_;
  std::size_t block_depth_ = 0;
  std::size_t maximum_block_depth_ = default_maximum_block_depth;
};

// The fallback of PersistentWriteStream::write<T>: the object writes itself.
template <class T>
void write_persistent_value(const char* tag, const T& value, PersistentWriteStream& stream) {
  value.write(tag, stream);
}

template <class T>
void PersistentWriteStream::write(const char* tag, const THandle<T>& handle) {
  Block block(*this, tag, "Handle");
  PolymorphismChecks<T, detail::is_persistent_polymorphic_v<T>>::check(*this, handle);
  if (handle == nullptr) {
    write("serial_number", 0u);
    return;
  }
  const auto [serial, first_appearance] = registry(handle)->save(handle);
  write("serial_number", serial);
  if (first_appearance) {
    if constexpr (detail::is_persistent_polymorphic_v<T>) write_type_name("value", handle->class_name());
    write("value", *handle);
  }
}

template <class T>
THandle<detail::HandleWriteRegistry<T>> PersistentWriteStream::registry(const THandle<T>&) {
  THandle<detail::HandleWriteRegistryBase>& entry = registries_[detail::VornTypeInfo(typeid(THandle<T>))];
  if (entry == nullptr) entry = THandle<detail::HandleWriteRegistryBase>(new detail::HandleWriteRegistry<T>(counter_));
  return handle_static_cast<detail::HandleWriteRegistry<T>>(entry);
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_PERSISTENTWRITESTREAM_H_
