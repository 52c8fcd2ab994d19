#include "vorn/persistence/json/JsonReadStream.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace vorn {

namespace {

// The parsed document, in pre-order: a block's members (an object's) or
// items (an array's) follow it, and each node records where its subtree
// ends, so that a reader steps from member to member without descending.
// Texts (keys, strings, number literals) live in one arena and are
// addressed by offset. Every node stems from at least one byte of input,
// so the tree stays proportional to the input.
enum class Kind : std::uint8_t { null_value, false_value, true_value, number, string, object, array };

struct Node {
  Kind kind;
  std::uint32_t key = 0;  // the member's name, for members of an object
  std::uint32_t key_length = 0;
  std::uint32_t text = 0;  // a string's bytes or a number's literal
  std::uint32_t text_length = 0;
  std::uint32_t end = 0;   // the index after the node's subtree
  std::uint32_t size = 0;  // members or items of an object or array
};

// Builds the tree from the events of RapidJSON's parser.
class TreeBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TreeBuilder> {
 public:
  TreeBuilder(std::vector<Node>& nodes, std::string& arena) : nodes_(nodes), arena_(arena) {}

  bool Null() { return leaf(Kind::null_value, nullptr, 0); }
  bool Bool(bool value) { return leaf(value ? Kind::true_value : Kind::false_value, nullptr, 0); }
  bool RawNumber(const char* text, rapidjson::SizeType length, bool) { return leaf(Kind::number, text, length); }
  bool String(const char* text, rapidjson::SizeType length, bool) { return leaf(Kind::string, text, length); }
  bool Key(const char* text, rapidjson::SizeType length, bool) {
    key_ = store(text, length);
    key_length_ = length;
    return true;
  }
  bool StartObject() { return open(Kind::object); }
  bool EndObject(rapidjson::SizeType count) { return close(count); }
  bool StartArray() { return open(Kind::array); }
  bool EndArray(rapidjson::SizeType count) { return close(count); }

 private:
  std::uint32_t store(const char* text, std::size_t length) {
    const auto offset = static_cast<std::uint32_t>(arena_.size());
    arena_.append(text, length);
    return offset;
  }

  Node& add(Kind kind) {
    Node node{kind};
    node.key = key_;
    node.key_length = key_length_;
    key_ = 0;
    key_length_ = 0;
    nodes_.push_back(node);
    return nodes_.back();
  }

  bool leaf(Kind kind, const char* text, std::size_t length) {
    const std::uint32_t offset = store(text, length);
    Node& node = add(kind);
    node.text = offset;
    node.text_length = static_cast<std::uint32_t>(length);
    node.end = static_cast<std::uint32_t>(nodes_.size());
    return true;
  }

  bool open(Kind kind) {
    add(kind);
    open_.push_back(static_cast<std::uint32_t>(nodes_.size() - 1));
    return true;
  }

  bool close(rapidjson::SizeType count) {
    Node& node = nodes_[open_.back()];
    open_.pop_back();
    node.end = static_cast<std::uint32_t>(nodes_.size());
    node.size = count;
    return true;
  }

  std::vector<Node>& nodes_;
  std::string& arena_;
  std::vector<std::uint32_t> open_;
  std::uint32_t key_ = 0;
  std::uint32_t key_length_ = 0;
};

constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();

[[noreturn]] void malformed_error(const std::string& text, std::size_t offset, const char* reason) {
  std::size_t line = 1;
  std::size_t line_start = 0;
  for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
      line_start = i + 1;
    }
  }
  std::ostringstream message;
  message << "JsonReadStream::JsonReadStream: malformed JSON at line " << line << ", column "
          << offset - line_start + 1 << ": " << reason;
  throw std::runtime_error(message.str());
}

std::string read_all(std::istream& in) {
  std::string text;
  char chunk[1 << 16];
  while (in.read(chunk, sizeof chunk) || in.gcount() > 0) text.append(chunk, static_cast<std::size_t>(in.gcount()));
  if (in.bad()) throw std::runtime_error("JsonReadStream::JsonReadStream: reading the input stream failed");
  return text;
}

