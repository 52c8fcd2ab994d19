#include "vorn/persistence/PersistentWriteStream.h"

#include <sstream>
#include <stdexcept>

namespace vorn {

PersistentWriteStream::PersistentWriteStream() : counter_(new detail::Counter) {}

PersistentWriteStream::~PersistentWriteStream() = default;

void PersistentWriteStream::enter_block(const char* tag) {
  if (block_depth_ >= maximum_block_depth_) {
    std::ostringstream message;
    message << "PersistentWriteStream::Block: nesting deeper than " << maximum_block_depth_ << " blocks writing '"
            << tag << "'";
    throw std::length_error(message.str());
  }
  ++block_depth_;
}

void PersistentWriteStream::check_stream_supports_polymorphism() const {
  if (!supports_polymorphism())
    throw std::runtime_error("Failed whilst writing as stream does not support polymorphism");
}

void PersistentWriteStream::non_registered_type_error(const std::string& type_name) const {
  throw std::runtime_error("Error: Type '" + type_name + "' has not been registered with PolymorphicFactory");
}

void PersistentWriteStream::begin_block(const char* tag, const char* type_name, unsigned int) {
  begin_block(tag, type_name);
}

void PersistentWriteStream::write_type_name(const char*, const char*) {}

#define VORN_DEFAULT_WRITE_ARRAY(Type)                                                                \
  void PersistentWriteStream::write_array(const char* tag, const Type* values, std::size_t count) { \
    for (std::size_t i = 0; i < count; ++i) write(tag, values[i]);                                   \
  }

VORN_DEFAULT_WRITE_ARRAY(char)
VORN_DEFAULT_WRITE_ARRAY(signed char)
VORN_DEFAULT_WRITE_ARRAY(unsigned char)
VORN_DEFAULT_WRITE_ARRAY(bool)
VORN_DEFAULT_WRITE_ARRAY(short)
VORN_DEFAULT_WRITE_ARRAY(unsigned short)
VORN_DEFAULT_WRITE_ARRAY(int)
VORN_DEFAULT_WRITE_ARRAY(unsigned int)
VORN_DEFAULT_WRITE_ARRAY(long)
VORN_DEFAULT_WRITE_ARRAY(unsigned long)
VORN_DEFAULT_WRITE_ARRAY(long long)
VORN_DEFAULT_WRITE_ARRAY(unsigned long long)
VORN_DEFAULT_WRITE_ARRAY(float)
VORN_DEFAULT_WRITE_ARRAY(double)
VORN_DEFAULT_WRITE_ARRAY(long double)

#undef VORN_DEFAULT_WRITE_ARRAY

void PersistentWriteStream::check_unsized_items_written(const char*, std::size_t, std::uint64_t) {}

}  // namespace vorn
