// StoredDatabase<Entry>: a Database<Entry> over an EntryStore, whatever
// keeps the bytes: a directory (ArchiveDatabase), an SQLite file
// (SqliteDatabase) or a PostgreSQL database (PostgresDatabase). It turns each
// entry into the bytes of its directory entry file (the version 6 as a
// big-endian 32-bit integer, then Entry::write) and back, and leaves every
// lookup and change to the store.
//
//   std::unique_ptr<vorn::StoredDatabase<Entry>> db = vorn::open_database<Entry>("sqlite:genes.sqlite", options);
//   db->append(vorn::make_handle<Entry>(vorn::DatabaseEntryIdentifier("X1"), vorn::make_handle<std::string>("hello")));
//   vorn::StoredDatabase<Entry>::Batch batch = db->batch();
//   batch.append(e1);
//   batch.remove(vorn::DatabaseEntryIdentifier("old"));
//   batch.commit();   // all or none
//
// Throws database_error: "<Class>::append: database is not opened for
// writing" (likewise replace, remove and apply), the store's errors, and for
// an entry that does not read back "<Class>::read_entry: truncated or
// corrupt <kind>: <where>" or "<Class>::read_entry: cannot read <kind>
// <where>: <the reader's message>", where <kind> and <where> name the entry
// as the store does (for a directory: "entry file" and its path).
#ifndef VORN_DATABASE_STOREDDATABASE_H_
#define VORN_DATABASE_STOREDDATABASE_H_

#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vorn/database/Database.h"
#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/DatabaseOptions.h"
#include "vorn/database/EntryStore.h"
#include "vorn/database/database_error.h"
#include "vorn/foundation/THandle.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/VersionedArchive.h"

namespace vorn {

template <class Entry>
class StoredDatabase : public Database<Entry> {
 public:
  // Changes gathered to be applied together by commit() (or apply()): all or
  // none, under one lock or transaction. Each entry is turned into its bytes
  // when it is added, so an entry whose write throws is refused there and
  // touches nothing.
  class Batch {
   public:
    void append(THandle<Entry> entry) { add(EntryStore::Change::append, *entry); }
    void replace(THandle<Entry> entry) { add(EntryStore::Change::replace, *entry); }
    void remove(const DatabaseEntryIdentifier& id) { changes_.push_back({EntryStore::Change::remove, id, std::string()}); }
    std::size_t size() const noexcept { return changes_.size(); }
    // Applies the changes to the database that made the batch and empties
    // the batch; on failure the batch and the database stay as they were.
    void commit() { database_->apply(*this); }

   private:
    friend class StoredDatabase;
    explicit Batch(StoredDatabase& database) : database_(&database) {}
    void add(EntryStore::Change::Kind kind, const Entry& entry) {
      changes_.push_back({kind, entry.identifier(), entry_image(entry)});
    }

    StoredDatabase* database_;
    std::vector<EntryStore::Change> changes_;
  };

  explicit StoredDatabase(std::unique_ptr<EntryStore> store) : store_(std::move(store)) {}
  ~StoredDatabase() override = default;
  StoredDatabase(const StoredDatabase&) = delete;
  StoredDatabase& operator=(const StoredDatabase&) = delete;

  EntryStore& store() const noexcept { return *store_; }
  // The locator that opens this database again.
  std::string locator() const { return store_->locator(); }
  Durability durability() const noexcept { return store_->durability(); }
  void set_durability(Durability durability) { store_->set_durability(durability); }
  // Sees the changes other objects and processes made (see EntryStore::reload).
  void reload() { store_->reload(); }