template <class T>
constexpr const char* type_name_of() {
  if constexpr (std::is_same_v<T, char>) return "char";
  if constexpr (std::is_same_v<T, signed char>) return "signed char";
  if constexpr (std::is_same_v<T, unsigned char>) return "unsigned char";
  if constexpr (std::is_same_v<T, bool>) return "bool";
  if constexpr (std::is_same_v<T, short>) return "short";
  if constexpr (std::is_same_v<T, unsigned short>) return "unsigned short";
  if constexpr (std::is_same_v<T, int>) return "int";
  if constexpr (std::is_same_v<T, unsigned int>) return "unsigned int";
  if constexpr (std::is_same_v<T, long>) return "long";
  if constexpr (std::is_same_v<T, unsigned long>) return "unsigned long";
  if constexpr (std::is_same_v<T, long long>) return "long long";
  if constexpr (std::is_same_v<T, unsigned long long>) return "unsigned long long";
  if constexpr (std::is_same_v<T, float>) return "float";
  if constexpr (std::is_same_v<T, double>) return "double";
  if constexpr (std::is_same_v<T, long double>) return "long double";
  return "std::string";
}

}  // namespace

class JsonReadStream::Impl {
 public:
  Impl(JsonReadStream& owner, std::istream& in) : owner_(owner), text_(read_all(in)) {
    if (text_.size() >= none) {
      throw std::runtime_error("JsonReadStream::JsonReadStream: an input of " + std::to_string(text_.size()) +
                               " bytes is larger than 4 GiB");
    }
    parse();
    frames_.push_back({0, 1, false});
  }

  template <class T>
  void read_integer(const char* tag, T& value, PersistentReadStreamPresence presence) {
    const Frame& frame = frames_.back();
    if (frame.array && std::strcmp(tag, "count") == 0) {
      const std::uint32_t count = nodes_[frame.node].size;
      if (count > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) {
        mismatch_error(tag, std::to_string(count) + " items", type_name_of<T>());
      }
      value = static_cast<T>(count);
      return;
    }
    const std::uint32_t index = take(tag, type_name_of<T>(), presence, Kind::number, Kind::number);
    const char* first = text(nodes_[index]);
    const char* last = first + nodes_[index].text_length;
    T parsed{};
    const std::from_chars_result result = std::from_chars(first, last, parsed);
    if (result.ec != std::errc() || result.ptr != last) mismatch_error(tag, std::string(first, last), type_name_of<T>());
    value = parsed;
  }

  template <class T>
  void read_floating(const char* tag, T& value, PersistentReadStreamPresence presence) {
    const std::uint32_t index = take(tag, type_name_of<T>(), presence, Kind::number, Kind::string);
    const Node& node = nodes_[index];
    const char* first = text(node);
    const char* last = first + node.text_length;
    if (node.kind == Kind::string) {
      const std::string_view word(first, node.text_length);
      if (word == "NaN") {
        value = std::numeric_limits<T>::quiet_NaN();
      } else if (word == "Infinity") {
        value = std::numeric_limits<T>::infinity();
      } else if (word == "-Infinity") {
        value = -std::numeric_limits<T>::infinity();
      } else if (std::is_same_v<T, long double>) {
        read_digits(tag, first, last, value);
      } else {
        mismatch_error(tag, "a string", type_name_of<T>());
      }
      return;
    }
    read_digits(tag, first, last, value);
  }

  template <class T>
  static void read_digits(const char* tag, const char* first, const char* last, T& value) {
    T parsed{};
    const std::from_chars_result result = std::from_chars(first, last, parsed);
    if constexpr (std::is_same_v<T, long double>) {
      // The standard library reports a subnormal long double as out of
      // range; the C library's conversion, in the C locale, reads it.
      if (result.ec == std::errc::result_out_of_range && result.ptr == last) {
        static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", locale_t());
        const std::string digits(first, last);
        char* end = nullptr;
        parsed = strtold_l(digits.c_str(), &end, c_locale);
        if (end != digits.c_str() + digits.size() || std::fpclassify(parsed) != FP_SUBNORMAL) {
          mismatch_error(tag, digits, type_name_of<T>());
        }
        value = parsed;
        return;
      }
    }
    if (result.ec != std::errc() || result.ptr != last) mismatch_error(tag, std::string(first, last), type_name_of<T>());
    value = parsed;
  }

