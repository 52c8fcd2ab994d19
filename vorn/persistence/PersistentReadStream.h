// PersistentReadStream: the abstract stream through which every persistent
// object restores itself, reading the items it wrote with the same tags in
// the same order.
//
//   void Point::read(const char* tag, vorn::PersistentReadStreamPresence presence,
//                    vorn::PersistentReadStream& s) {
//     vorn::PersistentReadStream::Block block(s, tag, "Point", presence);
//     s.read("x", x_);
//     s.read("y", y_);
//     s.read("label", label_);
//     s.read("owner", owner_);      // THandle<Person>: shared again on reading
//     s.read("samples", samples_);  // std::vector<double>
//   }
//
// A class that changed its layout writes its blocks with a version
// (PersistentWriteStream::Block's fourth argument) and reads block.version()
// to choose the layout; streams that store no versions give 0.
//
// The presence (ITEM_REQUIRED, the default, or ITEM_OPTIONAL) only selects
// which exception reports a missing item. A handle is registered before its
// object's contents are read, so an object that refers back to itself (a
// cycle through handles) is restored as the same object.
//
// Nested blocks are counted: a stream refuses to open more than
// maximum_block_depth() (default 2000) blocks at once, so that a corrupted
// file cannot exhaust the stack through recursion; set_maximum_block_depth()
// raises the limit for deliberately deep graphs (each level costs stack).
//
// Derived streams implement the pure virtual operations; they may override
// read_array() to read runs of primitives faster and check_item_count() to
// refuse item counts that the medium cannot hold.
//
// Throws (nested classes):
//   ItemNotPresent            "Failed to find item with tag '<tag>' and
//                             type_name '<type>'" (required block missing)
//   OptionalItemNotPresent    the same for an optional block; also an
//                             ItemNotPresent
//   UnknownTypeTag            "Failed whilst reading tag'<tag>'
//                             PolymorphicFactory did not contain a type with
//                             name '<type>'"
//   std::runtime_error        "Handle serial number out of order.  Expected:
//                             <n> was: <m>", the block depth limit, and the
//                             concrete stream's own errors.
#ifndef VORN_PERSISTENCE_PERSISTENTREADSTREAM_H_
#define VORN_PERSISTENCE_PERSISTENTREADSTREAM_H_

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"
#include "vorn/persistence/PolymorphicFactory.h"
#include "vorn/persistence/detail/Counter.h"
#include "vorn/persistence/detail/HandleReadRegistry.h"
#include "vorn/persistence/detail/HandleReadRegistryBase.h"
#include "vorn/persistence/detail/PersistentTraits.h"
#include "vorn/persistence/detail/VornTypeInfo.h"

namespace vorn {

enum PersistentReadStreamPresence { ITEM_REQUIRED = 0, ITEM_OPTIONAL = 1 };

class VORN_API PersistentReadStream {
 public:
  class VORN_API ItemNotPresent : public std::runtime_error {
   public:
    explicit ItemNotPresent(const std::string& message) : std::runtime_error(message) {}
  };

  class VORN_API OptionalItemNotPresent : public ItemNotPresent {
   public:
    explicit OptionalItemNotPresent(const std::string& message) : ItemNotPresent(message) {}
  };

  class VORN_API UnknownTypeTag : public std::runtime_error {
   public:
    explicit UnknownTypeTag(const std::string& message) : std::runtime_error(message) {}
  };

  // Finds the block on construction (throwing when it is missing) and ends
  // it on destruction.
  class Block {
   public:
    Block(PersistentReadStream& stream, const char* tag, const char* type_name,
          PersistentReadStreamPresence presence = ITEM_REQUIRED);
    ~Block();
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    // The class version stored with the block; 0 from streams that store
    // none.
    unsigned int version() const noexcept { return version_; }

   private:
    PersistentReadStream& stream_;
    unsigned int version_ = 0;
  };

  // Makes the object for a handle read for the first time: a default
  // constructed T, or for a polymorphic T a clone of the prototype named in
  // the stream.
  template <class T, bool Polymorphic>
  struct MakeHandleValue {
    static THandle<T> make(PersistentReadStream&, const char*, PersistentReadStreamPresence) {
      return THandle<T>(new T());
    }
  };
  template <class T>
  struct MakeHandleValue<T, true> {
    static THandle<T> make(PersistentReadStream& stream, const char* tag, PersistentReadStreamPresence presence) {
      std::string type_name;
      stream.checked_find_type("value", type_name, presence);
      THandle<T> value = PolymorphicFactory<T>::create(type_name.c_str());
      if (value == nullptr) stream.send_polymorphic_error(tag, type_name);
      return value;
    }
  };

  static constexpr std::size_t default_maximum_block_depth = 2000;

  PersistentReadStream();
  virtual ~PersistentReadStream();
  PersistentReadStream(const PersistentReadStream&) = delete;
  PersistentReadStream& operator=(const PersistentReadStream&) = delete;