  int size() const override { return store_->size(); }
  DatabaseEntryIdentifier identifier(int i) const override { return store_->identifier(i); }
  bool identifier_exists(const DatabaseEntryIdentifier& id) const override { return store_->find(id) >= 0; }
  int index(const DatabaseEntryIdentifier& id) const override {
    const int i = store_->find(id);
    return i < 0 ? size() : i;
  }
  // The same position and match as Database::nearest_entry, from the
  // store's case-insensitive order instead of a scan.
  int nearest_entry(const DatabaseEntryIdentifier& target,
                    typename Database<Entry>::IdentifierMatch& match) const override {
    int kind = 0;
    const int position = store_->nearest(target, kind);
    match = static_cast<typename Database<Entry>::IdentifierMatch>(kind);
    return position;
  }
  THandle<Entry> entry(int i) const override {
    const std::string bytes = store_->read(i, "read_entry");
    THandle<Entry> result(new Entry());
    parse(bytes, [&] { return store_->entry_location(store_->identifier(i)); }, *result);
    return result;
  }
  THandle<Entry> entry(const DatabaseEntryIdentifier& id) const override {
    std::string bytes;
    if (!store_->read(id, bytes, "read_entry")) this->entry_error(store_->class_name(), id);
    THandle<Entry> result(new Entry());
    parse(bytes, [&] { return store_->entry_location(id); }, *result);
    return result;
  }
  THandle<Entry> find(const DatabaseEntryIdentifier& id) const override {
    std::string bytes;
    if (!store_->read(id, bytes, "read_entry")) return THandle<Entry>();
    THandle<Entry> result(new Entry());
    parse(bytes, [&] { return store_->entry_location(id); }, *result);
    return result;
  }

  bool writable() const override { return store_->writable(); }
  void append(THandle<Entry> entry) override {
    check_writable("append");
    const DatabaseEntryIdentifier id = entry->identifier();
    store_->check_new_identifier(id);
    store_->apply({{EntryStore::Change::append, id, entry_image(*entry)}}, "append");
  }
  void replace(THandle<Entry> entry) override {
    check_writable("replace");
    store_->apply({{EntryStore::Change::replace, entry->identifier(), entry_image(*entry)}}, "replace");
  }
  void remove(const DatabaseEntryIdentifier& id) override {
    check_writable("remove");
    store_->apply({{EntryStore::Change::remove, id, std::string()}}, "remove");
  }
  void flush() override {}

  // A new, empty batch of changes to this database.
  Batch batch() { return Batch(*this); }
  // Applies and empties `batch` (see Batch).
  void apply(Batch& batch) {
    check_writable("apply");
    store_->apply(batch.changes_, "apply");
    batch.changes_.clear();
  }

  // The bytes that stand for `entry` in every store: version 6, then the
  // entry as Entry::write stores it.
  static std::string entry_image(const Entry& entry) {
    MemoryDevice image;
    {
      VersionedArchive archive(image, Archive::WRITE);
      archive << static_cast<int>(VersionedArchive::current_version);
      entry.write(archive);
    }
    // The device's buffer grows ahead of the writes (doubling); a
    // batch holds many images, so each keeps only its bytes.
    std::string bytes = image.take();
    bytes.shrink_to_fit();
    return bytes;
  }

 protected:
  // Reads `bytes` into `entry`, with messages that name the entry as
  // `kind` and where() (see the class comment); where() is called only to
  // compose a message.
  template <class Where>
  static void parse_entry_image(const char* class_name, const char* kind, const Where& where,
                                const std::string& bytes, Entry& entry) {
    MemoryDevice device(bytes.data(), bytes.size());
    VersionedArchive archive(device, Archive::READ);
    int version = 0;
    archive >> version;
    archive.file_version = version;
    try {
      entry.read(archive);
    } catch (const database_error&) {
      throw;
    } catch (const std::exception& e) {
      throw database_error(std::string(class_name) + "::read_entry: cannot read " + kind + " " + where() + ": " +
                           e.what());
    }
    if (archive.failed()) {
      throw database_error(std::string(class_name) + "::read_entry: truncated or corrupt " + kind + ": " + where());
    }
  }

 private:
  void check_writable(const char* operation) const {
    if (!store_->writable()) {
      throw database_error(std::string(store_->class_name()) + "::" + operation +
                           ": database is not opened for writing");
    }
  }
  template <class Where>
  void parse(const std::string& bytes, const Where& where, Entry& entry) const {
    parse_entry_image(store_->class_name(), store_->entry_kind(), where, bytes, entry);
  }

  std::unique_ptr<EntryStore> store_;
};

}  // namespace vorn

#endif  // VORN_DATABASE_STOREDDATABASE_H_
