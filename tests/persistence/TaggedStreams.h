// A pair of streams that keep the whole item tree (tags, blocks and type
// names) in memory, so that the tag-dependent paths of the persistence
// framework can be tested: missing blocks, optional items and polymorphic
// handles, which the positional archive streams never exercise.
#ifndef VORN_TESTS_PERSISTENCE_TAGGEDSTREAMS_H_
#define VORN_TESTS_PERSISTENCE_TAGGEDSTREAMS_H_

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"

namespace vorn::test {

struct TaggedItem {
  enum Kind { BEGIN, END, VALUE } kind;
  std::string tag;
  std::string type_name;  // BEGIN only
  long double number = 0;
  std::string text{};
  unsigned int version = 0;  // BEGIN only
};

#define VORN_TAGGED_NUMBERS(X)                                                                             \
  X(char) X(signed char) X(unsigned char) X(bool) X(short) X(unsigned short) X(int) X(unsigned int) X(long)     \
  X(unsigned long) X(long long) X(unsigned long long) X(float) X(double) X(long double)

class TaggedWriteStream : public PersistentWriteStream {
 public:
  using PersistentWriteStream::write;
  std::vector<TaggedItem> items;

  bool supports_polymorphism() const override { return true; }
#define VORN_TAGGED_WRITE(T) \
  void write(const char* tag, T v) override { items.push_back({TaggedItem::VALUE, tag, "", 1.0L * v, ""}); }
  VORN_TAGGED_NUMBERS(VORN_TAGGED_WRITE)
#undef VORN_TAGGED_WRITE
  void write(const char* tag, const std::string& v) override { items.push_back({TaggedItem::VALUE, tag, "", 0, v}); }
  void begin_block(const char* tag, const char* type) override { begin_block(tag, type, 0); }
  void begin_block(const char* tag, const char* type, unsigned int version) override {
    items.push_back({TaggedItem::BEGIN, tag, type, 0, "", version});
  }
  void end_block() override { items.push_back({TaggedItem::END, "", ""}); }
};

// Reads the items in order; a block or value whose tag does not match the
// next item is "missing".
class TaggedReadStream : public PersistentReadStream {
 public:
  using PersistentReadStream::read;
  explicit TaggedReadStream(std::vector<TaggedItem> items) : items_(std::move(items)) {}

#define VORN_TAGGED_READ(T)                                                   \
  void read(const char* tag, T& v, PersistentReadStreamPresence p) override { \
    v = static_cast<T>(next_value(tag, p).number);                            \
  }
  VORN_TAGGED_NUMBERS(VORN_TAGGED_READ)
#undef VORN_TAGGED_READ
  void read(const char* tag, std::string& v, PersistentReadStreamPresence p) override {
    v = next_value(tag, p).text;
  }

  bool find_block(const char* tag, const char* type_name, PersistentReadStreamPresence p) override {
    std::string found;
    if (!find_type(tag, found, p) || found != type_name) return false;
    version_ = items_[next_].version;
    ++next_;
    return true;
  }

  // The type name of the block that comes next under `tag`.
  bool find_type(const char* tag, std::string& type_name, PersistentReadStreamPresence) override {
    if (!at(TaggedItem::BEGIN, tag)) return false;
    type_name = items_[next_].type_name;
    return true;
  }

  unsigned int found_block_version() const override { return version_; }

  void end_read_block() override { next_ += at(TaggedItem::END, "") ? 1 : 0; }

  bool at_end() const { return next_ >= items_.size(); }

 private:
  bool at(TaggedItem::Kind kind, const char* tag) const {
    return !at_end() && items_[next_].kind == kind && items_[next_].tag == tag;
  }
  const TaggedItem& next_value(const char* tag, PersistentReadStreamPresence presence) {
    if (!at(TaggedItem::VALUE, tag)) send_error(tag, "value", presence);
    return items_[next_++];
  }

  std::vector<TaggedItem> items_;
  std::size_t next_ = 0;
  unsigned int version_ = 0;
};

#undef VORN_TAGGED_NUMBERS

}  // namespace vorn::test

#endif  // VORN_TESTS_PERSISTENCE_TAGGEDSTREAMS_H_