  void read_bool(const char* tag, bool& value, PersistentReadStreamPresence presence) {
    const std::uint32_t index = take(tag, "bool", presence, Kind::true_value, Kind::false_value);
    value = nodes_[index].kind == Kind::true_value;
  }

  void read_string(const char* tag, std::string& value, PersistentReadStreamPresence presence) {
    const std::uint32_t index = take(tag, "std::string", presence, Kind::string, Kind::string);
    value.assign(text(nodes_[index]), nodes_[index].text_length);
  }

  bool find_block(const char* tag, const char* type_name) {
    const std::uint32_t index = locate(tag);
    if (index == none) return false;
    const Node& node = nodes_[index];
    const bool container = std::strcmp(type_name, "Container") == 0;
    if (container) {
      if (node.kind != Kind::array) return false;
    } else {
      const std::uint32_t type = member(index, "$type", 5);
      if (type == none || nodes_[type].kind != Kind::string) return false;
      const std::size_t length = std::strlen(type_name);
      if (nodes_[type].text_length != length || std::memcmp(text(nodes_[type]), type_name, length) != 0) return false;
    }
    unsigned int version = 0;
    if (!container) {
      const std::uint32_t found = member(index, "$version", 8);
      if (found != none) read_version(found, version);
    }
    frames_.back().cursor = node.end;
    frames_.push_back({index, index + 1, container});
    found_version_ = version;
    return true;
  }

  unsigned int found_version() const { return found_version_; }

  bool find_type(const char* tag, std::string& type_name) {
    const std::uint32_t index = locate(tag);
    if (index == none) return false;
    const std::uint32_t type = member(index, "$type", 5);
    if (type == none || nodes_[type].kind != Kind::string) return false;
    type_name.assign(text(nodes_[type]), nodes_[type].text_length);
    return true;
  }

  void end_block() {
    if (frames_.size() > 1) frames_.pop_back();
  }

 private:
  struct Frame {
    std::uint32_t node;    // the object or array being read
    std::uint32_t cursor;  // where the next search starts: the member or item after the last one read
    bool array;
  };

  void parse() {
    rapidjson::MemoryStream input(text_.data(), text_.size());
    TreeBuilder builder(nodes_, arena_);
    rapidjson::Reader reader;
    constexpr unsigned flags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
    const rapidjson::ParseResult result = reader.Parse<flags>(input, builder);
    if (result.IsError()) malformed_error(text_, result.Offset(), rapidjson::GetParseError_En(result.Code()));
    // The parser takes a zero byte for the end of the input.
    if (input.Tell() < text_.size()) malformed_error(text_, input.Tell(), "A zero byte outside a string.");
    if (nodes_.empty() || nodes_[0].kind != Kind::object) malformed_error(text_, 0, "The document is not an object.");
  }

  const char* text(const Node& node) const { return arena_.data() + node.text; }

  void read_version(std::uint32_t index, unsigned int& version) const {
    const Node& node = nodes_[index];
    const char* first = text(node);
    const char* last = first + node.text_length;
    const std::from_chars_result result = std::from_chars(first, last, version);
    if (node.kind != Kind::number || result.ec != std::errc() || result.ptr != last) {
      mismatch_error("$version", describe(node), type_name_of<unsigned int>());
    }
  }

  bool key_is(const Node& node, const char* key, std::size_t length) const {
    return node.key_length == length && std::memcmp(arena_.data() + node.key, key, length) == 0;
  }

  // The member `key` of the object at `index`, or none.
  std::uint32_t member(std::uint32_t index, const char* key, std::size_t length) const {
    if (nodes_[index].kind != Kind::object) return none;
    for (std::uint32_t i = index + 1; i < nodes_[index].end; i = nodes_[i].end) {
      if (key_is(nodes_[i], key, length)) return i;
    }
    return none;
  }

  // The node that the next read of `tag` takes, or none: in an object the
  // first member named `tag` from the cursor on, wrapping around; in an
  // array the next item.
  std::uint32_t locate(const char* tag) const {
    const Frame& frame = frames_.back();
    const std::uint32_t end = nodes_[frame.node].end;
    if (frame.array) return std::strcmp(tag, "item") == 0 && frame.cursor < end ? frame.cursor : none;
    const std::size_t length = std::strlen(tag);
    for (std::uint32_t i = frame.cursor; i < end; i = nodes_[i].end) {
      if (key_is(nodes_[i], tag, length)) return i;
    }
    for (std::uint32_t i = frame.node + 1; i < frame.cursor; i = nodes_[i].end) {
      if (key_is(nodes_[i], tag, length)) return i;
    }
    return none;
  }