  virtual void read(const char* tag, char& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, signed char& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, unsigned char& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, bool& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, short& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, unsigned short& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, int& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, unsigned int& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, long& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, unsigned long& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, long long& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, unsigned long long& value,
                    PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, float& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, double& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, long double& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;
  virtual void read(const char* tag, std::string& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) = 0;

  // True when the block is present and the stream is positioned on it.
  virtual bool find_block(const char* tag, const char* type_name, PersistentReadStreamPresence presence) = 0;
  // True when a type name was found for the item `tag`; stores it.
  virtual bool find_type(const char* tag, std::string& type_name, PersistentReadStreamPresence presence) = 0;
  virtual void end_read_block() = 0;
  // The class version of the block find_block() has just found. The default
  // is 0, for streams that store no versions.
  virtual unsigned int found_block_version() const { return 0; }

  // Reads `count` required items, each under `tag`. The default reads them
  // one by one; overrides must give exactly the same result.
  virtual void read_array(const char* tag, char* values, std::size_t count);
  virtual void read_array(const char* tag, signed char* values, std::size_t count);
  virtual void read_array(const char* tag, unsigned char* values, std::size_t count);
  virtual void read_array(const char* tag, bool* values, std::size_t count);
  virtual void read_array(const char* tag, short* values, std::size_t count);
  virtual void read_array(const char* tag, unsigned short* values, std::size_t count);
  virtual void read_array(const char* tag, int* values, std::size_t count);
  virtual void read_array(const char* tag, unsigned int* values, std::size_t count);
  virtual void read_array(const char* tag, long* values, std::size_t count);
  virtual void read_array(const char* tag, unsigned long* values, std::size_t count);
  virtual void read_array(const char* tag, long long* values, std::size_t count);
  virtual void read_array(const char* tag, unsigned long long* values, std::size_t count);
  virtual void read_array(const char* tag, float* values, std::size_t count);
  virtual void read_array(const char* tag, double* values, std::size_t count);
  virtual void read_array(const char* tag, long double* values, std::size_t count);

  // Called by the container readers with the item count just read and the
  // fewest bytes each item can occupy (0: unknown). Returns how many items
  // the reader may allocate before reading any: the default, which knows
  // nothing of the medium, allows at most default_item_allocation; a stream
  // over a medium of known size may allow all of them when they fit, and
  // throws when they cannot.
  virtual std::size_t check_item_count(const char* tag, unsigned int count, std::size_t minimum_item_bytes);

  static constexpr std::size_t default_item_allocation = std::size_t{1} << 16;

  // Any persistent value: an object with a read() member, or a type with an
  // overload of read_persistent_value (the containers of
  // PersistentContainers.h).
  template <class T>
  void read(const char* tag, T& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) {
    read_persistent_value(tag, value, presence, *this);
  }

  // A handle: null for serial number 0, the object already read for a known
  // serial number, otherwise a new object read from the stream.
  template <class T>
  void read(const char* tag, THandle<T>& handle, PersistentReadStreamPresence presence = ITEM_REQUIRED);

  // The registry of THandle<T> on this stream, made on first use; `handle`
  // only selects T.
  template <class T>
  THandle<detail::HandleReadRegistry<T>> registry(const THandle<T>& handle);

  // find_block, or send_error when the block is missing.
  bool checked_find_block(const char* tag, const char* type_name, PersistentReadStreamPresence presence);
  // find_type, or send_error("Failed to find polymorphic item with tag ...").
  void checked_find_type(const char* tag, std::string& type_name, PersistentReadStreamPresence presence);
  [[noreturn]] void send_error(const char* tag, const char* type_name, PersistentReadStreamPresence presence);
  [[noreturn]] void send_error(const std::string& message, PersistentReadStreamPresence presence);
  [[noreturn]] void send_polymorphic_error(const char* tag, const std::string& type_name);

  std::size_t block_depth() const noexcept { return block_depth_; }
  std::size_t maximum_block_depth() const noexcept { return maximum_block_depth_; }
  void set_maximum_block_depth(std::size_t depth) noexcept { maximum_block_depth_ = depth; }

 private:
  void enter_block(const char* tag);

  std::map<detail::VornTypeInfo, THandle<detail::HandleReadRegistryBase>> registries_;
  THandle<detail::Counter> counter_;
  std::size_t block_depth_ = 0;
  std::size_t maximum_block_depth_ = default_maximum_block_depth;
};

// The fallback of PersistentReadStream::read<T>: the object reads itself.
template <class T>
void read_persistent_value(const char* tag, T& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  value.read(tag, presence, stream);
}

template <class T>
void PersistentReadStream::read(const char* tag, THandle<T>& handle, PersistentReadStreamPresence presence) {
  Block block(*this, tag, "Handle", presence);
  unsigned int serial = 0;
  read("serial_number", serial, ITEM_REQUIRED);
  if (serial == 0) {
    handle = THandle<T>();
    return;
  }
  THandle<detail::HandleReadRegistry<T>> handles = registry(handle);
  auto found = handles->load(serial);
  if (!found.missing) {
    handle = found.handle;
    return;
  }
  THandle<T> value = MakeHandleValue<T, detail::is_persistent_polymorphic_v<T>>::make(*this, tag, presence);
  handles->set_value(serial, value);
  handle = value;
  read("value", *value, ITEM_REQUIRED);
}

template <class T>
THandle<detail::HandleReadRegistry<T>> PersistentReadStream::registry(const THandle<T>&) {
  THandle<detail::HandleReadRegistryBase>& entry = registries_[detail::VornTypeInfo(typeid(THandle<T>))];
  if (entry == nullptr) entry = THandle<detail::HandleReadRegistryBase>(new detail::HandleReadRegistry<T>(counter_));
  return handle_static_cast<detail::HandleReadRegistry<T>>(entry);
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_PERSISTENTREADSTREAM_H_
