// Persistent standard containers: std::vector, std::deque, std::list,
// std::set, std::multiset, std::map, std::multimap, std::pair and
// std::array, nested to any depth, with elements that are primitives,
// strings, persistent objects, handles or containers.
//
// Include this header and write or read a container like any other item:
//
//   std::map<std::string, std::vector<double>> series;
//   stream.write("series", series);
//   ...
//   in.read("series", series);    // replaces the previous contents
//
// A container is a "Container" block holding its "count" (an unsigned int)
// and then each element as an "item". A pair is a "Pair" block holding
// "first" and "second"; map elements are such pairs. Runs of primitive
// elements go through the streams' write_array/read_array, so archive
// streams store them quickly, with the same bytes as item by item.
//
// Reading never trusts a count found in the stream: the stream first checks
// it (an archive stream refuses a count that the rest of the file cannot
// hold; see PersistentReadStream::check_item_count), and a vector reserves
// only as many items as the stream vouches for; the rest are appended as
// they are read. Reading replaces the container's previous contents. Throws
// std::length_error when writing a container of more than 2^32 - 1 items,
// std::runtime_error when a std::array is read from a container whose count
// differs from its size, and whatever the stream throws.
#ifndef VORN_PERSISTENCE_PERSISTENTCONTAINERS_H_
#define VORN_PERSISTENCE_PERSISTENTCONTAINERS_H_

#include <array>
#include <climits>
#include <cstddef>
#include <deque>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/detail/PersistentTraits.h"

