#include "vorn/persistence/json/JsonWriteStream.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>

namespace vorn {

namespace {

// The output side of the RapidJSON writer: collects characters in a buffer
// and hands them to the ostream a buffer at a time (an ostream call per
// character costs more than the JSON formatting itself).
class BufferedOutput {
 public:
  using Ch = char;

  explicit BufferedOutput(std::ostream& out) : out_(out) {}

  void Put(char c) {
    if (size_ == sizeof buffer_) drain();
    buffer_[size_++] = c;
  }
  // The writer calls this when the document is complete.
  void Flush() { drain(); }

  void drain() {
    if (size_ != 0) out_.write(buffer_, static_cast<std::streamsize>(size_));
    size_ = 0;
  }

 private:
  std::ostream& out_;
  std::size_t size_ = 0;
  char buffer_[1 << 16];
};

rapidjson::SizeType checked_length(const char* what, std::size_t length) {
  if (length > std::numeric_limits<rapidjson::SizeType>::max()) {
    throw std::length_error(std::string("JsonWriteStream::write: ") + what + " of " + std::to_string(length) +
                            " bytes is longer than a JSON string may be here");
  }
  return static_cast<rapidjson::SizeType>(length);
}

}  // namespace

// The stream's state (which blocks are open, whether the document began or
// ended) lives here; the formatting is left to the RapidJSON writer of the
// chosen layout behind the few virtual calls of Impl.
class JsonWriteStream::Impl {
 public:
  explicit Impl(std::ostream& out) : out_(out), output_(out) {}
  virtual ~Impl() = default;

  virtual void key(const char* text, rapidjson::SizeType length) = 0;
  virtual void signed_number(std::int64_t value) = 0;
  virtual void unsigned_number(std::uint64_t value) = 0;
  virtual void boolean(bool value) = 0;
  virtual void number_text(const char* text, std::size_t length) = 0;
  virtual void string(const char* text, rapidjson::SizeType length) = 0;
  virtual void start_object() = 0;
  virtual void end_object() = 0;
  virtual void start_array() = 0;
  virtual void end_array() = 0;

  // Checks the tag and writes it as the key of the next value in an object.
  // Returns false for the "count" of a container, which is not written.
  bool place(const char* tag) {
    if (closed_) throw std::logic_error(std::string("JsonWriteStream::write: '") + tag + "' after close()");
    if (tag[0] == '$') {
      throw std::invalid_argument(std::string("JsonWriteStream::write: tag '") + tag +
                                  "' begins with '$', which marks the stream's own keys");
    }
    if (!started_) {
      start_object();
      started_ = true;
    }
    if (!open_.empty() && open_.back()) {
      if (std::strcmp(tag, "item") == 0) return true;
      if (std::strcmp(tag, "count") == 0) return false;
      throw std::invalid_argument(std::string("JsonWriteStream::write: tag '") + tag +
                                  "' inside a container, which holds only \"count\" and \"item\"s");
    }
    key(tag, checked_length("a tag", std::strlen(tag)));
    return true;
  }

  void begin_block(const char* tag, const char* type_name, unsigned int version) {
    const bool container = std::strcmp(type_name, "Container") == 0;
    const rapidjson::SizeType type_length = checked_length("a type name", std::strlen(type_name));
    if (!place(tag)) {
      throw std::invalid_argument("JsonWriteStream::begin_block: a block under the tag \"count\" of a container");
    }
    if (container) {
      start_array();
    } else {
      start_object();
      key("$type", 5);
      string(type_name, type_length);
      if (version != 0) {
        key("$version", 8);
        unsigned_number(version);
      }
    }
    open_.push_back(container);
  }

  void end_block() {
    if (closed_ || open_.empty()) return;
    if (open_.back()) {
      end_array();
    } else {
      end_object();
    }
    open_.pop_back();
  }

  template <class T>
  void floating(const char* tag, T value) {
    if (!place(tag)) return;
    if (std::isnan(value)) {
      string("NaN", 3);
    } else if (std::isinf(value)) {
      if (value > 0) {
        string("Infinity", 8);
      } else {
        string("-Infinity", 9);
      }
    } else {
      char text[64];
      const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
      const auto length = static_cast<std::size_t>(result.ptr - text);
      // A long double may exceed the range of the parser's double, so it is
      // a string: its digits do not pass through any double.
      if constexpr (std::is_same_v<T, long double>) {
        string(text, static_cast<rapidjson::SizeType>(length));
      } else {
        number_text(text, length);
      }
    }
  }

  void close() {
    if (closed_) return;
    if (!started_) {
      start_object();
      started_ = true;
    }
    while (!open_.empty()) end_block();
    end_object();
    closed_ = true;
    output_.drain();
    out_.flush();
    if (!out_) throw std::runtime_error("JsonWriteStream::close: writing to the output stream failed");
  }

