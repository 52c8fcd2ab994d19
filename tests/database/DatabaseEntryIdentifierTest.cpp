#include "vorn/database/DatabaseEntryIdentifier.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "persistence/TaggedStreams.h"
#include "persistence/TempFile.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/DebugPrintStream.h"
#include "vorn/persistence/PersistentContainers.h"

namespace vorn {
namespace {

using test::Bytes;
using test::TempFile;

TEST(DatabaseEntryIdentifier, ApiExamples) {
  const DatabaseEntryIdentifier id("  ABC\t");
  EXPECT_EQ(id.text(), "ABC");
  const std::string& text = id;
  EXPECT_EQ(&text, &id.text());
  EXPECT_EQ("entry_" + id + ".ade", "entry_ABC.ade");
  EXPECT_EQ(id + std::string("x"), "ABCx");
  std::ostringstream out;
  out << id;
  id.print(out);
  EXPECT_EQ(out.str(), "ABCABC");
  EXPECT_EQ(DatabaseEntryIdentifier().text(), "");
  EXPECT_EQ(DatabaseEntryIdentifier::maximum_length_, 255u);
}

TEST(DatabaseEntryIdentifier, TrimsAndLimitsLength) {
  const std::string s255(255, 'x');
  const struct {
    std::string input;
    bool accepted;
    std::string stored;
  } cases[] = {
      {"  ABC\t", true, "ABC"},
      {"A B", true, "A B"},
      {" \t \t", true, ""},
      {"\nA\n", true, "\nA\n"},  // only blanks and tabs are trimmed
      {s255, true, s255},
      {s255 + "y", false, ""},
      {"  " + s255 + "\t ", true, s255},
      {" " + s255 + "yy ", false, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("input of " + std::to_string(c.input.size()) + " bytes: " + c.input.substr(0, 12));
    if (c.accepted) {
      EXPECT_EQ(DatabaseEntryIdentifier(c.input).text(), c.stored);
      continue;
    }
    try {
      DatabaseEntryIdentifier rejected(c.input);
      ADD_FAILURE() << "accepted " << rejected.text().size() << " bytes";
    } catch (const std::invalid_argument& e) {
      EXPECT_EQ(std::string(e.what()),
                "DatabaseEntryIdentifier::DatabaseEntryIdentifier: Invalid DatabaseEntryIdentifier (wrong size):" +
                    c.input);
    }
  }
}

TEST(DatabaseEntryIdentifier, OrdersAsCaseSensitiveUnsignedBytes) {
  std::vector<DatabaseEntryIdentifier> ids;
  for (const char* t : {"abc", "\xC3\xA9", "ABC", "AB", "", "abc", "B"}) ids.emplace_back(t);
  std::sort(ids.begin(), ids.end());
  std::vector<std::string> texts(ids.begin(), ids.end());
  EXPECT_EQ(texts, (std::vector<std::string>{"", "AB", "ABC", "B", "abc", "abc", "\xC3\xA9"}));

  const DatabaseEntryIdentifier a("abc"), b("ABC"), c("abc");
  EXPECT_TRUE(a == c);
  EXPECT_FALSE(a != c);
  EXPECT_TRUE(a != b);
  EXPECT_TRUE(b < a && a > b && b <= a && a >= b && a <= c && a >= c);
  EXPECT_FALSE(a < c);

  const std::unordered_set<DatabaseEntryIdentifier> set{a, b, c};
  EXPECT_EQ(set.size(), 2u);
  EXPECT_EQ(set.count(DatabaseEntryIdentifier(" abc ")), 1u);
}

TEST(DatabaseEntryIdentifier, ArchiveFormat) {
  TempFile file;
  {
    Archive out(file.name(), Archive::WRITE);
    DatabaseEntryIdentifier("X1").write(out);
    DatabaseEntryIdentifier().write(out);
  }
  EXPECT_EQ(file.bytes(), (Bytes{0, 0, 0, 2, 'X', '1', 0, 0, 0, 0}));

  Archive in(file.name(), Archive::READ);
  DatabaseEntryIdentifier first("old"), second("old");
  first.read(in);
  second.read(in);
  EXPECT_EQ(first.text(), "X1");
  EXPECT_EQ(second.text(), "");
  EXPECT_FALSE(in.failed());
}

TEST(DatabaseEntryIdentifier, ReadTakesTextAsStored) {
  const std::string long_text(300, 'q');
  const struct {
    const char* name;
    Bytes bytes;
    std::string expected;
    bool failed;
  } cases[] = {
      {"blanks kept", {0, 0, 0, 4, ' ', 'a', 'b', '\t'}, " ab\t", false},
      {"cut at zero byte", {0, 0, 0, 5, 'a', 'b', 0, 'c', 'd'}, "ab", false},
      {"truncated bytes", {0, 0, 0, 9, 'a', 'b', 'c'}, "abc", true},
      {"huge length", {0xFF, 0xFF, 0xFF, 0xF0, 'a'}, "a", true},
      {"truncated length", {0, 0}, "", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TempFile file;
    file.set_bytes(c.bytes);
    Archive in(file.name(), Archive::READ);
    DatabaseEntryIdentifier id("previous");
    id.read(in);
    EXPECT_EQ(id.text(), c.expected);
    EXPECT_EQ(in.failed(), c.failed);
  }

  TempFile file;
  Bytes bytes{0, 0, 1, 44};
  bytes.insert(bytes.end(), long_text.begin(), long_text.end());
  file.set_bytes(bytes);
  Archive in(file.name(), Archive::READ);
  DatabaseEntryIdentifier id;
  id.read(in);
  EXPECT_EQ(id.text(), long_text);  // no length check on reading
}

}  // namespace
}  // namespace vorn

namespace vorn {
namespace {

TEST(DatabaseEntryIdentifier, PersistentStreams) {
  test::TempFile file;
  const std::vector<DatabaseEntryIdentifier> ids{DatabaseEntryIdentifier("K1"), DatabaseEntryIdentifier()};
  {
    Archive archive(file.name(), Archive::WRITE);
    ArchiveWriteStream out(archive);
    out.write("key", ids[0]);
    out.write("keys", ids);
  }
  EXPECT_EQ(file.bytes(), (test::Bytes{0, 0, 0, 2, 'K', '1', 0, 0, 0, 2, 0, 0, 0, 2, 'K', '1', 0, 0, 0, 0}));
  Archive archive(file.name(), Archive::READ);
  ArchiveReadStream in(archive);
  DatabaseEntryIdentifier key;
  std::vector<DatabaseEntryIdentifier> keys;
  in.read("key", key);
  in.read("keys", keys);
  EXPECT_EQ(key, ids[0]);
  EXPECT_EQ(keys, ids);

  std::ostringstream text;
  DebugPrintStream print(text);
  print.write("key", ids[0]);
  EXPECT_EQ(text.str(), "key (DatabaseEntryIdentifier)\n    id: 'K1' \n");

  test::TaggedWriteStream tagged;
  tagged.write("key", ids[0]);
  test::TaggedReadStream back(tagged.items);
  DatabaseEntryIdentifier kept("unchanged");
  EXPECT_THROW(kept.read("other", ITEM_OPTIONAL, back), PersistentReadStream::OptionalItemNotPresent);
  EXPECT_EQ(kept.text(), "unchanged");
  kept.read("key", ITEM_REQUIRED, back);
  EXPECT_EQ(kept.text(), "K1");
}

}  // namespace
}  // namespace vorn
