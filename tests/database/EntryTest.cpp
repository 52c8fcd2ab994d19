// Identifiers and entries: construction rules, ordering and archive bytes.
#include <sstream>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "persistence/TaggedStreams.h"
#include "persistence/TempFile.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/DebugPrintStream.h"
#include "vorn/persistence/PersistentContainers.h"

namespace vorn {
namespace {

using test::Bytes;
using Id = DatabaseEntryIdentifier;
using StringEntry = DatabaseEntry<std::string>;
using test::what_of;

THandle<std::string> text(const std::string& s) { return THandle<std::string>(new std::string(s)); }

template <class F>
Bytes written(F write) {
  test::TempFile file;
  {
    Archive out(file.name(), Archive::WRITE);
    write(out);
  }
  return file.bytes();
}

// Reads `bytes` with `read`; returns whether the archive failed.
template <class F>
bool read_fails(const Bytes& bytes, F read) {
  test::TempFile file;
  file.set_bytes(bytes);
  Archive in(file.name(), Archive::READ);
  read(in);
  return in.failed();
}

TEST(DatabaseEntryIdentifier, TrimsBlanksAndLimitsLength) {
  const std::string s255(255, 'x');
  const std::string refused = "DatabaseEntryIdentifier::DatabaseEntryIdentifier: Invalid DatabaseEntryIdentifier (wrong size):";
  const struct { std::string input, stored; } cases[] = {
      {"  ABC\t", "ABC"},         {" \t \t", ""},  {"\nA\n", "\nA\n"},  {s255, s255},
      {"  " + s255 + "\t ", s255}, {s255 + "y", refused + s255 + "y"},  {" " + s255 + "yy ", refused + " " + s255 + "yy "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.input.size()) + " bytes: " + c.input.substr(0, 12));
    std::string stored;
    const std::string error = what_of<std::invalid_argument>([&] { stored = Id(c.input).text(); });
    EXPECT_EQ(error == "(nothing thrown)" ? stored : error, c.stored);
  }
  const Id id(" ABC");
  std::ostringstream out;
  out << id;
  id.print(out);
  EXPECT_EQ(out.str(), "ABCABC");  // operator<< and print() both write the trimmed text
  EXPECT_EQ("_" + id + std::string(".ade"), "_ABC.ade");
}

// The order is that of the bytes: the identifier list's sort is checked
// against it on random texts.
TEST(DatabaseEntryIdentifier, HashesAsCaseSensitiveBytes) {
  const std::unordered_set<Id> set{Id("abc"), Id("ABC"), Id("abc")};
  EXPECT_EQ(set.size(), 2u);
  EXPECT_EQ(set.count(Id(" abc ")), 1u);
}

TEST(DatabaseEntryIdentifier, PersistentStreams) {
  test::TempFile file;
  const std::vector<Id> ids{Id("K1"), Id()};
  {
    Archive archive(file.name(), Archive::WRITE);
    ArchiveWriteStream(archive).write("keys", ids);
  }
  EXPECT_EQ(file.bytes(), (Bytes{0, 0, 0, 2, 0, 0, 0, 2, 'K', '1', 0, 0, 0, 0}));
  Archive archive(file.name(), Archive::READ);
  std::vector<Id> keys;
  ArchiveReadStream(archive).read("keys", keys);
  EXPECT_EQ(keys, ids);

  std::ostringstream printed;
  DebugPrintStream print(printed);
  print.write("key", ids[0]);
  EXPECT_EQ(printed.str(), "key (DatabaseEntryIdentifier)\n    id: 'K1' \n");

  test::TaggedWriteStream tagged;
  tagged.write("key", ids[0]);
  test::TaggedReadStream back(tagged.items);
  Id kept("unchanged");
  EXPECT_THROW(kept.read("other", ITEM_OPTIONAL, back), PersistentReadStream::OptionalItemNotPresent);
  EXPECT_EQ(kept.text(), "unchanged");
  kept.read("key", ITEM_REQUIRED, back);
  EXPECT_EQ(kept.text(), "K1");
}

TEST(DatabaseEntry, ArchiveBytesAndNullData) {
  EXPECT_EQ(what_of<std::runtime_error>([] { StringEntry(Id("K9"), THandle<std::string>()); }),
            "Illegal null data in entry K9 (DatabaseEntry::DatabaseEntry)");
  EXPECT_THROW(written([](Archive& out) { out << StringEntry(); }), std::runtime_error);
  EXPECT_THROW(written([](Archive& out) { out << THandle<std::string>(); }), std::runtime_error);
  THandle<std::string> hello = text("hello");
  const StringEntry entry(Id("X1"), hello);
  EXPECT_EQ(entry.data(), hello);  // shared, not copied
  EXPECT_EQ(written([](Archive& out) { out << text("ab"); }), (Bytes{0, 0, 0, 2, 'a', 'b'}));
  EXPECT_EQ(written([](Archive& out) { out << DatabaseEntry<int>(Id("n"), THandle<int>(new int(258))); }),
            (Bytes{0, 0, 0, 1, 'n', 0, 0, 1, 2}));
  DatabaseEntry<int> number;
  EXPECT_FALSE(read_fails({0, 0, 0, 1, 'n', 0, 0, 1, 2}, [&](Archive& in) { in >> number; }));
  EXPECT_EQ(*number.data(), 258);
  THandle<std::string> old = text("x"), handle = old;
  EXPECT_FALSE(read_fails({0, 0, 0, 2, 'a', 'b'}, [&](Archive& in) { in >> handle; }));
  EXPECT_EQ(*handle, "ab");  // a fresh object...
  EXPECT_EQ(*old, "x");      // ...and the old one untouched
}

// Identifiers and entries as read from damaged bytes: no length check, cut
// at a zero byte, a short or huge length leaves the archive failed.
TEST(DatabaseEntry, ReadsDamagedBytes) {
  Bytes long_text{0, 0, 1, 44};
  long_text.insert(long_text.end(), 300, 'q');
  const struct { const char* name; bool entry; Bytes bytes; std::string read; bool failed; } cases[] = {
      {"blanks kept", false, {0, 0, 0, 4, ' ', 'a', 'b', '\t'}, " ab\t", false},
      {"id cut at zero byte", false, {0, 0, 0, 5, 'a', 'b', 0, 'c', 'd'}, "ab", false},
      {"id truncated", false, {0, 0, 0, 9, 'a', 'b', 'c'}, "abc", true},
      {"id huge length", false, {0xFF, 0xFF, 0xFF, 0xF0, 'a'}, "a", true},
      {"id truncated length", false, {0, 0}, "", true},
      {"id of 300 bytes", false, long_text, std::string(300, 'q'), false},
      {"data cut at zero byte", true, {0, 0, 0, 1, 'A', 0, 0, 0, 3, 'a', 0, 'b'}, "A:a", false},
      {"short data", true, {0, 0, 0, 1, 'A', 0, 0, 0, 9, 'a', 'b'}, "A:ab", true},
      {"huge data length", true, {0, 0, 0, 1, 'A', 0x7F, 0xFF, 0xFF, 0xFF}, "A:", true},
      {"no data length", true, {0, 0, 0, 1, 'A'}, "A:", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    THandle<std::string> old = text("old");
    StringEntry entry(Id("previous"), old);
    Id id("previous");
    EXPECT_EQ(read_fails(c.bytes, [&](Archive& in) { c.entry ? void(in >> entry) : void(id.read(in)); }), c.failed);
    EXPECT_EQ(c.entry ? entry.identifier().text() + ":" + *entry.data() : id.text(), c.read);
    EXPECT_EQ(*old, "old");
  }
}

}  // namespace
}  // namespace vorn
