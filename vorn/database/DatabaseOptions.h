// DatabaseOptions: how ArchiveDatabase::open opens a database, as named
// switches instead of mode bits. The defaults open an existing database for
// reading and refuse a missing one.
//
//   vorn::DatabaseOptions options;
//   options.writable = true;
//   options.create_if_missing = true;
//   auto db = vorn::ArchiveDatabase<Entry>::open("/data", "genes", options);
//
// The directory itself is never created: it must exist whatever the options.
#ifndef VORN_DATABASE_DATABASEOPTIONS_H_
#define VORN_DATABASE_DATABASEOPTIONS_H_

namespace vorn {

// How far a database goes to make a change survive a power cut.
// - full: an acknowledged change is on the disk when the call returns (the
//   entry file and the index are synced, and so are the directories whose
//   names changed).
// - relaxed: nothing is synced; a change survives the end of the process at
//   any point, but a power cut may lose the latest ones. For bulk loads.
enum class Durability { full, relaxed };

struct DatabaseOptions {
  // Allow append(), replace() and remove() (the mode Archive::READ |
  // Archive::WRITE instead of Archive::READ).
  bool writable = false;
  // When the database has no index file, create an empty one instead of
  // refusing to open it.
  bool create_if_missing = false;
  // Refuse to open a database whose index file already exists.
  bool error_if_exists = false;
  // Whether changes are synced to the disk before they are acknowledged.
  Durability durability = Durability::full;
};

}  // namespace vorn

#endif  // VORN_DATABASE_DATABASEOPTIONS_H_
