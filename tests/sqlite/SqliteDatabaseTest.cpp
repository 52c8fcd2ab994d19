// What is particular to the SQLite backend: opening and creating files,
// foreign and newer files, locators, and the identifiers it holds. The
// behaviour every backend shares is tested in tests/backends.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "vorn/database/OpenDatabase.h"
#include "vorn/database/SqliteDatabase.h"
#include "vorn/database/database_error.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"

namespace vorn {
namespace {

using Entry = DatabaseEntry<std::string>;
using Db = SqliteDatabase<Entry>;
using Id = DatabaseEntryIdentifier;
using test::make_entry;
using test::TempDirectory;

DatabaseOptions writable_options(bool create = true) {
  DatabaseOptions options;
  options.writable = true;
  options.create_if_missing = create;
  return options;
}

// The message of the database_error `open` throws, or "" when it throws none.
template <class Open>
std::string error_of(Open open) {
  try {
    open();
  } catch (const database_error& e) {
    return e.what();
  }
  return "";
}

// Overwrites the big-endian 32-bit field at `offset` of the database file's
// header (60: user_version, 68: application_id). The file must be closed.
void patch_header(const std::string& path, std::size_t offset, std::uint32_t value) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(offset));
  const char bytes[4] = {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
                         static_cast<char>(value)};
  file.write(bytes, 4);
}

TEST(SqliteDatabase, OpeningRules) {
  TempDirectory dir;
  const std::string missing = dir.file("missing.sqlite");
  for (const bool writable : {false, true}) {
    SCOPED_TRACE(writable ? "writable" : "read-only");
    DatabaseOptions options;
    options.writable = writable;
    EXPECT_EQ(error_of([&] { Db db(missing, options); }),
              "SqliteDatabase::open: no database (no such file): " + missing +
                  "; create it with create_if_missing (vorn db create)");
  }
  EXPECT_FALSE(dir.exists("missing.sqlite"));

  const std::string nowhere = dir.file("no/such/dir.sqlite");
  EXPECT_NE(error_of([&] { Db db(nowhere, writable_options()); }).find("SqliteDatabase::open: cannot create " + nowhere),
            std::string::npos);
  EXPECT_FALSE(dir.exists("no"));

  DatabaseOptions exclusive = writable_options();
  exclusive.error_if_exists = true;
  const std::string fresh = dir.file("fresh.sqlite");
  EXPECT_EQ(error_of([&] { Db db(fresh, exclusive); }), "");
  EXPECT_EQ(error_of([&] { Db db(fresh, exclusive); }), "SqliteDatabase::open: database already exists: " + fresh);

  // A write-protected file is refused for writing, not found read-only later.
  if (::geteuid() != 0) {
    std::filesystem::permissions(fresh, std::filesystem::perms::owner_read);
    EXPECT_EQ(error_of([&] { Db db(fresh, writable_options()); }),
              "SqliteDatabase::open: cannot open for writing (the file is read-only): " + fresh);
    EXPECT_EQ(error_of([&] { Db db(fresh, DatabaseOptions()); }), "");
  }

  // Created for reading only: the file and schema are made, writes refused.
  DatabaseOptions create_read_only;
  create_read_only.create_if_missing = true;
  Db reader(dir.file("read.sqlite"), create_read_only);
  EXPECT_EQ(reader.size(), 0);
  EXPECT_EQ(error_of([&] { reader.append(make_entry("a", "1")); }),
            "SqliteDatabase::append: database is not opened for writing");
  // The store refuses on its own, as the tool uses it without a database.
  EXPECT_EQ(error_of([&] { reader.store().apply({{EntryStore::Change::remove, Id("a"), ""}}, "apply"); }),
            "SqliteDatabase::apply: database is not opened for writing");
}

