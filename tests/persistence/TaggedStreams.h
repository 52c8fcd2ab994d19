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
  std::string text;
};

class TaggedWriteStream : public PersistentWriteStream {
 public:
  using PersistentWriteStream::write;
  std::vector<TaggedItem> items;

  bool supports_polymorphism() const override { return true; }
  void write(const char* tag, char v) override { number(tag, v); }
  void write(const char* tag, unsigned char v) override { number(tag, v); }
  void write(const char* tag, bool v) override { number(tag, v); }
  void write(const char* tag, short v) override { number(tag, v); }
  void write(const char* tag, unsigned short v) override { number(tag, v); }
  void write(const char* tag, int v) override { number(tag, v); }
  void write(const char* tag, unsigned int v) override { number(tag, v); }
  void write(const char* tag, long v) override { number(tag, v); }
  void write(const char* tag, unsigned long v) override { number(tag, v); }
  void write(const char* tag, float v) override { number(tag, v); }
  void write(const char* tag, double v) override { number(tag, v); }
  void write(const char* tag, long double v) override { number(tag, v); }
  void write(const char* tag, const std::string& v) override { items.push_back({TaggedItem::VALUE, tag, "", 0, v}); }
  void begin_block(const char* tag, const char* type_name) override {
    items.push_back({TaggedItem::BEGIN, tag, type_name, 0, ""});
  }
  void end_block() override { items.push_back({TaggedItem::END, "", "", 0, ""}); }

 private:
  void number(const char* tag, long double v) { items.push_back({TaggedItem::VALUE, tag, "", v, ""}); }
};

// Reads the items in order; a block or value whose tag does not match the
// next item is "missing".
class TaggedReadStream : public PersistentReadStream {
 public:
  using PersistentReadStream::read;
  explicit TaggedReadStream(std::vector<TaggedItem> items) : items_(std::move(items)) {}

  void read(const char* tag, char& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, unsigned char& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, bool& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, short& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, unsigned short& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, int& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, unsigned int& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, long& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, unsigned long& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, float& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, double& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, long double& v, PersistentReadStreamPresence p) override { number(tag, v, p); }
  void read(const char* tag, std::string& v, PersistentReadStreamPresence p) override { v = next_value(tag, p).text; }

  bool find_block(const char* tag, const char* type_name, PersistentReadStreamPresence) override {
    if (at_end() || items_[next_].kind != TaggedItem::BEGIN || items_[next_].tag != tag) return false;
    if (items_[next_].type_name != type_name) return false;
    ++next_;
    return true;
  }

  // The type name of the block that comes next under `tag`.
  bool find_type(const char* tag, std::string& type_name, PersistentReadStreamPresence) override {
    if (at_end() || items_[next_].kind != TaggedItem::BEGIN || items_[next_].tag != tag) return false;
    type_name = items_[next_].type_name;
    return true;
  }

  void end_read_block() override {
    if (!at_end() && items_[next_].kind == TaggedItem::END) ++next_;
  }

  bool at_end() const { return next_ >= items_.size(); }

 private:
  const TaggedItem& next_value(const char* tag, PersistentReadStreamPresence presence) {
    if (at_end() || items_[next_].kind != TaggedItem::VALUE || items_[next_].tag != tag)
      send_error(tag, "value", presence);
    return items_[next_++];
  }
  template <class T>
  void number(const char* tag, T& v, PersistentReadStreamPresence presence) {
    v = static_cast<T>(next_value(tag, presence).number);
  }

  std::vector<TaggedItem> items_;
  std::size_t next_ = 0;
};

}  // namespace vorn::test

#endif  // VORN_TESTS_PERSISTENCE_TAGGEDSTREAMS_H_