  // Locates a primitive item and moves past it.
  std::uint32_t take(const char* tag, const char* type_name, PersistentReadStreamPresence presence) {
    const std::uint32_t index = locate(tag);
    if (index == none) owner_.send_error(tag, type_name, presence);
    frames_.back().cursor = nodes_[index].end;
    return index;
  }

  // Locates an item that must be of kind `wanted` (or `also`).
  std::uint32_t take(const char* tag, const char* type_name, PersistentReadStreamPresence presence, Kind wanted,
                     Kind also) {
    const std::uint32_t index = take(tag, type_name, presence);
    const Kind kind = nodes_[index].kind;
    if (kind != wanted && kind != also) mismatch_error(tag, describe(nodes_[index]), type_name);
    return index;
  }

  std::string describe(const Node& node) const {
    switch (node.kind) {
      case Kind::null_value: return "null";
      case Kind::false_value: return "false";
      case Kind::true_value: return "true";
      case Kind::number: return std::string(text(node), node.text_length);
      case Kind::string: return "a string";
      case Kind::object: return "an object";
      case Kind::array: return "an array";
    }
    return "a value";
  }

  [[noreturn]] static void mismatch_error(const char* tag, const std::string& what, const char* type_name) {
    std::string shown = what.size() > 40 ? what.substr(0, 40) + "..." : what;
    throw std::runtime_error(std::string("JsonReadStream::read: '") + tag + "' holds " + shown + ", not " +
                             (type_name[0] == 'i' || type_name[0] == 'u' ? "an " : "a ") + type_name);
  }

  JsonReadStream& owner_;
  std::string text_;
  std::string arena_;
  std::vector<Node> nodes_;
  std::vector<Frame> frames_;
  unsigned int found_version_ = 0;
};

JsonReadStream::JsonReadStream(std::istream& in) : impl_(std::make_unique<Impl>(*this, in)) {}

JsonReadStream::~JsonReadStream() = default;

void JsonReadStream::read(const char* tag, char& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, signed char& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, unsigned char& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, bool& value, PersistentReadStreamPresence presence) {
  impl_->read_bool(tag, value, presence);
}
void JsonReadStream::read(const char* tag, short& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, unsigned short& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, int& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, unsigned int& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, long& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, unsigned long& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, long long& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, unsigned long long& value, PersistentReadStreamPresence presence) {
  impl_->read_integer(tag, value, presence);
}
void JsonReadStream::read(const char* tag, float& value, PersistentReadStreamPresence presence) {
  impl_->read_floating(tag, value, presence);
}
void JsonReadStream::read(const char* tag, double& value, PersistentReadStreamPresence presence) {
  impl_->read_floating(tag, value, presence);
}
void JsonReadStream::read(const char* tag, long double& value, PersistentReadStreamPresence presence) {
  impl_->read_floating(tag, value, presence);
}
void JsonReadStream::read(const char* tag, std::string& value, PersistentReadStreamPresence presence) {
  impl_->read_string(tag, value, presence);
}

bool JsonReadStream::find_block(const char* tag, const char* type_name, PersistentReadStreamPresence) {
  return impl_->find_block(tag, type_name);
}

bool JsonReadStream::find_type(const char* tag, std::string& type_name, PersistentReadStreamPresence) {
  return impl_->find_type(tag, type_name);
}

void JsonReadStream::end_read_block() { impl_->end_block(); }

unsigned int JsonReadStream::found_block_version() const { return impl_->found_version(); }

void JsonReadStream::read_array(const char* tag, int* values, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) impl_->read_integer(tag, values[i], ITEM_REQUIRED);
}

void JsonReadStream::read_array(const char* tag, double* values, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) impl_->read_floating(tag, values[i], ITEM_REQUIRED);
}

std::size_t JsonReadStream::check_item_count(const char*, unsigned int count, std::size_t) { return count; }

}  // namespace vorn