 protected:
  std::ostream& out_;
  BufferedOutput output_;

 private:
  std::vector<bool> open_;  // per open block: whether it is a container
  bool started_ = false;
  bool closed_ = false;
};

template <class Writer>
class JsonWriteStream::Emitter final : public JsonWriteStream::Impl {
 public:
  explicit Emitter(std::ostream& out) : Impl(out), writer_(output_) {}
  Emitter(std::ostream& out, unsigned indent) : Impl(out), writer_(output_) { writer_.SetIndent(' ', indent); }

  void key(const char* text, rapidjson::SizeType length) override { writer_.Key(text, length); }
  void signed_number(std::int64_t value) override { writer_.Int64(value); }
  void unsigned_number(std::uint64_t value) override { writer_.Uint64(value); }
  void boolean(bool value) override { writer_.Bool(value); }
  void number_text(const char* text, std::size_t length) override {
    writer_.RawValue(text, length, rapidjson::kNumberType);
  }
  void string(const char* text, rapidjson::SizeType length) override { writer_.String(text, length); }
  void start_object() override { writer_.StartObject(); }
  void end_object() override { writer_.EndObject(); }
  void start_array() override { writer_.StartArray(); }
  void end_array() override { writer_.EndArray(); }

 private:
  Writer writer_;
};

JsonWriteStream::JsonWriteStream(std::ostream& out) : JsonWriteStream(out, Options()) {}

JsonWriteStream::JsonWriteStream(std::ostream& out, Options options) {
  if (options.indent) {
    impl_ = std::make_unique<Emitter<rapidjson::PrettyWriter<BufferedOutput>>>(out, 4);
  } else {
    impl_ = std::make_unique<Emitter<rapidjson::Writer<BufferedOutput>>>(out);
  }
}

JsonWriteStream::~JsonWriteStream() {
  try {
    impl_->close();
  } catch (...) {
    // A destructor cannot report; close() does.
  }
}

void JsonWriteStream::close() { impl_->close(); }

void JsonWriteStream::write(const char* tag, char value) {
  if (impl_->place(tag)) impl_->signed_number(value);
}
void JsonWriteStream::write(const char* tag, signed char value) {
  if (impl_->place(tag)) impl_->signed_number(value);
}
void JsonWriteStream::write(const char* tag, unsigned char value) {
  if (impl_->place(tag)) impl_->unsigned_number(value);
}
void JsonWriteStream::write(const char* tag, bool value) {
  if (impl_->place(tag)) impl_->boolean(value);
}
void JsonWriteStream::write(const char* tag, short value) {
  if (impl_->place(tag)) impl_->signed_number(value);
}
void JsonWriteStream::write(const char* tag, unsigned short value) {
  if (impl_->place(tag)) impl_->unsigned_number(value);
}
void JsonWriteStream::write(const char* tag, int value) {
  if (impl_->place(tag)) impl_->signed_number(value);
}
void JsonWriteStream::write(const char* tag, unsigned int value) {
  if (impl_->place(tag)) impl_->unsigned_number(value);
}
void JsonWriteStream::write(const char* tag, long value) {
  if (impl_->place(tag)) impl_->signed_number(value);
}
void JsonWriteStream::write(const char* tag, unsigned long value) {
  if (impl_->place(tag)) impl_->unsigned_number(value);
}
void JsonWriteStream::write(const char* tag, long long value) {
  if (impl_->place(tag)) impl_->signed_number(value);
}
void JsonWriteStream::write(const char* tag, unsigned long long value) {
  if (impl_->place(tag)) impl_->unsigned_number(value);
}
void JsonWriteStream::write(const char* tag, float value) { impl_->floating(tag, value); }
void JsonWriteStream::write(const char* tag, double value) { impl_->floating(tag, value); }
void JsonWriteStream::write(const char* tag, long double value) { impl_->floating(tag, value); }

void JsonWriteStream::write(const char* tag, const std::string& value) {
  const rapidjson::SizeType length = checked_length("a string", value.size());
  if (impl_->place(tag)) impl_->string(value.data(), length);
}

void JsonWriteStream::begin_block(const char* tag, const char* type_name) { impl_->begin_block(tag, type_name, 0); }

void JsonWriteStream::begin_block(const char* tag, const char* type_name, unsigned int version) {
  impl_->begin_block(tag, type_name, version);
}

void JsonWriteStream::end_block() { impl_->end_block(); }

// Runs skip the per-item virtual call of the stream; the checks and the
// output are those of the items one by one.
void JsonWriteStream::write_array(const char* tag, const int* values, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (impl_->place(tag)) impl_->signed_number(values[i]);
  }
}

void JsonWriteStream::write_array(const char* tag, const double* values, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) impl_->floating(tag, values[i]);
}

}  // namespace vorn