TEST(SqliteDatabase, ForeignAndNewerFiles) {
  TempDirectory dir;
  dir.write("text.sqlite", std::string(4096, 'x'));
  dir.write("empty.sqlite", "");
  for (const char* name : {"no_id.sqlite", "newer.sqlite"}) {
    Db db(dir.file(name), writable_options());
  }
  patch_header(dir.file("no_id.sqlite"), 68, 0x12345678);
  patch_header(dir.file("newer.sqlite"), 60, 2);

  struct Case {
    const char* name;
    const char* file;
    std::string want;
  };
  const Case cases[] = {
      {"not SQLite at all", "text.sqlite",
       "SqliteDatabase::open: not an SQLite file (file is not a database): " + dir.file("text.sqlite")},
      {"an empty file", "empty.sqlite",
       "SqliteDatabase::open: not a vorn entry database (an empty SQLite file): " + dir.file("empty.sqlite")},
      {"another application's database", "no_id.sqlite",
       "SqliteDatabase::open: not a vorn entry database (no vorn application id): " + dir.file("no_id.sqlite")},
      {"a newer schema", "newer.sqlite",
       "SqliteDatabase::open: " + dir.file("newer.sqlite") + " has schema version 2; this library reads version 1"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(error_of([&] { Db db(dir.file(c.file), DatabaseOptions()); }), c.want);
  }
  // create_if_missing makes an empty file (as an interrupted creation leaves
  // it) a database; it leaves a foreign one alone.
  EXPECT_EQ(error_of([&] { Db db(dir.file("empty.sqlite"), writable_options()); }), "");
  EXPECT_EQ(error_of([&] { Db db(dir.file("no_id.sqlite"), writable_options()); }), cases[2].want);
}

TEST(SqliteDatabase, LocatorsOpenTheSameFile) {
  TempDirectory dir;
  const std::string file = dir.file("l.sqlite");
  auto created = open_database<Entry>("sqlite:" + file, writable_options());
  created->append(make_entry("a", "1"));
  EXPECT_EQ(created->locator(), "sqlite:" + file);
  Db by_locator("sqlite:" + file, DatabaseOptions());
  EXPECT_EQ(by_locator.file(), file);
  EXPECT_EQ(by_locator.size(), 1);
  std::unique_ptr<EntryStore> store = open_entry_store(created->locator(), DatabaseOptions());
  EXPECT_EQ(store->class_name(), std::string("SqliteDatabase"));
  EXPECT_EQ(store->find(Id("a")), 0);
}

// An identifier as an archive holds it: taken as it stands, blanks and
// length unchecked.
Id identifier_from_archive(const std::string& text) {
  const std::uint32_t n = static_cast<std::uint32_t>(text.size());
  MemoryDevice device(std::string{static_cast<char>(n >> 24), static_cast<char>(n >> 16), static_cast<char>(n >> 8),
                                  static_cast<char>(n)} +
                      text);
  Archive archive(device, Archive::READ);
  Id id;
  id.read(archive);
  return id;
}

TEST(SqliteDatabase, IdentifiersItHoldsAndRefuses) {
  TempDirectory dir;
  Db db(dir.file("i.sqlite"), writable_options());
  const Id padded = identifier_from_archive(" \tpadded ");
  db.append(make_handle<Entry>(padded, make_handle<std::string>("p")));
  EXPECT_EQ(db.identifier(0).text(), " \tpadded ");
  EXPECT_EQ(db.find(padded)->identifier().text(), " \tpadded ");

  struct Case {
    const char* name;
    Id id;
    std::string want;
  };
  const Case cases[] = {
      {"empty", Id(""), "SqliteDatabase::append: identifier is empty"},
      {"zero byte", Id(std::string("a\0b", 3)), "SqliteDatabase::append: identifier holds a zero byte: a\\0b"},
      {"too long", identifier_from_archive(std::string(256, 'l')),
       "SqliteDatabase::append: identifier longer than 255 bytes: " + std::string(80, 'l') + "..."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(error_of([&] { db.append(make_handle<Entry>(c.id, make_handle<std::string>("x"))); }), c.want);
  }
  EXPECT_EQ(db.size(), 1);
}

}  // namespace
}  // namespace vorn