namespace vorn {

namespace detail {

template <class A, class B>
struct MinimumEncodedBytes<std::pair<A, B>>
    : std::integral_constant<std::size_t, MinimumEncodedBytes<std::remove_const_t<A>>::value +
                                              MinimumEncodedBytes<B>::value> {};

template <class T, std::size_t N>
struct MinimumEncodedBytes<std::array<T, N>>
    : std::integral_constant<std::size_t, 4 + N * MinimumEncodedBytes<T>::value> {};

// Every other container starts with its 4-byte count.
template <class T, class A>
struct MinimumEncodedBytes<std::vector<T, A>> : std::integral_constant<std::size_t, 4> {};
template <class T, class A>
struct MinimumEncodedBytes<std::deque<T, A>> : std::integral_constant<std::size_t, 4> {};
template <class T, class A>
struct MinimumEncodedBytes<std::list<T, A>> : std::integral_constant<std::size_t, 4> {};
template <class T, class C, class A>
struct MinimumEncodedBytes<std::set<T, C, A>> : std::integral_constant<std::size_t, 4> {};
template <class T, class C, class A>
struct MinimumEncodedBytes<std::multiset<T, C, A>> : std::integral_constant<std::size_t, 4> {};
template <class K, class V, class C, class A>
struct MinimumEncodedBytes<std::map<K, V, C, A>> : std::integral_constant<std::size_t, 4> {};
template <class K, class V, class C, class A>
struct MinimumEncodedBytes<std::multimap<K, V, C, A>> : std::integral_constant<std::size_t, 4> {};

// Primitive elements are moved through a buffer of this many items.
constexpr std::size_t container_chunk = 4096;

inline unsigned int checked_item_count(const char* tag, std::size_t count) {
  if (count > UINT_MAX) {
    std::ostringstream message;
    message << "PersistentWriteStream::write: container '" << tag << "' has " << count
            << " items, more than an unsigned int can count";
    throw std::length_error(message.str());
  }
  return static_cast<unsigned int>(count);
}

// Reads `count` elements of type Value and hands each to `append`.
template <class Value, class Append>
void read_items(PersistentReadStream& stream, unsigned int count, Append append) {
  if constexpr (is_stream_primitive_v<Value>) {
    Value buffer[container_chunk];
    for (std::size_t done = 0; done < count;) {
      const std::size_t n = count - done < container_chunk ? count - done : container_chunk;
      stream.read_array("item", buffer, n);
      for (std::size_t i = 0; i < n; ++i) append(std::move(buffer[i]));
      done += n;
    }
  } else {
    for (unsigned int i = 0; i < count; ++i) {
      Value value{};
      stream.read("item", value, ITEM_REQUIRED);
      append(std::move(value));
    }
  }
}

}  // namespace detail

// Writes the `count` elements of [first, last) as a container block.
template <class Iterator>
void write_container(const char* tag, Iterator first, Iterator last, std::size_t count,
                     PersistentWriteStream& stream) {
  using Value = typename std::iterator_traits<Iterator>::value_type;
  PersistentWriteStream::Block block(stream, tag, "Container");
  stream.write("count", detail::checked_item_count(tag, count));
  if constexpr (std::is_pointer_v<Iterator> && detail::is_stream_primitive_v<Value>) {
    stream.write_array("item", first, count);
  } else if constexpr (detail::is_stream_primitive_v<Value>) {
    Value buffer[detail::container_chunk];
    std::size_t n = 0;
    for (; first != last; ++first) {
      buffer[n++] = *first;
      if (n == detail::container_chunk) {
        stream.write_array("item", buffer, n);
        n = 0;
      }
    }
    if (n != 0) stream.write_array("item", buffer, n);
  } else if constexpr (detail::MinimumEncodedBytes<Value>::value == 0) {
    // Items that may encode to nothing: the reader bounds their count by the
    // bytes they took, so the stream checks the count against them.
    const std::uint64_t before = stream.bytes_written();
    for (; first != last; ++first) stream.write("item", *first);
    stream.check_unsized_items_written(tag, count, stream.bytes_written() - before);
  } else {
    for (; first != last; ++first) stream.write("item", *first);
  }
}

// Reads a container block of Value elements and appends each element through
// `out` (a back inserter for sequences, an inserter for sets and maps).
template <class Value, class OutputIterator>
void read_container(const char* tag, OutputIterator out, PersistentReadStream& stream,
                    PersistentReadStreamPresence presence) {
  PersistentReadStream::Block block(stream, tag, "Container", presence);
  unsigned int count = 0;
  stream.read("count", count, ITEM_REQUIRED);
  stream.check_item_count(tag, count, detail::MinimumEncodedBytes<Value>::value);
  detail::read_items<Value>(stream, count, [&out](Value&& value) { *out++ = std::move(value); });
}

template <class A, class B>
void write_persistent_value(const char* tag, const std::pair<A, B>& value, PersistentWriteStream& stream) {
  PersistentWriteStream::Block block(stream, tag, "Pair");
  stream.write("first", value.first);
  stream.write("second", value.second);
}

template <class A, class B>
void read_persistent_value(const char* tag, std::pair<A, B>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  PersistentReadStream::Block block(stream, tag, "Pair", presence);
  stream.read("first", value.first, ITEM_REQUIRED);
  stream.read("second", value.second, ITEM_REQUIRED);
}

template <class T, class A>
void write_persistent_value(const char* tag, const std::vector<T, A>& value, PersistentWriteStream& stream) {
  if constexpr (std::is_same_v<T, bool>) {
    write_container(tag, value.begin(), value.end(), value.size(), stream);
  } else {
    write_container(tag, value.data(), value.data() + value.size(), value.size(), stream);
  }
}

template <class T, class A>
void read_persistent_value(const char* tag, std::vector<T, A>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  value.clear();
  if constexpr (detail::is_stream_primitive_v<T> && !std::is_same_v<T, bool>) {
    // Reserves what the stream vouches for and appends the items a chunk at
    // a time from a small buffer: the vector's memory is written only once.
    PersistentReadStream::Block block(stream, tag, "Container", presence);
    unsigned int count = 0;
    stream.read("count", count, ITEM_REQUIRED);
    value.reserve(stream.check_item_count(tag, count, detail::MinimumEncodedBytes<T>::value));
    constexpr std::size_t chunk = PersistentReadStream::default_item_allocation;
    const std::size_t buffer_size = count < chunk ? count : chunk;
    std::unique_ptr<T[]> buffer(new T[buffer_size]);
    for (std::size_t done = 0; done < count;) {
      const std::size_t n = count - done < chunk ? count - done : chunk;
      stream.read_array("item", buffer.get(), n);
      value.insert(value.end(), buffer.get(), buffer.get() + n);
      done += n;
    }
  } else {
    // Reserves only what the stream vouches for: items known to occupy at
    // least one byte each, counted against the rest of the medium.
    PersistentReadStream::Block block(stream, tag, "Container", presence);
    unsigned int count = 0;
    stream.read("count", count, ITEM_REQUIRED);
    const std::size_t first = stream.check_item_count(tag, count, detail::MinimumEncodedBytes<T>::value);
    if (detail::MinimumEncodedBytes<T>::value != 0) value.reserve(first);
    detail::read_items<T>(stream, count, [&value](T&& item) { value.push_back(std::move(item)); });
  }
}

template <class T, class A>
void write_persistent_value(const char* tag, const std::deque<T, A>& value, PersistentWriteStream& stream) {
  write_container(tag, value.begin(), value.end(), value.size(), stream);
}

template <class T, class A>
void read_persistent_value(const char* tag, std::deque<T, A>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  value.clear();
  read_container<T>(tag, std::back_inserter(value), stream, presence);
}

template <class T, class A>
void write_persistent_value(const char* tag, const std::list<T, A>& value, PersistentWriteStream& stream) {
  write_container(tag, value.begin(), value.end(), value.size(), stream);
}

template <class T, class A>
void read_persistent_value(const char* tag, std::list<T, A>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  value.clear();
  read_container<T>(tag, std::back_inserter(value), stream, presence);
}

template <class T, class C, class A>
void write_persistent_value(const char* tag, const std::set<T, C, A>& value, PersistentWriteStream& stream) {
  write_container(tag, value.begin(), value.end(), value.size(), stream);
}

template <class T, class C, class A>
void read_persistent_value(const char* tag, std::set<T, C, A>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  value.clear();
  read_container<T>(tag, std::inserter(value, value.end()), stream, presence);
}

template <class T, class C, class A>
void write_persistent_value(const char* tag, const std::multiset<T, C, A>& value, PersistentWriteStream& stream) {
  write_container(tag, value.begin(), value.end(), value.size(), stream);
}

template <class T, class C, class A>
void read_persistent_value(const char* tag, std::multiset<T, C, A>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  value.clear();
  read_container<T>(tag, std::inserter(value, value.end()), stream, presence);
}

template <class K, class V, class C, class A>
void write_persistent_value(const char* tag, const std::map<K, V, C, A>& value, PersistentWriteStream& stream) {
  write_container(tag, value.begin(), value.end(), value.size(), stream);
}

template <class K, class V, class C, class A>
void read_persistent_value(const char* tag, std::map<K, V, C, A>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  value.clear();
  read_container<std::pair<K, V>>(tag, std::inserter(value, value.end()), stream, presence);
}

template <class K, class V, class C, class A>
void write_persistent_value(const char* tag, const std::multimap<K, V, C, A>& value, PersistentWriteStream& stream) {
  write_container(tag, value.begin(), value.end(), value.size(), stream);
}

template <class K, class V, class C, class A>
void read_persistent_value(const char* tag, std::multimap<K, V, C, A>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  value.clear();
  read_container<std::pair<K, V>>(tag, std::inserter(value, value.end()), stream, presence);
}

template <class T, std::size_t N>
void write_persistent_value(const char* tag, const std::array<T, N>& value, PersistentWriteStream& stream) {
  write_container(tag, value.data(), value.data() + N, N, stream);
}

template <class T, std::size_t N>
void read_persistent_value(const char* tag, std::array<T, N>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  PersistentReadStream::Block block(stream, tag, "Container", presence);
  unsigned int count = 0;
  stream.read("count", count, ITEM_REQUIRED);
  if (count != N) {
    std::ostringstream message;
    message << "PersistentReadStream::read: container '" << tag << "' holds " << count << " items, expected " << N;
    throw std::runtime_error(message.str());
  }
  if constexpr (detail::is_stream_primitive_v<T>) {
    stream.read_array("item", value.data(), N);
  } else {
    for (T& item : value) stream.read("item", item, ITEM_REQUIRED);
  }
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_PERSISTENTCONTAINERS_H_
