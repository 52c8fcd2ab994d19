#include "vorn/persistence/PersistentReadStream.h"

#include <sstream>

namespace vorn {

PersistentReadStream::Block::Block(PersistentReadStream& stream, const char* tag, const char* type_name,
                                   PersistentReadStreamPresence presence)
    : stream_(stream) {
  stream_.enter_block(tag);
  try {
    stream_.checked_find_block(tag, type_name, presence);
    version_ = stream_.found_block_version();
  } catch (...) {
    --stream_.block_depth_;
    throw;
  }
}

PersistentReadStream::Block::~Block() {
  --stream_.block_depth_;
  stream_.end_read_block();
}

PersistentReadStream::PersistentReadStream() : counter_(new detail::Counter) {}

PersistentReadStream::~PersistentReadStream() = default;

void PersistentReadStream::enter_block(const char* tag) {
  if (block_depth_ >= maximum_block_depth_) {
    std::ostringstream message;
    message << "PersistentReadStream::Block: more than " << maximum_block_depth_
            << " nested blocks reading '" << tag << "'";
    throw std::runtime_error(message.str());
  }
  ++block_depth_;
}

bool PersistentReadStream::checked_find_block(const char* tag, const char* type_name,
                                              PersistentReadStreamPresence presence) {
  if (!find_block(tag, type_name, presence)) send_error(tag, type_name, presence);
  return true;
}

void PersistentReadStream::checked_find_type(const char* tag, std::string& type_name,
                                             PersistentReadStreamPresence presence) {
  if (!find_type(tag, type_name, presence))
    send_error(std::string("Failed to find polymorphic item with tag '") + tag + "'", presence);
}

void PersistentReadStream::send_error(const char* tag, const char* type_name, PersistentReadStreamPresence presence) {
  send_error(std::string("Failed to find item with tag '") + tag + "' and type_name '" + type_name + "'", presence);
}

void PersistentReadStream::send_error(const std::string& message, PersistentReadStreamPresence presence) {
  if (presence == ITEM_OPTIONAL) throw OptionalItemNotPresent(message);
  throw ItemNotPresent(message);
}

void PersistentReadStream::send_polymorphic_error(const char* tag, const std::string& type_name) {
  throw UnknownTypeTag(std::string("Failed whilst reading tag'") + tag +
                       "' PolymorphicFactory did not contain a type with name '" + type_name + "'");
}

std::size_t PersistentReadStream::check_item_count(const char*, unsigned int count, std::size_t) {
  return count < default_item_allocation ? count : default_item_allocation;
}

#define VORN_DEFAULT_READ_ARRAY(Type)                                                           \
  void PersistentReadStream::read_array(const char* tag, Type* values, std::size_t count) { \
    for (std::size_t i = 0; i < count; ++i) read(tag, values[i], ITEM_REQUIRED);              \
  }

VORN_DEFAULT_READ_ARRAY(char)
VORN_DEFAULT_READ_ARRAY(signed char)
VORN_DEFAULT_READ_ARRAY(unsigned char)
VORN_DEFAULT_READ_ARRAY(bool)
VORN_DEFAULT_READ_ARRAY(short)
VORN_DEFAULT_READ_ARRAY(unsigned short)
VORN_DEFAULT_READ_ARRAY(int)
VORN_DEFAULT_READ_ARRAY(unsigned int)
VORN_DEFAULT_READ_ARRAY(long)
VORN_DEFAULT_READ_ARRAY(unsigned long)
VORN_DEFAULT_READ_ARRAY(long long)
VORN_DEFAULT_READ_ARRAY(unsigned long long)
VORN_DEFAULT_READ_ARRAY(float)
VORN_DEFAULT_READ_ARRAY(double)
VORN_DEFAULT_READ_ARRAY(long double)

#undef VORN_DEFAULT_READ_ARRAY

}  // namespace vorn
