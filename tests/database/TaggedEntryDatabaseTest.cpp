// A database of entries whose data is a class with the tagged write/read,
// used through the shared library as applications use it.
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "vorn/database/ArchiveDatabase.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/database_error.h"
#include "vorn/foundation/THandle.h"

namespace vorn {
namespace {

// Refuses a negative count on reading, as a class checking its invariants would.
struct Checked {
  int count = 0;
  std::string label;
  void write(const char* tag, PersistentWriteStream& s) const {
    PersistentWriteStream::Block block(s, tag, "Checked");
    s.write("count", count);
    s.write("label", label);
  }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) {
    PersistentReadStream::Block block(s, tag, "Checked", presence);
    s.read("count", count);
    s.read("label", label);
    if (count < 0) throw std::invalid_argument("Checked::read: negative count");
  }
};

using Entry = DatabaseEntry<Checked>;

TEST(TaggedEntryDatabase, RoundTripAndReaderErrorsNameTheFile) {
  test::TempDirectory dir;
  ArchiveDatabase<Entry> db(dir.path, "r", Archive::READ | Archive::WRITE);
  db.append(make_handle<Entry>(DatabaseEntryIdentifier("ok"), make_handle<Checked>(Checked{3, "three"})));
  db.append(make_handle<Entry>(DatabaseEntryIdentifier("bad"), make_handle<Checked>(Checked{-1, "minus"})));

  const THandle<Entry> ok = db.entry(DatabaseEntryIdentifier("ok"));
  EXPECT_EQ(ok->data()->count, 3);
  EXPECT_EQ(ok->data()->label, "three");
  try {
    db.entry(DatabaseEntryIdentifier("bad"));
    ADD_FAILURE() << "the reader's exception was lost";
  } catch (const database_error& e) {
    EXPECT_EQ(std::string(e.what()), "ArchiveDatabase::read_entry: cannot read entry file " + dir.path +
                                         "/r_bad.ade: Checked::read: negative count");
  }
}

}  // namespace
}  // namespace vorn
